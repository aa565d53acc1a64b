#include "Graphics/Geometry.h"

#include "LogCapture.h"
#include "RecordingSink.h"
#include "geometry/BezierFlattener.h"
#include "geometry/Pen.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <vector>

using namespace Graphics;
using namespace GraphicsTest;

namespace {

struct PenSetup {
    float tolerance;
    LineCap::Enum cap;
    LineJoin::Enum join;
    float miterLimit;
};

Events Stroke(const PenSetup& s, const std::function<void(GeometrySink&)>& path) {
    return Through(path, [&](std::shared_ptr<GeometrySink> sink) {
        return std::make_shared<Pen>(s.tolerance, 2.0f, s.cap, s.join, s.miterLimit, sink);
    });
}

void Line(GeometrySink& g) { Polyline(g, {{0, 0}, {10, 0}}); }
void RightAngle(GeometrySink& g) { Polyline(g, {{0, 0}, {10, 0}, {10, 10}}); }
void Square(GeometrySink& g) { Polyline(g, {{0, 0}, {10, 0}, {10, 10}, {0, 10}}, true); }

}  // namespace

// Width 2 throughout. The outline of an open figure is one side, the end cap,
// the other side back, the start cap; joins go on the outer side of a turn
// only, and the inner offset lines simply cross. Round joins and caps take
// chords of 4 acos(h / (h + tolerance / 8)): 1.90 at tolerance 1 (held at two
// per half turn), 0.987 at 0.25 (three of 60 degrees), 0.446 at 0.05.
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
        // Closing on the start already reached adds only the seam's join.
        {"closed on the start", {0.25f, butt, miter, 4},
         [](GeometrySink& g) { Polyline(g, {{0, 0}, {10, 0}, {10, 10}, {0, 10}, {0, 0}}, true); }, rings, 0},
        {"closed, bevel", {0.25f, butt, bevel, 4}, Square,
         {B(0, 1), L(10, 1), L(9, 0), L(9, 10), L(10, 9), L(0, 9), L(1, 10), L(1, 0), C(), B(-1, 0), L(-1, 10),
          L(0, 11), L(10, 11), L(11, 10), L(11, 0), L(10, -1), L(0, -1), C()},
         0},
        {"ends on the start, open", {0.25f, square, miter, 4},
         [](GeometrySink& g) { Polyline(g, {{0, 0}, {10, 0}, {10, 10}, {0, 10}, {0, 0}}); },
         {B(1, -1),  L(-1, -1), L(-1, 0),  L(-1, 10), L(-1, 11), L(0, 11),  L(10, 11), L(11, 11),
          L(11, 10), L(11, 0),  L(11, -1), L(10, -1), L(0, -1),  L(-1, -1), L(-1, 1),  L(0, 1),
          L(10, 1),  L(9, 0),   L(9, 10),  L(10, 9),  L(0, 9),   L(1, 10),  L(1, 0),   C()},
         0},
        // Turning straight back joins nothing, whatever the style.
        {"reversal", {0.01f, butt, LineJoin::Round, 10},
         [](GeometrySink& g) { Polyline(g, {{0, 0}, {10, 0}, {0, 0}}); },
         {B(0, 1), L(10, 1), L(10, -1), L(0, -1), L(0, 1), L(10, 1), L(10, -1), L(0, -1), C()}, 0},
        // No real segment: a dot under round caps (both sides start at the
        // centre), nothing otherwise. Steps of at most 0.001 on both axes are
        // dropped; 0.002 is a segment.
        {"dot", {1, round, miter, 10}, [](GeometrySink& g) { Polyline(g, {{5, 5}, {5, 5}}); }, dot, 1e-6f},
        {"closed dot", {1, round, miter, 10}, [](GeometrySink& g) { Polyline(g, {{5, 5}}, true); }, dot, 1e-6f},
        {"tiny steps", {1, round, miter, 10},
         [](GeometrySink& g) {
             g.BeginFigure(Point<float>(5, 5));
             g.LineTo(Point<float>(5.001f, 5));
             g.LineTo(Point<float>(4.999f, 4.999f));
             g.CurveTo(Point<float>(5.001f, 5), Point<float>(5, 5.001f), Point<float>(5.0009f, 5.0009f));
             g.EndFigure();
         },
         dot, 1e-6f},
        {"step of 0.001", {1, round, miter, 10}, [](GeometrySink& g) { Polyline(g, {{0, 0}, {0.001f, -0.001f}}); },
         {B(-1, 0), L(0, 1), L(1, 0), L(0, 0), L(1, 0), L(0, -1), L(-1, 0), L(0, 0), C()}, 1e-6f},
        {"no dot, square", {1, square, miter, 10}, [](GeometrySink& g) { Polyline(g, {{5, 5}}, true); }, {}, 0},
        {"step of 0.002", {1, butt, miter, 10}, [](GeometrySink& g) { Polyline(g, {{0, 0}, {0.002f, 0}}); },
         {B(0.002f, -1), L(0, -1), L(0, 1), L(0.002f, 1), C()}, 1e-6f},
        // Figures follow one another; the fill rule is not passed on.
        {"two figures", {0.25f, butt, miter, 10},
         [](GeometrySink& g) {
             g.SetFillRule(FillRule::EvenOdd);
             Line(g);
             Polyline(g, {{0, 5}, {0, 15}});
         },
         {B(10, -1), L(0, -1), L(0, 1), L(10, 1), C(), B(1, 15), L(1, 5), L(-1, 5), L(-1, 15), C()}, 0},
    };
    for (const Case& k : cases) {
        SCOPED_TRACE(k.name);
        ExpectEvents(Stroke(k.pen, k.path), k.events, k.tol);
    }

    // A round join at tolerance 0.05: three chords of 30 degrees round the
    // corner; (11, 0) may come twice when the summed angles land a hair off 0.
    const Events fine = Stroke({0.05f, butt, LineJoin::Round, 10}, RightAngle);
    ASSERT_TRUE(fine.size() == 11 || fine.size() == 12) << ::testing::PrintToString(fine);
    EXPECT_EQ(fine[0], B(11, 10));
    ExpectEvents(Events(fine.end() - 10, fine.end()),
                 {L(11, 0), L(10 + c, -0.5f), L(10.5f, -c), L(10, -1), L(0, -1), L(0, 1), L(10, 1), L(9, 0), L(9, 10),
                  C()},
                 1e-6f);
}

