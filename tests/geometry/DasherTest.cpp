#include "Graphics/Geometry.h"

#include "LogCapture.h"
#include "RecordingSink.h"
#include "geometry/Dasher.h"
#include "geometry/Pen.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <memory>
#include <vector>

using namespace Graphics;
using namespace GraphicsTest;

namespace {

using Events = std::vector<SinkEvent>;

const float kNaN = std::numeric_limits<float>::quiet_NaN();
const float kInf = std::numeric_limits<float>::infinity();

Events Dash(const std::vector<float>& pattern, float phase, const std::function<void(GeometrySink&)>& path,
            float tolerance = 0.25f) {
    auto sink = std::make_shared<RecordingSink>();
    Dasher dasher(tolerance, pattern, phase, sink);
    path(dasher);
    return sink->events;
}

void ExpectEvents(const Events& actual, const Events& expected, float tol = 0.0f) {
    ASSERT_EQ(actual.size(), expected.size()) << ::testing::PrintToString(actual);
    for (std::size_t i = 0; i < actual.size(); ++i) {
        ASSERT_EQ(actual[i].kind, expected[i].kind) << "event " << i << ": " << ::testing::PrintToString(actual);
        if (tol == 0.0f) {
            EXPECT_EQ(actual[i], expected[i]) << "event " << i;
        } else {
            EXPECT_NEAR(actual[i].p[0].x, expected[i].p[0].x, tol) << "event " << i;
            EXPECT_NEAR(actual[i].p[0].y, expected[i].p[0].y, tol) << "event " << i;
        }
    }
}

std::function<void(GeometrySink&)> Line(float x0, float y0, float x1, float y1) {
    return [=](GeometrySink& g) {
        g.BeginFigure(Point<float>(x0, y0));
        g.LineTo(Point<float>(x1, y1));
        g.EndFigure();
    };
}

struct State {
    std::size_t cursor;
    float position;
    bool inGap;
};

void ExpectState(const Dasher::Sequence& s, const State& expected) {
    EXPECT_EQ(s.GetCursor(), expected.cursor);
    EXPECT_FLOAT_EQ(s.GetPosition(), expected.position);
    EXPECT_EQ(s.IsInGap(), expected.inGap);
}

}  // namespace

TEST(DasherSequence, PhaseWrapsAndCountsBack) {
    // Pattern [5]: total 10, dash 0..5, gap 5..10.
    ExpectState(Dasher::Sequence({5}, 0), {0, 0, false});
    ExpectState(Dasher::Sequence({5}, 2), {0, 2, false});
    ExpectState(Dasher::Sequence({5}, 7), {0, 2, true});
    // Beyond the total: fmod.
    ExpectState(Dasher::Sequence({5}, 12), {0, 2, false});
    ExpectState(Dasher::Sequence({5}, 27), {0, 2, true});
    // Negative: counted back from the total, 10 - 3 = 7.
    ExpectState(Dasher::Sequence({5}, -3), {0, 2, true});
    ExpectState(Dasher::Sequence({5}, -13), {0, 2, true});
    // -20 wraps to the total itself, which counts as the start again.
    ExpectState(Dasher::Sequence({5}, -20), {0, 0, false});
    ExpectState(Dasher::Sequence({5}, -10), {0, 0, false});

    // A phase on the end of an entry, or within 0.00001 before it, belongs to
    // the next entry.
    ExpectState(Dasher::Sequence({4, 2}, 4), {1, 0, true});
    const Dasher::Sequence early({4, 2}, 3.999995f);
    EXPECT_EQ(early.GetCursor(), 1u);
    EXPECT_TRUE(early.IsInGap());
    EXPECT_NEAR(early.GetPosition(), -0.000005f, 1e-7f);
    EXPECT_NEAR(early.GetRest(), 2.000005f, 1e-6f);
    ExpectState(Dasher::Sequence({4, 2}, 3.9999f), {0, 3.9999f, false});
    ExpectState(Dasher::Sequence({4, 2}, 9), {0, 3, false});
    ExpectState(Dasher::Sequence({4, 2}, 11), {1, 1, true});
    // Odd patterns swap dashes and gaps on the second round: [1, 2, 3] runs
    // dash 1, gap 2, dash 3, gap 1, dash 2, gap 3.
    ExpectState(Dasher::Sequence({1, 2, 3}, 6.5f), {0, 0.5f, true});
    ExpectState(Dasher::Sequence({1, 2, 3}, 7.5f), {1, 0.5f, false});

    // Increment walks on, wrapping the cursor.
    Dasher::Sequence s({4, 2}, 0);
    s.Increment(4);
    ExpectState(s, {1, 0, true});
    s.Increment(2);
    ExpectState(s, {0, 0, false});
    s.Increment(13);
    ExpectState(s, {0, 1, false});

    // A zero entry stays present for one turn.
    Dasher::Sequence z({0, 5}, 0);
    ExpectState(z, {0, 0, false});
    z.Increment(0);
    ExpectState(z, {1, 0, true});
    z.Increment(5);
    ExpectState(z, {0, 0, false});
    z.Increment(0);
    ExpectState(z, {0, 0, false});
    z.Increment(0);
    ExpectState(z, {1, 0, true});
}

