#include "Graphics/Geometry.h"

#include "RecordingSink.h"
#include "geometry/Shape.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <vector>

using namespace Graphics;
using namespace GraphicsTest;

namespace {

using Events = std::vector<SinkEvent>;

Events Record(const Geometry& geometry) {
    auto sink = std::make_shared<RecordingSink>();
    geometry.SendToSink(sink);
    return sink->events;
}

Events RecordTransformed(const Geometry& geometry, const Matrix& m) {
    auto sink = std::make_shared<RecordingSink>();
    geometry.Transform(m, sink);
    return sink->events;
}

float FloatFromBits(unsigned bits) {
    float f;
    std::memcpy(&f, &bits, sizeof f);
    return f;
}

const float kNaN = std::numeric_limits<float>::quiet_NaN();
const float kInf = std::numeric_limits<float>::infinity();

}  // namespace

TEST(Geometry, RectangleStreamAndZeroSize) {
    Geometry g;
    EXPECT_TRUE(g.IsEmpty());
    g.Rectangle(Rect<float>(1, 2, 5, 7));
    EXPECT_FALSE(g.IsEmpty());
    EXPECT_EQ(Record(g), (Events{RuleEvent(0), BeginEvent(1, 2), LineEvent(5, 2), LineEvent(5, 7), LineEvent(1, 7),
                                 CloseEvent()}));

    // An inverted rectangle is not reordered.
    Geometry inverted;
    inverted.Rectangle(Rect<float>(5, 7, 1, 2));
    EXPECT_EQ(Record(inverted), (Events{RuleEvent(0), BeginEvent(5, 7), LineEvent(1, 7), LineEvent(1, 2),
                                        LineEvent(5, 2), CloseEvent()}));

    // A zero-size rectangle leaves one closed figure of one point: every line
    // lands on the current point and is dropped.
    Geometry dot;
    dot.Rectangle(Rect<float>(3, 3, 3, 3));
    EXPECT_FALSE(dot.IsEmpty());
    EXPECT_EQ(Record(dot), (Events{RuleEvent(0), BeginEvent(3, 3), CloseEvent()}));

    // A zero-width one keeps the one line that moves.
    Geometry line;
    line.Rectangle(Rect<float>(3, 1, 3, 4));
    EXPECT_EQ(Record(line), (Events{RuleEvent(0), BeginEvent(3, 1), LineEvent(3, 4), CloseEvent()}));
}

TEST(Geometry, EllipseStreamUsesTheCircleConstant) {
    const float k = FloatFromBits(0x3F0D6289u);
    EXPECT_EQ(k, 0.5522848f);

    Geometry g;
    g.Ellipse(Rect<float>(0, 0, 10, 20));
    const float kx = 5 * k, ky = 10 * k;
    EXPECT_NEAR(kx, 2.761424f, 1e-6f);
    EXPECT_EQ(Record(g), (Events{RuleEvent(0), BeginEvent(5, 20), CurveEvent(5 - kx, 20, 0, 10 + ky, 0, 10),
                                 CurveEvent(0, 10 - ky, 5 - kx, 0, 5, 0), CurveEvent(5 + kx, 0, 10, 10 - ky, 10, 10),
                                 CurveEvent(10, 10 + ky, 5 + kx, 20, 5, 20), CloseEvent()}));

    // The sides come from centre and radius, not from the rectangle: with
    // these edges the float round trip moves them.
    Geometry odd;
    const Rect<float> r(0.1f, 0.3f, 10.3f, 10.3f);
    odd.Ellipse(r);
    const float rx = (r.right - r.left) * 0.5f, ry = (r.bottom - r.top) * 0.5f;
    const float cx = r.left + rx, cy = r.top + ry;
    const float L = cx - rx, R = cx + rx, T = cy - ry, B = cy + ry;
    ASSERT_NE(L, r.left);
    ASSERT_NE(R, r.right);
    ASSERT_NE(T, r.top);
    const float okx = rx * k, oky = ry * k;
    EXPECT_EQ(Record(odd), (Events{RuleEvent(0), BeginEvent(cx, B), CurveEvent(cx - okx, B, L, cy + oky, L, cy),
                                   CurveEvent(L, cy - oky, cx - okx, T, cx, T),
                                   CurveEvent(cx + okx, T, R, cy - oky, R, cy),
                                   CurveEvent(R, cy + oky, cx + okx, B, cx, B), CloseEvent()}));

    // Nothing for a zero width or height.
    Geometry flat;
    flat.Ellipse(Rect<float>(1, 1, 1, 5));
    flat.Ellipse(Rect<float>(1, 1, 5, 1));
    EXPECT_TRUE(flat.IsEmpty());
    EXPECT_EQ(flat.GetBound(Matrix()), Rect<float>(0, 0, 0, 0));
}

