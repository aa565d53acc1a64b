#include "geometry/StripClipper.h"
#include "raster/Rasterizer.h"

#include "RasterRecordingSink.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>
#include <ostream>
#include <random>
#include <sstream>
#include <string>
#include <vector>

using namespace Graphics;

namespace {

const float kNaN = std::numeric_limits<float>::quiet_NaN();
const float kInf = std::numeric_limits<float>::infinity();

// The events a sink receives, as text: "B x y", "L x y", "C", "R n".
class TextSink : public GeometrySink {
public:
    void SetFillRule(FillRule::Enum rule) override { events.push_back("R " + std::to_string(int(rule))); }
    void BeginFigure(const Point<float>& p) override { events.push_back("B " + Text(p)); }
    void EndFigure() override { events.push_back("E"); }
    void EndFigureClose() override { events.push_back("C"); }
    void LineTo(const Point<float>& p) override { events.push_back("L " + Text(p)); }
    void CurveTo(const Point<float>&, const Point<float>&, const Point<float>&) override { events.push_back("Q"); }

    static std::string Text(const Point<float>& p) {
        std::ostringstream os;
        os.precision(9);
        os << p.x << " " << p.y;
        return os.str();
    }

    std::vector<std::string> events;
};

using Events = std::vector<std::string>;

// The points of one figure, as the clipper passes them on.
class PointSink : public GeometrySink {
public:
    void SetFillRule(FillRule::Enum) override {}
    void BeginFigure(const Point<float>& p) override { points.push_back(p); }
    void EndFigure() override {}
    void EndFigureClose() override { ++closes; }
    void LineTo(const Point<float>& p) override { points.push_back(p); }
    void CurveTo(const Point<float>&, const Point<float>&, const Point<float>&) override {}

    std::vector<Point<float>> points;
    int closes = 0;
};

// The winding number of the closed polygon around (x, y).
int Winding(const std::vector<Point<float>>& poly, double x, double y) {
    int winding = 0;
    for (std::size_t k = 0; k < poly.size(); ++k) {
        const Point<float>& a = poly[k];
        const Point<float>& b = poly[(k + 1) % poly.size()];
        const double cross = (double(b.x) - a.x) * (y - a.y) - (x - a.x) * (double(b.y) - a.y);
        if (a.y <= y && b.y > y && cross > 0) ++winding;
        if (a.y > y && b.y <= y && cross < 0) --winding;
    }
    return winding;
}

std::shared_ptr<TextSink> Clip(StripOrientation::Enum orientation, float a, float b,
                               const std::vector<Point<float>>& figure, bool close = true) {
    auto sink = std::make_shared<TextSink>();
    StripClipper clipper(orientation, a, b, 0.25f, sink);
    clipper.BeginFigure(figure[0]);
    for (std::size_t i = 1; i < figure.size(); ++i) clipper.LineTo(figure[i]);
    if (close)
        clipper.EndFigureClose();
    else
        clipper.EndFigure();
    return sink;
}

std::string P(float x, float y) { return TextSink::Text(Point<float>(x, y)); }

}  // namespace

TEST(StripClipper, RegionsAndIntersections) {
    StripClipper vertical(StripOrientation::Vertical, 10, 0, 0.25f, nullptr);  // bounds swapped to 0, 10
    EXPECT_EQ(vertical.GetPointRegion(Point<float>(-0.5f, 100)), 0);
    EXPECT_EQ(vertical.GetPointRegion(Point<float>(0, 100)), 1);  // on a bound: inside
    EXPECT_EQ(vertical.GetPointRegion(Point<float>(10, -100)), 1);
    EXPECT_EQ(vertical.GetPointRegion(Point<float>(10.001f, 0)), 2);
    EXPECT_EQ(vertical.GetPointRegion(Point<float>(kNaN, 0)), 1);
    EXPECT_EQ(vertical.GetPointRegion(Point<float>(kInf, 0)), 2);
    EXPECT_EQ(vertical.GetPointRegion(Point<float>(-kInf, 0)), 0);
    // Region 0 meets the low bound, every other region the high one.
    EXPECT_EQ(P(vertical.GetIntersection(Point<float>(-10, 0), Point<float>(10, 20), 0).x,
                vertical.GetIntersection(Point<float>(-10, 0), Point<float>(10, 20), 0).y),
              P(0, 10));
    const Point<float> high = vertical.GetIntersection(Point<float>(2, 0), Point<float>(14, 4), 2);
    EXPECT_EQ(high.x, 10.0f);
    EXPECT_EQ(high.y, 8.0f / 3.0f);
    EXPECT_EQ(vertical.GetIntersection(Point<float>(2, 0), Point<float>(14, 4), 1).x, 10.0f);

    StripClipper horizontal(StripOrientation::Horizontal, 0, 10, 0.25f, nullptr);
    EXPECT_EQ(horizontal.GetPointRegion(Point<float>(100, -1)), 0);
    EXPECT_EQ(horizontal.GetPointRegion(Point<float>(-100, 5)), 1);
    EXPECT_EQ(horizontal.GetPointRegion(Point<float>(0, 11)), 2);
    const Point<float> low = horizontal.GetIntersection(Point<float>(20, 30), Point<float>(0, -10), 0);
    EXPECT_EQ(low.x, 5.0f);
    EXPECT_EQ(low.y, 0.0f);
}

