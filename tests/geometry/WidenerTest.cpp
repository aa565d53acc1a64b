#include "Graphics/Geometry.h"

#include "LogCapture.h"
#include "RecordingSink.h"
#include "geometry/BezierFlattener.h"
#include "geometry/Pen.h"
#include "geometry/Widener.h"

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

struct PenSetup {
    float tolerance = 0.25f;
    float width = 2.0f;
    LineCap::Enum cap = LineCap::Butt;
    LineJoin::Enum join = LineJoin::Miter;
    float miterLimit = 10.0f;
};

Events StrokeWith(const PenSetup& s, const std::function<void(GeometrySink&)>& path) {
    auto sink = std::make_shared<RecordingSink>();
    Pen pen(s.tolerance, s.width, s.cap, s.join, s.miterLimit, sink);
    path(pen);
    return sink->events;
}

// Same kinds in the same order; points equal within tol (exactly for 0).
void ExpectEvents(const Events& actual, const Events& expected, float tol = 0.0f) {
    ASSERT_EQ(actual.size(), expected.size()) << ::testing::PrintToString(actual);
    for (std::size_t i = 0; i < actual.size(); ++i) {
        ASSERT_EQ(actual[i].kind, expected[i].kind) << "event " << i << ": " << ::testing::PrintToString(actual);
        if (tol == 0.0f) {
            EXPECT_EQ(actual[i], expected[i]) << "event " << i;
        } else {
            for (int k = 0; k < 3; ++k) {
                EXPECT_NEAR(actual[i].p[k].x, expected[i].p[k].x, tol) << "event " << i;
                EXPECT_NEAR(actual[i].p[k].y, expected[i].p[k].y, tol) << "event " << i;
            }
        }
    }
}

void HorizontalLine(GeometrySink& s) {
    s.BeginFigure(Point<float>(0, 0));
    s.LineTo(Point<float>(10, 0));
    s.EndFigure();
}

void RightAngle(GeometrySink& s) {
    s.BeginFigure(Point<float>(0, 0));
    s.LineTo(Point<float>(10, 0));
    s.LineTo(Point<float>(10, 10));
    s.EndFigure();
}

void ClosedSquare(GeometrySink& s) {
    s.BeginFigure(Point<float>(0, 0));
    s.LineTo(Point<float>(10, 0));
    s.LineTo(Point<float>(10, 10));
    s.LineTo(Point<float>(0, 10));
    s.EndFigureClose();
}

}  // namespace

TEST(Pen, OffsetVectorIsHalfWidthToTheLeft) {
    Pen pen(0.25f, 2.0f, LineCap::Butt, LineJoin::Miter, 10.0f, nullptr);
    const Point<float> o = pen.GetOffsetVector(Point<float>(0, 0), Point<float>(10, 0));
    EXPECT_EQ(o, Point<float>(0, 1));
    const Point<float> d = pen.GetOffsetVector(Point<float>(1, 1), Point<float>(4, 5));
    // s = 1 / 5: ((1 - 5) / 5, (4 - 1) / 5).
    EXPECT_FLOAT_EQ(d.x, -0.8f);
    EXPECT_FLOAT_EQ(d.y, 0.6f);
}

