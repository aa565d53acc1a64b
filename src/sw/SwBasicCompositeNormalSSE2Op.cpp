#include "sw/SwBasicCompositeNormalSSE2Op.h"

#include "core/PackedColor.h"
#include "sw/SwBasicCompositeNormalOp.h"

namespace Graphics {

namespace {

// Adds two words byte by byte, each byte wrapping on its own.
inline uint32_t _AddBytes(uint32_t x, uint32_t y) {
    return ((x & 0x7F7F7F7Fu) + (y & 0x7F7F7F7Fu)) ^ ((x ^ y) & 0x80808080u);
}

}  // namespace

SwBasicCompositeNormalSSE2Op::SwBasicCompositeNormalSSE2Op() : SwOperation(OperationStage::Composite) {}

void SwBasicCompositeNormalSSE2Op::Compose4x_SSE2(OperationContext& context, int index) {
    uint32_t* target = context.targetColor + index;
    const uint32_t* color = context.sourceColor + index;
    const unsigned char* shape = context.sourceShape + index;
    for (int k = 0; k < 4; ++k) {
        const uint32_t w = ScaleColor(color[k], static_cast<uint32_t>(shape[k]) + 1);
        target[k] = _AddBytes(ScaleColor(target[k], 256 - (w >> 24)), w);
    }
}

void SwBasicCompositeNormalSSE2Op::Compose_Native(OperationContext& context, int index) {
    SwBasicCompositeNormalOp::ComposePixel(context.targetColor + index, context.sourceColor[index],
                                           context.sourceShape[index]);
}

void SwBasicCompositeNormalSSE2Op::operator()(OperationContext& context) {
    const OperationContext::Params& p = *context.params;
    if (!context.targetColor) return;
    const int count = p.x2 - p.x1;
    int i = 0;
    for (; count - i >= 4; i += 4) Compose4x_SSE2(context, i);
    for (; i < count; ++i) Compose_Native(context, i);
}

}  // namespace Graphics
