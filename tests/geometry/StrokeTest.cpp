// The stroke stages: the Dasher cuts dashes, the Pen outlines them, and
// Geometry::Widen chains the two.

#include "Graphics/Geometry.h"

#include "LogCapture.h"
#include "RecordingSink.h"
#include "geometry/BezierFlattener.h"
#include "geometry/Dasher.h"
#include "geometry/Pen.h"

#include <gtest/gtest.h>

#include <algorithm>
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

struct PenSetup { float tolerance; LineCap::Enum cap; LineJoin::Enum join; float miterLimit; };

Events Stroke(const PenSetup& s, const std::function<void(GeometrySink&)>& path) {
    return Through(path, [&](std::shared_ptr<GeometrySink> sink) {
        return std::make_shared<Pen>(s.tolerance, 2.0f, s.cap, s.join, s.miterLimit, sink);
    });
}

void Line(GeometrySink& g) { Polyline(g, {{0, 0}, {10, 0}}); }
void RightAngle(GeometrySink& g) { Polyline(g, {{0, 0}, {10, 0}, {10, 10}}); }

}  // namespace

TEST(DasherSequence, PhaseAndIncrement) {
    // The total is twice the sum: an odd pattern repeats with dashes and gaps
    // swapped ([1, 2, 3] runs dash 1, gap 2, dash 3, gap 1, ...). A phase wraps,
    // counts back when negative, and within 0.00001 of an entry's end is in the next.
    struct Case { std::vector<float> pattern; float phase; std::size_t cursor; float position; bool gap; };
    const Case cases[] = {
        {{5}, 7, 0, 2, true},     {{5}, 27, 0, 2, true},   {{5}, -13, 0, 2, true},           {{5}, -10, 0, 0, false},
        {{5}, 1e30f, 0, 0, false}, {{4, 2}, 3.999995f, 1, -0.000005f, true}, {{4, 2}, 3.9999f, 0, 3.9999f, false},
        {{4, 2}, 11, 1, 1, true}, {{1, 2, 3}, 6.5f, 0, 0.5f, true}, {{1, 2, 3}, 7.5f, 1, 0.5f, false},
    };
    for (const Case& c : cases) {
        const Dasher::Sequence s(c.pattern, c.phase);
        EXPECT_EQ(s.GetCursor(), c.cursor) << c.phase;
        EXPECT_NEAR(s.GetPosition(), c.position, 1e-6f) << c.phase;
        EXPECT_EQ(s.IsInGap(), c.gap) << c.phase;
    }
    // Increment walks on and wraps.
    Dasher::Sequence s({4, 2}, 0);
    s.Increment(4);
    EXPECT_EQ(s.GetCursor(), 1u);
    s.Increment(15);
    EXPECT_TRUE(s.GetCursor() == 0u && s.GetPosition() == 1.0f);
    // A pattern of zero length fails (and is logged); NaN, tiny or negative sums pass.
    EXPECT_GRAPHICS_FAILURE((void)Dasher::Sequence({}, 0), "Sequence", "Pattern has zero length");
    EXPECT_GRAPHICS_FAILURE((void)Dasher(0.25f, {3, -1, -2}, 1, nullptr), "Sequence", "Pattern has zero length");
    for (float sum : {kNaN, 1e-30f, -1.0f}) EXPECT_NO_THROW(Dasher::Sequence({sum}, 0));
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
        {"phase -3 is 7, in a gap", {5}, -3, Line20, {B(3, 0), L(8, 0), E(), B(13, 0), L(18, 0), E()}},
        {"zero gap", {3, 0}, 0, [](GeometrySink& g) { Polyline(g, {{0, 0}, {10, 0}}); },
         {B(0, 0), L(3, 0), E(), B(3, 0), L(6, 0), E(), B(6, 0), L(9, 0), E(), B(9, 0), L(10, 0), E()}},
        // A zero dash is a line to its start; later ones take two steps, two lines.
        {"zero dash", {0, 5}, 0, Line20,
         {B(0, 0), L(0, 0), E(), B(5, 0), L(5, 0), L(5, 0), E(), B(10, 0), L(10, 0), L(10, 0), E(), B(15, 0), L(15, 0),
          L(15, 0), E()}},
        // The pattern runs on into the next figure; the fill rule is not passed.
        {"across figures", {4, 2}, 0,
         [](GeometrySink& g) {
             g.SetFillRule(FillRule::EvenOdd); Polyline(g, {{0, 0}, {5, 0}, {5, 0}}); Polyline(g, {{0, 10}, {10, 10}});
         },
         {B(0, 0), L(4, 0), E(), B(1, 10), L(5, 10), E(), B(7, 10), L(10, 10), E()}},
        // Dashes turn corners; the closing dash does not join the first.
        {"closed", {6, 3}, 0, Square,
         {B(0, 0), L(6, 0), E(), B(9, 0), L(10, 0), L(10, 5), E(), B(10, 8), L(10, 10), L(6, 10), E(), B(3, 10),
          L(0, 10), L(0, 7), E(), B(0, 4), L(0, 0), E()}},
        {"NaN pattern: solid", {kNaN, 1}, 0, Line20, {B(0, 0), L(20, 0), E()}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        ExpectEvents(Dash(c.pattern, c.phase, c.path), c.events, 1e-5f);
    }
    // Through a Pen: zero dashes are round dots (three chords a half turn: sin 60
    // across) or nothing under butt caps; square caps reach past a closed seam.
    const Rect<float> dots = DashAndStroke({0, 5}, LineCap::Round, Line20)->GetBound(Matrix());
    EXPECT_TRUE(dots.left == -1.0f && dots.right == 16.0f && std::fabs(dots.bottom - 0.8660254f) < 1e-6f);
    EXPECT_TRUE(DashAndStroke({0, 5}, LineCap::Butt, Line20)->IsEmpty());
    auto ring = DashAndStroke({6, 3}, LineCap::Square, Square);
    EXPECT_EQ(ring->GetBound(Matrix()), Rect<float>(-1, -1, 11, 11));
    auto out = std::make_shared<RecordingSink>();
    ring->SendToSink(out);
    const Events& ev = out->events;
    EXPECT_EQ(std::count_if(ev.begin(), ev.end(), [](const SinkEvent& e) { return e.kind == SinkEvent::Close; }), 5);
    EXPECT_EQ(std::count(ev.begin(), ev.end(), L(11, -1)), 1);  // the miter inside a dash
    // A curve lying on a line after a line from -4: cuts fall where they would
    // on a line, and the dashes hold inner chord points.
    auto path = [](GeometrySink& g) {
        g.BeginFigure({-4, 0}); g.LineTo({0, 0}); g.CurveTo({1, 0}, {9, 0}, {10, 0}); g.EndFigure();
    };
    const Events straight = Dash({2, 2}, 0, path, 0.01f);
    std::vector<float> ends;  // begin and last point of each dash
    for (const SinkEvent& e : straight) {
        if (e.kind == SinkEvent::Begin) ends.insert(ends.end(), 2, e.p[0].x);
        if (e.kind == SinkEvent::Line) {
            EXPECT_GE(e.p[0].x, ends.back());
            ends.back() = e.p[0].x;
        }
        EXPECT_EQ(e.p[0].y, 0.0f);
    }
    ASSERT_EQ(ends.size(), 8u);
    for (int i = 0; i < 8; ++i) EXPECT_NEAR(ends[i], 2 * i - 4, 1e-4f) << i;
    EXPECT_GT(straight.size(), 12u);
}