TEST(Pen, HorizontalLineWithEachCap) {
    PenSetup s;
    // Butt: one side, straight across, the other side; nothing added.
    s.cap = LineCap::Butt;
    ExpectEvents(StrokeWith(s, HorizontalLine), {BeginEvent(10, -1), LineEvent(0, -1), LineEvent(0, 1),
                                                 LineEvent(10, 1), CloseEvent()});

    // Square: half a width beyond each end.
    s.cap = LineCap::Square;
    ExpectEvents(StrokeWith(s, HorizontalLine),
                 {BeginEvent(11, 1), LineEvent(11, -1), LineEvent(10, -1), LineEvent(0, -1), LineEvent(-1, -1),
                  LineEvent(-1, 1), LineEvent(0, 1), LineEvent(10, 1), CloseEvent()});

    // Round with tolerance 1: the chord angle 4 acos(1 / 1.125) = 1.90 gives
    // fewer than two chords per half turn, so the least two: the cap runs
    // from the side through the tip at a right angle. The first point of each
    // cap is the end of a side already and is dropped.
    s.cap = LineCap::Round;
    s.tolerance = 1.0f;
    ExpectEvents(StrokeWith(s, HorizontalLine),
                 {BeginEvent(10, 1), LineEvent(11, 0), LineEvent(10, -1), LineEvent(0, -1), LineEvent(0, -1),
                  LineEvent(-1, 0), LineEvent(0, 1), LineEvent(10, 1), CloseEvent()},
                 1e-6f);

    // Tolerance 0.25: 4 acos(1 / 1.03125) = 0.987, so three chords of 60
    // degrees; the chords stay within tolerance / 2 of the circle.
    s.tolerance = 0.25f;
    const Events round = StrokeWith(s, HorizontalLine);
    ExpectEvents(round,
                 {BeginEvent(10, 1), LineEvent(10.866025f, 0.5f), LineEvent(10.866025f, -0.5f), LineEvent(10, -1),
                  LineEvent(0, -1), LineEvent(0, -1), LineEvent(-0.866025f, -0.5f), LineEvent(-0.866025f, 0.5f),
                  LineEvent(0, 1), LineEvent(10, 1), CloseEvent()},
                 1e-5f);
}

TEST(Pen, RightAngleCornerWithEachJoin) {
    PenSetup s;
    // The turn is to +y, so the -y side is outside: the join goes there, and
    // the inner side runs its offset lines through each other.
    const Events bevel = {BeginEvent(11, 10), LineEvent(11, 0), LineEvent(10, -1), LineEvent(0, -1),
                          LineEvent(0, 1),    LineEvent(10, 1), LineEvent(9, 0),   LineEvent(9, 10),
                          CloseEvent()};
    const Events miter = {BeginEvent(11, 10), LineEvent(11, 0), LineEvent(11, -1), LineEvent(10, -1),
                          LineEvent(0, -1),   LineEvent(0, 1),  LineEvent(10, 1),  LineEvent(9, 0),
                          LineEvent(9, 10),   CloseEvent()};

    s.join = LineJoin::Miter;
    ExpectEvents(StrokeWith(s, RightAngle), miter);
    s.join = LineJoin::Bevel;
    ExpectEvents(StrokeWith(s, RightAngle), bevel);

    // The miter ratio of a right angle is sqrt(2) (float 1.4142135); the
    // comparison is strict, so that limit itself gives a bevel and the next
    // float up a miter.
    s.join = LineJoin::Miter;
    s.miterLimit = std::sqrt(2.0f);
    ExpectEvents(StrokeWith(s, RightAngle), bevel);
    s.miterLimit = std::nextafter(std::sqrt(2.0f), 2.0f);
    ExpectEvents(StrokeWith(s, RightAngle), miter);
    s.miterLimit = 1.0f;
    ExpectEvents(StrokeWith(s, RightAngle), bevel);

    // Round at tolerance 0.25: a quarter turn over a chord angle of 0.987 is
    // one chord, which is the bevel.
    s.join = LineJoin::Round;
    ExpectEvents(StrokeWith(s, RightAngle), bevel);

    // Tolerance 0.05: 4 acos(1 / 1.00625) = 0.446, three chords of 30 degrees
    // round the corner (10, 0).
    s.tolerance = 0.05f;
    const Events round = StrokeWith(s, RightAngle);
    ASSERT_GE(round.size(), 11u);
    ExpectEvents(Events(round.begin(), round.begin() + 2), {BeginEvent(11, 10), LineEvent(11, 0)});
    const float c = 0.8660254f;
    // (11, 0) may appear twice when the summed angles land a hair off 0.
    const std::size_t extra = round.size() - 11;
    ASSERT_LE(extra, 1u);
    ExpectEvents(Events(round.begin() + 1 + extra, round.end()),
                 {LineEvent(11, 0), LineEvent(10 + c, -0.5f), LineEvent(10.5f, -c), LineEvent(10, -1),
                  LineEvent(0, -1), LineEvent(0, 1), LineEvent(10, 1), LineEvent(9, 0), LineEvent(9, 10),
                  CloseEvent()},
                 1e-6f);
}

