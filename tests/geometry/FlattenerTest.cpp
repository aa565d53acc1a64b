#include "geometry/BezierFlattener.h"
#include "geometry/Flattener.h"

#include "RecordingSink.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <vector>

using namespace Graphics;
using namespace GraphicsTest;

namespace {

const float kNaN = std::numeric_limits<float>::quiet_NaN();
const float kInf = std::numeric_limits<float>::infinity();

struct Walk {
    std::vector<Point<float>> points;
    std::vector<double> params;  // parameter of each point, from the step sizes
    std::vector<float> stepSizes;  // step size after each point
};

Walk WalkCurve(float tolerance, Point<float> p0, Point<float> p1, Point<float> p2, Point<float> p3) {
    BezierFlattener f(tolerance);
    f.SetPoints(p0, p1, p2, p3);
    Walk w;
    double t = 0;
    Point<float> p;
    for (;;) {
        const float step = f.GetStepSize();
        if (!f.NextPoint(&p)) break;
        t += step;
        w.points.push_back(p);
        w.params.push_back(t);
        w.stepSizes.push_back(f.GetStepSize());
    }
    return w;
}

Point<double> Bezier(double t, Point<float> p0, Point<float> p1, Point<float> p2, Point<float> p3) {
    const double u = 1 - t;
    const double a = u * u * u, b = 3 * u * u * t, c = 3 * u * t * t, d = t * t * t;
    return Point<double>(a * p0.x + b * p1.x + c * p2.x + d * p3.x, a * p0.y + b * p1.y + c * p2.y + d * p3.y);
}

unsigned FloatBits(float f) {
    unsigned u;
    std::memcpy(&u, &f, sizeof u);
    return u;
}

}  // namespace

TEST(BezierFlattener, ExactPointsOfADyadicCurve) {
    // Every difference of this curve is a small dyadic number, so the float
    // walk is exact and the points are the curve at multiples of the step.
    const Point<float> p0(0, 0), p1(0, 4), p2(4, 4), p3(4, 0);
    // e0 = (24, -24), e1 = (-24, -24). Tolerance 1 (limit 6): one halving
    // gives e0 = (6, -6), e1 = (0, -6), within the limit: two steps of 1/2.
    {
        BezierFlattener f(1.0f);
        f.SetPoints(p0, p1, p2, p3);
        EXPECT_EQ(f.GetSteps(), 2u);
        EXPECT_EQ(f.GetStepSize(), 0.5f);
        Point<float> p;
        ASSERT_TRUE(f.NextPoint(&p));
        EXPECT_EQ(p, Point<float>(2, 3));
        EXPECT_FALSE(f.NextPoint(&p));
        EXPECT_EQ(p, Point<float>(2, 3));
        EXPECT_FALSE(f.NextPoint(nullptr));
    }
    // Tolerance 0.5 (limit 3): a second halving, four steps of 1/4. No
    // doubling: with two steps left |e0.y| = 1.5 exceeds the limit 0.75.
    {
        const Walk w = WalkCurve(0.5f, p0, p1, p2, p3);
        EXPECT_EQ(w.points, (std::vector<Point<float>>{{0.625f, 2.25f}, {2, 3}, {3.375f, 2.25f}}));
        EXPECT_EQ(w.params, (std::vector<double>{0.25, 0.5, 0.75}));
    }
    // With a null output the walk advances all the same.
    {
        BezierFlattener f(0.5f);
        f.SetPoints(p0, p1, p2, p3);
        EXPECT_TRUE(f.NextPoint(nullptr));
        Point<float> p;
        EXPECT_TRUE(f.NextPoint(&p));
        EXPECT_EQ(p, Point<float>(2, 3));
    }
}

TEST(BezierFlattener, AdaptiveWalkOfAnSCurve) {
    const Point<float> p0(0, 0), p1(100, 300), p2(300, -200), p3(400, 100);
    BezierFlattener f(0.25f);
    f.SetPoints(p0, p1, p2, p3);
    EXPECT_EQ(f.GetSteps(), 64u);
    EXPECT_EQ(f.GetStepSize(), 1.0f / 64);

    const Walk w = WalkCurve(0.25f, p0, p1, p2, p3);
    ASSERT_EQ(w.points.size(), 53u);
    // Steps of 1/64 up to t = 22/64, doubled to 1/32 across the flat middle
    // up to t = 42/64, then 1/64 again up to the last point at 63/64.
    for (std::size_t i = 0; i < w.points.size(); ++i) {
        const double t = w.params[i];
        double expected;
        if (i < 22)
            expected = (i + 1) / 64.0;
        else if (i < 32)
            expected = (22 + 2 * (i - 21)) / 64.0;
        else
            expected = (42 + (i - 31)) / 64.0;
        EXPECT_EQ(t, expected) << i;
        const Point<double> c = Bezier(t, p0, p1, p2, p3);
        EXPECT_NEAR(w.points[i].x, c.x, 1e-3) << i;
        EXPECT_NEAR(w.points[i].y, c.y, 1e-3) << i;
    }
    EXPECT_EQ(w.params.back(), 63.0 / 64);
    EXPECT_EQ(w.stepSizes[20], 1.0f / 64);
    EXPECT_EQ(w.stepSizes[21], 1.0f / 32);
    EXPECT_EQ(w.stepSizes[30], 1.0f / 32);
    EXPECT_EQ(w.stepSizes[31], 1.0f / 64);
    // Points exact in float where the differences are: t = 1/4, 1/2, 3/4.
    EXPECT_EQ(w.points[15], Point<float>(90.625f, 100));
    EXPECT_EQ(w.points[26], Point<float>(200, 50));
    EXPECT_EQ(w.points[37], Point<float>(309.375f, 0));
}