TEST(Geometry, RoundRectangleStreamsAndClamping) {
    const float k = 0.5522848f;
    Geometry g;
    g.RoundRectangle(Rect<float>(0, 0, 100, 50), 10, 5);
    const float kx = 10 * k, ky = 5 * k;
    EXPECT_EQ(Record(g),
              (Events{RuleEvent(0), BeginEvent(90, 0), CurveEvent(90 + kx, 0, 100, 5 - ky, 100, 5), LineEvent(100, 45),
                      CurveEvent(100, 45 + ky, 90 + kx, 50, 90, 50), LineEvent(10, 50),
                      CurveEvent(10 - kx, 50, 0, 45 + ky, 0, 45), LineEvent(0, 5),
                      CurveEvent(0, 5 - ky, 10 - kx, 0, 10, 0), LineEvent(90, 0), CloseEvent()}));

    // Radii beyond half the size are clamped; the lines between the corners
    // then have no length and are dropped.
    Geometry pill;
    pill.RoundRectangle(Rect<float>(0, 0, 100, 50), 80, 40);
    const float pkx = 50 * k, pky = 25 * k;
    EXPECT_EQ(Record(pill),
              (Events{RuleEvent(0), BeginEvent(50, 0), CurveEvent(50 + pkx, 0, 100, 25 - pky, 100, 25),
                      CurveEvent(100, 25 + pky, 50 + pkx, 50, 50, 50), CurveEvent(50 - pkx, 50, 0, 25 + pky, 0, 25),
                      CurveEvent(0, 25 - pky, 50 - pkx, 0, 50, 0), CloseEvent()}));

    // Zero radii still give four curves, collapsed onto the corners.
    Geometry square;
    square.RoundRectangle(Rect<float>(0, 0, 100, 50), 0, 0);
    EXPECT_EQ(Record(square),
              (Events{RuleEvent(0), BeginEvent(100, 0), CurveEvent(100, 0, 100, 0, 100, 0), LineEvent(100, 50),
                      CurveEvent(100, 50, 100, 50, 100, 50), LineEvent(0, 50), CurveEvent(0, 50, 0, 50, 0, 50),
                      LineEvent(0, 0), CurveEvent(0, 0, 0, 0, 0, 0), LineEvent(100, 0), CloseEvent()}));

    Geometry none;
    none.RoundRectangle(Rect<float>(2, 2, 2, 9), 1, 1);
    none.RoundRectangle(Rect<float>(2, 2, 9, 2), 1, 1);
    EXPECT_TRUE(none.IsEmpty());
}