TEST(DasherSequence, ZeroLengthPatternsFail) {
    EXPECT_GRAPHICS_FAILURE((void)Dasher::Sequence({}, 0), "Sequence", "Pattern has zero length");
    EXPECT_GRAPHICS_FAILURE((void)Dasher::Sequence({0, 0}, 0), "Sequence", "Pattern has zero length");
    EXPECT_GRAPHICS_FAILURE((void)Dasher::Sequence({3, -1, -2}, 0), "Sequence", "Pattern has zero length");
    EXPECT_GRAPHICS_FAILURE((void)Dasher(0.25f, {0}, 1, nullptr), "Sequence", "Pattern has zero length");
    // A NaN sum passes, and so do tiny and negative sums.
    EXPECT_NO_THROW(Dasher::Sequence({kNaN, 1}, 0));
    EXPECT_NO_THROW(Dasher::Sequence({1e-30f}, 0));
    EXPECT_NO_THROW(Dasher::Sequence({-1}, 0));
}

TEST(Dasher, OddPatternOnALine) {
    // [5] repeats with total 10: dashes on 0..5 and 10..15.
    ExpectEvents(Dash({5}, 0, Line(0, 0, 20, 0)),
                 {BeginEvent(0, 0), LineEvent(5, 0), EndEvent(), BeginEvent(10, 0), LineEvent(15, 0), EndEvent()});
    // Phase 12 is phase 2: dash 0..3, 8..13, 18..20.
    ExpectEvents(Dash({5}, 12, Line(0, 0, 20, 0)),
                 {BeginEvent(0, 0), LineEvent(3, 0), EndEvent(), BeginEvent(8, 0), LineEvent(13, 0), EndEvent(),
                  BeginEvent(18, 0), LineEvent(20, 0), EndEvent()});
    // Phase -3 is phase 7, in the gap: dash 3..8, 13..18; a figure that
    // starts in a gap begins nothing.
    ExpectEvents(Dash({5}, -3, Line(0, 0, 20, 0)),
                 {BeginEvent(3, 0), LineEvent(8, 0), EndEvent(), BeginEvent(13, 0), LineEvent(18, 0), EndEvent()});
    // Along a diagonal the cut points divide the segment by length.
    ExpectEvents(Dash({5}, 0, Line(0, 0, 12, 16)),
                 {BeginEvent(0, 0), LineEvent(3, 4), EndEvent(), BeginEvent(6, 8), LineEvent(9, 12), EndEvent()},
                 1e-5f);
}

