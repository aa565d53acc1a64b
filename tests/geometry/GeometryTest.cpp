#include "Graphics/Geometry.h"

#include "RecordingSink.h"
#include "geometry/Shape.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <memory>
#include <vector>

using namespace Graphics;
using namespace GraphicsTest;

namespace {

Events Record(const Geometry& geometry, const Matrix* m = nullptr) {
    auto sink = std::make_shared<RecordingSink>();
    if (m)
        geometry.Transform(*m, sink);
    else
        geometry.SendToSink(sink);
    return sink->events;
}

std::shared_ptr<Geometry> Build(const std::function<void(Geometry&)>& build) {
    auto g = std::make_shared<Geometry>();
    build(*g);
    return g;
}

}  // namespace

TEST(Geometry, StreamsWorkedByHand) {
    unsigned bits = 0x3F0D6289u;  // the Bezier circle constant
    float k;
    std::memcpy(&k, &bits, sizeof k);
    const float kx = 5 * k, ky = 10 * k, rx = 10 * k, ry = 5 * k, px = 50 * k, py = 25 * k;
    // The ellipse's sides come from its centre and radii, which need not
    // give back the rectangle's edges in float.
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
        {"rectangle", [](Geometry& g) { g.Rectangle(Rect<float>(1, 2, 5, 7)); },
         {R(0), B(1, 2), L(5, 2), L(5, 7), L(1, 7), C()}},
        {"inverted rectangle", [](Geometry& g) { g.Rectangle(Rect<float>(5, 7, 1, 2)); },
         {R(0), B(5, 7), L(1, 7), L(1, 2), L(5, 2), C()}},
        // Lines to the current point are dropped: a point, or one line.
        {"empty rectangle", [](Geometry& g) { g.Rectangle(Rect<float>(3, 3, 3, 3)); }, {R(0), B(3, 3), C()}},
        {"flat rectangle", [](Geometry& g) { g.Rectangle(Rect<float>(3, 1, 3, 4)); }, {R(0), B(3, 1), L(3, 4), C()}},
        {"ellipse", [](Geometry& g) { g.Ellipse(Rect<float>(0, 0, 10, 20)); },
         {R(0), B(5, 20), Q(5 - kx, 20, 0, 10 + ky, 0, 10), Q(0, 10 - ky, 5 - kx, 0, 5, 0),
          Q(5 + kx, 0, 10, 10 - ky, 10, 10), Q(10, 10 + ky, 5 + kx, 20, 5, 20), C()}},
        {"ellipse off the grid", [&](Geometry& g) { g.Ellipse(odd); },
         {R(0), B(cx, b), Q(cx - ox, b, l, cy + oy, l, cy), Q(l, cy - oy, cx - ox, t, cx, t),
          Q(cx + ox, t, r, cy - oy, r, cy), Q(r, cy + oy, cx + ox, b, cx, b), C()}},
        {"round rectangle", [](Geometry& g) { g.RoundRectangle(Rect<float>(0, 0, 100, 50), 10, 5); },
         {R(0), B(90, 0), Q(90 + rx, 0, 100, 5 - ry, 100, 5), L(100, 45), Q(100, 45 + ry, 90 + rx, 50, 90, 50),
          L(10, 50), Q(10 - rx, 50, 0, 45 + ry, 0, 45), L(0, 5), Q(0, 5 - ry, 10 - rx, 0, 10, 0), L(90, 0), C()}},
        // Radii are clamped to half the size: the lines between have no
        // length and are dropped. Zero radii still give four curves.
        {"pill", [](Geometry& g) { g.RoundRectangle(Rect<float>(0, 0, 100, 50), 80, 40); },
         {R(0), B(50, 0), Q(50 + px, 0, 100, 25 - py, 100, 25), Q(100, 25 + py, 50 + px, 50, 50, 50),
          Q(50 - px, 50, 0, 25 + py, 0, 25), Q(0, 25 - py, 50 - px, 0, 50, 0), C()}},
        {"square corners", [](Geometry& g) { g.RoundRectangle(Rect<float>(0, 0, 100, 50), 0, 0); },
         {R(0), B(100, 0), Q(100, 0, 100, 0, 100, 0), L(100, 50), Q(100, 50, 100, 50, 100, 50), L(0, 50),
          Q(0, 50, 0, 50, 0, 50), L(0, 0), Q(0, 0, 0, 0, 0, 0), L(100, 0), C()}},
        {"no ellipse or round rectangle without area",
         [](Geometry& g) {
             g.Ellipse(Rect<float>(1, 1, 1, 5));
             g.Ellipse(Rect<float>(1, 1, 5, 1));
             g.RoundRectangle(Rect<float>(2, 2, 2, 9), 1, 1);
             g.RoundRectangle(Rect<float>(2, 2, 9, 2), 1, 1);
         },
         {}},
        // Without an open figure, a line or curve begins one at the current
        // point: (0, 0) at first, the start of a closed figure, the end of an
        // open one. A figure begun but not ended is not sent; BeginFigure
        // ends an open figure as open; stray ends are ignored.
        {"first line", [](Geometry& g) { g.LineTo(Point<float>(5, 6)); }, {}},
        {"current points",
         [](Geometry& g) {
             g.EndFigure();
             g.LineTo(Point<float>(5, 6));
             g.EndFigure();
             g.Rectangle(Rect<float>(1, 2, 5, 7));
             g.LineTo(Point<float>(9, 9));
             g.EndFigureClose();
             g.CurveTo(Point<float>(5, 2), Point<float>(6, 3), Point<float>(7, 4));
             g.BeginFigure(Point<float>(3, 3));
             g.EndFigureClose();
             g.EndFigureClose();
         },
         {R(0), B(0, 0), L(5, 6), E(), B(1, 2), L(5, 2), L(5, 7), L(1, 7), C(), B(1, 2), L(9, 9), C(), B(1, 2),
          Q(5, 2, 6, 3, 7, 4), E(), B(3, 3), C()}},
        // The quadratic form takes the current point as first control, or
        // the control point itself where there is none.
        {"quadratic",
         [](Geometry& g) {
             g.CurveTo(Point<float>(3, 4), Point<float>(5, 6));
             g.CurveTo(Point<float>(1, 1), Point<float>(2, 0));
             g.EndFigure();
         },
         {R(0), B(0, 0), Q(3, 4, 3, 4, 5, 6), Q(5, 6, 1, 1, 2, 0), E()}},
        // A line to the current point adds nothing; a curve of equal points
        // stays. The fill rule may change after the figures.
        {"degenerate segments",
         [](Geometry& g) {
             g.SetFillRule(FillRule::EvenOdd);
             g.BeginFigure(Point<float>(2, 2));
             g.LineTo(Point<float>(2, 2));
             g.CurveTo(Point<float>(2, 2), Point<float>(2, 2), Point<float>(2, 2));
             g.LineTo(Point<float>(2, 2));
             g.EndFigure();
             g.SetFillRule(FillRule::Winding);
             g.SetFillRule(FillRule::EvenOdd);
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
            ++calls;
            Geometry::CurveTo(a, b, c);
        }
        using Geometry::CurveTo;
    };
    Derived d;
    static_cast<Geometry&>(d).CurveTo(Point<float>(1, 1), Point<float>(2, 0));
    d.Ellipse(Rect<float>(0, 0, 2, 2));
    EXPECT_EQ(d.calls, 5);
    // The figure list behind it ignores segments outside a figure.
    Shape shape;
    shape.LineTo(Point<float>(1, 1));
    shape.CurveTo(Point<float>(1, 1), Point<float>(2, 2), Point<float>(3, 3));
    shape.EndFigure();
    EXPECT_TRUE(shape.GetFigures().empty() && !shape.HasActiveFigure());
    EXPECT_EQ(shape.GetBound(), Rect<float>());
    // Made on the library's heap and deleted through the sink interface.
    GeometrySink* sink = new Geometry;
    sink->LineTo(Point<float>(2, 2));
    delete sink;
}