TEST(Geometry, StartRulesOfLineAndCurve) {
    // A new geometry starts its first figure at (0, 0).
    Geometry g;
    g.LineTo(Point<float>(5, 6));
    EXPECT_TRUE(g.IsEmpty());  // begun, not finished
    EXPECT_EQ(Record(g), Events{});
    g.EndFigure();
    EXPECT_EQ(Record(g), (Events{RuleEvent(0), BeginEvent(0, 0), LineEvent(5, 6), EndEvent()}));

    // After a closed figure the current point is its start.
    Geometry h;
    h.Rectangle(Rect<float>(1, 2, 5, 7));
    h.LineTo(Point<float>(9, 9));
    h.EndFigure();
    Events e = Record(h);
    ASSERT_EQ(e.size(), 9u);
    EXPECT_EQ(e[6], BeginEvent(1, 2));
    EXPECT_EQ(e[7], LineEvent(9, 9));
    EXPECT_EQ(e[8], EndEvent());

    // After an open figure the current point is its last point.
    Geometry i;
    i.BeginFigure(Point<float>(1, 1));
    i.LineTo(Point<float>(4, 1));
    i.EndFigure();
    i.CurveTo(Point<float>(5, 2), Point<float>(6, 3), Point<float>(7, 4));
    i.EndFigureClose();
    EXPECT_EQ(Record(i), (Events{RuleEvent(0), BeginEvent(1, 1), LineEvent(4, 1), EndEvent(), BeginEvent(4, 1),
                                 CurveEvent(5, 2, 6, 3, 7, 4), CloseEvent()}));

    // BeginFigure during a figure ends that one as open; End without a figure
    // is ignored.
    Geometry j;
    j.EndFigure();
    j.EndFigureClose();
    EXPECT_TRUE(j.IsEmpty());
    j.BeginFigure(Point<float>(1, 1));
    j.LineTo(Point<float>(2, 1));
    j.BeginFigure(Point<float>(3, 3));
    j.LineTo(Point<float>(4, 3));
    j.EndFigureClose();
    j.EndFigureClose();
    EXPECT_EQ(Record(j), (Events{RuleEvent(0), BeginEvent(1, 1), LineEvent(2, 1), EndEvent(), BeginEvent(3, 3),
                                 LineEvent(4, 3), CloseEvent()}));

    // A line to the current point adds nothing; a curve of equal points stays.
    Geometry k;
    k.BeginFigure(Point<float>(2, 2));
    k.LineTo(Point<float>(2, 2));
    k.CurveTo(Point<float>(2, 2), Point<float>(2, 2), Point<float>(2, 2));
    k.LineTo(Point<float>(2, 2));
    k.EndFigure();
    EXPECT_EQ(Record(k), (Events{RuleEvent(0), BeginEvent(2, 2), CurveEvent(2, 2, 2, 2, 2, 2), EndEvent()}));
}

TEST(Geometry, TwoPointCurveUsesTheCurrentPointAsControl) {
    Geometry g;
    g.BeginFigure(Point<float>(1, 2));
    g.CurveTo(Point<float>(3, 4), Point<float>(5, 6));
    g.EndFigure();
    EXPECT_EQ(Record(g), (Events{RuleEvent(0), BeginEvent(1, 2), CurveEvent(1, 2, 3, 4, 5, 6), EndEvent()}));

    // Without any current point the control point stands in for it, while the
    // figure itself starts at (0, 0).
    Geometry h;
    h.CurveTo(Point<float>(3, 4), Point<float>(5, 6));
    h.EndFigure();
    EXPECT_EQ(Record(h), (Events{RuleEvent(0), BeginEvent(0, 0), CurveEvent(3, 4, 3, 4, 5, 6), EndEvent()}));

    // It goes through the virtual three-point form.
    struct Derived : Geometry {
        int calls = 0;
        void CurveTo(const Point<float>& a, const Point<float>& b, const Point<float>& c) override {
            ++calls;
            Geometry::CurveTo(a, b, c);
        }
        using Geometry::CurveTo;
    };
    Derived d;
    d.BeginFigure(Point<float>(0, 0));
    static_cast<Geometry&>(d).CurveTo(Point<float>(1, 1), Point<float>(2, 0));
    d.Ellipse(Rect<float>(0, 0, 2, 2));
    EXPECT_EQ(d.calls, 5);
}