TEST(Pen, TurnsTheOtherWayJoinOnTheOtherSide) {
    // A turn to -y: now the +y side is outside and gets the miter tip.
    PenSetup s;
    const Events events = StrokeWith(s, [](GeometrySink& g) {
        g.BeginFigure(Point<float>(0, 0));
        g.LineTo(Point<float>(10, 0));
        g.LineTo(Point<float>(10, -10));
        g.EndFigure();
    });
    ExpectEvents(events, {BeginEvent(9, -10), LineEvent(9, 0), LineEvent(10, -1), LineEvent(0, -1), LineEvent(0, 1),
                          LineEvent(10, 1), LineEvent(11, 1), LineEvent(11, 0), LineEvent(11, -10), CloseEvent()});
}

TEST(Pen, ClosedSquareGivesOuterAndInnerRings) {
    PenSetup s;
    s.miterLimit = 4.0f;
    // The inner ring first, with no join points: its offset lines overrun one
    // another at each corner. Then the outer ring, reversed, with the four
    // miter tips, the last at the seam.
    ExpectEvents(StrokeWith(s, ClosedSquare),
                 {BeginEvent(0, 1),    LineEvent(10, 1),   LineEvent(9, 0),    LineEvent(9, 10),   LineEvent(10, 9),
                  LineEvent(0, 9),     LineEvent(1, 10),   LineEvent(1, 0),    CloseEvent(),       BeginEvent(-1, -1),
                  LineEvent(-1, 0),    LineEvent(-1, 10),  LineEvent(-1, 11),  LineEvent(0, 11),   LineEvent(10, 11),
                  LineEvent(11, 11),   LineEvent(11, 10),  LineEvent(11, 0),   LineEvent(11, -1),  LineEvent(10, -1),
                  LineEvent(0, -1),    CloseEvent()});

    // Bevel: the same rings without the tips.
    s.join = LineJoin::Bevel;
    ExpectEvents(StrokeWith(s, ClosedSquare),
                 {BeginEvent(0, 1), LineEvent(10, 1), LineEvent(9, 0), LineEvent(9, 10), LineEvent(10, 9),
                  LineEvent(0, 9), LineEvent(1, 10), LineEvent(1, 0), CloseEvent(), BeginEvent(-1, 0),
                  LineEvent(-1, 10), LineEvent(0, 11), LineEvent(10, 11), LineEvent(11, 10), LineEvent(11, 0),
                  LineEvent(10, -1), LineEvent(0, -1), CloseEvent()});

    // Closing on the start point already reached adds no segment, only the
    // seam join; the result is the same.
    s.join = LineJoin::Miter;
    const Events explicitClose = StrokeWith(s, [](GeometrySink& g) {
        g.BeginFigure(Point<float>(0, 0));
        g.LineTo(Point<float>(10, 0));
        g.LineTo(Point<float>(10, 10));
        g.LineTo(Point<float>(0, 10));
        g.LineTo(Point<float>(0, 0));
        g.EndFigureClose();
    });
    ExpectEvents(explicitClose, StrokeWith(s, ClosedSquare));

    // The same path ended open: caps at both ends, no join at the seam.
    s.cap = LineCap::Square;
    const Events open = StrokeWith(s, [](GeometrySink& g) {
        g.BeginFigure(Point<float>(0, 0));
        g.LineTo(Point<float>(10, 0));
        g.LineTo(Point<float>(10, 10));
        g.LineTo(Point<float>(0, 10));
        g.LineTo(Point<float>(0, 0));
        g.EndFigure();
    });
    ExpectEvents(open, {BeginEvent(1, -1),  LineEvent(-1, -1), LineEvent(-1, 0),  LineEvent(-1, 10), LineEvent(-1, 11),
                        LineEvent(0, 11),   LineEvent(10, 11), LineEvent(11, 11), LineEvent(11, 10), LineEvent(11, 0),
                        LineEvent(11, -1),  LineEvent(10, -1), LineEvent(0, -1),  LineEvent(-1, -1), LineEvent(-1, 1),
                        LineEvent(0, 1),    LineEvent(10, 1),  LineEvent(9, 0),   LineEvent(9, 10),  LineEvent(10, 9),
                        LineEvent(0, 9),    LineEvent(1, 10),  LineEvent(1, 0),   CloseEvent()});
}