TEST(StripClipper, VerticalStrip) {
    // A triangle with one vertex beyond the high bound becomes a
    // quadrilateral with two vertices on the bound. Nothing is passed on
    // until a second point: the start comes back only with the close.
    EXPECT_EQ(Clip(StripOrientation::Vertical, 0, 10, {{2, 0}, {14, 4}, {2, 8}})->events,
              (Events{"B " + P(10, 8.0f / 3.0f), "L " + P(10, 16.0f / 3.0f), "L " + P(2, 8), "L " + P(2, 0), "C"}));
    // Entirely beyond one side: no BeginFigure, one close.
    EXPECT_EQ(Clip(StripOrientation::Vertical, 0, 10, {{20, 0}, {30, 0}, {30, 5}})->events, (Events{"C"}));
    EXPECT_EQ(Clip(StripOrientation::Vertical, 0, 10, {{-20, 0}, {-30, 0}, {-30, 5}}, false)->events,
              (Events{"C"}));
    // A vertex on the bound, reached from inside, adds no crossing.
    EXPECT_EQ(Clip(StripOrientation::Vertical, 0, 10, {{5, 5}, {10, 5}, {5, 8}})->events,
              (Events{"B " + P(10, 5), "L " + P(5, 8), "L " + P(5, 5), "C"}));
    // A spike beyond the bound collapses to a back-and-forth on it.
    EXPECT_EQ(Clip(StripOrientation::Vertical, 0, 10, {{0, 0}, {5, 5}, {20, 8}, {5, 5}, {0, 10}})->events,
              (Events{"B " + P(5, 5), "L " + P(10, 6), "L " + P(10, 6), "L " + P(5, 5), "L " + P(0, 10),
                      "L " + P(0, 0), "C"}));
    // The first point passed on may lie anywhere along the figure: here the
    // figure starts beyond the strip and enters it on the way.
    EXPECT_EQ(Clip(StripOrientation::Vertical, 0, 10, {{-10, 0}, {10, 20}, {-10, 20}})->events,
              (Events{"B " + P(0, 10), "L " + P(10, 20), "L " + P(0, 20), "C"}));
    // An open figure is closed.
    EXPECT_EQ(Clip(StripOrientation::Vertical, 0, 10, {{1, 1}, {3, 1}, {3, 3}}, false)->events,
              (Events{"B " + P(3, 1), "L " + P(3, 3), "L " + P(1, 1), "C"}));
}

TEST(StripClipper, HorizontalStrip) {
    // A segment from below the strip to above it passes two points, both on
    // bounds, in the order of travel; so does the way back.
    EXPECT_EQ(Clip(StripOrientation::Horizontal, 0, 10, {{0, -10}, {20, 30}, {-20, 30}})->events,
              (Events{"B " + P(5, 0), "L " + P(10, 10), "L " + P(-10, 10), "L " + P(-5, 0), "C"}));
    // Beyond the high bound: the run along it comes from the straight line
    // between exit and re-entry.
    EXPECT_EQ(Clip(StripOrientation::Horizontal, 0, 10, {{0, 5}, {4, 25}, {8, 15}, {8, 5}})->events,
              (Events{"B " + P(1, 10), "L " + P(8, 10), "L " + P(8, 5), "L " + P(0, 5), "C"}));
}

