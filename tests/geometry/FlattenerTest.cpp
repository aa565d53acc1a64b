#include "geometry/BezierFlattener.h"
#include "geometry/Flattener.h"

#include "RecordingSink.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <memory>
#include <vector>

using namespace Graphics;
using namespace GraphicsTest;

namespace {

struct Walk {
    std::vector<Point<float>> points;
    std::vector<double> params;    // of each point, from the step sizes
    std::vector<float> stepSizes;  // after each point
};

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

TEST(BezierFlattener, WalksWorkedByHand) {
    // Every difference of this curve is a small dyadic number, so the float
    // walk is exact. e0 = (24, -24), e1 = (-24, -24): at tolerance 1 (limit
    // 6) one halving leaves e0 = (6, -6), e1 = (0, -6): two steps of 1/2. At
    // 0.5 a second halving gives four steps of 1/4, and no doubling: with two
    // steps left |e0.y| = 1.5 exceeds the doubling limit 0.75.
    const Point<float> p0(0, 0), p1(0, 4), p2(4, 4), p3(4, 0);
    BezierFlattener f(1.0f);
    f.SetPoints(p0, p1, p2, p3);
    EXPECT_EQ(std::make_pair(f.GetSteps(), f.GetStepSize()), std::make_pair(2u, 0.5f));
    Point<float> p;
    ASSERT_TRUE(f.NextPoint(&p));
    EXPECT_EQ(p, Point<float>(2, 3));
    EXPECT_FALSE(f.NextPoint(&p) || f.NextPoint(nullptr));
    EXPECT_EQ(p, Point<float>(2, 3));
    const Walk quarter = WalkCurve(0.5f, p0, p1, p2, p3);
    EXPECT_EQ(quarter.points, (std::vector<Point<float>>{{0.625f, 2.25f}, {2, 3}, {3.375f, 2.25f}}));
    EXPECT_EQ(quarter.params, (std::vector<double>{0.25, 0.5, 0.75}));
    BezierFlattener g(0.5f);  // a null output advances all the same
    g.SetPoints(p0, p1, p2, p3);
    EXPECT_TRUE(g.NextPoint(nullptr) && g.NextPoint(&p));
    EXPECT_EQ(p, Point<float>(2, 3));

    // An S curve at 0.25: steps of 1/64 up to t = 22/64, doubled to 1/32
    // across the flat middle up to 42/64, then 1/64 again up to 63/64. Points
    // are exact where the differences are: t = 1/4, 1/2, 3/4.
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
        EXPECT_NEAR(w.points[i].x, c.x, 1e-3) << i;
        EXPECT_NEAR(w.points[i].y, c.y, 1e-3) << i;
    }
    EXPECT_EQ(w.points[15], Point<float>(90.625f, 100));
    EXPECT_EQ(w.points[26], Point<float>(200, 50));
    EXPECT_EQ(w.points[37], Point<float>(309.375f, 0));

    // No point: control points within the tolerance of the chord, evenly
    // spaced on a line (no second difference), or all equal.
    EXPECT_TRUE(WalkCurve(0.25f, {0, 0}, {1, 0.01f}, {2, -0.01f}, {3, 0}).points.empty());
    EXPECT_TRUE(WalkCurve(0.25f, {0, 0}, {100, 50}, {200, 100}, {300, 150}).points.empty());
    EXPECT_TRUE(WalkCurve(0.0f, {7, 7}, {7, 7}, {7, 7}, {7, 7}).points.empty());
    // Just past the limit (6 * 0.26 against 6 * 0.25): one point at t = 1/2.
    const Walk one = WalkCurve(0.25f, {0, 0}, {1, -0.13f}, {2, 0.13f}, {3, 0});
    ASSERT_EQ(one.params, std::vector<double>{0.5});
    EXPECT_NEAR(one.points[0].x, 1.5f, 1e-6f);
    EXPECT_NEAR(one.points[0].y, 0.0f, 1e-7f);
}

