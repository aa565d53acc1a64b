#include "geometry/BoundCalculator.h"
#include "geometry/Figure.h"
#include "geometry/Transformer.h"

#include "RecordingSink.h"

#include <gtest/gtest.h>

#include <deque>
#include <memory>
#include <random>
#include <vector>

using namespace Graphics;
using namespace GraphicsTest;

namespace {

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

}  // namespace

TEST(Figure, BuildingAndSending) {
    Figure f;
    Point<float> p;
    EXPECT_FALSE(f.GetStartPoint(&p) || f.GetLastPoint(&p));
    EXPECT_TRUE(Send(f).empty());
    // A line to the last point is dropped, a curve of equal points kept; a
    // line to the front point too, when built backward.
    f.StartAt(Point<float>(1, 1));
    f.LineTo(Point<float>(1, 1));
    f.LineTo(Point<float>(2, 1));
    f.CurveTo(Point<float>(2, 1), Point<float>(2, 1), Point<float>(2, 1));
    f.LineToReverse(Point<float>(1, 1));
    f.LineToReverse(Point<float>(0, 0));
    f.CurveToReverse(Point<float>(-3, 0), Point<float>(-2, 0), Point<float>(-1, 0));
    EXPECT_EQ(f.commands, (Commands{1, 0, 0, 1}));
    EXPECT_EQ(f.points, (Points{{-3, 0}, {-2, 0}, {-1, 0}, {0, 0}, {1, 1}, {2, 1}, {2, 1}, {2, 1}, {2, 1}}));
    EXPECT_TRUE(f.GetLastPoint(&p));
    EXPECT_EQ(p, Point<float>(2, 1));
    // A closed figure ends where it started.
    f.Close();
    EXPECT_TRUE(f.GetLastPoint(&p));
    EXPECT_EQ(p, Point<float>(-3, 0));
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
    odd.commands = {0, 0, 2};
    EXPECT_FALSE(odd.IsRectangle(Matrix(), nullptr));
    auto shortList = std::make_shared<Figure>();
    shortList->points = {{0, 0}, {1, 0}, {2, 0}};
    shortList->commands = {0, 1, 0};
    EXPECT_EQ(Send(*shortList), (Events{B(0, 0), L(1, 0), E()}));
    auto joined = Make({{-1, 0}});
    joined->JoinFigure(shortList);
    joined->JoinFigureReverse(shortList);
    EXPECT_EQ(joined->points, (Points{{1, 0}, {0, 0}, {-1, 0}, {0, 0}, {1, 0}}));
}