TEST(Dasher, ZeroEntries) {
    // A zero gap: the dash goes on as a new figure at once.
    ExpectEvents(Dash({3, 0}, 0, Line(0, 0, 10, 0)),
                 {BeginEvent(0, 0), LineEvent(3, 0), EndEvent(), BeginEvent(3, 0), LineEvent(6, 0), EndEvent(),
                  BeginEvent(6, 0), LineEvent(9, 0), EndEvent(), BeginEvent(9, 0), LineEvent(10, 0), EndEvent()},
                 1e-6f);
    // A zero dash: a figure with a line to its own start. The first one was
    // given its turn in the constructor; later ones take two steps, so their
    // line comes twice.
    ExpectEvents(Dash({0, 5}, 0, Line(0, 0, 20, 0)),
                 {BeginEvent(0, 0), LineEvent(0, 0), EndEvent(), BeginEvent(5, 0), LineEvent(5, 0), LineEvent(5, 0),
                  EndEvent(), BeginEvent(10, 0), LineEvent(10, 0), LineEvent(10, 0), EndEvent(), BeginEvent(15, 0),
                  LineEvent(15, 0), LineEvent(15, 0), EndEvent()});

    // Through the Pen with round caps each zero dash is a dot.
    auto geometry = std::make_shared<Geometry>();
    Dasher dasher(0.25f, {0, 5}, 0,
                  std::make_shared<Pen>(0.25f, 2.0f, LineCap::Round, LineJoin::Miter, 10.0f, geometry));
    Line(0, 0, 20, 0)(dasher);
    auto events = std::make_shared<RecordingSink>();
    geometry->SendToSink(events);
    int dots = 0;
    for (const SinkEvent& e : events->events)
        if (e.kind == SinkEvent::Close) ++dots;
    EXPECT_EQ(dots, 4);
    // Three chords per half turn: the dots reach 1 along the line and
    // sin(60 degrees) across it.
    const Rect<float> bound = geometry->GetBound(Matrix());
    EXPECT_EQ(bound.left, -1.0f);
    EXPECT_EQ(bound.right, 16.0f);
    EXPECT_NEAR(bound.top, -0.8660254f, 1e-6f);
    EXPECT_NEAR(bound.bottom, 0.8660254f, 1e-6f);
    // Butt caps drop them.
    auto none = std::make_shared<RecordingSink>();
    Dasher butt(0.25f, {0, 5}, 0, std::make_shared<Pen>(0.25f, 2.0f, LineCap::Butt, LineJoin::Miter, 10.0f, none));
    Line(0, 0, 20, 0)(butt);
    EXPECT_TRUE(none->events.empty());
}

TEST(Dasher, PatternRunsOnAcrossFigures) {
    // [4, 2]: the first figure ends one unit into a gap; the second starts
    // there without a figure of its own and is not restarted.
    const Events events = Dash({4, 2}, 0, [](GeometrySink& g) {
        Line(0, 0, 5, 0)(g);
        Line(0, 10, 10, 10)(g);
    });
    ExpectEvents(events, {BeginEvent(0, 0), LineEvent(4, 0), EndEvent(), BeginEvent(1, 10), LineEvent(5, 10),
                          EndEvent(), BeginEvent(7, 10), LineEvent(10, 10), EndEvent()},
                 1e-5f);

    // The fill rule is not passed on; a line to the last point is ignored.
    const Events quiet = Dash({4, 2}, 0, [](GeometrySink& g) {
        g.SetFillRule(FillRule::EvenOdd);
        g.BeginFigure(Point<float>(0, 0));
        g.LineTo(Point<float>(0, 0));
        g.LineTo(Point<float>(2, 0));
        g.LineTo(Point<float>(2, 0));
        g.EndFigure();
    });
    ExpectEvents(quiet, {BeginEvent(0, 0), LineEvent(2, 0), EndEvent()});
}

TEST(Dasher, ClosedFigureEndsOpenAndDashesTurnCorners) {
    // Perimeter 40 under [6, 3]: the dashes run round the corners as
    // polylines, and the last dash ends on the start without joining the
    // first.
    const Events events = Dash({6, 3}, 0, [](GeometrySink& g) {
        g.BeginFigure(Point<float>(0, 0));
        g.LineTo(Point<float>(10, 0));
        g.LineTo(Point<float>(10, 10));
        g.LineTo(Point<float>(0, 10));
        g.EndFigureClose();
    });
    ExpectEvents(events, {BeginEvent(0, 0), LineEvent(6, 0), EndEvent(), BeginEvent(9, 0), LineEvent(10, 0),
                          LineEvent(10, 5), EndEvent(), BeginEvent(10, 8), LineEvent(10, 10), LineEvent(6, 10),
                          EndEvent(), BeginEvent(3, 10), LineEvent(0, 10), LineEvent(0, 7), EndEvent(),
                          BeginEvent(0, 4), LineEvent(0, 0), EndEvent()},
                 1e-5f);

    // Through the Pen with square caps, the corner inside a dash gets its
    // miter, and the seam has two caps: nothing reaches below y = -1 or left
    // of x = -1 except the caps.
    auto geometry = std::make_shared<Geometry>();
    Dasher dasher(0.25f, {6, 3}, 0,
                  std::make_shared<Pen>(0.25f, 2.0f, LineCap::Square, LineJoin::Miter, 10.0f, geometry));
    geometry->SetFillRule(FillRule::Winding);
    dasher.BeginFigure(Point<float>(0, 0));
    dasher.LineTo(Point<float>(10, 0));
    dasher.LineTo(Point<float>(10, 10));
    dasher.LineTo(Point<float>(0, 10));
    dasher.EndFigureClose();
    auto out = std::make_shared<RecordingSink>();
    geometry->SendToSink(out);
    int figures = 0;
    bool miterAtFirstCorner = false;
    for (const SinkEvent& e : out->events) {
        if (e.kind == SinkEvent::Close) ++figures;
        if (e.kind == SinkEvent::Line && e.p[0] == Point<float>(11, -1)) miterAtFirstCorner = true;
    }
    EXPECT_EQ(figures, 5);
    EXPECT_TRUE(miterAtFirstCorner);
    // The square caps of the dashes meeting at the start reach one beyond it
    // on both axes.
    EXPECT_EQ(geometry->GetBound(Matrix()), Rect<float>(-1, -1, 11, 11));
}