TEST(Geometry, LastPoint) {
    Geometry g;
    Point<float> p(-1, -1);
    EXPECT_FALSE(g.GetLastPoint(&p));
    EXPECT_EQ(p, Point<float>(-1, -1));
    EXPECT_FALSE(g.GetLastPoint(nullptr));

    g.BeginFigure(Point<float>(1, 2));
    EXPECT_TRUE(g.GetLastPoint(&p));
    EXPECT_EQ(p, Point<float>(1, 2));
    g.CurveTo(Point<float>(3, 3), Point<float>(4, 4), Point<float>(5, 6));
    EXPECT_TRUE(g.GetLastPoint(&p));
    EXPECT_EQ(p, Point<float>(5, 6));
    EXPECT_FALSE(g.GetLastPoint(nullptr));
    g.EndFigure();
    EXPECT_TRUE(g.GetLastPoint(&p));
    EXPECT_EQ(p, Point<float>(5, 6));

    g.Rectangle(Rect<float>(10, 20, 30, 40));
    EXPECT_TRUE(g.GetLastPoint(&p));
    EXPECT_EQ(p, Point<float>(10, 20));
}

TEST(Geometry, FillRule) {
    Geometry g;
    EXPECT_EQ(g.GetFillRule(), FillRule::Winding);
    g.SetFillRule(FillRule::EvenOdd);
    EXPECT_EQ(g.GetFillRule(), FillRule::EvenOdd);
    // Nothing is sent while empty, not even the rule.
    EXPECT_EQ(Record(g), Events{});
    g.Rectangle(Rect<float>(0, 0, 1, 1));
    EXPECT_EQ(Record(g).front(), RuleEvent(FillRule::EvenOdd));
    // The rule may change after the figures; the last one counts.
    g.SetFillRule(FillRule::Winding);
    EXPECT_EQ(Record(g).front(), RuleEvent(FillRule::Winding));
}

TEST(Geometry, IsRectangle) {
    Rect<float> r(-1, -1, -1, -1);
    Geometry g;
    EXPECT_FALSE(g.IsRectangle(Matrix(), &r));
    g.Rectangle(Rect<float>(1, 2, 5, 7));
    ASSERT_TRUE(g.IsRectangle(Matrix(), &r));
    EXPECT_EQ(r, Rect<float>(1, 2, 5, 7));
    EXPECT_TRUE(g.IsRectangle(Matrix(), nullptr));

    // Scaled and translated, with a mirror.
    ASSERT_TRUE(g.IsRectangle(Matrix(-2, 0, 0, 3, 10, 20), &r));
    EXPECT_EQ(r, Rect<float>(0, 26, 8, 41));
    // A quarter turn swaps which sides are vertical: the second pattern.
    ASSERT_TRUE(g.IsRectangle(Matrix(0, 1, -1, 0, 0, 0), &r));
    EXPECT_EQ(r, Rect<float>(-7, 1, -2, 5));
    // Any other rotation fails the exact compare.
    const float c = std::cos(0.5f), s = std::sin(0.5f);
    EXPECT_FALSE(g.IsRectangle(Matrix(c, s, -s, c, 0, 0), &r));
    const float h = std::sqrt(0.5f);
    EXPECT_FALSE(g.IsRectangle(Matrix(h, h, -h, h, 0, 0), &r));
    // A shear as well.
    EXPECT_FALSE(g.IsRectangle(Matrix(1, 0, 0.5f, 1, 0, 0), &r));

    // Inverted corners come out ordered.
    Geometry inv;
    inv.Rectangle(Rect<float>(5, 7, 1, 2));
    ASSERT_TRUE(inv.IsRectangle(Matrix(), &r));
    EXPECT_EQ(r, Rect<float>(1, 2, 5, 7));

    // An open figure with the same points, and a figure going down first.
    Geometry open;
    open.BeginFigure(Point<float>(1, 2));
    open.LineTo(Point<float>(1, 7));
    open.LineTo(Point<float>(5, 7));
    open.LineTo(Point<float>(5, 2));
    open.EndFigure();
    ASSERT_TRUE(open.IsRectangle(Matrix(), &r));
    EXPECT_EQ(r, Rect<float>(1, 2, 5, 7));

    // Four lines back to the start: only when the fifth point is the first.
    Geometry five;
    five.BeginFigure(Point<float>(1, 2));
    five.LineTo(Point<float>(5, 2));
    five.LineTo(Point<float>(5, 7));
    five.LineTo(Point<float>(1, 7));
    five.LineTo(Point<float>(1, 2));
    five.EndFigure();
    ASSERT_TRUE(five.IsRectangle(Matrix(), &r));
    EXPECT_EQ(r, Rect<float>(1, 2, 5, 7));
    Geometry notBack;
    notBack.BeginFigure(Point<float>(1, 2));
    notBack.LineTo(Point<float>(5, 2));
    notBack.LineTo(Point<float>(5, 7));
    notBack.LineTo(Point<float>(1, 7));
    notBack.LineTo(Point<float>(1, 3));
    notBack.EndFigureClose();
    EXPECT_FALSE(notBack.IsRectangle(Matrix(), &r));

    // A zero-size rectangle has too few points; a degenerate one with the
    // right count passes.
    Geometry dot;
    dot.Rectangle(Rect<float>(3, 3, 3, 3));
    EXPECT_FALSE(dot.IsRectangle(Matrix(), &r));

    // Not a rectangle: a trapezoid, a curve in the figure, two figures.
    Geometry trap;
    trap.BeginFigure(Point<float>(0, 0));
    trap.LineTo(Point<float>(4, 0));
    trap.LineTo(Point<float>(3, 2));
    trap.LineTo(Point<float>(0, 2));
    trap.EndFigureClose();
    EXPECT_FALSE(trap.IsRectangle(Matrix(), &r));
    Geometry curved;
    curved.BeginFigure(Point<float>(0, 0));
    curved.LineTo(Point<float>(4, 0));
    curved.CurveTo(Point<float>(4, 0), Point<float>(4, 2), Point<float>(4, 2));
    curved.LineTo(Point<float>(0, 2));
    curved.EndFigureClose();
    EXPECT_FALSE(curved.IsRectangle(Matrix(), &r));
    Geometry two;
    two.Rectangle(Rect<float>(0, 0, 1, 1));
    two.Rectangle(Rect<float>(2, 2, 3, 3));
    EXPECT_FALSE(two.IsRectangle(Matrix(), &r));

    // An unfinished figure does not count against it.
    Geometry pending;
    pending.Rectangle(Rect<float>(0, 0, 1, 1));
    pending.BeginFigure(Point<float>(9, 9));
    pending.LineTo(Point<float>(8, 8));
    EXPECT_TRUE(pending.IsRectangle(Matrix(), &r));

    // NaN fails every compare; the output is left alone on failure.
    r = Rect<float>(-1, -1, -1, -1);
    Geometry nan;
    nan.Rectangle(Rect<float>(kNaN, 0, 1, 1));
    EXPECT_FALSE(nan.IsRectangle(Matrix(), &r));
    EXPECT_FALSE(g.IsRectangle(Matrix(kNaN, 0, 0, 1, 0, 0), &r));
    EXPECT_EQ(r, Rect<float>(-1, -1, -1, -1));
}

