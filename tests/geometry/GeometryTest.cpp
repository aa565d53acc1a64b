// Geometry and the parts it is built from: figures, their storage, and the
// curve flattener.

#include "Graphics/Geometry.h"
#include "geometry/BezierFlattener.h"
#include "geometry/Figure.h"
#include "geometry/Flattener.h"
#include "geometry/GeometryAccess.h"

#include "RecordingSink.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <deque>
#include <memory>
#include <random>
#include <vector>

using namespace Graphics;
using namespace GraphicsTest;

namespace {

Events Record(const Geometry& geometry, const Matrix* m = nullptr) {
    auto sink = std::make_shared<RecordingSink>();
    m ? geometry.Transform(*m, sink) : geometry.SendToSink(sink);
    return sink->events;
}

std::shared_ptr<Geometry> Build(const std::function<void(Geometry&)>& build) {
    auto g = std::make_shared<Geometry>();
    build(*g);
    return g;
}

using Points = std::deque<Point<float>>;
using Commands = std::deque<std::int32_t>;

std::shared_ptr<Figure> Make(std::initializer_list<Point<float>> points) {
    auto f = std::make_shared<Figure>();
    f->StartAt(*points.begin());
    for (auto p = points.begin() + 1; p != points.end(); ++p) f->LineTo(*p);
    return f;
}

Events Send(const Figure& f) {
    auto sink = std::make_shared<RecordingSink>();
    f.SendToSink(sink);
    return sink->events;
}

struct Walk { std::vector<Point<float>> points; std::vector<double> params; std::vector<float> stepSizes; };

Walk WalkCurve(float tolerance, Point<float> p0, Point<float> p1, Point<float> p2, Point<float> p3) {
    BezierFlattener f(tolerance);
    f.SetPoints(p0, p1, p2, p3);
    Walk w;
    double t = 0;
    Point<float> p;
    for (float step = f.GetStepSize(); f.NextPoint(&p); step = f.GetStepSize()) {
        w.points.push_back(p);
        w.params.push_back(t += step);
        w.stepSizes.push_back(f.GetStepSize());
    }
    return w;
}

Point<double> Bezier(double t, Point<float> p0, Point<float> p1, Point<float> p2, Point<float> p3) {
    const double u = 1 - t, a = u * u * u, b = 3 * u * u * t, c = 3 * u * t * t, d = t * t * t;
    return Point<double>(a * p0.x + b * p1.x + c * p2.x + d * p3.x, a * p0.y + b * p1.y + c * p2.y + d * p3.y);
}

}  // namespace