TEST(Dasher, CurvesAreMeasuredAlongTheirChords) {
    // A straight curve with its control points on the line: the chords lie on
    // the line, and the cuts fall where they would on a line.
    const Events events = Dash({2, 2}, 0,
                               [](GeometrySink& g) {
                                   g.BeginFigure(Point<float>(0, 0));
                                   g.CurveTo(Point<float>(1, 0), Point<float>(9, 0), Point<float>(10, 0));
                                   g.EndFigure();
                               },
                               0.01f);
    std::vector<std::pair<float, float>> dashes;
    for (const SinkEvent& e : events) {
        if (e.kind == SinkEvent::Begin) dashes.emplace_back(e.p[0].x, e.p[0].x);
        if (e.kind == SinkEvent::Line) {
            ASSERT_FALSE(dashes.empty());
            EXPECT_GE(e.p[0].x, dashes.back().second);
            dashes.back().second = e.p[0].x;
        }
        if (e.kind != SinkEvent::End) {
            EXPECT_EQ(e.p[0].y, 0.0f);
        }
    }
    ASSERT_EQ(dashes.size(), 3u);
    const float expected[3][2] = {{0, 2}, {4, 6}, {8, 10}};
    for (int i = 0; i < 3; ++i) {
        EXPECT_NEAR(dashes[i].first, expected[i][0], 1e-4f);
        EXPECT_NEAR(dashes[i].second, expected[i][1], 1e-4f);
    }
    // The dashes hold inner chord points, not just their ends.
    EXPECT_GT(events.size(), 3u * 3u);

    // On a bent curve the sum of the dashes is half the chord length within
    // one dash.
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
        if (e.kind == SinkEvent::Begin || e.kind == SinkEvent::Line) last = e.p[0];
    }
    // The curve is about 38.3 long.
    EXPECT_NEAR(dashed, 19.15, 1.0);
}

