#include "geometry/StripClipper.h"

#include <gtest/gtest.h>

#include <limits>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <vector>

using namespace Graphics;

namespace {

const float kNaN = std::numeric_limits<float>::quiet_NaN();
const float kInf = std::numeric_limits<float>::infinity();
const StripOrientation::Enum V = StripOrientation::Vertical, H = StripOrientation::Horizontal;

using Events = std::vector<std::string>;
using Polygon = std::vector<Point<float>>;

std::string P(float x, float y) {
    std::ostringstream os;
    os.precision(9);
    os << x << " " << y;
    return os.str();
}

// The events a sink receives, as text; the points of figures as well.
class TextSink : public GeometrySink {
public:
    void SetFillRule(FillRule::Enum rule) override { events.push_back("R " + std::to_string(int(rule))); }
    void BeginFigure(const Point<float>& p) override {
        events.push_back("B " + P(p.x, p.y));
        points.push_back(p);
    }
    void EndFigure() override { events.push_back("E"); }
    void EndFigureClose() override { events.push_back("C"); }
    void LineTo(const Point<float>& p) override {
        events.push_back("L " + P(p.x, p.y));
        points.push_back(p);
    }
    void CurveTo(const Point<float>&, const Point<float>&, const Point<float>&) override { events.push_back("Q"); }