TEST(BezierFlattener, FlatAndDegenerateCurvesGiveNoPoint) {
    // Control points within the tolerance of the chord: steps stays 1.
    {
        BezierFlattener f(0.25f);
        f.SetPoints(Point<float>(0, 0), Point<float>(1, 0.01f), Point<float>(2, -0.01f), Point<float>(3, 0));
        EXPECT_EQ(f.GetSteps(), 1u);
        EXPECT_FALSE(f.NextPoint(nullptr));
    }
    // Evenly spaced collinear control points have no second difference.
    EXPECT_TRUE(WalkCurve(0.25f, {0, 0}, {100, 50}, {200, 100}, {300, 150}).points.empty());
    // All four points equal.
    EXPECT_TRUE(WalkCurve(0.25f, {7, 7}, {7, 7}, {7, 7}, {7, 7}).points.empty());
    EXPECT_TRUE(WalkCurve(0.0f, {7, 7}, {7, 7}, {7, 7}, {7, 7}).points.empty());
    // Just past the limit: one halving, one point at t = 1/2. Here
    // e0 = (0, 6 * 0.26) and e1 = (0, -6 * 0.26) against 6 * 0.25.
    {
        const Walk w = WalkCurve(0.25f, {0, 0}, {1, -0.13f}, {2, 0.13f}, {3, 0});
        ASSERT_EQ(w.points.size(), 1u);
        EXPECT_EQ(w.params[0], 0.5);
        EXPECT_FLOAT_EQ(w.points[0].x, 1.5f);
        EXPECT_NEAR(w.points[0].y, 0.0f, 1e-7f);
    }
}

TEST(BezierFlattener, ToleranceFloorAndBadTolerances) {
    EXPECT_EQ(FloatBits(BezierFlattener::Epsilon), 0x34000000u);
    EXPECT_EQ(BezierFlattener(0.0f).GetTolerance(), BezierFlattener::Epsilon);
    EXPECT_EQ(BezierFlattener(-5.0f).GetTolerance(), BezierFlattener::Epsilon);
    EXPECT_EQ(BezierFlattener(1e-30f).GetTolerance(), BezierFlattener::Epsilon);
    EXPECT_EQ(BezierFlattener(0.25f).GetTolerance(), 0.25f);

    // Tolerance 0 on a small curve: the differences of 600 come within
    // 6 * epsilon after 15 halvings.
    {
        BezierFlattener f(0.0f);
        f.SetPoints(Point<float>(0, 0), Point<float>(0, 100), Point<float>(100, 100), Point<float>(100, 0));
        EXPECT_EQ(f.GetSteps(), 1u << 15);
    }
    // On a large one halving stops at the least step after 23 halvings, and
    // the walk ends after 2^23 - 1 points.
    {
        BezierFlattener f(0.0f);
        f.SetPoints(Point<float>(0, 0), Point<float>(0, 1e7f), Point<float>(1e7f, 1e7f), Point<float>(1e7f, 0));
        EXPECT_EQ(f.GetSteps(), 1u << 23);
        EXPECT_EQ(f.GetStepSize(), BezierFlattener::Epsilon);
        unsigned long n = 0;
        Point<float> p, last;
        while (f.NextPoint(&p)) {
            ++n;
            last = p;
        }
        EXPECT_EQ(n, (1ul << 23) - 1);
        // Float differences drift far over millions of steps (the caller's
        // final line to the end point makes up for it), but stay finite.
        EXPECT_TRUE(std::isfinite(last.x) && std::isfinite(last.y));
    }
    // An infinite tolerance never halves; a NaN one compares false
    // everywhere and does the same.
    EXPECT_TRUE(WalkCurve(kInf, {0, 0}, {0, 100}, {100, 100}, {100, 0}).points.empty());
    EXPECT_TRUE(WalkCurve(kNaN, {0, 0}, {0, 100}, {100, 100}, {100, 0}).points.empty());
}