TEST(Figure, JoinFigure) {
    auto curved = Make({{1, 1}, {2, 1}});
    curved->CurveTo(Point<float>(3, 1), Point<float>(3, 2), Point<float>(2, 2));
    struct Case {
        std::shared_ptr<Figure> a, b;
        bool reverse;
        Points points;
        Commands commands;
    };
    const Case cases[] = {
        // The other's start is dropped where it meets this figure's end (or,
        // reversed, its start); a curve keeps its block of three points, in
        // their stored order even when reversed.
        {Make({{0, 0}, {1, 0}, {1, 1}}), curved, false,
         {{0, 0}, {1, 0}, {1, 1}, {2, 1}, {3, 1}, {3, 2}, {2, 2}}, {0, 0, 0, 1}},
        {Make({{0, 0}, {1, 0}}), Make({{5, 5}, {6, 5}}), false, {{0, 0}, {1, 0}, {5, 5}, {6, 5}}, {0, 0, 0}},
        {Make({{0, 0}, {1, 0}, {1, 1}}), Make({{1, 1}, {2, 1}, {2, 2}}), true,
         {{2, 2}, {2, 1}, {1, 1}, {0, 0}, {1, 0}, {1, 1}}, {0, 0, 0, 0, 0}},
        {Make({{0, 0}, {1, 0}}), Make({{0, 0}, {0, 1}}), true, {{0, 1}, {0, 0}, {1, 0}}, {0, 0}},
        {Make({{0, 0}, {1, 0}}), curved, true, {{3, 1}, {3, 2}, {2, 2}, {2, 1}, {1, 1}, {0, 0}, {1, 0}}, {1, 0, 0, 0}},
        // An empty figure takes the other's start.
        {std::make_shared<Figure>(), Make({{5, 5}, {6, 5}}), false, {{5, 5}, {6, 5}}, {0}},
        {std::make_shared<Figure>(), Make({{1, 1}, {2, 1}, {3, 1}}), true, {{3, 1}, {2, 1}, {1, 1}}, {0, 0}},
    };
    for (const Case& c : cases) {
        if (c.reverse)
            c.a->JoinFigureReverse(c.b);
        else
            c.a->JoinFigure(c.b);
        // Null and empty figures add nothing.
        c.a->JoinFigure(nullptr);
        c.a->JoinFigureReverse(std::make_shared<Figure>());
        EXPECT_EQ(c.a->points, c.points);
        EXPECT_EQ(c.a->commands, c.commands);
    }
    // An empty figure is reset first; a figure joined to itself appends a
    // copy of what it was.
    auto e = std::make_shared<Figure>();
    e->closed = true;
    e->commands = {0};
    e->JoinFigure(Make({{5, 5}, {6, 5}}));
    EXPECT_FALSE(e->closed);
    EXPECT_EQ(e->commands, (Commands{0}));
    auto self = Make({{0, 0}, {1, 0}});
    self->JoinFigure(self);
    EXPECT_EQ(self->points, (Points{{0, 0}, {1, 0}, {0, 0}, {1, 0}}));
    self = Make({{0, 0}, {1, 0}});
    self->JoinFigureReverse(self);
    EXPECT_EQ(self->points, (Points{{1, 0}, {0, 0}, {1, 0}}));

    // Equality is exact: points, commands, closed flag; -0 equals 0, NaN
    // nothing.
    auto a = Make({{0, 0}, {1, 0}, {1, 1}});
    EXPECT_TRUE(a->IsEqual(Make({{-0.0f, 0}, {1, 0}, {1, 1}})));
    EXPECT_FALSE(a->IsEqual(nullptr) || a->IsEqual(Make({{0, 0}, {1, 0}})) ||
                 a->IsEqual(Make({{0, 0}, {1, 0}, {1, 1.0000001f}})));
    auto closed = Make({{0, 0}, {1, 0}, {1, 1}});
    closed->Close();
    auto commands = std::make_shared<Figure>(*a);
    commands->commands = {0, 7};
    EXPECT_FALSE(a->IsEqual(closed) || a->IsEqual(commands));
    auto nan = Make({{0, 0}, {kNaN, 1}});
    EXPECT_FALSE(nan->IsEqual(nan));
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
                s.push_back(v);
                d.push_back(v);
            } else if (op < 90) {
                s.push_front(v);
                d.push_front(v);
            } else if (op < 92) {
                s.clear();
                d.clear();
            } else if (op < 95) {
                FigureSequence<std::int32_t, 4> copy(s);
                copy.push_front(v);
                copy.push_back(v);
                s = copy;
                d.push_front(v);
                d.push_back(v);
            } else if (op < 97) {
                s = {v, 1, 2};
                d = {v, 1, 2};
            } else {
                FigureSequence<std::int32_t, 4> other;
                for (int k = static_cast<int>(rng() % 12); k > 0; --k) other.push_front(k);
                other = s;
                s = other;
                const FigureSequence<std::int32_t, 4>& alias = s;
                s = alias;
            }
            ASSERT_EQ(s.size(), d.size());
            ASSERT_TRUE(s == d && std::deque<std::int32_t>(s.begin(), s.end()) == d) << "round " << round;
            ASSERT_TRUE(d.empty() || (s.front() == d.front() && s.back() == d.back()));
        }
    }
    // Copies are deep; NaN points compare unequal.
    FigureSequence<Point<float>, 2> a{{0, 0}, {1, 2}, {3, 4}}, b = a;
    b[1].x = 7;
    EXPECT_TRUE(a != b && a[1].x == 1);
    FigureSequence<Point<float>, 2> n{{kNaN, 0}};
    EXPECT_FALSE(n == n);
}

TEST(Transformer, MapsPointsAndPassesTheRest) {
    auto out = std::make_shared<RecordingSink>();
    Transformer t(Matrix(0, 1, -1, 0, 5, 6), out);
    t.SetFillRule(FillRule::EvenOdd);
    t.BeginFigure(Point<float>(1, 2));
    t.LineTo(Point<float>(3, 4));
    t.CurveTo(Point<float>(1, 0), Point<float>(0, 1), Point<float>(-1, -1));
    t.EndFigure();
    t.BeginFigure(Point<float>(0, 0));
    t.EndFigureClose();
    EXPECT_EQ(out->events, (Events{R(1), B(3, 7), L(1, 9), Q(5, 7, 4, 6, 6, 5), E(), B(5, 6), C()}));
    Transformer none(Matrix(), nullptr);
    none.SetFillRule(FillRule::Winding);
    none.CurveTo(Point<float>(1, 1), Point<float>(1, 1), Point<float>(1, 1));
    Polyline(none, {{0, 0}, {1, 1}});
    Polyline(none, {{0, 0}}, true);

    // The bound of every point given, control points included; the first
    // point replaces the all-zero rectangle.
    BoundCalculator b;
    EXPECT_TRUE(b.IsEmpty());
    b.BeginFigure(Point<float>(5, 6));
    EXPECT_EQ(b.GetBound(), Rect<float>(5, 6, 5, 6));
    b.LineTo(Point<float>(7, 2));
    b.CurveTo(Point<float>(4, 6), Point<float>(6, 9), Point<float>(6, 6));
    EXPECT_EQ(b.GetBound(), Rect<float>(4, 2, 7, 9));
}