TEST(Geometry, IsEqual) {
    auto make = [](FillRule::Enum rule) {
        auto g = std::make_shared<Geometry>();
        g->SetFillRule(rule);
        g->Rectangle(Rect<float>(1, 2, 5, 7));
        g->Ellipse(Rect<float>(0, 0, 4, 4));
        return g;
    };
    auto a = make(FillRule::Winding);
    auto b = make(FillRule::Winding);
    EXPECT_TRUE(a->IsEqual(b));
    EXPECT_TRUE(b->IsEqual(a));
    EXPECT_TRUE(a->IsEqual(a));
    EXPECT_FALSE(a->IsEqual(nullptr));
    EXPECT_FALSE(a->IsEqual(make(FillRule::EvenOdd)));

    // Empty geometries are equal whatever their rules; empty and not are not.
    auto e1 = std::make_shared<Geometry>();
    auto e2 = std::make_shared<Geometry>();
    e2->SetFillRule(FillRule::EvenOdd);
    EXPECT_TRUE(e1->IsEqual(e2));
    EXPECT_FALSE(e1->IsEqual(a));
    EXPECT_FALSE(a->IsEqual(e1));
    // An unfinished figure leaves a geometry empty for the compare.
    e2->BeginFigure(Point<float>(100, 100));
    e2->LineTo(Point<float>(200, 100));
    EXPECT_TRUE(e1->IsEqual(e2));

    // ...but its points widen the bound, which is compared.
    auto c = make(FillRule::Winding);
    c->BeginFigure(Point<float>(100, 100));
    EXPECT_FALSE(a->IsEqual(c));
    // Points inside the bound do not change it: the unfinished figure is not
    // compared.
    auto d = make(FillRule::Winding);
    d->BeginFigure(Point<float>(2, 3));
    EXPECT_TRUE(a->IsEqual(d));

    // Open against closed.
    auto open = std::make_shared<Geometry>();
    auto closed = std::make_shared<Geometry>();
    for (auto& g : {open, closed}) {
        g->BeginFigure(Point<float>(0, 0));
        g->LineTo(Point<float>(1, 0));
        g->LineTo(Point<float>(1, 1));
    }
    open->EndFigure();
    closed->EndFigureClose();
    EXPECT_FALSE(open->IsEqual(closed));

    // A line against a degenerate curve with the same end and bound.
    auto line = std::make_shared<Geometry>();
    line->BeginFigure(Point<float>(0, 0));
    line->LineTo(Point<float>(1, 1));
    line->EndFigure();
    auto curve = std::make_shared<Geometry>();
    curve->BeginFigure(Point<float>(0, 0));
    curve->CurveTo(Point<float>(0, 0), Point<float>(1, 1), Point<float>(1, 1));
    curve->EndFigure();
    EXPECT_FALSE(line->IsEqual(curve));

    // Same bound and points, split differently into figures.
    auto one = std::make_shared<Geometry>();
    one->BeginFigure(Point<float>(0, 0));
    one->LineTo(Point<float>(1, 1));
    one->LineTo(Point<float>(2, 2));
    one->EndFigure();
    auto split = std::make_shared<Geometry>();
    split->BeginFigure(Point<float>(0, 0));
    split->LineTo(Point<float>(1, 1));
    split->EndFigure();
    split->BeginFigure(Point<float>(1, 1));
    split->LineTo(Point<float>(2, 2));
    split->EndFigure();
    EXPECT_FALSE(one->IsEqual(split));

    // A point that differs in one coordinate only, inside the bound.
    auto p1 = std::make_shared<Geometry>();
    auto p2 = std::make_shared<Geometry>();
    p1->Rectangle(Rect<float>(0, 0, 4, 4));
    p2->Rectangle(Rect<float>(0, 0, 4, 4));
    p1->BeginFigure(Point<float>(1, 1));
    p1->LineTo(Point<float>(2, 2));
    p1->EndFigure();
    p2->BeginFigure(Point<float>(1, 1));
    p2->LineTo(Point<float>(2, 3));
    p2->EndFigure();
    EXPECT_FALSE(p1->IsEqual(p2));

    // NaN is unequal even to itself.
    auto nan = std::make_shared<Geometry>();
    nan->Rectangle(Rect<float>(0, 0, 1, 1));
    nan->BeginFigure(Point<float>(0.5f, 0.5f));
    nan->LineTo(Point<float>(kNaN, 0.5f));
    nan->EndFigure();
    EXPECT_FALSE(nan->IsEqual(nan));
}