TEST(BezierFlattener, BadCoordinatesStayBounded) {
    // NaN everywhere: no halving, no point.
    {
        BezierFlattener f(0.25f);
        f.SetPoints(Point<float>(kNaN, kNaN), Point<float>(kNaN, kNaN), Point<float>(kNaN, kNaN),
                    Point<float>(kNaN, kNaN));
        EXPECT_EQ(f.GetSteps(), 1u);
        EXPECT_FALSE(f.NextPoint(nullptr));
    }
    // One NaN control point among sane ones.
    EXPECT_TRUE(WalkCurve(0.25f, {0, 0}, {kNaN, kNaN}, {1, 0}, {2, 0}).points.empty());

    // Infinities and huge values: at most 2^23 steps, and the walk ends.
    const float huge = std::numeric_limits<float>::max();
    const Point<float> cases[][4] = {
        {{0, 0}, {kInf, 0}, {0, 0}, {1, 1}},
        {{0, 0}, {kInf, -kInf}, {-kInf, kInf}, {1, 1}},
        {{-huge, -huge}, {huge, huge}, {-huge, huge}, {huge, -huge}},
        {{0, 0}, {kNaN, 0}, {0, kInf}, {1, 1}},
    };
    for (const auto& c : cases) {
        BezierFlattener f(0.25f);
        f.SetPoints(c[0], c[1], c[2], c[3]);
        EXPECT_LE(f.GetSteps(), 1u << 23);
        EXPECT_GE(f.GetStepSize(), BezierFlattener::Epsilon);
        unsigned long n = 0;
        while (f.NextPoint(nullptr) && n < (1ul << 24)) ++n;
        EXPECT_LT(n, 1ul << 23);
    }

    // Coordinates of 1e7 with tolerance 0.25: the second differences of
    // 6e7 need 13 halvings to come within 1.5. The float differences drift
    // by some parts in 1e5 over the walk.
    {
        const Point<float> p0(0, 0), p1(1e7f, 0), p2(1e7f, 1e7f), p3(0, 1e7f);
        BezierFlattener f(0.25f);
        f.SetPoints(p0, p1, p2, p3);
        EXPECT_EQ(f.GetSteps(), 1u << 13);
        const Walk w = WalkCurve(0.25f, p0, p1, p2, p3);
        ASSERT_FALSE(w.points.empty());
        EXPECT_LT(w.points.size(), 1u << 13);
        for (std::size_t i = 0; i < w.points.size(); i += 97) {
            const Point<double> c = Bezier(w.params[i], p0, p1, p2, p3);
            EXPECT_NEAR(w.points[i].x, c.x, 1e3) << i;
            EXPECT_NEAR(w.points[i].y, c.y, 1e3) << i;
        }
    }
}

TEST(Flattener, ReplacesCurvesByLinesEndingOnTheEndPoint) {
    auto out = std::make_shared<RecordingSink>();
    Flattener flattener(0.5f, out);
    flattener.SetFillRule(FillRule::EvenOdd);
    flattener.BeginFigure(Point<float>(-10, -10));
    flattener.LineTo(Point<float>(0, 0));
    // The curve starts at the last point given: that of the LineTo.
    flattener.CurveTo(Point<float>(0, 4), Point<float>(4, 4), Point<float>(4, 0));
    // Evenly spaced on a line: no second difference, only the end point.
    flattener.CurveTo(Point<float>(5, 0), Point<float>(6, 0), Point<float>(7, 0));
    flattener.EndFigureClose();
    flattener.BeginFigure(Point<float>(1, 1));
    flattener.EndFigure();
    EXPECT_EQ(out->events, (std::vector<SinkEvent>{RuleEvent(1), BeginEvent(-10, -10), LineEvent(0, 0),
                                                   LineEvent(0.625f, 2.25f), LineEvent(2, 3),
                                                   LineEvent(3.375f, 2.25f), LineEvent(4, 0), LineEvent(7, 0),
                                                   CloseEvent(), BeginEvent(1, 1), EndEvent()}));

    // A curve right after BeginFigure starts at that point.
    auto out2 = std::make_shared<RecordingSink>();
    Flattener second(1.0f, out2);
    second.BeginFigure(Point<float>(0, 0));
    second.CurveTo(Point<float>(0, 4), Point<float>(4, 4), Point<float>(4, 0));
    second.EndFigure();
    EXPECT_EQ(out2->events, (std::vector<SinkEvent>{BeginEvent(0, 0), LineEvent(2, 3), LineEvent(4, 0), EndEvent()}));

    // Without a next sink every call is a no-op.
    Flattener none(0.25f, nullptr);
    none.SetFillRule(FillRule::Winding);
    none.BeginFigure(Point<float>(0, 0));
    none.LineTo(Point<float>(1, 1));
    none.CurveTo(Point<float>(0, 100), Point<float>(100, 100), Point<float>(100, 0));
    none.EndFigure();
    none.EndFigureClose();
}

TEST(Flattener, BadInputPassesAsBoundedLines) {
    auto count = std::make_shared<CountingSink>();
    Flattener flattener(0.25f, count);
    flattener.BeginFigure(Point<float>(0, 0));
    flattener.CurveTo(Point<float>(kNaN, kNaN), Point<float>(kNaN, kNaN), Point<float>(5, 5));
    EXPECT_EQ(count->lines, 1u);
    EXPECT_EQ(count->last, Point<float>(5, 5));
    flattener.CurveTo(Point<float>(kInf, 0), Point<float>(0, -kInf), Point<float>(6, 6));
    EXPECT_LE(count->lines, 2u + (1u << 23));
    EXPECT_EQ(count->last, Point<float>(6, 6));
    flattener.EndFigure();
    EXPECT_EQ(count->curves, 0u);
}