TEST(Pen, CurvesAreWidenedThroughTheirChordsWithoutJoins) {
    auto curve = [](GeometrySink& g) {
        g.BeginFigure(Point<float>(0, 0));
        g.CurveTo(Point<float>(10, 0), Point<float>(10, 0), Point<float>(10, 10));
        g.EndFigure();
    };
    // Inside a curve no join style adds anything: each chord adds two offset
    // points to each side, all at the half width from the chord ends.
    const Events bevel = Stroke({0.01f, LineCap::Butt, LineJoin::Bevel, 10}, curve);
    ExpectEvents(Stroke({0.01f, LineCap::Butt, LineJoin::Round, 10}, curve), bevel);
    ExpectEvents(Stroke({0.01f, LineCap::Butt, LineJoin::Miter, 10}, curve), bevel);
    std::vector<Point<float>> chords{Point<float>(0, 0)};
    FlattenCurve(0.01f, Point<float>(0, 0), Point<float>(10, 0), Point<float>(10, 0), Point<float>(10, 10),
                 [&](const Point<float>& p) { chords.push_back(p); });
    ASSERT_TRUE(chords.size() > 5u && chords.size() < 200u) << chords.size();
    ASSERT_EQ(bevel.size(), 4 * (chords.size() - 1) + 1);
    for (std::size_t i = 0; i + 1 < bevel.size(); ++i) {
        double best = 1e9;
        for (const Point<float>& p : chords)
            best = std::min(best, std::fabs(std::hypot(bevel[i].p[0].x - p.x, bevel[i].p[0].y - p.y) - 1.0));
        EXPECT_LT(best, 1e-5) << i;
    }
    // A LineTo after the curve joins round its end (10, 10): at tolerance
    // 0.01 a quarter turn takes seven chords, six points strictly between
    // the ends of the two outer sides.
    const Events joined = Stroke({0.01f, LineCap::Butt, LineJoin::Round, 10}, [&](GeometrySink& g) {
        g.BeginFigure(Point<float>(0, 0));
        g.CurveTo(Point<float>(10, 0), Point<float>(10, 0), Point<float>(10, 10));
        g.LineTo(Point<float>(0, 10));
        g.EndFigure();
    });
    int onArc = 0;
    for (const SinkEvent& e : joined) {
        if (e.kind != SinkEvent::Line || !(e.p[0].x > 10.0f && e.p[0].y > 10.0f)) continue;
        EXPECT_NEAR(std::hypot(e.p[0].x - 10.0, e.p[0].y - 10.0), 1.0, 1e-5);
        ++onArc;
    }
    EXPECT_EQ(onArc, 6);
}