TEST(Dasher, BadPatternsAndPointsStayBounded) {
    // A sum tiny against the path, or negative entries: the walk stops after
    // MaxPatternSteps entries and the rest of the path is one solid dash.
    for (const std::vector<float>& pattern : {std::vector<float>{1e-6f, 1e-6f}, std::vector<float>{5, -3},
                                              std::vector<float>{-kInf}, std::vector<float>{-1, -1, 3}}) {
        auto sink = std::make_shared<CountingSink>();
        Dasher dasher(0.25f, pattern, 0.5f, sink);
        Polyline(dasher, {{0, 0}, {1000, 0}, {1000, 1000}}, true);
        EXPECT_TRUE(sink->figures <= Dasher::MaxPatternSteps && sink->lines <= Dasher::MaxPatternSteps + 8);
        EXPECT_EQ(sink->last, Point<float>(0, 0));
    }
    // Dashes too short to move at 1e9 end the walk; the next figure is solid.
    auto sink = std::make_shared<CountingSink>();
    Dasher dasher(0.25f, {1, 1}, 0, sink);
    Polyline(dasher, {{1e9f, 0}, {2e9f, 0}});
    EXPECT_TRUE(sink->lines <= Dasher::MaxPatternSteps && sink->last == Point<float>(2e9f, 0));
    const unsigned long figures = sink->figures, lines = sink->lines;
    Polyline(dasher, {{0, 0}, {10, 0}});
    EXPECT_EQ(std::make_pair(sink->figures, sink->lines), std::make_pair(figures + 1, lines + 1));
    // NaN and infinite points: no endless cutting.
    for (float bad : {kNaN, kInf, -kInf}) {
        auto counting = std::make_shared<CountingSink>();
        Dasher d(0.25f, {2, 2}, 0, counting);
        Polyline(d, {{0, 0}, {bad, 5}, {3, 3}});
        d.CurveTo(Point<float>(bad, bad), Point<float>(0, bad), Point<float>(9, 9));
        Polyline(d, {{bad, bad}, {1, 1}}, true);
        EXPECT_LE(counting->lines, 100u);
    }
    Dasher quiet(0.25f, {1, 1}, 0, nullptr);
    Line20(quiet);
}