TEST(Dasher, BadPatternsAndPointsStayBounded) {
    // A sum tiny against the path: the walk stops after MaxPatternSteps
    // entries and the rest of the path is one solid dash to the end.
    for (const std::vector<float>& pattern :
         {std::vector<float>{1e-6f, 1e-6f}, std::vector<float>{1e-30f}, std::vector<float>{5, -3},
          std::vector<float>{-1}, std::vector<float>{-kInf}, std::vector<float>{-1, -1, 3}}) {
        auto sink = std::make_shared<CountingSink>();
        Dasher dasher(0.25f, pattern, 0.5f, sink);
        dasher.BeginFigure(Point<float>(0, 0));
        dasher.LineTo(Point<float>(1000, 0));
        dasher.LineTo(Point<float>(1000, 1000));
        dasher.EndFigureClose();
        EXPECT_LE(sink->figures, Dasher::MaxPatternSteps);
        EXPECT_LE(sink->lines, Dasher::MaxPatternSteps + 8);
        EXPECT_EQ(sink->last, Point<float>(0, 0));
    }

    // Coordinates so large that a dash rounds to no move at all.
    {
        auto sink = std::make_shared<CountingSink>();
        Dasher dasher(0.25f, {1, 1}, 0, sink);
        dasher.BeginFigure(Point<float>(1e9f, 0));
        dasher.LineTo(Point<float>(2e9f, 0));
        dasher.EndFigure();
        // Once the steps are spent, one solid dash to the end.
        EXPECT_LE(sink->lines, Dasher::MaxPatternSteps);
        EXPECT_EQ(sink->last, Point<float>(2e9f, 0));
        // The next figure is solid too: one figure of one line.
        const unsigned long figures = sink->figures, lines = sink->lines;
        Line(0, 0, 10, 0)(dasher);
        EXPECT_EQ(sink->figures, figures + 1);
        EXPECT_EQ(sink->lines, lines + 1);
        EXPECT_EQ(sink->last, Point<float>(10, 0));
    }

    // NaN pattern, phases and points: a NaN position compares false
    // everywhere and the path passes solid.
    ExpectEvents(Dash({kNaN, 1}, 0, Line(0, 0, 10, 0)), {BeginEvent(0, 0), LineEvent(10, 0), EndEvent()});
    ExpectEvents(Dash({2, 2}, kNaN, Line(0, 0, 10, 0)), {BeginEvent(0, 0), LineEvent(10, 0), EndEvent()});
    ExpectEvents(Dash({2, 2}, kInf, Line(0, 0, 10, 0)), {BeginEvent(0, 0), LineEvent(10, 0), EndEvent()});
    for (float bad : {kNaN, kInf, -kInf}) {
        auto sink = std::make_shared<CountingSink>();
        Dasher dasher(0.25f, {2, 2}, 0, sink);
        dasher.BeginFigure(Point<float>(0, 0));
        dasher.LineTo(Point<float>(bad, 5));
        dasher.LineTo(Point<float>(3, 3));
        dasher.CurveTo(Point<float>(bad, bad), Point<float>(0, bad), Point<float>(9, 9));
        dasher.EndFigureClose();
        dasher.BeginFigure(Point<float>(bad, bad));
        dasher.LineTo(Point<float>(1, 1));
        dasher.EndFigure();
        EXPECT_LE(sink->lines, 100u);
    }

    // A huge phase and a tiny one.
    // 1e30f is a multiple of 10, so phase 1e30 is phase 0.
    ExpectEvents(Dash({5}, 1e30f, Line(0, 0, 20, 0)),
                 {BeginEvent(0, 0), LineEvent(5, 0), EndEvent(), BeginEvent(10, 0), LineEvent(15, 0), EndEvent()});
    ExpectEvents(Dash({5}, 1e-30f, Line(0, 0, 20, 0)),
                 {BeginEvent(0, 0), LineEvent(5, 0), EndEvent(), BeginEvent(10, 0), LineEvent(15, 0), EndEvent()});

    // A null sink is tolerated.
    Dasher quiet(0.25f, {1, 1}, 0, nullptr);
    Line(0, 0, 10, 0)(quiet);
}

TEST(Widener, DashedStrokesThroughGeometryWiden) {
    Geometry source;
    source.BeginFigure(Point<float>(0, 0));
    source.LineTo(Point<float>(20, 0));
    source.EndFigure();

    // Each dash is a figure with caps of its own.
    StrokeParameters p;
    p.cap = LineCap::Square;
    p.dashes = {5};
    auto sink = std::make_shared<RecordingSink>();
    source.Widen(2.0f, p, 0.25f, sink);
    ExpectEvents(sink->events,
                 {BeginEvent(6, 1), LineEvent(6, -1), LineEvent(5, -1), LineEvent(0, -1), LineEvent(-1, -1),
                  LineEvent(-1, 1), LineEvent(0, 1), LineEvent(5, 1), CloseEvent(), BeginEvent(16, 1),
                  LineEvent(16, -1), LineEvent(15, -1), LineEvent(10, -1), LineEvent(9, -1), LineEvent(9, 1),
                  LineEvent(10, 1), LineEvent(15, 1), CloseEvent()});

    // The offset shifts the pattern.
    p.cap = LineCap::Butt;
    p.dashOffset = 2.5f;
    auto shifted = std::make_shared<RecordingSink>();
    source.Widen(2.0f, p, 0.25f, shifted);
    ExpectEvents(shifted->events,
                 {BeginEvent(2.5f, -1), LineEvent(0, -1), LineEvent(0, 1), LineEvent(2.5f, 1), CloseEvent(),
                  BeginEvent(12.5f, -1), LineEvent(7.5f, -1), LineEvent(7.5f, 1), LineEvent(12.5f, 1), CloseEvent(),
                  BeginEvent(20, -1), LineEvent(17.5f, -1), LineEvent(17.5f, 1), LineEvent(20, 1), CloseEvent()});
}
