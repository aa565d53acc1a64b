#pragma once

#include "core/PackedColor.h"
#include "sw/SwOperation.h"

#include <cstddef>

namespace Graphics {

// Source over, in Normal mode, on a plain target: the inner loop of the
// library.
class SwBasicCompositeNormalOp : public SwOperation {
public:
    SwBasicCompositeNormalOp();
    void operator()(OperationContext& context) override;

    // One pixel: colour word w under shape byte s over the target word.
    // The target is scaled by 255 - a rather than 256 - a, so an opaque
    // source takes the target to exactly 0 and a nearly transparent one
    // still darkens it by a step. A target with alpha 0 is replaced, not
    // blended, whatever its colour bytes hold.
    static void ComposePixel(uint32_t* target, uint32_t w, unsigned int s) {
        if (s == 0 || (w >> 24) == 0) return;
        if (s < 255) w = ScaleColor(w, s + 1);
        const uint32_t t = *target;
        *target = (t >> 24) == 0 ? w : ScaleColor(t, 255 - (w >> 24)) + w;
    }

    // The span loop, for count pixels from the given rows.
    static void ComposeSpan(uint32_t* target, const uint32_t* color, const unsigned char* shape, int count);
    // The same loop where every pixel has shape byte s: what ComposeSpan
    // gives for a shape row filled with s.
    static void ComposeSpanUniform(uint32_t* target, const uint32_t* color, unsigned int s, int count);
    // The same where, in addition, every pixel has colour word w: what
    // ComposeSpan gives for a colour row filled with w.
    static void ComposeConstant(uint32_t* target, uint32_t w, unsigned int s, int count);
    // ComposeConstant on rows of the same span, stride bytes apart.
    static void ComposeConstantRows(uint32_t* target, std::ptrdiff_t stride, uint32_t w, unsigned int s, int count,
                                    int rows);
};

}  // namespace Graphics