TEST(Geometry, LastPointBoundAndTransform) {
    Geometry g;
    Point<float> p(-1, -1);
    EXPECT_FALSE(g.GetLastPoint(&p) || g.GetLastPoint(nullptr));
    EXPECT_EQ(p, Point<float>(-1, -1));
    // Empty: the all-zero rectangle through the matrix.
    EXPECT_EQ(g.GetBound(Matrix(1, 0, 0, 1, 7, -3)), Rect<float>(7, -3, 7, -3));
    // The bound of every point, control points and an unfinished figure's
    // included; the box of the box under a quarter turn.
    g.BeginFigure(Point<float>(5, 6));
    EXPECT_EQ(g.GetBound(Matrix()), Rect<float>(5, 6, 5, 6));
    g.CurveTo(Point<float>(10, -20), Point<float>(30, 50), Point<float>(40, 0));
    EXPECT_TRUE(g.GetLastPoint(&p));
    EXPECT_EQ(p, Point<float>(40, 0));
    EXPECT_EQ(g.GetBound(Matrix()), Rect<float>(5, -20, 40, 50));
    EXPECT_EQ(g.GetBound(Matrix(2, 0, 0, -1, 1, 1)), Rect<float>(11, -49, 81, 21));
    EXPECT_EQ(g.GetBound(Matrix(0, 1, -1, 0, 0, 0)), Rect<float>(-50, 5, 20, 40));
    g.EndFigure();
    g.Rectangle(Rect<float>(10, 20, 30, 40));
    EXPECT_TRUE(g.GetLastPoint(&p));
    EXPECT_EQ(p, Point<float>(10, 20));
    Geometry big;
    Polyline(big, {{1e30f, -1e30f}, {kInf, 0}, {kNaN, kNaN}}, true);
    EXPECT_EQ(big.GetBound(Matrix()).right, kInf);
    EXPECT_EQ(big.GetBound(Matrix()).top, -1e30f);

    // x' = 2x - y + 10, y' = 3x + y / 2 - 1 on every point; the identity
    // passes the stream as it is; nothing for an empty geometry or no sink.
    Geometry h;
    h.SetFillRule(FillRule::EvenOdd);
    h.BeginFigure(Point<float>(1, 2));
    h.LineTo(Point<float>(3, 4));
    h.CurveTo(Point<float>(5, 6), Point<float>(7, 8), Point<float>(9, 10));
    h.EndFigure();
    h.Rectangle(Rect<float>(0, 0, 1, 1));
    const Matrix m(2, 3, -1, 0.5f, 10, -1), identity;
    EXPECT_EQ(Record(h, &m), (Events{R(1), B(10, 3), L(12, 10), Q(14, 17, 16, 24, 18, 31), E(), B(10, -1), L(12, 2),
                                     L(11, 2.5f), L(9, -0.5f), C()}));
    EXPECT_EQ(Record(h, &identity), Record(h));
    h.Transform(m, nullptr);
    h.SendToSink(nullptr);
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
    struct Case {
        std::shared_ptr<Geometry> geometry;
        Matrix m;
        bool is;
        Rect<float> r;
    };
    const Case cases[] = {
        {rect({1, 2, 5, 7}), Matrix(), true, {1, 2, 5, 7}},
        {rect({1, 2, 5, 7}), Matrix(-2, 0, 0, 3, 10, 20), true, {0, 26, 8, 41}},  // mirrored
        {rect({1, 2, 5, 7}), Matrix(0, 1, -1, 0, 0, 0), true, {-7, 1, -2, 5}},     // a quarter turn
        {rect({5, 7, 1, 2}), Matrix(), true, {1, 2, 5, 7}},                        // corners ordered
        {rect({1, 2, 5, 7}), Matrix(c, s, -s, c, 0, 0), false, {}},
        {rect({1, 2, 5, 7}), Matrix(1, 0, 0.5f, 1, 0, 0), false, {}},
        {rect({1, 2, 5, 7}), Matrix(kNaN, 0, 0, 1, 0, 0), false, {}},
        // Open figures count; four lines only when back on the start.
        {poly({{1, 2}, {1, 7}, {5, 7}, {5, 2}}, false), Matrix(), true, {1, 2, 5, 7}},
        {poly({{1, 2}, {5, 2}, {5, 7}, {1, 7}, {1, 2}}, false), Matrix(), true, {1, 2, 5, 7}},
        {poly({{1, 2}, {5, 2}, {5, 7}, {1, 7}, {1, 3}}, true), Matrix(), false, {}},
        {poly({{0, 0}, {4, 0}, {3, 2}, {0, 2}}, true), Matrix(), false, {}},
        {rect({3, 3, 3, 3}), Matrix(), false, {}},
        {rect({kNaN, 0, 1, 1}), Matrix(), false, {}},
        {std::make_shared<Geometry>(), Matrix(), false, {}},
        {Build([](Geometry& g) {
             g.BeginFigure(Point<float>(0, 0));
             g.LineTo(Point<float>(4, 0));
             g.CurveTo(Point<float>(4, 0), Point<float>(4, 2), Point<float>(4, 2));
             g.LineTo(Point<float>(0, 2));
             g.EndFigureClose();
         }),
         Matrix(), false, {}},
        {Build([](Geometry& g) {
             g.Rectangle(Rect<float>(0, 0, 1, 1));
             g.Rectangle(Rect<float>(2, 2, 3, 3));
         }),
         Matrix(), false, {}},
        // An unfinished figure does not count.
        {Build([](Geometry& g) {
             g.Rectangle(Rect<float>(0, 0, 1, 1));
             g.BeginFigure(Point<float>(9, 9));
             g.LineTo(Point<float>(8, 8));
         }),
         Matrix(), true, {0, 0, 1, 1}},
    };
    for (std::size_t i = 0; i < sizeof cases / sizeof cases[0]; ++i) {
        Rect<float> r(-1, -1, -1, -1);
        EXPECT_EQ(cases[i].geometry->IsRectangle(cases[i].m, &r), cases[i].is) << i;
        EXPECT_EQ(r, cases[i].is ? cases[i].r : Rect<float>(-1, -1, -1, -1)) << i;  // left alone on failure
        EXPECT_EQ(cases[i].geometry->IsRectangle(cases[i].m, nullptr), cases[i].is) << i;
    }
}

