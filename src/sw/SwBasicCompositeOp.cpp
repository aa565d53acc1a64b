#include "sw/SwBasicCompositeOp.h"

#include "core/PackedColor.h"

namespace Graphics {

SwBasicCompositeOp::SwBasicCompositeOp() : SwOperation(OperationStage::Composite) {}

void SwBasicCompositeOp::ComposePixel(OperationContext& context, uint32_t* target, uint32_t w, unsigned int s) {
    using namespace SwPixel;
    if (s == 0 || Alpha(w) == 0) return;
    if (s < 255) w = ScaleColor(w, s + 1);
    const uint32_t a = Alpha(w);
    const uint32_t t = *target;
    const uint32_t b = Alpha(t);
    if (b == 0) {
        // Nothing to blend with: the source lands as it is.
        *target = w;
        return;
    }

    unsigned char tb[4], wb[4];
    unsigned char rb[4] = {0, 0, 0, 0};
    ToBytes(t, tb);
    ToBytes(w, wb);
    Blend(context, tb, wb, rb);
    const uint32_t r = FromBytes(rb);

    if (a == 255) {
        const uint32_t n = b == 255 ? r : ScaleColor(r, b + 1) + ScaleColor(w, 256 - b);
        *target = WithAlpha(n, 255);
    } else if (b < 255) {
        const uint32_t m = ((b + 1) * (a + 1)) >> 8;
        const uint32_t t1 = a == 0 ? t : ScaleColor(t, 256 - a);
        const uint32_t r1 = m == 256 ? r : ScaleColor(r, m);
        *target = WithAlpha(ScaleColor(w, 256 - b) + t1 + r1, b + a + 1 - m);
    } else {
        const uint32_t t1 = a == 0 ? t : ScaleColor(t, 256 - a);
        *target = WithAlpha(ScaleColor(r & 0x00FFFFFFu, a + 1) + t1, 255);
    }
}

void SwBasicCompositeOp::operator()(OperationContext& context) {
    const OperationContext::Params& p = *context.params;
    uint32_t* target = context.targetColor;
    if (!target) return;
    const uint32_t* color = context.sourceColor;
    const unsigned char* shape = context.sourceShape;
    const int count = p.x2 - p.x1;
    for (int i = 0; i < count; ++i) ComposePixel(context, target + i, color[i], shape[i]);
}

}  // namespace Graphics