TEST(Geometry, BoundIsThatOfTheControlPolygon) {
    Geometry g;
    // Empty: the all-zero rectangle through the matrix.
    EXPECT_EQ(g.GetBound(Matrix()), Rect<float>(0, 0, 0, 0));
    EXPECT_EQ(g.GetBound(Matrix(1, 0, 0, 1, 7, -3)), Rect<float>(7, -3, 7, -3));

    g.BeginFigure(Point<float>(0, 0));
    g.CurveTo(Point<float>(10, -20), Point<float>(30, 50), Point<float>(40, 0));
    // Counted before the figure is finished.
    EXPECT_EQ(g.GetBound(Matrix()), Rect<float>(0, -20, 40, 50));
    g.EndFigure();
    EXPECT_EQ(g.GetBound(Matrix()), Rect<float>(0, -20, 40, 50));
    EXPECT_EQ(g.GetBound(Matrix(2, 0, 0, -1, 1, 1)), Rect<float>(1, -49, 81, 21));
    // A quarter turn maps the box of the box.
    EXPECT_EQ(g.GetBound(Matrix(0, 1, -1, 0, 0, 0)), Rect<float>(-50, 0, 20, 40));

    // A lone point far from the origin gives a bound without the origin.
    Geometry p;
    p.BeginFigure(Point<float>(5, 6));
    EXPECT_EQ(p.GetBound(Matrix()), Rect<float>(5, 6, 5, 6));
    p.LineTo(Point<float>(3, 9));
    EXPECT_EQ(p.GetBound(Matrix()), Rect<float>(3, 6, 5, 9));

    // Huge, infinite and NaN points stay harmless.
    Geometry big;
    big.BeginFigure(Point<float>(1e30f, -1e30f));
    big.LineTo(Point<float>(kInf, 0));
    big.LineTo(Point<float>(kNaN, kNaN));
    big.EndFigureClose();
    const Rect<float> b = big.GetBound(Matrix());
    EXPECT_EQ(b.right, kInf);
    EXPECT_EQ(b.top, -1e30f);
}

