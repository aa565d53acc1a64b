#include "geometry/BoundCalculator.h"
#include "geometry/Figure.h"
#include "geometry/Transformer.h"

#include "RecordingSink.h"

#include <gtest/gtest.h>

#include <deque>
#include <limits>
#include <memory>
#include <vector>

using namespace Graphics;
using namespace GraphicsTest;

namespace {

using Events = std::vector<SinkEvent>;
using Points = std::deque<Point<float>>;
using Commands = std::deque<std::int32_t>;

std::shared_ptr<Figure> Polyline(std::initializer_list<Point<float>> points) {
    auto f = std::make_shared<Figure>();
    bool first = true;
    for (const Point<float>& p : points) {
        if (first)
            f->StartAt(p);
        else
            f->LineTo(p);
        first = false;
    }
    return f;
}

Events Send(const Figure& f) {
    auto sink = std::make_shared<RecordingSink>();
    f.SendToSink(sink);
    return sink->events;
}

}  // namespace

TEST(Figure, BuildingForwardAndBackward) {
    Figure f;
    Point<float> p;
    EXPECT_FALSE(f.GetStartPoint(&p));
    EXPECT_FALSE(f.GetLastPoint(&p));
    EXPECT_EQ(Send(f), Events{});

    f.StartAt(Point<float>(1, 1));
    f.LineTo(Point<float>(1, 1));  // dropped
    f.LineTo(Point<float>(2, 1));
    f.CurveTo(Point<float>(2, 1), Point<float>(2, 1), Point<float>(2, 1));  // kept
    EXPECT_EQ(f.commands, (Commands{0, 1}));
    EXPECT_EQ(f.points.size(), 5u);

    f.LineToReverse(Point<float>(1, 1));  // the first point: dropped
    f.LineToReverse(Point<float>(0, 0));
    f.CurveToReverse(Point<float>(-3, 0), Point<float>(-2, 0), Point<float>(-1, 0));
    EXPECT_EQ(f.commands, (Commands{1, 0, 0, 1}));
    EXPECT_EQ(f.points, (Points{{-3, 0}, {-2, 0}, {-1, 0}, {0, 0}, {1, 1}, {2, 1}, {2, 1}, {2, 1}, {2, 1}}));
    EXPECT_TRUE(f.GetStartPoint(&p));
    EXPECT_EQ(p, Point<float>(-3, 0));
    EXPECT_TRUE(f.GetLastPoint(&p));
    EXPECT_EQ(p, Point<float>(2, 1));
    EXPECT_TRUE(f.GetLastPoint(nullptr));

    f.Close();
    EXPECT_TRUE(f.GetLastPoint(&p));
    EXPECT_EQ(p, Point<float>(-3, 0));
    EXPECT_EQ(Send(f), (Events{BeginEvent(-3, 0), CurveEvent(-2, 0, -1, 0, 0, 0), LineEvent(1, 1), LineEvent(2, 1),
                               CurveEvent(2, 1, 2, 1, 2, 1), CloseEvent()}));
    f.SendToSink(nullptr);

    // StartAt forgets everything, the closed flag included.
    f.StartAt(Point<float>(5, 5));
    EXPECT_FALSE(f.closed);
    EXPECT_TRUE(f.commands.empty());
    EXPECT_EQ(f.points, (Points{{5, 5}}));
    EXPECT_EQ(Send(f), (Events{BeginEvent(5, 5), EndEvent()}));
    f.Reset();
    EXPECT_TRUE(f.points.empty());
}