// Width 2. An open outline is one side, the end cap, the other side back, the
// start cap; joins go on the outer side only. Round chords span 4 acos(h / (h +
// tolerance / 8)): two per half turn at tolerance 1, three at 0.25, 0.446 at 0.05.
TEST(Pen, OutlinesWorkedByHand) {
    const float c = 0.8660254f;
    const LineCap::Enum butt = LineCap::Butt, square = LineCap::Square, round = LineCap::Round;
    const LineJoin::Enum miter = LineJoin::Miter, bevel = LineJoin::Bevel;
    const Events bevelled = {B(11, 10), L(11, 0), L(10, -1), L(0, -1), L(0, 1), L(10, 1), L(9, 0), L(9, 10), C()};
    const Events mitred = {B(11, 10), L(11, 0), L(11, -1), L(10, -1), L(0, -1),
                           L(0, 1),   L(10, 1), L(9, 0),   L(9, 10),  C()};
    // A closed figure gives the inner ring, then the outer one reversed,
    // with a miter tip at each corner, the last at the seam.
    const Events rings = {B(0, 1),    L(10, 1),   L(9, 0),    L(9, 10),  L(10, 9),  L(0, 9),   L(1, 10),
                          L(1, 0),    C(),        B(-1, -1),  L(-1, 0),  L(-1, 10), L(-1, 11), L(0, 11),
                          L(10, 11),  L(11, 11),  L(11, 10),  L(11, 0),  L(11, -1), L(10, -1), L(0, -1), C()};
    const Events dot = {B(4, 5), L(5, 6), L(6, 5), L(5, 5), L(6, 5), L(5, 4), L(4, 5), L(5, 5), C()};
    struct Case {
        const char* name;
        PenSetup pen;
        std::function<void(GeometrySink&)> path;
        Events events;
        float tol;
    };
    const Case cases[] = {
        {"butt", {0.25f, butt, miter, 10}, Line, {B(10, -1), L(0, -1), L(0, 1), L(10, 1), C()}, 0},
        {"square", {0.25f, square, miter, 10}, Line,
         {B(11, 1), L(11, -1), L(10, -1), L(0, -1), L(-1, -1), L(-1, 1), L(0, 1), L(10, 1), C()}, 0},
        // The first point of each cap is the end of a side already.
        {"round, two chords", {1, round, miter, 10}, Line,
         {B(10, 1), L(11, 0), L(10, -1), L(0, -1), L(0, -1), L(-1, 0), L(0, 1), L(10, 1), C()}, 1e-6f},
        {"round, three chords", {0.25f, round, miter, 10}, Line,
         {B(10, 1), L(10 + c, 0.5f), L(10 + c, -0.5f), L(10, -1), L(0, -1), L(0, -1), L(-c, -0.5f), L(-c, 0.5f),
          L(0, 1), L(10, 1), C()},
         1e-5f},
        {"miter", {0.25f, butt, miter, 10}, RightAngle, mitred, 0},
        {"bevel", {0.25f, butt, bevel, 10}, RightAngle, bevelled, 0},
        // The miter ratio of a right angle is sqrt(2), compared strictly.
        {"miter at its limit", {0.25f, butt, miter, std::sqrt(2.0f)}, RightAngle, bevelled, 0},
        {"miter above its limit", {0.25f, butt, miter, std::nextafter(std::sqrt(2.0f), 2.0f)}, RightAngle, mitred, 0},
        {"round join of one chord", {0.25f, butt, LineJoin::Round, 10}, RightAngle, bevelled, 0},
        {"turning the other way", {0.25f, butt, miter, 10},
         [](GeometrySink& g) { Polyline(g, {{0, 0}, {10, 0}, {10, -10}}); },
         {B(9, -10), L(9, 0), L(10, -1), L(0, -1), L(0, 1), L(10, 1), L(11, 1), L(11, 0), L(11, -10), C()}, 0},
        {"closed", {0.25f, butt, miter, 4}, Square, rings, 0},
        // Turning straight back joins nothing, whatever the style.
        {"reversal", {0.01f, butt, LineJoin::Round, 10},
         [](GeometrySink& g) { Polyline(g, {{0, 0}, {10, 0}, {0, 0}}); },
         {B(0, 1), L(10, 1), L(10, -1), L(0, -1), L(0, 1), L(10, 1), L(10, -1), L(0, -1), C()}, 0},
        // No real segment: a dot under round caps (both sides start at the
        // centre), nothing otherwise. Steps of at most 0.001 each way are dropped.
        {"tiny steps", {1, round, miter, 10},
         [](GeometrySink& g) {
             Polyline(g, {{5, 5}, {5.001f, 5}});
             g.CurveTo({5.001f, 5}, {5, 5.001f}, {5.0009f, 5.0009f});
         },
         dot, 1e-6f},
        {"step of 0.002", {1, butt, miter, 10}, [](GeometrySink& g) { Polyline(g, {{0, 0}, {0.002f, 0}}); },
         {B(0.002f, -1), L(0, -1), L(0, 1), L(0.002f, 1), C()}, 1e-6f},
        // Figures follow one another; the fill rule is not passed on.
        {"two figures", {0.25f, butt, miter, 10},
         [](GeometrySink& g) { g.SetFillRule(FillRule::EvenOdd); Line(g); Polyline(g, {{0, 5}, {0, 15}}); },
         {B(10, -1), L(0, -1), L(0, 1), L(10, 1), C(), B(1, 15), L(1, 5), L(-1, 5), L(-1, 15), C()}, 0},
    };
    for (const Case& k : cases) {
        SCOPED_TRACE(k.name);
        ExpectEvents(Stroke(k.pen, k.path), k.events, k.tol);
    }
}

