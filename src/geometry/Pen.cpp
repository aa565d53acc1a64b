#include "geometry/Pen.h"

#include "geometry/BezierFlattener.h"
#include "geometry/Figure.h"
#include "geometry/Transformer.h"

#include <cmath>
#include <utility>

namespace Graphics {

namespace {

// A point is taken as reached when it lies this close on both axes; the point
// is then dropped and the current point stays where it is.
const float _Closeness = 0.001f;

const float _Pi = 3.1415927f;
const float _TwoPi = 6.2831855f;

float _Length(const Point<float>& a, const Point<float>& b) {
    const float dx = a.x - b.x;
    const float dy = a.y - b.y;
    return std::sqrt(dx * dx + dy * dy);
}


// The point at angle a on the circle of radius h round b. The trigonometry
// runs in double on the float angle; the result is rounded once.
Point<float> _OnCircle(const Point<float>& b, float h, float a) {
    const double angle = a;
    return Point<float>(static_cast<float>(b.x + h * std::cos(angle)), static_cast<float>(b.y + h * std::sin(angle)));
}

void _Add(Figure& figure, const Point<float>& p, bool reverse) {
    if (reverse)
        figure.LineToReverse(p);
    else
        figure.LineTo(p);
}

}  // namespace

Pen::Pen(float tolerance_, float width_, LineCap::Enum cap_, LineJoin::Enum join_, float miterLimit_,
         std::shared_ptr<GeometrySink> sink_)
    : tolerance(tolerance_),
      cap(cap_),
      join(join_),
      miterLimit(miterLimit_),
      halfWidth(width_ * 0.5f),
      sink(std::move(sink_)) {}

Pen::~Pen() {}

void Pen::SetVisible(const Matrix& m, const Rect<float>& rect) {
    // What is left out are the offset points of chords, the half width from
    // their ends; joins and caps are all made as before. Mapped by at most
    // the matrix's Frobenius norm.
    const float norm = std::sqrt(m.m11 * m.m11 + m.m12 * m.m12 + m.m21 * m.m21 + m.m22 * m.m22);
    const float reach = std::fabs(halfWidth) * norm;
    culling = std::isfinite(reach) && std::isfinite(m.dx) && std::isfinite(m.dy);
    toDevice = m;
    visible = rect;
    // A pixel's worth more, for the rounding of offsets and of the mapping.
    deviceReach = reach + 1.0f;
}

unsigned Pen::Beyond(const Point<float>& p) const {
    const Point<float> d = Transformer::Map(toDevice, p);
    // The mapping's float error grows with the size of its terms; a point is
    // out of reach only beyond that as well. NaN compares false: not beyond.
    const float terms = std::fabs(toDevice.m21 * p.y) + std::fabs(toDevice.m11 * p.x) + std::fabs(toDevice.m22 * p.y) +
                        std::fabs(toDevice.m12 * p.x) + std::fabs(toDevice.dx) + std::fabs(toDevice.dy);
    const float slack = deviceReach + (terms + deviceReach) * (1.0f / 1048576.0f);
    return (d.x + slack < visible.left ? 1u : 0u) | (d.x - slack > visible.right ? 2u : 0u) |
           (d.y + slack < visible.top ? 4u : 0u) | (d.y - slack > visible.bottom ? 8u : 0u);
}

void Pen::SetFillRule(FillRule::Enum) {}

void Pen::BeginFigure(const Point<float>& point) {
    startPoint = point;
    currentPoint = point;
    runBeyond = kBeyondUnknown;
}

void Pen::LineTo(const Point<float>& point) {
    if (point.x == currentPoint.x && point.y == currentPoint.y) return;
    AdvanceTo(point, true);
}

void Pen::CurveTo(const Point<float>& control1, const Point<float>& control2, const Point<float>& end) {
    // Joins belong between segments of the path, not between the chords of
    // one curve.
    FlattenCurve(tolerance, currentPoint, control1, control2, end,
                 [this](const Point<float>& p) { AdvanceTo(p, false); });
}

Point<float> Pen::GetOffsetVector(const Point<float>& a, const Point<float>& b) const {
    const float dx = b.x - a.x;
    const float dy = b.y - a.y;
    const float s = halfWidth / std::sqrt(dx * dx + dy * dy);
    return Point<float>((a.y - b.y) * s, (b.x - a.x) * s);
}

void Pen::AdvanceTo(const Point<float>& p, bool joinHere) {
    if (std::fabs(currentPoint.x - p.x) <= _Closeness && std::fabs(currentPoint.y - p.y) <= _Closeness) return;

    // A chord inside a curve, out of reach on the same side as every point
    // since the last chord with sides, gets none (see SetVisible). Chords
    // that start a join keep theirs, so that the joins spend their round
    // chords as before.
    if (culling && !joinHere && hasSides) {
        if (runBeyond == kBeyondUnknown) runBeyond = Beyond(currentPoint);
        const unsigned beyond = Beyond(p);
        if ((runBeyond & beyond) != 0) {
            runBeyond &= beyond;
            previousPoint = currentPoint;
            currentPoint = p;
            return;
        }
        runBeyond = beyond;
    } else {
        runBeyond = kBeyondUnknown;
    }

    const Point<float> o = GetOffsetVector(currentPoint, p);
    const Point<float> l0(currentPoint.x + o.x, currentPoint.y + o.y);
    const Point<float> r0(currentPoint.x - o.x, currentPoint.y - o.y);

    // The sides exist exactly from the first real segment on, and until then
    // the current point is the start point; asking only for the sides keeps a
    // figure that starts at NaN (which equals nothing) from reaching the
    // joins without them.
    if (!hasSides) {
        hasSides = true;
        left.StartAt(l0);
        right.StartAt(r0);
        secondPoint = p;
    } else {
        if (joinHere) {
            // The path reversed for the left side: only the outer side of the
            // turn gets a join.
            DoJoin(join, p, currentPoint, previousPoint, left);
            DoJoin(join, previousPoint, currentPoint, p, right);
        }
        // No trimming on the inner side: the offset lines cross there.
        left.LineTo(l0);
        right.LineTo(r0);
    }
    left.LineTo(Point<float>(p.x + o.x, p.y + o.y));
    right.LineTo(Point<float>(p.x - o.x, p.y - o.y));

    previousPoint = currentPoint;
    currentPoint = p;
}

void Pen::DoJoin(LineJoin::Enum style, const Point<float>& a, const Point<float>& b, const Point<float>& d,
                 Figure& figure) {
    const float cross = (b.x - a.x) * (d.y - b.y) - (b.y - a.y) * (d.x - b.x);
    // Inner side or straight on (NaN included).
    if (!(cross > 0.0f)) return;
    switch (style) {
        case LineJoin::Miter:
            DoMiterJoin(a, b, d, figure);
            break;
        case LineJoin::Round:
            DoRoundJoin(a, b, d, figure);
            break;
        default:
            // A bevel is the straight line between the two offset ends.
            break;
    }
}

void Pen::DoMiterJoin(const Point<float>& a, const Point<float>& b, const Point<float>& d, Figure& figure) const {
    const Point<float> d1(b.x - a.x, b.y - a.y);
    const Point<float> d2(d.x - b.x, d.y - b.y);
    const float cross = d1.x * d2.y - d1.y * d2.x;
    if (cross == 0.0f) return;

    const float h = halfWidth;
    const float s1 = h / _Length(a, b);
    const float s2 = h / _Length(b, d);
    const Point<float> o1(d1.y * s1, (a.x - b.x) * s1);
    const Point<float> o2(d2.y * s2, (b.x - d.x) * s2);

    // Where the outer offset line of the first segment meets that of the
    // second, as a multiple of the first segment past its offset start.
    const float t = ((o2.x - o1.x) * d2.y - (o2.y - o1.y) * d2.x) / cross;
    const Point<float> m(a.x + o1.x + (t + 1.0f) * d1.x, a.y + o1.y + (t + 1.0f) * d1.y);

    // The limit compares the distance from the path point to the tip with the
    // half width, strictly: at the limit itself the join is a bevel.
    const float ratio = _Length(m, b) / h;
    if (miterLimit > ratio) figure.LineTo(m);
}

float Pen::GetRoundStep() const {
    const double h = halfWidth;
    float step = static_cast<float>(4.0 * std::acos(h / (static_cast<double>(tolerance) * 0.125 + h)));
    // A zero, negative or NaN tolerance, a NaN width, or a width so large
    // against the tolerance that the ratio rounds to 1, would make the chord
    // count endless or undefined.
    const float least = _TwoPi / static_cast<float>(MaxChordsPerTurn);
    if (!(step >= least)) step = least;
    return step;
}

int Pen::SpendRoundChords(int n, int least) {
    const unsigned long wanted = static_cast<unsigned long>(n);
    if (wanted > roundChordsLeft) return least;
    roundChordsLeft -= wanted;
    return n;
}

void Pen::DoRoundJoin(const Point<float>& a, const Point<float>& b, const Point<float>& d, Figure& figure) {
    const float h = halfWidth;
    const float s1 = h / _Length(a, b);
    const float s2 = h / _Length(b, d);
    const Point<float> o1((b.y - a.y) * s1, (a.x - b.x) * s1);
    const Point<float> o2((d.y - b.y) * s2, (b.x - d.x) * s2);

    const float step = GetRoundStep();
    float a1 = static_cast<float>(std::atan2(static_cast<double>(o1.y), static_cast<double>(o1.x)));
    float a2 = static_cast<float>(std::atan2(static_cast<double>(o2.y), static_cast<double>(o2.x)));
    if (a1 > a2) a2 += _TwoPi;
    const float sweep = a2 - a1;

    // The sweep lies within a full turn and the step is bounded below, so the
    // count fits; NaN ends here too.
    const float count = sweep / step;
    if (!(count >= 1.0f)) return;
    const int n = SpendRoundChords(static_cast<int>(count), 1);
    const float da = sweep / static_cast<float>(n);

    figure.LineTo(_OnCircle(b, h, a1));
    for (int i = 0; i < n; ++i) {
        a1 += da;
        figure.LineTo(_OnCircle(b, h, a1));
    }
}

void Pen::DoCap(LineCap::Enum style, const Point<float>& a, const Point<float>& b, bool reverse,
                Figure& figure) {
    switch (style) {
        case LineCap::Round:
            DoRoundCap(a, b, reverse, figure);
            break;
        case LineCap::Square:
            DoSquareCap(a, b, reverse, figure);
            break;
        default:
            // Butt: the outline closes straight across the end.
            break;
    }
}

void Pen::DoSquareCap(const Point<float>& a, const Point<float>& b, bool reverse, Figure& figure) const {
    const Point<float> o = GetOffsetVector(a, b);
    // The direction of travel with the length of the half width.
    const Point<float> u(o.y, -o.x);
    _Add(figure, Point<float>(b.x - o.x + u.x, b.y - o.y + u.y), reverse);
    _Add(figure, Point<float>(b.x + o.x + u.x, b.y + o.y + u.y), reverse);
}

void Pen::DoRoundCap(const Point<float>& a, const Point<float>& b, bool reverse, Figure& figure) {
    const float step = GetRoundStep();
    int n = static_cast<int>(_Pi / step);
    if (n < 2) n = 2;
    n = SpendRoundChords(n, 2);
    const float da = _Pi / static_cast<float>(n);

    const float h = halfWidth;
    const Point<float> o = GetOffsetVector(a, b);
    _Add(figure, Point<float>(b.x - o.x, b.y - o.y), reverse);

    // Half a circle from b - o round the far side to b + o.
    float angle = static_cast<float>(std::atan2(static_cast<double>(-o.y), static_cast<double>(-o.x)));
    for (int i = 0; i < n; ++i) {
        angle += da;
        _Add(figure, _OnCircle(b, h, angle), reverse);
    }
}

void Pen::FinishOpenFigure() {
    DoCap(cap, secondPoint, startPoint, true, left);
    DoCap(cap, previousPoint, currentPoint, false, right);

    hasSides = false;
    left.JoinFigureReverse(right);
    left.Close();
    left.SendToSink(sink);
}

void Pen::EndFigure() {
    if (hasSides)
        FinishOpenFigure();
    else
        ProcessDegenerateSegment();
}

void Pen::EndFigureClose() {
    if (!hasSides) {
        ProcessDegenerateSegment();
        return;
    }

    // The closing segment, with its join at the old current point.
    LineTo(startPoint);
    // The join at the seam; after it both sides have all their points.
    DoJoin(join, secondPoint, currentPoint, previousPoint, left);
    DoJoin(join, previousPoint, currentPoint, secondPoint, right);

    hasSides = false;
    left.Close();
    left.SendToSink(sink);

    // The other side runs the opposite way round, so that the Winding fill
    // leaves the ring open in the middle. A side never holds the same point
    // twice in a row, so the reversed side is its points last to first.
    if (!sink) return;
    const std::size_t count = right.points.size();
    sink->BeginFigure(right.points[count - 1]);
    for (std::size_t i = count - 1; i > 0; --i) sink->LineTo(right.points[i - 1]);
    sink->EndFigureClose();
}

void Pen::ProcessDegenerateSegment() {
    if (cap != LineCap::Round) return;

    // A dot: both caps of a short vertical segment through the current point,
    // with both sides starting at the centre.
    hasSides = true;
    left.StartAt(currentPoint);
    right.StartAt(currentPoint);
    secondPoint = Point<float>(startPoint.x, startPoint.y + 1.0f);
    previousPoint = Point<float>(currentPoint.x, currentPoint.y - 1.0f);
    FinishOpenFigure();
}

}  // namespace Graphics
