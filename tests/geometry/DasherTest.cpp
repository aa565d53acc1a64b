#include "Graphics/Geometry.h"

#include "LogCapture.h"
#include "RecordingSink.h"
#include "geometry/Dasher.h"
#include "geometry/Pen.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <vector>

using namespace Graphics;
using namespace GraphicsTest;

namespace {

Events Dash(const std::vector<float>& pattern, float phase, const std::function<void(GeometrySink&)>& path,
            float tolerance = 0.25f) {
    return Through(path, [&](std::shared_ptr<GeometrySink> sink) {
        return std::make_shared<Dasher>(tolerance, pattern, phase, sink);
    });
}

// The dashes of a pattern through a Pen of width 2.
std::shared_ptr<Geometry> DashAndStroke(const std::vector<float>& pattern, LineCap::Enum cap,
                                        const std::function<void(GeometrySink&)>& path) {
    auto geometry = std::make_shared<Geometry>();
    Dasher dasher(0.25f, pattern, 0, std::make_shared<Pen>(0.25f, 2.0f, cap, LineJoin::Miter, 10.0f, geometry));
    path(dasher);
    return geometry;
}

void Line20(GeometrySink& g) { Polyline(g, {{0, 0}, {20, 0}}); }
void Square(GeometrySink& g) { Polyline(g, {{0, 0}, {10, 0}, {10, 10}, {0, 10}}, true); }

}  // namespace

TEST(DasherSequence, PhaseAndIncrement) {
    // The total is twice the sum, so that an odd pattern repeats with dashes
    // and gaps swapped: [5] is dash 0..5, gap 5..10; [1, 2, 3] runs dash 1,
    // gap 2, dash 3, gap 1, dash 2, gap 3. A phase wraps, counts back from
    // the total when negative, and within 0.00001 before an entry's end
    // belongs to the next entry.
    struct Case {
        std::vector<float> pattern;
        float phase;
        std::size_t cursor;
        float position;
        bool gap;
    };
    const Case cases[] = {
        {{5}, 0, 0, 0, false},         {{5}, 2, 0, 2, false},        {{5}, 7, 0, 2, true},
        {{5}, 12, 0, 2, false},        {{5}, 27, 0, 2, true},        {{5}, -3, 0, 2, true},
        {{5}, -13, 0, 2, true},        {{5}, -20, 0, 0, false},      {{5}, -10, 0, 0, false},
        {{5}, 1e30f, 0, 0, false},     {{4, 2}, 4, 1, 0, true},      {{4, 2}, 3.999995f, 1, -0.000005f, true},
        {{4, 2}, 3.9999f, 0, 3.9999f, false}, {{4, 2}, 9, 0, 3, false}, {{4, 2}, 11, 1, 1, true},
        {{1, 2, 3}, 6.5f, 0, 0.5f, true}, {{1, 2, 3}, 7.5f, 1, 0.5f, false},
    };
    for (const Case& c : cases) {
        const Dasher::Sequence s(c.pattern, c.phase);
        EXPECT_EQ(s.GetCursor(), c.cursor) << c.phase;
        EXPECT_NEAR(s.GetPosition(), c.position, 1e-6f) << c.phase;
        EXPECT_EQ(s.IsInGap(), c.gap) << c.phase;
    }
    // Increment walks on and wraps; a zero entry stays present for one turn.
    Dasher::Sequence s({4, 2}, 0), z({0, 5}, 0);
    const std::pair<float, std::size_t> steps[] = {{4, 1}, {2, 0}, {13, 0}};
    for (const auto& step : steps) {
        s.Increment(step.first);
        EXPECT_EQ(s.GetCursor(), step.second);
    }
    EXPECT_EQ(s.GetPosition(), 1.0f);
    const std::size_t zeroSteps[][2] = {{0, 1}, {5, 0}, {0, 0}, {0, 1}};  // increment, cursor after it
    for (const auto& step : zeroSteps) {
        z.Increment(static_cast<float>(step[0]));
        EXPECT_EQ(z.GetCursor(), step[1]);
        EXPECT_EQ(z.IsInGap(), step[1] == 1);
    }

    // A pattern of zero length fails (and is logged); a NaN sum, tiny or
    // negative sums pass.
    EXPECT_GRAPHICS_FAILURE((void)Dasher::Sequence({}, 0), "Sequence", "Pattern has zero length");
    EXPECT_GRAPHICS_FAILURE((void)Dasher::Sequence({3, -1, -2}, 0), "Sequence", "Pattern has zero length");
    EXPECT_GRAPHICS_FAILURE((void)Dasher(0.25f, {0}, 1, nullptr), "Sequence", "Pattern has zero length");
    EXPECT_NO_THROW(Dasher::Sequence({kNaN, 1}, 0));
    EXPECT_NO_THROW(Dasher::Sequence({1e-30f}, 0));
    EXPECT_NO_THROW(Dasher::Sequence({-1}, 0));
}