TEST(Pen, CurvesAreWidenedThroughTheirChordsWithoutJoins) {
    auto curve = [](bool line) {
        return [=](GeometrySink& g) {
            g.BeginFigure({0, 0}); g.CurveTo({10, 0}, {10, 0}, {10, 10});
            if (line) g.LineTo({0, 10});
            g.EndFigure();
        };
    };
    // Inside a curve no join style adds anything: each chord adds two offset
    // points to each side.
    const Events bevel = Stroke({0.01f, LineCap::Butt, LineJoin::Bevel, 10}, curve(false));
    ExpectEvents(Stroke({0.01f, LineCap::Butt, LineJoin::Round, 10}, curve(false)), bevel);
    ExpectEvents(Stroke({0.01f, LineCap::Butt, LineJoin::Miter, 10}, curve(false)), bevel);
    std::vector<Point<float>> chords{Point<float>(0, 0)};
    FlattenCurve(0.01f, Point<float>(0, 0), Point<float>(10, 0), Point<float>(10, 0), Point<float>(10, 10),
                 [&](const Point<float>& p) { chords.push_back(p); });
    EXPECT_TRUE(chords.size() > 5u && bevel.size() == 4 * (chords.size() - 1) + 1) << chords.size();
    // A line after the curve joins round (10, 10): at 0.01 a quarter turn takes
    // seven chords, six points strictly between the ends of the outer sides.
    const Events joined = Stroke({0.01f, LineCap::Butt, LineJoin::Round, 10}, curve(true));
    int onArc = 0;
    for (const SinkEvent& e : joined)
        if (e.kind == SinkEvent::Line && e.p[0].x > 10.0f && e.p[0].y > 10.0f)
            onArc += std::fabs(std::hypot(e.p[0].x - 10.0, e.p[0].y - 10.0) - 1.0) < 1e-5 ? 1 : 100;
    EXPECT_EQ(onArc, 6);
}