TEST(Figure, ReadersSkipUnknownCommandsAndShortPointLists) {
    Figure f;
    f.points = {{0, 0}, {1, 0}, {2, 0}, {3, 0}, {4, 0}};
    f.commands = {0, 7, -1, 1};
    EXPECT_EQ(Send(f), (Events{BeginEvent(0, 0), LineEvent(1, 0), CurveEvent(2, 0, 3, 0, 4, 0), EndEvent()}));
    // An unknown command makes it no rectangle.
    Figure r;
    r.points = {{0, 0}, {1, 0}, {1, 1}, {0, 1}};
    r.commands = {0, 0, 2};
    EXPECT_FALSE(r.IsRectangle(Matrix(), nullptr));
    r.commands = {0, 0, 0};
    EXPECT_TRUE(r.IsRectangle(Matrix(), nullptr));

    // Commands that want more points than there are stop the walk.
    Figure s;
    s.points = {{0, 0}, {1, 0}, {2, 0}};
    s.commands = {0, 1, 0};
    EXPECT_EQ(Send(s), (Events{BeginEvent(0, 0), LineEvent(1, 0), EndEvent()}));
    auto joined = std::make_shared<Figure>();
    joined->StartAt(Point<float>(-1, 0));
    joined->JoinFigure(std::make_shared<Figure>(s));
    EXPECT_EQ(joined->points, (Points{{-1, 0}, {0, 0}, {1, 0}}));
    joined->JoinFigureReverse(std::make_shared<Figure>(s));
    EXPECT_EQ(joined->points, (Points{{1, 0}, {0, 0}, {-1, 0}, {0, 0}, {1, 0}}));
}

TEST(Figure, JoinFigure) {
    auto a = Polyline({{0, 0}, {1, 0}, {1, 1}});
    auto b = Polyline({{1, 1}, {2, 1}});
    b->CurveTo(Point<float>(3, 1), Point<float>(3, 2), Point<float>(2, 2));
    // The coinciding start is dropped; the curve keeps its three points.
    a->JoinFigure(b);
    EXPECT_EQ(a->commands, (Commands{0, 0, 0, 1}));
    EXPECT_EQ(a->points, (Points{{0, 0}, {1, 0}, {1, 1}, {2, 1}, {3, 1}, {3, 2}, {2, 2}}));
    // A distinct start becomes a line.
    auto c = Polyline({{0, 0}, {1, 0}});
    c->JoinFigure(Polyline({{5, 5}, {6, 5}}));
    EXPECT_EQ(c->commands, (Commands{0, 0, 0}));
    EXPECT_EQ(c->points, (Points{{0, 0}, {1, 0}, {5, 5}, {6, 5}}));

    // An empty figure takes the other's start, and is reset first.
    auto e = std::make_shared<Figure>();
    e->closed = true;
    e->commands = {0};  // inconsistent leftovers are cleared
    e->JoinFigure(Polyline({{5, 5}, {6, 5}}));
    EXPECT_FALSE(e->closed);
    EXPECT_EQ(e->commands, (Commands{0}));
    EXPECT_EQ(e->points, (Points{{5, 5}, {6, 5}}));

    // Nothing from a null or empty figure.
    e->JoinFigure(nullptr);
    e->JoinFigure(std::make_shared<Figure>());
    EXPECT_EQ(e->points.size(), 2u);

    // Joining a figure to itself appends a copy of what it was.
    auto self = Polyline({{0, 0}, {1, 0}});
    self->JoinFigure(self);
    EXPECT_EQ(self->points, (Points{{0, 0}, {1, 0}, {0, 0}, {1, 0}}));
}

TEST(Figure, JoinFigureReverse) {
    // Two polygons become one, the other reversed ahead of this one.
    auto a = Polyline({{0, 0}, {1, 0}, {1, 1}});
    auto b = Polyline({{1, 1}, {2, 1}, {2, 2}});
    a->JoinFigureReverse(b);
    EXPECT_EQ(a->commands, (Commands{0, 0, 0, 0, 0}));
    EXPECT_EQ(a->points, (Points{{2, 2}, {2, 1}, {1, 1}, {0, 0}, {1, 0}, {1, 1}}));

    // The other's start is dropped when it is this figure's start.
    auto c = Polyline({{0, 0}, {1, 0}});
    c->JoinFigureReverse(Polyline({{0, 0}, {0, 1}}));
    EXPECT_EQ(c->points, (Points{{0, 1}, {0, 0}, {1, 0}}));

    // A curve's block goes in front in its stored order.
    auto d = Polyline({{0, 0}, {1, 0}});
    auto curve = std::make_shared<Figure>();
    curve->StartAt(Point<float>(5, 0));
    curve->CurveTo(Point<float>(6, 0), Point<float>(7, 0), Point<float>(8, 0));
    d->JoinFigureReverse(curve);
    EXPECT_EQ(d->commands, (Commands{1, 0, 0}));
    EXPECT_EQ(d->points, (Points{{6, 0}, {7, 0}, {8, 0}, {5, 0}, {0, 0}, {1, 0}}));

    // An empty figure takes the other's start.
    auto e = std::make_shared<Figure>();
    e->JoinFigureReverse(Polyline({{1, 1}, {2, 1}, {3, 1}}));
    EXPECT_EQ(e->points, (Points{{3, 1}, {2, 1}, {1, 1}}));
    e->JoinFigureReverse(nullptr);
    e->JoinFigureReverse(std::make_shared<Figure>());
    EXPECT_EQ(e->points.size(), 3u);

    auto self = Polyline({{0, 0}, {1, 0}});
    self->JoinFigureReverse(self);
    EXPECT_EQ(self->points, (Points{{1, 0}, {0, 0}, {1, 0}}));
}