TEST(Dasher, DashesWorkedByHand) {
    struct Case {
        const char* name;
        std::vector<float> pattern;
        float phase;
        std::function<void(GeometrySink&)> path;
        Events events;
    };
    const Case cases[] = {
        {"odd pattern", {5}, 0, Line20, {B(0, 0), L(5, 0), E(), B(10, 0), L(15, 0), E()}},
        {"phase 12 is 2", {5}, 12, Line20, {B(0, 0), L(3, 0), E(), B(8, 0), L(13, 0), E(), B(18, 0), L(20, 0), E()}},
        // A figure that starts in a gap begins nothing there.
        {"phase -3 is 7", {5}, -3, Line20, {B(3, 0), L(8, 0), E(), B(13, 0), L(18, 0), E()}},
        {"tiny phase", {5}, 1e-30f, Line20, {B(0, 0), L(5, 0), E(), B(10, 0), L(15, 0), E()}},
        {"diagonal", {5}, 0, [](GeometrySink& g) { Polyline(g, {{0, 0}, {12, 16}}); },
         {B(0, 0), L(3, 4), E(), B(6, 8), L(9, 12), E()}},
        // A zero gap: the next dash begins at once.
        {"zero gap", {3, 0}, 0, [](GeometrySink& g) { Polyline(g, {{0, 0}, {10, 0}}); },
         {B(0, 0), L(3, 0), E(), B(3, 0), L(6, 0), E(), B(6, 0), L(9, 0), E(), B(9, 0), L(10, 0), E()}},
        // A zero dash is a line to its own start; the first had its turn in
        // the constructor, later ones take two steps and so two lines.
        {"zero dash", {0, 5}, 0, Line20,
         {B(0, 0), L(0, 0), E(), B(5, 0), L(5, 0), L(5, 0), E(), B(10, 0), L(10, 0), L(10, 0), E(), B(15, 0), L(15, 0),
          L(15, 0), E()}},
        // The pattern runs on into the next figure; the fill rule is not
        // passed on, nor a line to the last point.
        {"across figures", {4, 2}, 0,
         [](GeometrySink& g) {
             g.SetFillRule(FillRule::EvenOdd);
             Polyline(g, {{0, 0}, {5, 0}, {5, 0}});
             Polyline(g, {{0, 10}, {10, 10}});
         },
         {B(0, 0), L(4, 0), E(), B(1, 10), L(5, 10), E(), B(7, 10), L(10, 10), E()}},
        // Dashes turn corners; the closing dash does not join the first.
        {"closed", {6, 3}, 0, Square,
         {B(0, 0), L(6, 0), E(), B(9, 0), L(10, 0), L(10, 5), E(), B(10, 8), L(10, 10), L(6, 10), E(), B(3, 10),
          L(0, 10), L(0, 7), E(), B(0, 4), L(0, 0), E()}},
        // A NaN pattern, a NaN or infinite phase: solid.
        {"NaN pattern", {kNaN, 1}, 0, Line20, {B(0, 0), L(20, 0), E()}},
        {"NaN phase", {2, 2}, kNaN, Line20, {B(0, 0), L(20, 0), E()}},
        {"infinite phase", {2, 2}, kInf, Line20, {B(0, 0), L(20, 0), E()}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        ExpectEvents(Dash(c.pattern, c.phase, c.path), c.events, 1e-5f);
    }

    // Through a Pen: zero dashes under round caps are dots of three chords
    // per half turn (reaching 1 along the line and sin 60 degrees across),
    // and nothing under butt caps. Square caps reach one beyond the seam of
    // a closed figure, and the corner inside a dash has its miter.
    const Rect<float> dots = DashAndStroke({0, 5}, LineCap::Round, Line20)->GetBound(Matrix());
    EXPECT_EQ(std::make_pair(dots.left, dots.right), std::make_pair(-1.0f, 16.0f));
    EXPECT_NEAR(dots.bottom, 0.8660254f, 1e-6f);
    EXPECT_TRUE(DashAndStroke({0, 5}, LineCap::Butt, Line20)->IsEmpty());
    auto ring = DashAndStroke({6, 3}, LineCap::Square, Square);
    EXPECT_EQ(ring->GetBound(Matrix()), Rect<float>(-1, -1, 11, 11));
    auto out = std::make_shared<RecordingSink>();
    ring->SendToSink(out);
    int figures = 0, miters = 0;
    for (const SinkEvent& e : out->events) {
        figures += e.kind == SinkEvent::Close;
        miters += e == L(11, -1);
    }
    EXPECT_EQ(figures, 5);
    EXPECT_EQ(miters, 1);
}

TEST(Dasher, CurvesAreMeasuredAlongTheirChords) {
    // Control points on the line, after a line from -4: the cuts fall where
    // they would on a line, and the dashes hold inner chord points.
    const Events straight = Dash({2, 2}, 0,
                                 [](GeometrySink& g) {
                                     g.BeginFigure(Point<float>(-4, 0));
                                     g.LineTo(Point<float>(0, 0));
                                     g.CurveTo(Point<float>(1, 0), Point<float>(9, 0), Point<float>(10, 0));
                                     g.EndFigure();
                                 },
                                 0.01f);
    std::vector<std::pair<float, float>> dashes;
    for (const SinkEvent& e : straight) {
        if (e.kind == SinkEvent::Begin) dashes.emplace_back(e.p[0].x, e.p[0].x);
        if (e.kind == SinkEvent::Line) {
            EXPECT_GE(e.p[0].x, dashes.back().second);
            dashes.back().second = e.p[0].x;
        }
        EXPECT_EQ(e.p[0].y, 0.0f);
    }
    ASSERT_EQ(dashes.size(), 4u);
    for (int i = 0; i < 4; ++i) {
        EXPECT_NEAR(dashes[i].first, 4 * i - 4, 1e-4f);
        EXPECT_NEAR(dashes[i].second, 4 * i - 2, 1e-4f);
    }
    EXPECT_GT(straight.size(), 12u);
    // On a bent curve, about 38.3 long, the dashes make half its length.
    const Events bent = Dash({1, 1}, 0,
                             [](GeometrySink& g) {
                                 g.BeginFigure(Point<float>(0, 0));
                                 g.CurveTo(Point<float>(0, 20), Point<float>(20, 20), Point<float>(20, 0));
                                 g.EndFigure();
                             },
                             0.05f);
    double dashed = 0;
    Point<float> last;
    for (const SinkEvent& e : bent) {
        if (e.kind == SinkEvent::Line) dashed += std::hypot(e.p[0].x - last.x, e.p[0].y - last.y);
        last = e.p[0];
    }
    EXPECT_NEAR(dashed, 19.15, 1.0);
}

TEST(Dasher, BadPatternsAndPointsStayBounded) {
    // A sum tiny against the path, or negative entries: the walk stops after
    // MaxPatternSteps entries and the rest of the path is one solid dash.
    for (const std::vector<float>& pattern : {std::vector<float>{1e-6f, 1e-6f}, std::vector<float>{5, -3},
                                              std::vector<float>{-kInf}, std::vector<float>{-1, -1, 3}}) {
        auto sink = std::make_shared<CountingSink>();
        Dasher dasher(0.25f, pattern, 0.5f, sink);
        Polyline(dasher, {{0, 0}, {1000, 0}, {1000, 1000}}, true);
        EXPECT_LE(sink->figures, Dasher::MaxPatternSteps);
        EXPECT_LE(sink->lines, Dasher::MaxPatternSteps + 8);
        EXPECT_EQ(sink->last, Point<float>(0, 0));
    }
    // Coordinates so large that a dash rounds to no move at all; the next
    // figure is solid too.
    auto sink = std::make_shared<CountingSink>();
    Dasher dasher(0.25f, {1, 1}, 0, sink);
    Polyline(dasher, {{1e9f, 0}, {2e9f, 0}});
    EXPECT_LE(sink->lines, Dasher::MaxPatternSteps);
    EXPECT_EQ(sink->last, Point<float>(2e9f, 0));
    const unsigned long figures = sink->figures, lines = sink->lines;
    Polyline(dasher, {{0, 0}, {10, 0}});
    EXPECT_EQ(std::make_pair(sink->figures, sink->lines), std::make_pair(figures + 1, lines + 1));

    // NaN and infinite points: no endless cutting.
    for (float bad : {kNaN, kInf, -kInf}) {
        auto counting = std::make_shared<CountingSink>();
        Dasher d(0.25f, {2, 2}, 0, counting);
        d.BeginFigure(Point<float>(0, 0));
        d.LineTo(Point<float>(bad, 5));
        d.LineTo(Point<float>(3, 3));
        d.CurveTo(Point<float>(bad, bad), Point<float>(0, bad), Point<float>(9, 9));
        d.EndFigureClose();
        Polyline(d, {{bad, bad}, {1, 1}});
        EXPECT_LE(counting->lines, 100u);
    }
    Dasher quiet(0.25f, {1, 1}, 0, nullptr);
    Line20(quiet);
}
