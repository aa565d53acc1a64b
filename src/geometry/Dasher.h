#pragma once

#include "Graphics/Geometry.h"

#include <cstddef>
#include <memory>
#include <vector>

namespace Graphics {

// Cuts the stream of a path into dashes: every dash goes on to the next sink
// as an open figure of lines, so that a Pen behind it gives each dash caps of
// its own. The pattern runs on across figures and is measured along the
// chords of flattened curves. A closed figure is dashed like an open one with
// its closing segment added: its last and first dashes are not joined.
//
// Work bound: one Dasher walks through at most MaxPatternSteps entries of its
// pattern (in all, over every figure). A pattern whose sum is tiny against
// the path, negative entries, or coordinates so large that a dash rounds to
// nothing, would otherwise cut endlessly. Once the bound is spent the rest of
// the path goes on as one solid dash per figure, as a pattern of zero length
// does.
class Dasher : public GeometrySink {
public:
    static constexpr unsigned long MaxPatternSteps = 1ul << 20;

    // The cursor in the pattern: which entry is present, how much of it has
    // been spent, and whether it is a dash or a gap.
    class Sequence {
    public:
        // Fails with "Pattern has zero length" when the pattern is empty or its
        // entries sum to exactly 0 (a NaN sum passes). The phase is where the
        // pattern starts; it wraps, and counts back from the end when negative.
        Sequence(const std::vector<float>& pattern, float phase);

        void Increment(float d);

        bool IsInGap() const { return inGap; }
        // Length of the present entry minus the part already spent.
        float GetRest() const { return pattern[cursor] - position; }
        float GetPosition() const { return position; }
        std::size_t GetCursor() const { return cursor; }

        // Takes one step from the work bound; false once it is spent.
        bool Spend();
        bool IsExhausted() const { return stepsLeft == 0; }

    private:
        void UpdateInternal();
        void Next();

        std::vector<float> pattern;
        std::size_t cursor = 0;
        float position = 0.0f;
        // Twice the sum, so that a pattern of odd length repeats with dashes
        // and gaps swapped.
        float total = 0.0f;
        bool inGap = false;
        // The present entry has length 0 and has had its turn: it is kept for
        // one update so that the caller sees a zero dash as such.
        bool zeroEntrySeen = false;
        unsigned long stepsLeft = MaxPatternSteps;
    };

    Dasher(float tolerance, const std::vector<float>& pattern, float phase, std::shared_ptr<GeometrySink> sink);
    ~Dasher() override;

    // Not passed on: see Pen.
    void SetFillRule(FillRule::Enum rule) override;
    void BeginFigure(const Point<float>& point) override;
    void EndFigure() override;
    void EndFigureClose() override;
    void LineTo(const Point<float>& point) override;
    void CurveTo(const Point<float>& control1, const Point<float>& control2, const Point<float>& end) override;

private:
    void AdvanceTo(const Point<float>& point);
    // Emits the stretch from the last point to p in the present state, then
    // spends d of the pattern.
    void DoDashAndIncrement(const Point<float>& p, float d);
    void Emit(bool gap, const Point<float>& p);

    float tolerance;
    Sequence sequence;
    Point<float> startPoint;
    Point<float> lastPoint;
    // The state of the stretch that was emitted last: true when it was gap,
    // so that no dash is open on the sink.
    bool previousInGap = false;
    std::shared_ptr<GeometrySink> sink;
};

}  // namespace Graphics