TEST(Pen, ReversalHasNoJoinForAnyStyle) {
    const Events expected = {BeginEvent(0, 1), LineEvent(10, 1), LineEvent(10, -1), LineEvent(0, -1),
                             LineEvent(0, 1),  LineEvent(10, 1), LineEvent(10, -1), LineEvent(0, -1),
                             CloseEvent()};
    for (LineJoin::Enum join : {LineJoin::Miter, LineJoin::Round, LineJoin::Bevel}) {
        PenSetup s;
        s.join = join;
        s.tolerance = 0.01f;
        ExpectEvents(StrokeWith(s,
                                [](GeometrySink& g) {
                                    g.BeginFigure(Point<float>(0, 0));
                                    g.LineTo(Point<float>(10, 0));
                                    g.LineTo(Point<float>(0, 0));
                                    g.EndFigure();
                                }),
                     expected);
    }
}

TEST(Pen, DegenerateFiguresGiveADotUnderRoundCapsOnly) {
    PenSetup s;
    s.cap = LineCap::Round;
    s.tolerance = 1.0f;
    // Both sides start at the centre, so the outline passes it twice.
    const Events dot = {BeginEvent(4, 5), LineEvent(5, 6), LineEvent(6, 5), LineEvent(5, 5), LineEvent(6, 5),
                        LineEvent(5, 4),  LineEvent(4, 5), LineEvent(5, 5), CloseEvent()};

    auto lineToItself = [](GeometrySink& g) {
        g.BeginFigure(Point<float>(5, 5));
        g.LineTo(Point<float>(5, 5));
        g.EndFigure();
    };
    auto closedPoint = [](GeometrySink& g) {
        g.BeginFigure(Point<float>(5, 5));
        g.EndFigureClose();
    };
    // Steps of at most 0.001 on both axes are dropped against the current
    // point, which stays at the start.
    auto tinySteps = [](GeometrySink& g) {
        g.BeginFigure(Point<float>(5, 5));
        g.LineTo(Point<float>(5.001f, 5));
        g.LineTo(Point<float>(5.0005f, 5.001f));
        g.LineTo(Point<float>(4.999f, 4.999f));
        g.CurveTo(Point<float>(5.001f, 5), Point<float>(5, 5.001f), Point<float>(5.0009f, 5.0009f));
        g.EndFigure();
    };
    // 0.001f on both axes is still within reach (the bounds are inclusive).
    auto exactReach = [](GeometrySink& g) {
        g.BeginFigure(Point<float>(0, 0));
        g.LineTo(Point<float>(0.001f, -0.001f));
        g.EndFigure();
    };
    ExpectEvents(StrokeWith(s, exactReach),
                 {BeginEvent(-1, 0), LineEvent(0, 1), LineEvent(1, 0), LineEvent(0, 0), LineEvent(1, 0),
                  LineEvent(0, -1), LineEvent(-1, 0), LineEvent(0, 0), CloseEvent()},
                 1e-6f);
    ExpectEvents(StrokeWith(s, lineToItself), dot, 1e-6f);
    ExpectEvents(StrokeWith(s, closedPoint), dot, 1e-6f);
    ExpectEvents(StrokeWith(s, tinySteps), dot, 1e-6f);

    for (LineCap::Enum cap : {LineCap::Butt, LineCap::Square}) {
        s.cap = cap;
        s.join = LineJoin::Round;
        EXPECT_TRUE(StrokeWith(s, lineToItself).empty());
        EXPECT_TRUE(StrokeWith(s, closedPoint).empty());
        EXPECT_TRUE(StrokeWith(s, tinySteps).empty());
    }

    // Just beyond 0.001 the step is a real segment.
    s.cap = LineCap::Butt;
    const Events tiny = StrokeWith(s, [](GeometrySink& g) {
        g.BeginFigure(Point<float>(0, 0));
        g.LineTo(Point<float>(0.002f, 0));
        g.EndFigure();
    });
    ExpectEvents(tiny, {BeginEvent(0.002f, -1), LineEvent(0, -1), LineEvent(0, 1), LineEvent(0.002f, 1),
                        CloseEvent()},
                 1e-6f);
}

