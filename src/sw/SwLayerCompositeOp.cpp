#include "sw/SwLayerCompositeOp.h"

#include "core/PackedColor.h"
#include "sw/SwLayerCompositeNormalOp.h"

namespace Graphics {

SwLayerCompositeOp::SwLayerCompositeOp(bool k, bool i)
    : SwOperation(OperationStage::Composite), knockout(k), isolated(i) {}

void SwLayerCompositeOp::operator()(OperationContext& context) {
    using namespace SwPixel;
    if (!SwLayerCompositeNormalOp::HasPlanes(context)) return;
    const OperationContext::Params& p = *context.params;
    const int count = p.x2 - p.x1;
    uint32_t* target = context.targetColor;
    for (int i = 0; i < count; ++i) {
        const uint32_t w = context.sourceColor[i];
        const uint32_t a = Alpha(w);
        if (a == 0) continue;
        const uint32_t s = context.sourceShape[i];
        if (s == 0) continue;

        const uint32_t alpha = SwLayerCompositeNormalOp::UpdateShapeAndAlpha(context, i, a, s, knockout);
        const uint32_t t = target[i];
        const uint32_t base = knockout ? context.backdropColor[i] : t;

        unsigned char bb[4], wb[4];
        unsigned char rb[4] = {0, 0, 0, 0};
        ToBytes(base, bb);
        ToBytes(w, wb);
        Blend(context, bb, wb, rb);
        uint32_t r = FromBytes(rb);

        const uint32_t b = Alpha(base);
        if (b < 255) r = ScaleColor(r, b + 1) + (b == 0 ? w : ScaleColor(w, 256 - b));
        if (a < 255) r = ScaleColor(r, a + 1) + ScaleColor(base, 256 - a);
        if (s < 255) r = ScaleColor(r, s + 1) + ScaleColor(t, 256 - s);
        target[i] = WithAlpha(r, alpha);
    }
}

}  // namespace Graphics