TEST(StripClipper, EventHandling) {
    auto sink = std::make_shared<TextSink>();
    StripClipper clipper(StripOrientation::Vertical, 0, 10, 0.25f, sink);
    clipper.SetFillRule(FillRule::EvenOdd);
    // A lone close, and one after a figure, pass on as a close.
    clipper.EndFigureClose();
    clipper.BeginFigure(Point<float>(5, 5));
    clipper.LineTo(Point<float>(20, 5));
    clipper.LineTo(Point<float>(20, 5));  // the same point: ignored
    clipper.LineTo(Point<float>(5, 8));
    clipper.EndFigureClose();
    clipper.EndFigureClose();
    EXPECT_EQ(sink->events, (Events{"R 1", "C", "B " + P(10, 5), "L " + P(10, 7), "L " + P(5, 8), "L " + P(5, 5), "C",
                                    "C"}));

    // Curves are flattened: lines only, ending on the end point; a curve
    // wholly beyond the strip leaves nothing.
    auto curves = std::make_shared<TextSink>();
    StripClipper curveClipper(StripOrientation::Vertical, 0, 10, 0.25f, curves);
    curveClipper.BeginFigure(Point<float>(1, 1));
    curveClipper.CurveTo(Point<float>(9, 1), Point<float>(9, 9), Point<float>(1, 9));
    const std::size_t afterInside = curves->events.size();
    curveClipper.LineTo(Point<float>(20, 9));
    curveClipper.CurveTo(Point<float>(40, 0), Point<float>(40, 20), Point<float>(20, 20));
    curveClipper.EndFigureClose();
    EXPECT_GT(afterInside, 4u);
    EXPECT_EQ(curves->events[afterInside - 1], "L " + P(1, 9));
    for (const std::string& e : curves->events) EXPECT_NE(e, "Q");
    // Out at (10, 9); back in from (20, 20) toward (1, 1) on the diagonal.
    EXPECT_EQ(Events(curves->events.begin() + afterInside, curves->events.end()),
              (Events{"L " + P(10, 9), "L " + P(10, 10), "L " + P(1, 1), "C"}));

    // Infinities and non-numbers: no crash; a non-number counts as inside.
    auto odd = Clip(StripOrientation::Vertical, 0, 10, {{5, 5}, {kInf, 5}, {kNaN, 7}, {5, kInf}, {-kInf, 1}});
    EXPECT_EQ(odd->events.front().substr(0, 5), "B 10 ");  // toward infinity: y is not a number
    EXPECT_EQ(odd->events.back(), "C");
    StripClipper noSink(StripOrientation::Horizontal, 0, 10, 0.25f, nullptr);
    noSink.SetFillRule(FillRule::Winding);
    noSink.BeginFigure(Point<float>(0, -5));
    noSink.LineTo(Point<float>(0, 50));
    noSink.CurveTo(Point<float>(1, 1), Point<float>(2, 2), Point<float>(3, 3));
    noSink.EndFigure();
}

TEST(StripClipper, KeepsTheAreaInsideTheStrip) {
    // Random polygons clipped in y and then in x: at every point inside the
    // strips the clipped figure winds as often as the input did, so either
    // fill rule fills the same there.
    std::mt19937 random(7);
    std::uniform_real_distribution<float> coordinate(-20.0f, 36.0f);
    for (int round = 0; round < 40; ++round) {
        std::vector<Point<float>> polygon;
        for (int i = 0; i < 12; ++i) polygon.push_back(Point<float>(coordinate(random), coordinate(random)));

        auto recorder = std::make_shared<PointSink>();
        auto inX = std::make_shared<StripClipper>(StripOrientation::Vertical, 4, 12, 0.25f, recorder);
        StripClipper inY(StripOrientation::Horizontal, 12, 4, 0.25f, inX);
        inY.BeginFigure(polygon[0]);
        for (std::size_t i = 1; i < polygon.size(); ++i) inY.LineTo(polygon[i]);
        inY.EndFigureClose();
        ASSERT_EQ(recorder->closes, 1);
        // The second clipper works on crossings of the first, so its own
        // crossings may stray from the first strip by a rounding.
        for (const Point<float>& p : recorder->points) {
            EXPECT_TRUE(p.x >= 4 && p.x <= 12) << p.x;
            EXPECT_TRUE(p.y >= 3.999f && p.y <= 12.001f) << p.y;
        }

        int inside = 0;
        for (int j = 0; j < 40; ++j)
            for (int i = 0; i < 40; ++i) {
                const double x = 4 + (i + 0.313) * 0.2, y = 4 + (j + 0.571) * 0.2;
                const int expected = Winding(polygon, x, y);
                EXPECT_EQ(Winding(recorder->points, x, y), expected) << "round " << round << " at " << x << ", " << y;
                inside += expected != 0;
            }
        if (round == 0) {
            EXPECT_GT(inside, 0);
        }
    }
}