TEST(Pen, FiguresFollowOneAnotherAndTheFillRuleStaysBehind) {
    PenSetup s;
    const Events events = StrokeWith(s, [](GeometrySink& g) {
        g.SetFillRule(FillRule::EvenOdd);
        HorizontalLine(g);
        g.BeginFigure(Point<float>(0, 5));
        g.LineTo(Point<float>(0, 15));
        g.EndFigure();
    });
    ExpectEvents(events, {BeginEvent(10, -1), LineEvent(0, -1), LineEvent(0, 1), LineEvent(10, 1), CloseEvent(),
                          BeginEvent(1, 15), LineEvent(1, 5), LineEvent(-1, 5), LineEvent(-1, 15), CloseEvent()});
}

TEST(Pen, CurvesAreWidenedThroughTheirChordsWithoutJoins) {
    PenSetup s;
    auto curveThenLine = [](GeometrySink& g) {
        g.BeginFigure(Point<float>(0, 0));
        g.CurveTo(Point<float>(10, 0), Point<float>(10, 0), Point<float>(10, 10));
        g.LineTo(Point<float>(0, 10));
        g.EndFigure();
    };
    auto curveOnly = [](GeometrySink& g) {
        g.BeginFigure(Point<float>(0, 0));
        g.CurveTo(Point<float>(10, 0), Point<float>(10, 0), Point<float>(10, 10));
        g.EndFigure();
    };

    // Inside a curve, no join style adds anything: the chords' sides simply
    // connect.
    s.tolerance = 0.01f;
    s.join = LineJoin::Bevel;
    const Events bevel = StrokeWith(s, curveOnly);
    s.join = LineJoin::Round;
    ExpectEvents(StrokeWith(s, curveOnly), bevel);
    s.join = LineJoin::Miter;
    ExpectEvents(StrokeWith(s, curveOnly), bevel);

    // Each side holds two offset points per chord: the outline has four per
    // chord.
    BezierFlattener flattener(0.01f);
    flattener.SetPoints(Point<float>(0, 0), Point<float>(10, 0), Point<float>(10, 0), Point<float>(10, 10));
    std::vector<Point<float>> chords{Point<float>(0, 0)};
    Point<float> q;
    while (flattener.NextPoint(&q)) chords.push_back(q);
    chords.push_back(Point<float>(10, 10));
    ASSERT_GT(chords.size(), 5u);
    EXPECT_EQ(bevel.size(), 4 * (chords.size() - 1) + 1);
    // Every outline point lies at the half width from the chord ends.
    for (std::size_t i = 0; i + 1 < bevel.size(); ++i) {
        double best = 1e9;
        for (const Point<float>& c : chords)
            best = std::min(best, std::fabs(std::hypot(bevel[i].p[0].x - c.x, bevel[i].p[0].y - c.y) - 1.0));
        EXPECT_LT(best, 1e-5) << i;
    }

    // A LineTo after a curve does join: the outer side turns round the end
    // of the curve.
    s.join = LineJoin::Bevel;
    const Events withLineBevel = StrokeWith(s, curveThenLine);
    s.join = LineJoin::Round;
    const Events withLineRound = StrokeWith(s, curveThenLine);
    EXPECT_GT(withLineRound.size(), withLineBevel.size());
    // The round join's points are the only ones strictly between the ends of
    // the two outer sides, (11, 10) and (10, 11); they lie on the circle round
    // (10, 10). At tolerance 0.01 a quarter turn takes seven chords.
    int onArc = 0;
    for (const SinkEvent& e : withLineRound) {
        if (e.kind != SinkEvent::Line || !(e.p[0].x > 10.0f && e.p[0].y > 10.0f)) continue;
        EXPECT_NEAR(std::hypot(e.p[0].x - 10.0, e.p[0].y - 10.0), 1.0, 1e-5);
        ++onArc;
    }
    EXPECT_EQ(onArc, 6);

    // A coarser tolerance gives fewer chords.
    s.tolerance = 1.0f;
    s.join = LineJoin::Bevel;
    EXPECT_LT(StrokeWith(s, curveOnly).size(), bevel.size());
}

