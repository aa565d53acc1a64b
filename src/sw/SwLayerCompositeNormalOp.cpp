#include "sw/SwLayerCompositeNormalOp.h"

#include "core/PackedColor.h"

namespace Graphics {

SwLayerCompositeNormalOp::SwLayerCompositeNormalOp(bool k, bool i)
    : SwOperation(OperationStage::Composite), knockout(k), isolated(i) {}

bool SwLayerCompositeNormalOp::HasPlanes(const OperationContext& context) {
    return context.targetColor && context.targetShape && context.targetAlpha && context.backdropColor;
}

uint32_t SwLayerCompositeNormalOp::UpdateShapeAndAlpha(OperationContext& context, int i, uint32_t a, uint32_t s,
                                                       bool knockout) {
    using namespace SwPixel;
    const uint32_t t = context.targetShape[i];
    context.targetShape[i] = static_cast<unsigned char>(s + t + 1 - (((t + 1) * (s + 1)) >> 8));

    const uint32_t q = context.targetAlpha[i];
    const uint32_t q0 = knockout ? 0 : q;
    const uint32_t u = Union(a, q0) & 0xFFu;
    const uint32_t n = s == 255 ? u : (q * (255 - s) + u * (s + 1)) >> 8;
    context.targetAlpha[i] = static_cast<unsigned char>(n);

    const uint32_t d = Alpha(context.backdropColor[i]);
    return Union(d, n);
}

void SwLayerCompositeNormalOp::operator()(OperationContext& context) {
    using namespace SwPixel;
    if (!HasPlanes(context)) return;
    const OperationContext::Params& p = *context.params;
    const int count = p.x2 - p.x1;
    uint32_t* target = context.targetColor;
    for (int i = 0; i < count; ++i) {
        const uint32_t w = context.sourceColor[i];
        const uint32_t a = Alpha(w);
        if (a == 0) continue;
        const uint32_t s = context.sourceShape[i];
        if (s == 0) continue;

        const uint32_t alpha = UpdateShapeAndAlpha(context, i, a, s, knockout);
        const uint32_t t = target[i];
        const uint32_t base = knockout ? context.backdropColor[i] : t;
        uint32_t r = ScaleColor(base, 256 - a) + w;
        if (s < 255) r = ScaleColor(r, s + 1) + ScaleColor(t, 256 - s);
        target[i] = WithAlpha(r, alpha);
    }
}

}  // namespace Graphics