TEST(Geometry, IsEqual) {
    auto make = [](FillRule::Enum rule) {
        return Build([=](Geometry& g) {
            g.SetFillRule(rule);
            g.Rectangle(Rect<float>(1, 2, 5, 7));
            g.Ellipse(Rect<float>(0, 0, 4, 4));
        });
    };
    auto a = make(FillRule::Winding);
    EXPECT_TRUE(a->IsEqual(make(FillRule::Winding)) && a->IsEqual(a));
    EXPECT_FALSE(a->IsEqual(nullptr) || a->IsEqual(make(FillRule::EvenOdd)));
    // Empty geometries are equal whatever their rules; an unfinished figure
    // leaves one empty, yet its points widen the bound, which is compared.
    auto empty = std::make_shared<Geometry>();
    auto pending = Build([](Geometry& g) {
        g.SetFillRule(FillRule::EvenOdd);
        g.BeginFigure(Point<float>(100, 100));
        g.LineTo(Point<float>(200, 100));
    });
    EXPECT_TRUE(empty->IsEqual(pending));
    EXPECT_FALSE(empty->IsEqual(a) || a->IsEqual(empty));
    auto wider = make(FillRule::Winding), inside = make(FillRule::Winding);
    wider->BeginFigure(Point<float>(100, 100));
    inside->BeginFigure(Point<float>(2, 3));
    EXPECT_FALSE(a->IsEqual(wider));
    EXPECT_TRUE(a->IsEqual(inside));

    // Pairs of the same bound that differ in one thing each.
    auto line = [](bool close, Point<float> end) {
        return Build([=](Geometry& g) { Polyline(g, {{0, 0}, {1, 1}, end}, close); });
    };
    const std::pair<std::shared_ptr<Geometry>, std::shared_ptr<Geometry>> differ[] = {
        {line(false, {2, 2}), line(true, {2, 2})},  // open against closed
        {line(false, {2, 2}), Build([](Geometry& g) {
             Polyline(g, {{0, 0}, {1, 1}});
             Polyline(g, {{1, 1}, {2, 2}});
         })},  // split into figures
        {line(false, {2, 2}), Build([](Geometry& g) {
             g.BeginFigure(Point<float>(0, 0));
             g.LineTo(Point<float>(1, 1));
             g.CurveTo(Point<float>(1, 1), Point<float>(2, 2), Point<float>(2, 2));
             g.EndFigure();
         })},  // a line against a curve
        {line(false, {2, 2}), line(false, {2, 1.5f})},
    };
    for (const auto& pair : differ) EXPECT_FALSE(pair.first->IsEqual(pair.second) || pair.second->IsEqual(pair.first));
    auto nan = line(false, {kNaN, 0.5f});
    EXPECT_FALSE(nan->IsEqual(nan));
}