TEST(Widener, GeometryWidenIntoSinksAndGeometries) {
    Geometry source;
    source.SetFillRule(FillRule::EvenOdd);
    source.BeginFigure(Point<float>(0, 0));
    source.LineTo(Point<float>(10, 0));
    source.EndFigure();

    StrokeParameters solid;
    solid.cap = LineCap::Butt;
    auto sink = std::make_shared<RecordingSink>();
    source.Widen(2.0f, solid, 0.25f, sink);
    // No fill rule goes out: a target keeps its Winding.
    ExpectEvents(sink->events, {BeginEvent(10, -1), LineEvent(0, -1), LineEvent(0, 1), LineEvent(10, 1), CloseEvent()});

    auto target = std::make_shared<Geometry>();
    source.Widen(2.0f, solid, 0.25f, target);
    EXPECT_EQ(target->GetFillRule(), FillRule::Winding);
    EXPECT_TRUE(target->IsRectangle(Matrix(), nullptr));
    EXPECT_EQ(target->GetBound(Matrix()), Rect<float>(0, -1, 10, 1));

    // Nothing for an empty geometry or a null sink.
    Geometry empty;
    auto none = std::make_shared<RecordingSink>();
    empty.Widen(2.0f, solid, 0.25f, none);
    EXPECT_TRUE(none->events.empty());
    source.Widen(2.0f, solid, 0.25f, nullptr);

    // A dash pattern cuts the path first; each dash is its own outline.
    StrokeParameters dashed = solid;
    dashed.dashes = {4, 2};
    auto dashSink = std::make_shared<RecordingSink>();
    source.Widen(2.0f, dashed, 0.25f, dashSink);
    ExpectEvents(dashSink->events,
                 {BeginEvent(4, -1), LineEvent(0, -1), LineEvent(0, 1), LineEvent(4, 1), CloseEvent(),
                  BeginEvent(10, -1), LineEvent(6, -1), LineEvent(6, 1), LineEvent(10, 1), CloseEvent()});
}

TEST(Widener, ZeroLengthPatternGivesASolidStrokeAfterTheLog) {
    Geometry source;
    source.BeginFigure(Point<float>(0, 0));
    source.LineTo(Point<float>(10, 0));
    source.EndFigure();

    StrokeParameters zero;
    zero.dashes = {0, 0};
    LogCapture capture;
    auto sink = std::make_shared<RecordingSink>();
    source.Widen(2.0f, zero, 0.25f, sink);
    ExpectEvents(sink->events, {BeginEvent(10, -1), LineEvent(0, -1), LineEvent(0, 1), LineEvent(10, 1), CloseEvent()});
    const std::string log = capture.Last();
    EXPECT_EQ(log.rfind("Exception in Sequence (", 0), 0u) << log;
    const std::string tail = "):\n\tPattern has zero length";
    ASSERT_GE(log.size(), tail.size());
    EXPECT_EQ(log.substr(log.size() - tail.size()), tail);

    // A pattern summing to exactly zero with non-zero entries is refused too.
    zero.dashes = {2, -2};
    auto sink2 = std::make_shared<RecordingSink>();
    source.Widen(2.0f, zero, 0.25f, sink2);
    EXPECT_EQ(sink2->events, sink->events);
}