TEST(Pen, BadInputStaysBounded) {
    // Width 1e6 at 0.25: the chord angle rounds to 0, held at MaxChordsPerTurn.
    auto zigzag = std::make_shared<CountingSink>();
    Pen wide(0.25f, 1e6f, LineCap::Round, LineJoin::Round, 10.0f, zigzag);
    wide.BeginFigure(Point<float>(0, 0));
    for (int i = 1; i <= 50; ++i) wide.LineTo(Point<float>(static_cast<float>(i * 10), (i & 1) ? 10.0f : 0.0f));
    wide.EndFigure();
    EXPECT_TRUE(zigzag->lines <= 50u * (Pen::MaxChordsPerTurn + 4) + 2u * (Pen::MaxChordsPerTurn / 2 + 2) &&
                zigzag->lines > 2u * (Pen::MaxChordsPerTurn / 2) && zigzag->figures == 1u) << zigzag->lines;
    // Once one Pen has spent MaxRoundChords, a dot takes two chords per cap.
    for (unsigned long i = 0; i < Pen::MaxRoundChords / Pen::MaxChordsPerTurn; ++i) Polyline(wide, {{0, 0}});
    const unsigned long before = zigzag->lines;
    Polyline(wide, {{0, 0}});
    EXPECT_EQ(zigzag->lines - before, 7u);  // centre, two chords, centre, two chords, centre
    // Bad tolerances and widths: at most a full turn for each of 8 joins, 4 caps.
    for (float tolerance : {0.0f, -1.0f, kNaN, kInf})
        for (float width : {2.0f, 0.0f, -2.0f, kNaN, kInf}) {
            auto sink = std::make_shared<CountingSink>();
            Pen p(tolerance, width, LineCap::Round, LineJoin::Round, 10.0f, sink);
            RightAngle(p); Square(p); Polyline(p, {{3, 3}});
            EXPECT_LE(sink->lines, 12u * (Pen::MaxChordsPerTurn + 4)) << tolerance << " " << width;
        }
    // A figure starting at NaN must not reach the joins without its sides;
    // infinite control points are not flattened.
    for (LineJoin::Enum join : {LineJoin::Miter, LineJoin::Round, LineJoin::Bevel}) {
        auto sink = std::make_shared<CountingSink>();
        Pen p(0.25f, 2.0f, LineCap::Round, join, 10.0f, sink);
        Polyline(p, {{kNaN, 0}, {10, 0}, {10, 10}, {kNaN, kNaN}}, true);
        p.BeginFigure({0, 0}); p.LineTo({kInf, 0}); p.CurveTo({kInf, kInf}, {-kInf, 5}, {1, 1});
        p.LineTo({5, 5}); p.EndFigure();
        p.BeginFigure({0, 0}); p.CurveTo({kNaN, 0}, {0, kInf}, {3, 3}); p.EndFigureClose();
        EXPECT_TRUE(sink->lines <= 200u && sink->figures == 5u) << sink->lines << " " << sink->figures;
    }
    // Without a figure a line starts at (0, 0); repeats and stray ends add nothing.
    auto stray = std::make_shared<CountingSink>();
    Pen p(0.25f, 2.0f, LineCap::Square, LineJoin::Miter, 10.0f, stray);
    for (int i = 0; i < 1000; ++i) p.LineTo(Point<float>(4, 0));
    p.EndFigure(); p.EndFigure(); p.EndFigureClose();
    EXPECT_EQ(std::make_pair(stray->figures, stray->lines), std::make_pair(1ul, 7ul));
}

TEST(Widener, GeometryWiden) {
    Geometry source;
    source.SetFillRule(FillRule::EvenOdd);
    Polyline(source, {{0, 0}, {20, 0}});
    auto widen = [&](const StrokeParameters& p) {
        auto sink = std::make_shared<RecordingSink>();
        source.Widen(2.0f, p, 0.25f, sink);
        return sink->events;
    };
    // No fill rule goes out: a target geometry keeps its Winding.
    StrokeParameters solid;
    const Events plain = {B(20, -1), L(0, -1), L(0, 1), L(20, 1), C()};
    ExpectEvents(widen(solid), plain);
    auto target = std::make_shared<Geometry>();
    source.Widen(2.0f, solid, 0.25f, target);
    EXPECT_EQ(target->GetFillRule(), FillRule::Winding);
    // Nothing for an empty geometry or a null sink.
    auto none = std::make_shared<RecordingSink>();
    Geometry().Widen(2.0f, solid, 0.25f, none);
    source.Widen(2.0f, solid, 0.25f, nullptr);
    EXPECT_TRUE(none->events.empty());
    // Dashes are cut first, each with caps of its own; the offset shifts them.
    StrokeParameters dashed;
    dashed.dashes = {5};
    dashed.dashOffset = 2.5f;
    ExpectEvents(widen(dashed), {B(2.5f, -1), L(0, -1), L(0, 1), L(2.5f, 1), C(), B(12.5f, -1), L(7.5f, -1),
                                 L(7.5f, 1), L(12.5f, 1), C(), B(20, -1), L(17.5f, -1), L(17.5f, 1), L(20, 1), C()});
    // A pattern summing to exactly zero is refused, logged; the stroke is solid.
    StrokeParameters zero;
    zero.dashes = {2, -2};
    GraphicsTest::LogCapture capture;
    ExpectEvents(widen(zero), plain);
    EXPECT_EQ(capture.Last().rfind("Exception in Sequence (", 0), 0u) << capture.Last();
}