TEST(Geometry, TransformMapsEveryPoint) {
    Geometry g;
    g.SetFillRule(FillRule::EvenOdd);
    g.BeginFigure(Point<float>(1, 2));
    g.LineTo(Point<float>(3, 4));
    g.CurveTo(Point<float>(5, 6), Point<float>(7, 8), Point<float>(9, 10));
    g.EndFigure();
    g.Rectangle(Rect<float>(0, 0, 1, 1));

    // x' = 2x - y + 10, y' = 3x + y/2 - 1
    const Matrix m(2, 3, -1, 0.5f, 10, -1);
    EXPECT_EQ(RecordTransformed(g, m),
              (Events{RuleEvent(1), BeginEvent(10, 3), LineEvent(12, 10), CurveEvent(14, 17, 16, 24, 18, 31),
                      EndEvent(), BeginEvent(10, -1), LineEvent(12, 2), LineEvent(11, 2.5f), LineEvent(9, -0.5f),
                      CloseEvent()}));
    // The identity sends the stream as it is.
    EXPECT_EQ(RecordTransformed(g, Matrix()), Record(g));

    // Nothing for a null sink or an empty geometry.
    g.Transform(m, nullptr);
    g.SendToSink(nullptr);
    Geometry empty;
    empty.BeginFigure(Point<float>(1, 1));
    EXPECT_EQ(RecordTransformed(empty, m), Events{});
}

TEST(Geometry, ShapeIgnoresSegmentsOutsideAFigure) {
    auto shape = std::make_shared<Shape>();
    shape->LineTo(Point<float>(1, 1));
    shape->CurveTo(Point<float>(1, 1), Point<float>(2, 2), Point<float>(3, 3));
    shape->EndFigure();
    EXPECT_FALSE(shape->HasActiveFigure());
    EXPECT_TRUE(shape->GetFigures().empty());
    EXPECT_EQ(shape->GetBound(), Rect<float>(0, 0, 0, 0));
    Point<float> p;
    EXPECT_FALSE(shape->GetLastPoint(&p));

    shape->BeginFigure(Point<float>(4, 4));
    EXPECT_TRUE(shape->HasActiveFigure());
    shape->LineTo(Point<float>(5, 4));
    shape->EndFigureClose();
    EXPECT_EQ(shape->GetFigures().size(), 1u);

    auto sink = std::make_shared<RecordingSink>();
    shape->SendToSink(sink);
    shape->SendToSink(nullptr);
    EXPECT_EQ(sink->events, (Events{RuleEvent(0), BeginEvent(4, 4), LineEvent(5, 4), CloseEvent()}));
    EXPECT_FALSE(shape->IsEqual(nullptr));
}

TEST(Geometry, GraphicsBaseAllocation) {
    // Made on the library's heap, through a base pointer too.
    Geometry* g = new Geometry;
    g->Rectangle(Rect<float>(0, 0, 1, 1));
    GeometrySink* sink = g;
    sink->LineTo(Point<float>(2, 2));
    delete sink;
}
