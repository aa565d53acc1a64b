#include "geometry/Dasher.h"

#include "core/Failure.h"
#include "geometry/BezierFlattener.h"

#include <cmath>
#include <utility>

namespace Graphics {

namespace {

// An entry counts as used up when the position is within this of its end
// (0x3727C5AC).
const float _Slack = 0.00001f;


float _Length(const Point<float>& a, const Point<float>& b) {
    const float dx = b.x - a.x;
    const float dy = b.y - a.y;
    return std::sqrt(dx * dx + dy * dy);
}

}  // namespace

Dasher::Sequence::Sequence(const std::vector<float>& pattern_, float phase) : pattern(pattern_), position(phase) {
    float sum = 0.0f;
    for (float entry : pattern) sum += entry;
    // Only an exact zero is refused; a NaN sum passes and dashes nothing.
    if (pattern.empty() || sum == 0.0f) GRAPHICS_FAIL_IN("Sequence", "Pattern has zero length");
    total = sum * 2.0f;
    UpdateInternal();
}

bool Dasher::Sequence::Spend() {
    if (stepsLeft == 0) return false;
    --stepsLeft;
    return true;
}

void Dasher::Sequence::Next() {
    ++cursor;
    if (cursor >= pattern.size()) cursor = 0;
}

void Dasher::Sequence::Increment(float d) {
    position += d;
    UpdateInternal();
}

void Dasher::Sequence::UpdateInternal() {
    if (position >= total) {
        position = std::fmod(position, total);
    } else if (position < 0.0f) {
        float m = -position;
        if (m > total) m = std::fmod(m, total);
        position = total - m;
    }

    // Skip the entries the position lies wholly beyond. With entries of the
    // right sign this ends within one period; negative ones could push the
    // position on for ever, hence the work bound.
    float c = pattern[cursor];
    while (position - _Slack >= c) {
        if (!Spend()) return;
        position -= c;
        Next();
        inGap = !inGap;
        c = pattern[cursor];
    }
    if (c == 0.0f && !zeroEntrySeen) {
        zeroEntrySeen = true;
        return;
    }
    if (!(position + _Slack > c)) return;

    // The entry is used up.
    inGap = !inGap;
    position -= c;
    Next();
    zeroEntrySeen = false;
}

Dasher::Dasher(float tolerance_, const std::vector<float>& pattern, float phase, std::shared_ptr<GeometrySink> sink_)
    : tolerance(tolerance_), sequence(pattern, phase), sink(std::move(sink_)) {}

Dasher::~Dasher() {}

void Dasher::SetFillRule(FillRule::Enum) {}

void Dasher::BeginFigure(const Point<float>& point) {
    // The pattern is not restarted: it runs on from where the last figure
    // left it.
    previousInGap = sequence.IsExhausted() ? false : sequence.IsInGap();
    if (!previousInGap && sink) sink->BeginFigure(point);
    startPoint = point;
    lastPoint = point;
}

void Dasher::EndFigure() {
    if (!previousInGap && sink) sink->EndFigure();
}

void Dasher::EndFigureClose() {
    // The closing segment is dashed like any other, and the figure ends open.
    AdvanceTo(startPoint);
    EndFigure();
}

void Dasher::LineTo(const Point<float>& point) { AdvanceTo(point); }

void Dasher::CurveTo(const Point<float>& control1, const Point<float>& control2, const Point<float>& end) {
    FlattenCurve(tolerance, lastPoint, control1, control2, end, [this](const Point<float>& p) { AdvanceTo(p); });
}

void Dasher::Emit(bool gap, const Point<float>& p) {
    if (!sink) return;
    if (gap) {
        // A dash ends here; the stretch up to p is gap.
        if (!previousInGap) sink->EndFigure();
    } else {
        if (previousInGap) sink->BeginFigure(lastPoint);
        sink->LineTo(p);
    }
}

void Dasher::DoDashAndIncrement(const Point<float>& p, float d) {
    const bool gap = sequence.IsInGap();
    Emit(gap, p);
    sequence.Increment(d);
    previousInGap = gap;
}

void Dasher::AdvanceTo(const Point<float>& p) {
    if (p.x == lastPoint.x && p.y == lastPoint.y) return;

    if (!sequence.IsExhausted()) {
        float length = _Length(lastPoint, p);
        float rest = sequence.GetRest();
        while (length > rest && sequence.Spend()) {
            const float f = rest / length;
            const Point<float> q(lastPoint.x + (p.x - lastPoint.x) * f, lastPoint.y + (p.y - lastPoint.y) * f);
            DoDashAndIncrement(q, rest);
            lastPoint = q;
            length = _Length(lastPoint, p);
            rest = sequence.GetRest();
        }
        if (!sequence.IsExhausted()) {
            DoDashAndIncrement(p, length);
            lastPoint = p;
            return;
        }
    }

    // The work bound is spent: the rest of the path is one solid dash.
    Emit(false, p);
    previousInGap = false;
    lastPoint = p;
}

}  // namespace Graphics