TEST(Figure, IsEqualIsExact) {
    auto a = Polyline({{0, 0}, {1, 0}, {1, 1}});
    EXPECT_TRUE(a->IsEqual(Polyline({{0, 0}, {1, 0}, {1, 1}})));
    EXPECT_FALSE(a->IsEqual(nullptr));
    EXPECT_FALSE(a->IsEqual(Polyline({{0, 0}, {1, 0}})));
    EXPECT_FALSE(a->IsEqual(Polyline({{0, 0}, {1, 0}, {1, 1.0000001f}})));
    auto closed = Polyline({{0, 0}, {1, 0}, {1, 1}});
    closed->Close();
    EXPECT_FALSE(a->IsEqual(closed));
    // Same points, different commands.
    auto other = std::make_shared<Figure>(*a);
    other->commands = {0, 7};
    EXPECT_FALSE(a->IsEqual(other));
    // -0 equals 0; NaN equals nothing.
    EXPECT_TRUE(Polyline({{0, 0}, {1, 1}})->IsEqual(Polyline({{-0.0f, 0}, {1, 1}})));
    auto nan = Polyline({{0, 0}, {std::numeric_limits<float>::quiet_NaN(), 1}});
    EXPECT_FALSE(nan->IsEqual(nan));
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
    EXPECT_EQ(out->events, (Events{RuleEvent(1), BeginEvent(3, 7), LineEvent(1, 9), CurveEvent(5, 7, 4, 6, 6, 5),
                                   EndEvent(), BeginEvent(5, 6), CloseEvent()}));

    // A null next sink swallows everything.
    Transformer none(Matrix(), nullptr);
    none.SetFillRule(FillRule::Winding);
    none.BeginFigure(Point<float>(0, 0));
    none.LineTo(Point<float>(1, 1));
    none.CurveTo(Point<float>(1, 1), Point<float>(1, 1), Point<float>(1, 1));
    none.EndFigure();
    none.EndFigureClose();
}

TEST(BoundCalculator, GrowsWithEveryPoint) {
    BoundCalculator b;
    EXPECT_TRUE(b.IsEmpty());
    EXPECT_EQ(b.GetBound(), Rect<float>(0, 0, 0, 0));
    // The first point replaces the zero rectangle rather than joining it.
    b.BeginFigure(Point<float>(5, 6));
    EXPECT_FALSE(b.IsEmpty());
    EXPECT_EQ(b.GetBound(), Rect<float>(5, 6, 5, 6));
    b.LineTo(Point<float>(7, 2));
    EXPECT_EQ(b.GetBound(), Rect<float>(5, 2, 7, 6));
    b.CurveTo(Point<float>(4, 6), Point<float>(6, 9), Point<float>(6, 6));
    EXPECT_EQ(b.GetBound(), Rect<float>(4, 2, 7, 9));
    b.SetFillRule(FillRule::EvenOdd);
    b.EndFigure();
    b.EndFigureClose();
    EXPECT_EQ(b.GetBound(), Rect<float>(4, 2, 7, 9));
}