TEST(Geometry, StreamsWorkedByHand) {
    unsigned bits = 0x3F0D6289u;  // the Bezier circle constant
    float k;
    std::memcpy(&k, &bits, sizeof k);
    const float rx = 10 * k, ry = 5 * k, px = 50 * k, py = 25 * k;
    // An ellipse's sides come from centre and radii, not the rectangle's edges.
    const Rect<float> odd(0.1f, 0.3f, 10.3f, 10.3f);
    const float hx = (odd.right - odd.left) * 0.5f, hy = (odd.bottom - odd.top) * 0.5f;
    const float cx = odd.left + hx, cy = odd.top + hy, ox = hx * k, oy = hy * k;
    const float l = cx - hx, r = cx + hx, t = cy - hy, b = cy + hy;
    ASSERT_TRUE(l != odd.left && r != odd.right && t != odd.top);
    struct Case {
        const char* name;
        std::function<void(Geometry&)> build;
        Events events;
    };
    const Case cases[] = {
        {"flat rectangle: no line to the current point", [](Geometry& g) { g.Rectangle(Rect<float>(3, 1, 3, 4)); },
         {R(0), B(3, 1), L(3, 4), C()}},
        {"ellipse off the grid", [&](Geometry& g) { g.Ellipse(odd); },
         {R(0), B(cx, b), Q(cx - ox, b, l, cy + oy, l, cy), Q(l, cy - oy, cx - ox, t, cx, t),
          Q(cx + ox, t, r, cy - oy, r, cy), Q(r, cy + oy, cx + ox, b, cx, b), C()}},
        {"round rectangle", [](Geometry& g) { g.RoundRectangle(Rect<float>(0, 0, 100, 50), 10, 5); },
         {R(0), B(90, 0), Q(90 + rx, 0, 100, 5 - ry, 100, 5), L(100, 45), Q(100, 45 + ry, 90 + rx, 50, 90, 50),
          L(10, 50), Q(10 - rx, 50, 0, 45 + ry, 0, 45), L(0, 5), Q(0, 5 - ry, 10 - rx, 0, 10, 0), L(90, 0), C()}},
        // Radii clamp to half the size: no lines between.
        {"pill", [](Geometry& g) { g.RoundRectangle(Rect<float>(0, 0, 100, 50), 80, 40); },
         {R(0), B(50, 0), Q(50 + px, 0, 100, 25 - py, 100, 25), Q(100, 25 + py, 50 + px, 50, 50, 50),
          Q(50 - px, 50, 0, 25 + py, 0, 25), Q(0, 25 - py, 50 - px, 0, 50, 0), C()}},
        {"no ellipse or round rectangle without area",
         [](Geometry& g) { g.Ellipse({1, 1, 1, 5}); g.RoundRectangle({2, 2, 9, 2}, 1, 1); }, {}},
        // Without an open figure a segment begins one at the current point: (0,
        // 0), a closed figure's start, an open one's end. Unended figures are not
        // sent; BeginFigure ends an open figure; stray ends are ignored.
        {"current points",
         [](Geometry& g) {
             g.EndFigure(); g.LineTo({5, 6}); g.EndFigure();
             g.Rectangle({1, 2, 5, 7}); g.LineTo({9, 9}); g.EndFigureClose();
             g.CurveTo({5, 2}, {6, 3}, {7, 4}); g.BeginFigure({3, 3}); g.EndFigureClose(); g.EndFigureClose();
         },
         {R(0), B(0, 0), L(5, 6), E(), B(1, 2), L(5, 2), L(5, 7), L(1, 7), C(), B(1, 2), L(9, 9), C(), B(1, 2),
          Q(5, 2, 6, 3, 7, 4), E(), B(3, 3), C()}},
        // The quadratic form's first control is the current point or, lacking one, its own.
        {"quadratic", [](Geometry& g) { g.CurveTo({3, 4}, {5, 6}); g.CurveTo({1, 1}, {2, 0}); g.EndFigure(); },
         {R(0), B(0, 0), Q(3, 4, 3, 4, 5, 6), Q(5, 6, 1, 1, 2, 0), E()}},
        // A curve of equal points stays; the fill rule may change after the figures.
        {"degenerate segments",
         [](Geometry& g) {
             g.SetFillRule(FillRule::EvenOdd); g.BeginFigure({2, 2}); g.CurveTo({2, 2}, {2, 2}, {2, 2}); g.EndFigure();
             g.SetFillRule(FillRule::Winding); g.SetFillRule(FillRule::EvenOdd);
         },
         {R(1), B(2, 2), Q(2, 2, 2, 2, 2, 2), E()}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const auto g = Build(c.build);
        EXPECT_EQ(Record(*g), c.events);
        EXPECT_EQ(g->IsEmpty(), c.events.empty());
    }
    // The shortcuts go through the virtual three-point curve.
    struct Derived : Geometry {
        int calls = 0;
        void CurveTo(const Point<float>& a, const Point<float>& b, const Point<float>& c) override {
            ++calls, Geometry::CurveTo(a, b, c);
        }
        using Geometry::CurveTo;
    } d;
    static_cast<Geometry&>(d).CurveTo({1, 1}, {2, 0});
    d.Ellipse({0, 0, 2, 2});
    EXPECT_EQ(d.calls, 5);
}

TEST(Geometry, LastPointBoundAndTransform) {
    Geometry g;
    Point<float> p(-1, -1);
    EXPECT_FALSE(g.GetLastPoint(&p) || g.GetLastPoint(nullptr));
    EXPECT_EQ(p, Point<float>(-1, -1));
    // Empty: the all-zero rectangle through the matrix.
    EXPECT_EQ(g.GetBound(Matrix(1, 0, 0, 1, 7, -3)), Rect<float>(7, -3, 7, -3));
    // Every point counts, control points and an unfinished figure's too; the
    // box of the box under a quarter turn.
    g.BeginFigure(Point<float>(5, 6));
    g.CurveTo(Point<float>(10, -20), Point<float>(30, 50), Point<float>(40, 0));
    EXPECT_TRUE(g.GetLastPoint(&p) && p == Point<float>(40, 0));
    EXPECT_EQ(g.GetBound(Matrix()), Rect<float>(5, -20, 40, 50));
    EXPECT_EQ(g.GetBound(Matrix(2, 0, 0, -1, 1, 1)), Rect<float>(11, -49, 81, 21));
    EXPECT_EQ(g.GetBound(Matrix(0, 1, -1, 0, 0, 0)), Rect<float>(-50, 5, 20, 40));
    g.EndFigure();
    g.Rectangle(Rect<float>(10, 20, 30, 40));
    EXPECT_TRUE(g.GetLastPoint(&p) && p == Point<float>(10, 20));
    // x' = 2x - y + 10, y' = 3x + y / 2 - 1; the identity passes the stream as
    // it is; nothing for an unfinished figure or no sink.
    Geometry h;
    h.SetFillRule(FillRule::EvenOdd); h.BeginFigure({1, 2}); h.LineTo({3, 4}); h.CurveTo({5, 6}, {7, 8}, {9, 10});
    h.EndFigure(); h.Rectangle({0, 0, 1, 1});
    const Matrix m(2, 3, -1, 0.5f, 10, -1), identity;
    EXPECT_EQ(Record(h, &m), (Events{R(1), B(10, 3), L(12, 10), Q(14, 17, 16, 24, 18, 31), E(), B(10, -1), L(12, 2),
                                     L(11, 2.5f), L(9, -0.5f), C()}));
    EXPECT_EQ(Record(h, &identity), Record(h));
    h.Transform(m, nullptr);
    Geometry pending;
    pending.BeginFigure(Point<float>(1, 1));
    EXPECT_TRUE(Record(pending, &m).empty());
}

TEST(Geometry, IsRectangle) {
    auto rect = [](const Rect<float>& r) { return Build([=](Geometry& g) { g.Rectangle(r); }); };
    auto poly = [](std::initializer_list<Point<float>> points, bool close) {
        return Build([=](Geometry& g) { Polyline(g, points, close); });
    };
    const float c = std::cos(0.5f), s = std::sin(0.5f);
    struct Case { std::shared_ptr<Geometry> geometry; Matrix m; bool is; Rect<float> r; };
    const Case cases[] = {
        {rect({1, 2, 5, 7}), Matrix(-2, 0, 0, 3, 10, 20), true, {0, 26, 8, 41}},  // mirrored
        {rect({1, 2, 5, 7}), Matrix(0, 1, -1, 0, 0, 0), true, {-7, 1, -2, 5}},     // a quarter turn
        {rect({5, 7, 1, 2}), Matrix(), true, {1, 2, 5, 7}},                        // corners ordered
        {rect({1, 2, 5, 7}), Matrix(c, s, -s, c, 0, 0), false, {}},
        // Open figures count; four lines only when back on the start.
        {poly({{1, 2}, {5, 2}, {5, 7}, {1, 7}, {1, 2}}, false), Matrix(), true, {1, 2, 5, 7}},
        {poly({{1, 2}, {5, 2}, {5, 7}, {1, 7}, {1, 3}}, true), Matrix(), false, {}},
        {poly({{0, 0}, {4, 0}, {3, 2}, {0, 2}}, true), Matrix(), false, {}},
        {rect({3, 3, 3, 3}), Matrix(), false, {}},
        {Build([](Geometry& g) {  // a curve for a side
             g.BeginFigure({0, 0}); g.LineTo({4, 0}); g.CurveTo({4, 0}, {4, 2}, {4, 2}); g.LineTo({0, 2});
             g.EndFigureClose();
         }),
         Matrix(), false, {}},
        {Build([](Geometry& g) { g.Rectangle({0, 0, 1, 1}); g.Rectangle({2, 2, 3, 3}); }), Matrix(), false, {}},
        // An unfinished figure does not count.
        {Build([](Geometry& g) { g.Rectangle({0, 0, 1, 1}); g.BeginFigure({9, 9}); g.LineTo({8, 8}); }), Matrix(), true,
         {0, 0, 1, 1}},
    };
    for (const Case& c : cases) {
        Rect<float> r(-1, -1, -1, -1);
        EXPECT_EQ(c.geometry->IsRectangle(c.m, &r), c.is) << &c - cases;
        EXPECT_EQ(r, c.is ? c.r : Rect<float>(-1, -1, -1, -1)) << &c - cases;  // left alone on failure
        EXPECT_EQ(c.geometry->IsRectangle(c.m, nullptr), c.is) << &c - cases;
    }
}

TEST(Geometry, IsEqual) {
    auto make = [](FillRule::Enum rule) {
        return Build([=](Geometry& g) { g.SetFillRule(rule); g.Rectangle({1, 2, 5, 7}); g.Ellipse({0, 0, 4, 4}); });
    };
    auto a = make(FillRule::Winding);
    EXPECT_TRUE(a->IsEqual(make(FillRule::Winding)) && a->IsEqual(a));
    EXPECT_FALSE(a->IsEqual(nullptr) || a->IsEqual(make(FillRule::EvenOdd)));
    // Empty geometries are equal whatever their rules; an unfinished figure leaves one empty.
    auto empty = std::make_shared<Geometry>();
    auto pending = Build([](Geometry& g) { g.SetFillRule(FillRule::EvenOdd); g.BeginFigure({100, 100}); });
    EXPECT_TRUE(empty->IsEqual(pending));
    EXPECT_FALSE(empty->IsEqual(a) || a->IsEqual(empty));
    // Pairs of the same bound that differ in one thing each.
    auto line = [](bool close, Point<float> end) {
        return Build([=](Geometry& g) { Polyline(g, {{0, 0}, {1, 1}, {2, 2}, end}, close); });
    };
    const std::shared_ptr<Geometry> differ[] = {
        line(true, {3, 3}),  // closed
        Build([](Geometry& g) { Polyline(g, {{0, 0}, {1, 1}}); Polyline(g, {{1, 1}, {2, 2}, {3, 3}}); }),  // split
        Build([](Geometry& g) { g.BeginFigure({0, 0}); g.CurveTo({1, 1}, {2, 2}, {3, 3}); g.EndFigure(); }),  // a curve
        line(false, {3, 2.5f}),
    };
    const auto base = line(false, {3, 3});
    for (const auto& other : differ) EXPECT_FALSE(base->IsEqual(other) || other->IsEqual(base));
    auto segments = [](bool curveFirst) {  // the same points as a line and a curve, in either order
        return Build([=](Geometry& g) {
            g.BeginFigure({0, 0});
            if (curveFirst) { g.CurveTo({1, 1}, {2, 2}, {3, 3}); g.LineTo({4, 4}); }
            else { g.LineTo({1, 1}); g.CurveTo({2, 2}, {3, 3}, {4, 4}); }
            g.EndFigure();
        });
    };
    EXPECT_FALSE(segments(true)->IsEqual(segments(false)));
    auto nan = line(false, {kNaN, 0.5f});
    EXPECT_FALSE(nan->IsEqual(nan));
}

// A geometry emptied for reuse (a stroke's outline, kept from stroke to
// stroke) is a new one again, and builds what a new one builds; a figure
// something else still holds is left alone.
TEST(Geometry, ResetForReuseStartsOver) {
    auto used = std::make_shared<Geometry>();
    used->SetFillRule(FillRule::EvenOdd);
    used->Ellipse(Rect<float>(0, 0, 40, 20));
    used->Rectangle(Rect<float>(-5, -5, 5, 5));
    used->BeginFigure(Point<float>(100, 100));  // left open
    used->LineTo(Point<float>(120, 90));
    const std::shared_ptr<Figure> held = GeometryAccess::GetShape(*used).GetFigures()[0];
    const std::size_t heldPoints = held->points.size();
    ASSERT_TRUE(GeometryAccess::Reset(*used));
    EXPECT_TRUE(used->IsEmpty());
    EXPECT_FALSE(GeometryAccess::GetShape(*used).HasActiveFigure());
    EXPECT_EQ(used->GetFillRule(), FillRule::Winding);
    EXPECT_EQ(used->GetBound(Matrix()), Rect<float>());
    EXPECT_EQ(held->points.size(), heldPoints);

    auto fresh = std::make_shared<Geometry>();
    for (const auto& g : {used, fresh}) {
        g->RoundRectangle(Rect<float>(1, 2, 30, 40), 5, 7);
        g->Rectangle(Rect<float>(3, 3, 9, 9));
        g->BeginFigure(Point<float>(7, 7));
        g->LineTo(Point<float>(8, 9));
        g->EndFigure();
    }
    EXPECT_TRUE(used->IsEqual(fresh));
    EXPECT_EQ(used->GetBound(Matrix()), fresh->GetBound(Matrix()));
    for (const auto& figure : GeometryAccess::GetShape(*used).GetFigures()) EXPECT_NE(figure, held);
}

TEST(Figure, BuildingAndSending) {
    Figure f;
    Point<float> p;
    EXPECT_FALSE(f.GetStartPoint(&p) || f.GetLastPoint(&p));
    EXPECT_TRUE(Send(f).empty());
    // A line to the last point is dropped, a curve of equal points kept; a
    // line to the front point too, when built backward.
    f.StartAt({1, 1}); f.LineTo({1, 1}); f.LineTo({2, 1}); f.CurveTo({2, 1}, {2, 1}, {2, 1});
    f.LineToReverse({1, 1}); f.LineToReverse({0, 0}); f.CurveToReverse({-3, 0}, {-2, 0}, {-1, 0});
    EXPECT_EQ(f.commands, (Commands{1, 0, 0, 1}));
    EXPECT_EQ(f.points, (Points{{-3, 0}, {-2, 0}, {-1, 0}, {0, 0}, {1, 1}, {2, 1}, {2, 1}, {2, 1}, {2, 1}}));
    EXPECT_TRUE(f.GetLastPoint(&p) && p == Point<float>(2, 1));
    // A closed figure ends where it started.
    f.Close();
    EXPECT_TRUE(f.GetLastPoint(&p) && p == Point<float>(-3, 0));
    EXPECT_EQ(Send(f), (Events{B(-3, 0), Q(-2, 0, -1, 0, 0, 0), L(1, 1), L(2, 1), Q(2, 1, 2, 1, 2, 1), C()}));
    f.SendToSink(nullptr);
    // StartAt forgets everything, the closed flag included.
    f.StartAt(Point<float>(5, 5));
    EXPECT_EQ(Send(f), (Events{B(5, 5), E()}));
    // Readers skip unknown commands and stop where a command wants more
    // points than there are.
    Figure odd;
    odd.points = {{0, 0}, {1, 0}, {2, 0}, {3, 0}, {4, 0}};
    odd.commands = {0, 7, -1, 1};
    EXPECT_EQ(Send(odd), (Events{B(0, 0), L(1, 0), Q(2, 0, 3, 0, 4, 0), E()}));
    odd.points = {{0, 0}, {1, 0}, {2, 0}};
    odd.commands = {0, 1, 0};
    EXPECT_EQ(Send(odd), (Events{B(0, 0), L(1, 0), E()}));
}

TEST(Figure, JoinFigure) {
    auto curved = Make({{1, 1}, {2, 1}});
    curved->CurveTo(Point<float>(3, 1), Point<float>(3, 2), Point<float>(2, 2));
    struct Case { std::shared_ptr<Figure> a, b; bool reverse; Points points; Commands commands; };
    // The other's start is dropped where it meets this figure's end (or, reversed,
    // its start); a curve keeps its three points in stored order, even reversed.
    const Case cases[] = {
        {Make({{0, 0}, {1, 0}, {1, 1}}), curved, false,
         {{0, 0}, {1, 0}, {1, 1}, {2, 1}, {3, 1}, {3, 2}, {2, 2}}, {0, 0, 0, 1}},
        {Make({{0, 0}, {1, 0}}), Make({{5, 5}, {6, 5}}), false, {{0, 0}, {1, 0}, {5, 5}, {6, 5}}, {0, 0, 0}},
        {Make({{0, 0}, {1, 0}}), Make({{0, 0}, {0, 1}}), true, {{0, 1}, {0, 0}, {1, 0}}, {0, 0}},
        {Make({{0, 0}, {1, 0}}), curved, true, {{3, 1}, {3, 2}, {2, 2}, {2, 1}, {1, 1}, {0, 0}, {1, 0}}, {1, 0, 0, 0}},
        {std::make_shared<Figure>(), Make({{1, 1}, {2, 1}, {3, 1}}), true, {{3, 1}, {2, 1}, {1, 1}}, {0, 0}},  // empty
    };
    for (const Case& c : cases) {
        c.reverse ? c.a->JoinFigureReverse(c.b) : c.a->JoinFigure(c.b);
        c.a->JoinFigure(nullptr);  // null and empty figures add nothing
        c.a->JoinFigureReverse(std::make_shared<Figure>());
        EXPECT_TRUE(c.a->points == c.points && c.a->commands == c.commands) << &c - cases;
    }
    // An empty figure is reset first; a figure joined to itself appends a copy.
    auto e = std::make_shared<Figure>();
    e->closed = true;
    e->JoinFigure(Make({{5, 5}, {6, 5}}));
    EXPECT_TRUE(!e->closed && e->commands == Commands{0});
    auto self = Make({{0, 0}, {1, 0}});
    self->JoinFigure(self);
    EXPECT_EQ(self->points, (Points{{0, 0}, {1, 0}, {0, 0}, {1, 0}}));
}

// Random pushes at both ends, clears, copies and assignments, step by step
// against a deque, across the inline room and several growths.
TEST(FigureSequence, MatchesDeque) {
    std::mt19937 rng(12345);
    for (int round = 0; round < 200; ++round) {
        FigureSequence<std::int32_t, 4> s;
        std::deque<std::int32_t> d;
        for (int step = static_cast<int>(rng() % 300); step > 0; --step) {
            const std::uint32_t op = rng() % 100;
            const std::int32_t v = static_cast<std::int32_t>(rng());
            if (op < 45) {
                s.push_back(v), d.push_back(v);
            } else if (op < 90) {
                s.push_front(v), d.push_front(v);
            } else if (op < 92) {
                s.clear(), d.clear();
            } else if (op < 95) {
                FigureSequence<std::int32_t, 4> copy(s);
                copy.push_front(v);
                copy.push_back(v);
                s = copy;
                d.push_front(v), d.push_back(v);
            } else if (op < 97) {
                s = {v, 1, 2}, d = {v, 1, 2};
            } else {
                FigureSequence<std::int32_t, 4> other;
                for (int k = static_cast<int>(rng() % 12); k > 0; --k) other.push_front(k);
                other = s;
                s = other;
                const FigureSequence<std::int32_t, 4>& alias = s;
                s = alias;
            }
            ASSERT_TRUE(s.size() == d.size() && s == d && std::deque<std::int32_t>(s.begin(), s.end()) == d) << round;
            ASSERT_TRUE(d.empty() || (s.front() == d.front() && s.back() == d.back()));
        }
    }
}

TEST(BezierFlattener, WalksWorkedByHand) {
    // Dyadic differences make the walk exact. e0 = (24, -24), e1 = (-24, -24):
    // at tolerance 1 (limit 6) one halving gives two steps of 1/2; at 0.5 two
    // give four of 1/4, no doubling (|e0.y| = 1.5 exceeds the limit 0.75).
    const Point<float> p0(0, 0), p1(0, 4), p2(4, 4), p3(4, 0);
    BezierFlattener f(1.0f);
    f.SetPoints(p0, p1, p2, p3);
    EXPECT_EQ(std::make_pair(f.GetSteps(), f.GetStepSize()), std::make_pair(2u, 0.5f));
    Point<float> p;
    ASSERT_TRUE(f.NextPoint(&p) && p == Point<float>(2, 3));
    EXPECT_FALSE(f.NextPoint(&p) || f.NextPoint(nullptr));
    const Walk quarter = WalkCurve(0.5f, p0, p1, p2, p3);
    EXPECT_EQ(quarter.points, (std::vector<Point<float>>{{0.625f, 2.25f}, {2, 3}, {3.375f, 2.25f}}));
    EXPECT_EQ(quarter.params, (std::vector<double>{0.25, 0.5, 0.75}));
    // An S curve at 0.25: steps of 1/64 to t = 22/64, 1/32 across the flat
    // middle to 42/64, then 1/64 to 63/64; exact at t = 1/4, 1/2, 3/4.
    const Point<float> s0(0, 0), s1(100, 300), s2(300, -200), s3(400, 100);
    f = BezierFlattener(0.25f);
    f.SetPoints(s0, s1, s2, s3);
    EXPECT_EQ(f.GetSteps(), 64u);
    const Walk w = WalkCurve(0.25f, s0, s1, s2, s3);
    ASSERT_EQ(w.points.size(), 53u);
    for (std::size_t i = 0; i < w.points.size(); ++i) {
        const double t = i < 22 ? (i + 1) / 64.0 : i < 32 ? (22 + 2 * (i - 21)) / 64.0 : (42 + (i - 31)) / 64.0;
        EXPECT_EQ(w.params[i], t) << i;
        EXPECT_EQ(w.stepSizes[i], i < 21 || i > 30 ? 1.0f / 64 : 1.0f / 32) << i;
        const Point<double> c = Bezier(t, s0, s1, s2, s3);
        EXPECT_TRUE(std::fabs(w.points[i].x - c.x) < 1e-3 && std::fabs(w.points[i].y - c.y) < 1e-3) << i;
    }
    EXPECT_TRUE(w.points[15] == Point<float>(90.625f, 100) && w.points[26] == Point<float>(200, 50) &&
                w.points[37] == Point<float>(309.375f, 0));
    // No point: control points within the tolerance of the chord, or evenly
    // spaced on a line (no second difference).
    EXPECT_TRUE(WalkCurve(0.25f, {0, 0}, {1, 0.01f}, {2, -0.01f}, {3, 0}).points.empty());
    EXPECT_TRUE(WalkCurve(0.25f, {0, 0}, {100, 50}, {200, 100}, {300, 150}).points.empty());
    // Just past the limit (6 * 0.26 against 6 * 0.25): one point at t = 1/2.
    const Walk one = WalkCurve(0.25f, {0, 0}, {1, -0.13f}, {2, 0.13f}, {3, 0});
    ASSERT_EQ(one.params, std::vector<double>{0.5});
    EXPECT_TRUE(std::fabs(one.points[0].x - 1.5f) < 1e-6f && std::fabs(one.points[0].y) < 1e-7f);
}

TEST(BezierFlattener, ToleranceFloorAndBadInput) {
    EXPECT_EQ(BezierFlattener::Epsilon, 0x1p-23f);
    for (float t : {0.0f, -5.0f, 1e-30f}) EXPECT_EQ(BezierFlattener(t).GetTolerance(), BezierFlattener::Epsilon);
    // Tolerance 0: differences of 600 come within 6 epsilon after 15 halvings;
    // on a large curve the least step stops at 23: 2^23 - 1 finite points.
    BezierFlattener f(0.0f);
    f.SetPoints(Point<float>(0, 0), Point<float>(0, 100), Point<float>(100, 100), Point<float>(100, 0));
    EXPECT_EQ(f.GetSteps(), 1u << 15);
    f.SetPoints(Point<float>(0, 0), Point<float>(0, 1e7f), Point<float>(1e7f, 1e7f), Point<float>(1e7f, 0));
    EXPECT_EQ(std::make_pair(f.GetSteps(), f.GetStepSize()), std::make_pair(1u << 23, BezierFlattener::Epsilon));
    unsigned long n = 0;
    Point<float> p;
    while (f.NextPoint(&p)) ++n;
    EXPECT_TRUE(n == (1ul << 23) - 1 && std::isfinite(p.x) && std::isfinite(p.y)) << n;
    // Infinite and NaN tolerances never halve; NaN points make no point.
    for (float t : {kInf, kNaN}) EXPECT_TRUE(WalkCurve(t, {0, 0}, {0, 100}, {100, 100}, {100, 0}).points.empty());
    EXPECT_TRUE(WalkCurve(0.25f, {0, 0}, {kNaN, kNaN}, {1, 0}, {2, 0}).points.empty());
}

TEST(Flattener, ReplacesCurvesByLinesEndingOnTheEndPoint) {
    // A curve starts at the last point given, whether by BeginFigure or
    // LineTo; evenly spaced control points give the end point alone.
    const Events events = Through(
        [](GeometrySink& g) {
            g.SetFillRule(FillRule::EvenOdd); g.BeginFigure({-10, -10}); g.LineTo({0, 0});
            g.CurveTo({0, 4}, {4, 4}, {4, 0}); g.CurveTo({5, 0}, {6, 0}, {7, 0}); g.EndFigureClose();
            g.BeginFigure({0, 0}); g.CurveTo({0, 4}, {4, 4}, {4, 0}); g.EndFigure();
        },
        [](std::shared_ptr<GeometrySink> sink) { return std::make_shared<Flattener>(0.5f, sink); });
    EXPECT_EQ(events, (Events{R(1), B(-10, -10), L(0, 0), L(0.625f, 2.25f), L(2, 3), L(3.375f, 2.25f), L(4, 0), L(7, 0),
                              C(), B(0, 0), L(0.625f, 2.25f), L(2, 3), L(3.375f, 2.25f), L(4, 0), E()}));
    // Bad curves pass as bounded lines ending on the end point; a null sink is quiet.
    auto count = std::make_shared<CountingSink>();
    Flattener flattener(0.25f, count);
    flattener.BeginFigure(Point<float>(0, 0));
    flattener.CurveTo(Point<float>(kNaN, kNaN), Point<float>(kNaN, kNaN), Point<float>(5, 5));
    EXPECT_EQ(count->lines, 1u);
    flattener.CurveTo(Point<float>(kInf, 0), Point<float>(0, -kInf), Point<float>(6, 6));
    const float huge = std::numeric_limits<float>::max();  // the walk still ends
    flattener.CurveTo(Point<float>(-huge, huge), Point<float>(huge, -huge), Point<float>(7, 7));
    EXPECT_TRUE(count->lines <= 3u + (2u << 23) && count->last == Point<float>(7, 7) && count->curves == 0u);
    Flattener none(0.25f, nullptr);
    none.CurveTo(Point<float>(0, 100), Point<float>(100, 100), Point<float>(100, 0));
    Polyline(none, {{0, 0}, {1, 1}}, true);
}