TEST(BezierFlattener, ToleranceFloorAndBadInput) {
    unsigned bits;
    std::memcpy(&bits, &BezierFlattener::Epsilon, sizeof bits);
    EXPECT_EQ(bits, 0x34000000u);
    for (float t : {0.0f, -5.0f, 1e-30f}) EXPECT_EQ(BezierFlattener(t).GetTolerance(), BezierFlattener::Epsilon);
    EXPECT_EQ(BezierFlattener(0.25f).GetTolerance(), 0.25f);

    // Tolerance 0: differences of 600 come within 6 epsilon after 15
    // halvings; on a large curve the least step stops it after 23, and the
    // walk ends after 2^23 - 1 points, drifted but finite.
    BezierFlattener f(0.0f);
    f.SetPoints(Point<float>(0, 0), Point<float>(0, 100), Point<float>(100, 100), Point<float>(100, 0));
    EXPECT_EQ(f.GetSteps(), 1u << 15);
    f.SetPoints(Point<float>(0, 0), Point<float>(0, 1e7f), Point<float>(1e7f, 1e7f), Point<float>(1e7f, 0));
    EXPECT_EQ(std::make_pair(f.GetSteps(), f.GetStepSize()), std::make_pair(1u << 23, BezierFlattener::Epsilon));
    unsigned long n = 0;
    Point<float> p;
    while (f.NextPoint(&p)) ++n;
    EXPECT_EQ(n, (1ul << 23) - 1);
    EXPECT_TRUE(std::isfinite(p.x) && std::isfinite(p.y));
    // Infinite and NaN tolerances never halve; NaN points make no point.
    EXPECT_TRUE(WalkCurve(kInf, {0, 0}, {0, 100}, {100, 100}, {100, 0}).points.empty());
    EXPECT_TRUE(WalkCurve(kNaN, {0, 0}, {0, 100}, {100, 100}, {100, 0}).points.empty());
    EXPECT_TRUE(WalkCurve(0.25f, {kNaN, kNaN}, {kNaN, kNaN}, {kNaN, kNaN}, {kNaN, kNaN}).points.empty());
    EXPECT_TRUE(WalkCurve(0.25f, {0, 0}, {kNaN, kNaN}, {1, 0}, {2, 0}).points.empty());

    // Infinities and the largest floats: at most 2^23 steps, and the walk ends.
    const float huge = std::numeric_limits<float>::max();
    const Point<float> cases[][4] = {{{0, 0}, {kInf, 0}, {0, 0}, {1, 1}},
                                     {{0, 0}, {kInf, -kInf}, {-kInf, kInf}, {1, 1}},
                                     {{-huge, -huge}, {huge, huge}, {-huge, huge}, {huge, -huge}},
                                     {{0, 0}, {kNaN, 0}, {0, kInf}, {1, 1}}};
    for (const auto& c : cases) {
        BezierFlattener b(0.25f);
        b.SetPoints(c[0], c[1], c[2], c[3]);
        EXPECT_TRUE(b.GetSteps() <= 1u << 23 && b.GetStepSize() >= BezierFlattener::Epsilon);
        n = 0;
        while (b.NextPoint(nullptr) && n < (1ul << 24)) ++n;
        EXPECT_LT(n, 1ul << 23);
    }

    // Coordinates of 1e7 at 0.25: 13 halvings bring 6e7 within 1.5; the
    // float differences drift by some parts in 1e5 over the walk.
    const Point<float> q0(0, 0), q1(1e7f, 0), q2(1e7f, 1e7f), q3(0, 1e7f);
    f = BezierFlattener(0.25f);
    f.SetPoints(q0, q1, q2, q3);
    EXPECT_EQ(f.GetSteps(), 1u << 13);
    const Walk w = WalkCurve(0.25f, q0, q1, q2, q3);
    ASSERT_TRUE(!w.points.empty() && w.points.size() < 1u << 13);
    for (std::size_t i = 0; i < w.points.size(); i += 97) {
        const Point<double> c = Bezier(w.params[i], q0, q1, q2, q3);
        EXPECT_NEAR(w.points[i].x, c.x, 1e3) << i;
        EXPECT_NEAR(w.points[i].y, c.y, 1e3) << i;
    }
}

TEST(Flattener, ReplacesCurvesByLinesEndingOnTheEndPoint) {
    // A curve starts at the last point given, whether by BeginFigure or
    // LineTo; evenly spaced control points give the end point alone.
    const Events events = Through(
        [](GeometrySink& g) {
            g.SetFillRule(FillRule::EvenOdd);
            g.BeginFigure(Point<float>(-10, -10));
            g.LineTo(Point<float>(0, 0));
            g.CurveTo(Point<float>(0, 4), Point<float>(4, 4), Point<float>(4, 0));
            g.CurveTo(Point<float>(5, 0), Point<float>(6, 0), Point<float>(7, 0));
            g.EndFigureClose();
            g.BeginFigure(Point<float>(0, 0));
            g.CurveTo(Point<float>(0, 4), Point<float>(4, 4), Point<float>(4, 0));
            g.EndFigure();
        },
        [](std::shared_ptr<GeometrySink> sink) { return std::make_shared<Flattener>(0.5f, sink); });
    EXPECT_EQ(events, (Events{R(1), B(-10, -10), L(0, 0), L(0.625f, 2.25f), L(2, 3), L(3.375f, 2.25f), L(4, 0), L(7, 0),
                              C(), B(0, 0), L(0.625f, 2.25f), L(2, 3), L(3.375f, 2.25f), L(4, 0), E()}));

    // Bad curves pass as bounded lines ending on the end point; a null next
    // sink swallows everything.
    auto count = std::make_shared<CountingSink>();
    Flattener flattener(0.25f, count);
    flattener.BeginFigure(Point<float>(0, 0));
    flattener.CurveTo(Point<float>(kNaN, kNaN), Point<float>(kNaN, kNaN), Point<float>(5, 5));
    EXPECT_EQ(count->lines, 1u);
    flattener.CurveTo(Point<float>(kInf, 0), Point<float>(0, -kInf), Point<float>(6, 6));
    EXPECT_LE(count->lines, 2u + (1u << 23));
    EXPECT_EQ(count->last, Point<float>(6, 6));
    EXPECT_EQ(count->curves, 0u);
    Flattener none(0.25f, nullptr);
    none.SetFillRule(FillRule::Winding);
    none.CurveTo(Point<float>(0, 100), Point<float>(100, 100), Point<float>(100, 0));
    Polyline(none, {{0, 0}, {1, 1}}, true);
    Polyline(none, {{0, 0}});
}