    Events events;
    Polygon points;
};

Events Clip(StripOrientation::Enum orientation, float a, float b, const Polygon& figure, bool close = true) {
    auto sink = std::make_shared<TextSink>();
    StripClipper clipper(orientation, a, b, 0.25f, sink);
    clipper.BeginFigure(figure[0]);
    for (std::size_t i = 1; i < figure.size(); ++i) clipper.LineTo(figure[i]);
    if (close)
        clipper.EndFigureClose();
    else
        clipper.EndFigure();
    return sink->events;
}

// The winding number of the closed polygon around (x, y).
int Winding(const Polygon& poly, double x, double y) {
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

}  // namespace

TEST(StripClipper, FiguresWorkedByHand) {
    struct Case {
        const char* name;
        StripOrientation::Enum orientation;
        Polygon figure;
        bool close;
        Events events;
    };
    const Case cases[] = {
        // Nothing goes out until a second point: the start comes back only
        // with the close.
        {"vertex beyond the high bound", V, {{2, 0}, {14, 4}, {2, 8}}, true,
         {"B " + P(10, 8.0f / 3.0f), "L " + P(10, 16.0f / 3.0f), "L " + P(2, 8), "L " + P(2, 0), "C"}},
        {"wholly beyond, high", V, {{20, 0}, {30, 0}, {30, 5}}, true, {"C"}},
        {"wholly beyond, low, open", V, {{-20, 0}, {-30, 0}, {-30, 5}}, false, {"C"}},
        {"vertex on the bound", V, {{5, 5}, {10, 5}, {5, 8}}, true,
         {"B " + P(10, 5), "L " + P(5, 8), "L " + P(5, 5), "C"}},
        {"spike beyond the bound", V, {{0, 0}, {5, 5}, {20, 8}, {5, 5}, {0, 10}}, true,
         {"B " + P(5, 5), "L " + P(10, 6), "L " + P(10, 6), "L " + P(5, 5), "L " + P(0, 10), "L " + P(0, 0), "C"}},
        {"starts beyond, enters on the way", V, {{-10, 0}, {10, 20}, {-10, 20}}, true,
         {"B " + P(0, 10), "L " + P(10, 20), "L " + P(0, 20), "C"}},
        {"open figure is closed", V, {{1, 1}, {3, 1}, {3, 3}}, false,
         {"B " + P(3, 1), "L " + P(3, 3), "L " + P(1, 1), "C"}},
        // Straight across: both crossings, in the order of travel.
        {"across the strip", H, {{0, -10}, {20, 30}, {-20, 30}}, true,
         {"B " + P(5, 0), "L " + P(10, 10), "L " + P(-10, 10), "L " + P(-5, 0), "C"}},
        // Beyond the high bound: exit and re-entry joined along it.
        {"excursion beyond", H, {{0, 5}, {4, 25}, {8, 15}, {8, 5}}, true,
         {"B " + P(1, 10), "L " + P(8, 10), "L " + P(8, 5), "L " + P(0, 5), "C"}},
    };
    for (const Case& c : cases) EXPECT_EQ(Clip(c.orientation, 0, 10, c.figure, c.close), c.events) << c.name;

    // A point on a bound, or NaN, is inside; infinities are beyond. Region 0
    // meets the low bound, every other the high one.
    const StripClipper v(V, 0, 10, 0.25f, nullptr);
    const float xs[] = {-0.5f, 0, 10, 10.001f, kNaN, kInf, -kInf};
    const int regions[] = {0, 1, 1, 2, 1, 2, 0};
    for (int i = 0; i < 7; ++i) EXPECT_EQ(v.GetPointRegion(Point<float>(xs[i], 100)), regions[i]) << xs[i];
    EXPECT_EQ(v.GetIntersection(Point<float>(-10, 0), Point<float>(10, 20), 0), Point<float>(0, 10));
    EXPECT_EQ(v.GetIntersection(Point<float>(2, 0), Point<float>(14, 4), 1), Point<float>(10, 8.0f / 3.0f));

    // The fill rule passes; a lone close, and one after a figure, pass as a
    // close; a line to the last point is ignored.
    auto sink = std::make_shared<TextSink>();
    StripClipper clipper(V, 0, 10, 0.25f, sink);
    clipper.SetFillRule(FillRule::EvenOdd);
    clipper.EndFigureClose();
    clipper.BeginFigure(Point<float>(5, 5));
    clipper.LineTo(Point<float>(20, 5));
    clipper.LineTo(Point<float>(20, 5));
    clipper.LineTo(Point<float>(5, 8));
    clipper.EndFigureClose();
    clipper.EndFigureClose();
    EXPECT_EQ(sink->events,
              (Events{"R 1", "C", "B " + P(10, 5), "L " + P(10, 7), "L " + P(5, 8), "L " + P(5, 5), "C", "C"}));

    // Curves are flattened, ending on the end point; one wholly beyond the
    // strip leaves only the join along the bound.
    auto curves = std::make_shared<TextSink>();
    StripClipper curveClipper(V, 0, 10, 0.25f, curves);
    curveClipper.BeginFigure(Point<float>(1, 1));
    curveClipper.CurveTo(Point<float>(9, 1), Point<float>(9, 9), Point<float>(1, 9));
    const std::size_t afterInside = curves->events.size();
    curveClipper.LineTo(Point<float>(20, 9));
    curveClipper.CurveTo(Point<float>(40, 0), Point<float>(40, 20), Point<float>(20, 20));
    curveClipper.EndFigureClose();
    EXPECT_GT(afterInside, 4u);
    EXPECT_EQ(curves->events[afterInside - 1], "L " + P(1, 9));
    EXPECT_EQ(Events(curves->events.begin() + afterInside, curves->events.end()),
              (Events{"L " + P(10, 9), "L " + P(10, 10), "L " + P(1, 1), "C"}));
    for (const std::string& e : curves->events) EXPECT_NE(e, "Q");
    // One that starts inside is flattened up to where it leaves, even with
    // the rest of it beyond.
    auto leaving = std::make_shared<TextSink>();
    StripClipper leavingClipper(V, 0, 10, 0.25f, leaving);
    leavingClipper.BeginFigure(Point<float>(5, 5));
    leavingClipper.CurveTo(Point<float>(11, 0), Point<float>(11, 10), Point<float>(20, 5));
    EXPECT_GE(leaving->events.size(), 3u);

    // Infinities and non-numbers: toward infinity y is not a number.
    const Events odd = Clip(V, 0, 10, {{5, 5}, {kInf, 5}, {kNaN, 7}, {5, kInf}, {-kInf, 1}});
    EXPECT_EQ(odd.front().substr(0, 5), "B 10 ");
    EXPECT_EQ(odd.back(), "C");
    StripClipper noSink(H, 0, 10, 0.25f, nullptr);
    noSink.SetFillRule(FillRule::Winding);
    noSink.BeginFigure(Point<float>(0, -5));
    noSink.LineTo(Point<float>(0, 50));
    noSink.CurveTo(Point<float>(1, 1), Point<float>(2, 2), Point<float>(3, 3));
    noSink.EndFigure();
}

TEST(StripClipper, KeepsTheWindingInsideTheStrip) {
    // Random polygons clipped in y and then in x: inside the strips the
    // clipped figure winds as often as the input, so either rule fills alike.
    std::mt19937 random(7);
    std::uniform_real_distribution<float> coordinate(-20.0f, 36.0f);
    for (int round = 0; round < 40; ++round) {
        Polygon polygon;
        for (int i = 0; i < 12; ++i) polygon.push_back(Point<float>(coordinate(random), coordinate(random)));
        auto recorder = std::make_shared<TextSink>();
        auto inX = std::make_shared<StripClipper>(V, 4, 12, 0.25f, recorder);
        StripClipper inY(H, 12, 4, 0.25f, inX);
        inY.BeginFigure(polygon[0]);
        for (std::size_t i = 1; i < polygon.size(); ++i) inY.LineTo(polygon[i]);
        inY.EndFigureClose();
        ASSERT_EQ(recorder->events.back(), "C");
        // The second clipper cuts crossings of the first: within a rounding.
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
        EXPECT_TRUE(round > 0 || inside > 0);
    }
}