TEST(Pen, BadInputStaysBounded) {
    // Width 1e6 at tolerance 0.25: the chord angle rounds to 0 and is held at
    // a full turn over MaxChordsPerTurn.
    auto zigzag = std::make_shared<CountingSink>();
    {
        Pen pen(0.25f, 1e6f, LineCap::Round, LineJoin::Round, 10.0f, zigzag);
        pen.BeginFigure(Point<float>(0, 0));
        for (int i = 1; i <= 50; ++i) pen.LineTo(Point<float>(static_cast<float>(i * 10), (i & 1) ? 10.0f : 0.0f));
        pen.EndFigure();
    }
    EXPECT_EQ(zigzag->figures, 1u);
    EXPECT_LE(zigzag->lines, 50u * (Pen::MaxChordsPerTurn + 4) + 2u * (Pen::MaxChordsPerTurn / 2 + 2));
    EXPECT_GT(zigzag->lines, 2u * (Pen::MaxChordsPerTurn / 2));
    // Once one Pen has spent MaxRoundChords, a dot takes two chords per cap:
    // centre, two chords, centre, two chords, centre.
    auto dots = std::make_shared<CountingSink>();
    Pen pen(0.25f, 1e6f, LineCap::Round, LineJoin::Round, 10.0f, dots);
    const unsigned long count = Pen::MaxRoundChords / Pen::MaxChordsPerTurn + 100;
    for (unsigned long i = 0; i < count; ++i) Polyline(pen, {{static_cast<float>(i), 0}});
    EXPECT_EQ(dots->figures, count);
    EXPECT_LE(dots->lines, Pen::MaxRoundChords + 8 * count);
    const unsigned long before = dots->lines;
    Polyline(pen, {{0, 0}});
    EXPECT_EQ(dots->lines - before, 7u);

    // Zero, negative, NaN and infinite tolerances and widths: at most a full
    // turn of chords for each of the eight joins and four caps.
    for (float tolerance : {0.0f, -1.0f, kNaN, kInf})
        for (float width : {2.0f, 0.0f, -2.0f, kNaN, kInf}) {
            auto sink = std::make_shared<CountingSink>();
            Pen p(tolerance, width, LineCap::Round, LineJoin::Round, 10.0f, sink);
            RightAngle(p);
            Square(p);
            Polyline(p, {{3, 3}});
            EXPECT_LE(sink->lines, 12u * (Pen::MaxChordsPerTurn + 4)) << tolerance << " " << width;
        }
    // A figure that starts at NaN (never equal to itself) must not reach the
    // joins without its sides; infinite control points are not flattened.
    for (LineJoin::Enum join : {LineJoin::Miter, LineJoin::Round, LineJoin::Bevel}) {
        auto sink = std::make_shared<CountingSink>();
        Pen p(0.25f, 2.0f, LineCap::Round, join, 10.0f, sink);
        Polyline(p, {{kNaN, 0}, {10, 0}, {10, 10}, {kNaN, kNaN}}, true);
        p.BeginFigure(Point<float>(0, 0));
        p.LineTo(Point<float>(kInf, 0));
        p.CurveTo(Point<float>(kInf, kInf), Point<float>(-kInf, 5), Point<float>(1, 1));
        p.LineTo(Point<float>(5, 5));
        p.EndFigure();
        p.BeginFigure(Point<float>(0, 0));
        p.CurveTo(Point<float>(kNaN, 0), Point<float>(0, kInf), Point<float>(3, 3));
        p.EndFigureClose();
        EXPECT_LE(sink->lines, 200u);
        EXPECT_EQ(sink->figures, 5u);
    }
    // Without a figure begun a line starts at (0, 0); repeats and stray ends
    // add nothing.
    auto stray = std::make_shared<CountingSink>();
    Pen p(0.25f, 2.0f, LineCap::Square, LineJoin::Miter, 10.0f, stray);
    for (int i = 0; i < 1000; ++i) p.LineTo(Point<float>(4, 0));
    p.EndFigure();
    p.EndFigure();
    p.EndFigureClose();
    EXPECT_EQ(stray->figures, 1u);
    EXPECT_EQ(stray->lines, 7u);
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
    EXPECT_EQ(target->GetBound(Matrix()), Rect<float>(0, -1, 20, 1));
    // Nothing for an empty geometry or a null sink.
    auto none = std::make_shared<RecordingSink>();
    Geometry().Widen(2.0f, solid, 0.25f, none);
    EXPECT_TRUE(none->events.empty());
    source.Widen(2.0f, solid, 0.25f, nullptr);

    // Dashes are cut first, each with caps of its own; the offset shifts them.
    StrokeParameters dashed;
    dashed.cap = LineCap::Square;
    dashed.dashes = {5};
    ExpectEvents(widen(dashed), {B(6, 1), L(6, -1), L(5, -1), L(0, -1), L(-1, -1), L(-1, 1), L(0, 1), L(5, 1),
                                 C(), B(16, 1), L(16, -1), L(15, -1), L(10, -1), L(9, -1), L(9, 1), L(10, 1),
                                 L(15, 1), C()});
    dashed.cap = LineCap::Butt;
    dashed.dashOffset = 2.5f;
    ExpectEvents(widen(dashed), {B(2.5f, -1), L(0, -1), L(0, 1), L(2.5f, 1), C(), B(12.5f, -1), L(7.5f, -1),
                                 L(7.5f, 1), L(12.5f, 1), C(), B(20, -1), L(17.5f, -1), L(17.5f, 1), L(20, 1), C()});

    // A pattern summing to exactly zero is refused, logged, and the stroke
    // stays solid.
    for (const std::vector<float>& zero : {std::vector<float>{0, 0}, std::vector<float>{2, -2}}) {
        StrokeParameters p;
        p.dashes = zero;
        GraphicsTest::LogCapture capture;
        ExpectEvents(widen(p), plain);
        const std::string log = capture.Last();
        EXPECT_EQ(log.rfind("Exception in Sequence (", 0), 0u) << log;
        EXPECT_NE(log.find("):\n\tPattern has zero length"), std::string::npos) << log;
    }
}