TEST(Pen, BadInputStaysBoundedAndSafe) {
    // A width of 1e6 at tolerance 0.25: the chord angle of round joins and
    // caps rounds to 0, and is held at a full turn over MaxChordsPerTurn.
    {
        auto sink = std::make_shared<CountingSink>();
        Pen pen(0.25f, 1e6f, LineCap::Round, LineJoin::Round, 10.0f, sink);
        pen.BeginFigure(Point<float>(0, 0));
        for (int i = 1; i <= 50; ++i) pen.LineTo(Point<float>(static_cast<float>(i * 10), (i & 1) ? 10.0f : 0.0f));
        pen.EndFigure();
        EXPECT_EQ(sink->figures, 1u);
        // Per corner at most one full turn of chords, per cap half a turn.
        EXPECT_LE(sink->lines, 50u * (Pen::MaxChordsPerTurn + 4) + 2u * (Pen::MaxChordsPerTurn / 2 + 2));
        EXPECT_GT(sink->lines, 2u * (Pen::MaxChordsPerTurn / 2));
    }
    // The round work of one Pen is bounded in all: once MaxRoundChords are
    // spent, dots take two chords per cap.
    {
        struct LastFigure : public CountingSink {
            void BeginFigure(const Point<float>& p) override {
                CountingSink::BeginFigure(p);
                linesAtBegin = lines;
            }
            unsigned long linesAtBegin = 0;
        };
        auto sink = std::make_shared<LastFigure>();
        Pen pen(0.25f, 1e6f, LineCap::Round, LineJoin::Round, 10.0f, sink);
        const unsigned long dots = Pen::MaxRoundChords / Pen::MaxChordsPerTurn + 100;
        for (unsigned long i = 0; i < dots; ++i) {
            pen.BeginFigure(Point<float>(static_cast<float>(i), 0));
            pen.EndFigure();
        }
        EXPECT_EQ(sink->figures, dots);
        EXPECT_LE(sink->lines, Pen::MaxRoundChords + 8 * dots);
        // The last dot: centre, two chords per cap, centre again.
        EXPECT_EQ(sink->lines - sink->linesAtBegin, 7u);
    }
    // Zero, negative and NaN tolerances and widths: bounded round work.
    for (float tolerance : {0.0f, -1.0f, kNaN, kInf}) {
        for (float width : {2.0f, 0.0f, -2.0f, kNaN, kInf}) {
            auto sink = std::make_shared<CountingSink>();
            Pen pen(tolerance, width, LineCap::Round, LineJoin::Round, 10.0f, sink);
            RightAngle(pen);
            ClosedSquare(pen);
            pen.BeginFigure(Point<float>(3, 3));
            pen.EndFigure();
            // Eight joins and four caps of at most a full turn of chords each.
            EXPECT_LE(sink->lines, 12u * (Pen::MaxChordsPerTurn + 4)) << tolerance << " " << width;
        }
    }
    // NaN and infinite points: the figure that starts at NaN (never equal to
    // itself) must not reach the joins without its sides; an infinite control
    // point does not flatten into millions of points.
    for (LineJoin::Enum join : {LineJoin::Miter, LineJoin::Round, LineJoin::Bevel}) {
        auto sink = std::make_shared<CountingSink>();
        Pen pen(0.25f, 2.0f, LineCap::Round, join, 10.0f, sink);
        pen.BeginFigure(Point<float>(kNaN, 0));
        pen.LineTo(Point<float>(10, 0));
        pen.LineTo(Point<float>(10, 10));
        pen.LineTo(Point<float>(kNaN, kNaN));
        pen.EndFigureClose();
        pen.BeginFigure(Point<float>(0, 0));
        pen.LineTo(Point<float>(kInf, 0));
        pen.CurveTo(Point<float>(kInf, kInf), Point<float>(-kInf, 5), Point<float>(1, 1));
        pen.LineTo(Point<float>(5, 5));
        pen.EndFigure();
        pen.BeginFigure(Point<float>(0, 0));
        pen.CurveTo(Point<float>(kNaN, 0), Point<float>(0, kInf), Point<float>(3, 3));
        pen.EndFigureClose();
        EXPECT_LE(sink->lines, 200u);
        EXPECT_EQ(sink->figures, 5u);
    }
    // Repeated points and a malformed order: no crash, bounded output.
    {
        auto sink = std::make_shared<CountingSink>();
        Pen pen(0.25f, 2.0f, LineCap::Square, LineJoin::Miter, 10.0f, sink);
        pen.LineTo(Point<float>(4, 0));  // no figure begun: starts at (0, 0)
        for (int i = 0; i < 100000; ++i) pen.LineTo(Point<float>(4, 0));
        pen.EndFigure();
        pen.EndFigure();
        pen.EndFigureClose();
        EXPECT_EQ(sink->figures, 1u);
        EXPECT_EQ(sink->lines, 7u);
    }
}
