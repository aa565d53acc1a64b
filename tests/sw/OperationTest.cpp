#include "core/PackedColor.h"
#include "sw/SwBasicCompositeNormalOp.h"
#include "sw/SwBasicCompositeNormalSSE2Op.h"
#include "sw/SwBasicCompositeOp.h"
#include "sw/SwGetBackdropColorOp.h"
#include "sw/SwLayerCompositeNormalOp.h"
#include "sw/SwLayerCompositeOp.h"
#include "sw/SwTargetAlphaOp.h"
#include "sw/SwTargetColorOp.h"
#include "sw/SwTargetShapeOp.h"
#include "RandomizedCompare.h"
#include <gtest/gtest.h>
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

using namespace Graphics;

namespace {

// The planes of one span of n pixels, seen through a context as the pipeline sets it up.
struct Planes {
    explicit Planes(int n)
        : color(n, 0), shape(n, 255), target(n, 0), targetShape(n, 0), targetAlpha(n, 0), backdrop(n, 0) {
        params.x1 = 10;
        params.x2 = 10 + n;
        context.sourceColor = color.data();
        context.sourceShape = shape.data();
        context.targetColor = target.data();
        context.targetShape = targetShape.data();
        context.targetAlpha = targetAlpha.data();
        context.backdropColor = backdrop.data();
        context.params = &params;
    }
    std::vector<uint32_t> color;
    std::vector<unsigned char> shape;
    std::vector<uint32_t> target;
    std::vector<unsigned char> targetShape, targetAlpha;
    std::vector<uint32_t> backdrop;
    OperationContext::Params params;
    OperationContext context;
};
enum Kind { BasicNormal, BasicNormalSSE2, Basic, LayerNormal, LayerNormalKnockout, Layer, LayerKnockout };
std::unique_ptr<SwOperation> Make(Kind kind) {
    switch (kind) {
        case BasicNormal: return std::make_unique<SwBasicCompositeNormalOp>();
        case BasicNormalSSE2: return std::make_unique<SwBasicCompositeNormalSSE2Op>();
        case Basic: return std::make_unique<SwBasicCompositeOp>();
        case LayerNormal: return std::make_unique<SwLayerCompositeNormalOp>(false, false);
        case LayerNormalKnockout: return std::make_unique<SwLayerCompositeNormalOp>(true, false);
        case Layer: return std::make_unique<SwLayerCompositeOp>(false, false);
        case LayerKnockout: return std::make_unique<SwLayerCompositeOp>(true, false);
    }
    return nullptr;
}
// The steps of the plain Normal composite, one by one.
uint32_t ReferenceNormal(uint32_t t, uint32_t w, unsigned int s) {
    if (s == 0 || (w >> 24) == 0) return t;
    if (s < 255) w = ScaleColor(w, s + 1);
    return (t >> 24) == 0 ? w : ScaleColor(t, 255 - (w >> 24)) + w;
}
class BlendProbe : public SwOperation {
public:
    BlendProbe() : SwOperation(OperationStage::Composite) {}
    void operator()(OperationContext&) override {}
    using SwOperation::Blend;
};

}  // namespace

TEST(SwOperationTest, CompositesOfOnePixelByHand) {
    const SwBlend::BlendFunc mul = SwBlend::Multiply;
    const SwBlend::BlendFunc normal = SwBlend::Normal;
    // Planes before (colour, backdrop, shape, alpha), the element (word, coverage), planes after; Scale(c, f) is
    // (byte * f) >> 8 a channel.
    struct Case {
        Kind kind;
        SwBlend::BlendFunc f;
        uint32_t t, backdrop, tShape, tAlpha, w, s, outT, outShape, outAlpha;
    };
    const Case cases[] = {
        // Plain Normal, Scale(t, 255 - a) + Scale(w, s + 1), at coverage 127: Scale(blue, 128) over white * 128.
        {BasicNormal, normal, 0xFFFFFFFFu, 0, 0, 0, 0xFF0000FFu, 127, 0xFE7F7FFEu, 0, 0},
        // A plain 32-bit sum: red 0xEE + 0xFF carries into alpha.
        {BasicNormal, normal, 0xFFFF0000u, 0, 0, 0, 0x10FF0000u, 255, 0xFFED0000u, 0, 0},
        // Grey 128 times (200, 100, 50); over alpha 0 the source lands as it is.
        {Basic, mul, 0xFFC86432u, 0, 0, 0, 0xFF808080u, 255, 0xFF643219u, 0, 0},
        {Basic, mul, 0x00112233u, 0, 0, 0, 0x80402010u, 255, 0x80402010u, 0, 0},
        // Opaque over 128: blend (99, 49, 24); Scale(r, 129) + Scale(w, 128), alpha forced to 255.
        {Basic, mul, 0x80643219u, 0, 0, 0, 0xFF808080u, 255, 0xFF71584Cu, 0, 0},
        // 128 over 128: m = 129 * 129 >> 8 = 65; Scale(w, 128) + Scale(t, 128) + Scale(r, 65); alpha 257 - 65.
        {Basic, mul, 0x80643219u, 0, 0, 0, 0x80402010u, 255, 0xC06A2F15u, 0, 0},
        // 128 over opaque: blend (99, 24, 6) * 129 + Scale(t, 128).
        {Basic, mul, 0xFFC86432u, 0, 0, 0, 0x80402010u, 255, 0xFF953E1Cu, 0, 0},
        // Coverage takes the source to alpha 0: m = 0, alpha 128 + 0 + 1.
        {Basic, mul, 0x80808080u, 0, 0, 0, 0x01010101u, 10, 0x81808080u, 0, 0},
        // Layers: colour Scale(T, 256 - a) + w; the alpha plane unites with the element, colour alpha with backdrop.
        {LayerNormal, normal, 0xFFFFFFFFu, 0xFFFFFFFFu, 0, 0, 0x80800000u, 255, 0xFFFF7F7Fu, 255, 128},
        // A second element: alpha 128 + 128 - (129 * 128 >> 8).
        {LayerNormal, normal, 0xFFFF7F7Fu, 0xFFFFFFFFu, 255, 128, 0x80000080u, 255, 0xFF7F3FBFu, 255, 192},
        // Shape 100 and 50: 151 - (101 * 51 >> 8) = 131; alpha (255 * 51) >> 8 = 50.
        {LayerNormal, normal, 0, 0, 100, 0, 0xFF000000u, 50, 0x32000000u, 131, 50},
        // Knockout starts over from the backdrop; at coverage 127 the old content shows by 129; alpha 191.
        {LayerNormalKnockout, normal, 0xFF0000FFu, 0xFFFFFFFFu, 255, 255, 0x80800000u, 127, 0xFF7F3FBFu, 255, 191},
        // 128 over 128: Scale(r, 129) + Scale(w, 128), then Scale(., 129) + Scale(B, 128).
        {Layer, mul, 0x80643219u, 0x80643219u, 0, 128, 0x80402010u, 255, 0xE05A2711u, 255, 192},
        // Knockout over nothing at coverage 127: b = 0 adds w; Scale(w, 128) + Scale(T, 129).
        {LayerKnockout, mul, 0xFF0000FFu, 0, 255, 255, 0xFF808080u, 127, 0xFF4040C0u, 255, 255},
    };
    for (const Case& c : cases) {
        Planes p(1);
        p.target[0] = c.t;
        p.backdrop[0] = c.backdrop;
        p.targetShape[0] = static_cast<unsigned char>(c.tShape);
        p.targetAlpha[0] = static_cast<unsigned char>(c.tAlpha);
        p.color[0] = c.w;
        p.shape[0] = static_cast<unsigned char>(c.s);
        p.context.blendFunction = c.f;
        (*Make(c.kind))(p.context);
        EXPECT_EQ(c.outT, p.target[0]) << "kind " << c.kind << " target " << std::hex << c.t << " source " << c.w;
        EXPECT_EQ(c.outShape, uint32_t(p.targetShape[0])) << std::hex << c.w;
        EXPECT_EQ(c.outAlpha, uint32_t(p.targetAlpha[0])) << std::hex << c.w;
    }
}

TEST(SwOperationTest, CompositesThatLeaveEverything) {
    // Coverage 0, source alpha 0, an empty span and a missing plane leave every plane as it was.
    enum Skip { Transparent, EmptySpan, NoTarget, NoBackdrop };
    for (Kind kind : {BasicNormal, BasicNormalSSE2, Basic, LayerNormal, LayerNormalKnockout, Layer, LayerKnockout})
        for (Skip skip : {Transparent, EmptySpan, NoTarget, NoBackdrop}) {
            if (skip == NoBackdrop && kind < LayerNormal) continue;  // only layers need one
            Planes p(2);
            p.context.blendFunction = SwBlend::Multiply;
            for (int i = 0; i < 2; ++i)
                p.target[i] = 0x11223344u, p.backdrop[i] = ~0u, p.targetShape[i] = 9, p.targetAlpha[i] = 8,
                p.color[i] = 0xFF00FF00u;
            if (skip == Transparent) p.shape[0] = 0, p.color[1] = 0x00FFFFFFu;
            if (skip == EmptySpan) p.params.x2 = p.params.x1;
            if (skip == NoTarget) p.context.targetColor = nullptr;
            if (skip == NoBackdrop) p.context.backdropColor = nullptr;
            (*Make(kind))(p.context);
            for (int i = 0; i < 2; ++i)
                EXPECT_TRUE(p.target[i] == 0x11223344u && p.targetShape[i] == 9 && p.targetAlpha[i] == 8)
                    << "kind " << kind << " case " << skip;
        }
}

TEST(SwOperationTest, NormalSpanLoopsMatchThePixelSteps) {
    // The loops go four and eight at a time, copy opaque runs, take a constant word or coverage once.
    using namespace RandomizedCompare;
    EXPECT_TRUE(AllRoundsMatch(1234u, 1500, [](Round& r) {
        const int n = Int(r.random, 0, 40);
        const uint32_t w = Word(r.random);
        const unsigned int s = Shape(r.random);
        const bool opaque = r.random() % 4 == 0;  // runs for the copy
        Planes p(n);
        Words reference(n), uniform(n), constant(n), referenceUniform(n), referenceConstant(n);
        for (int i = 0; i < n; ++i) {
            p.color[i] = opaque ? (Word(r.random) | 0xFF000000u) : (r.random() % 3 == 0 ? w : Word(r.random));
            p.shape[i] = opaque ? 255 : Shape(r.random);
            p.target[i] = uniform[i] = constant[i] = Word(r.random);
            reference[i] = ReferenceNormal(p.target[i], p.color[i], p.shape[i]);
            referenceUniform[i] = ReferenceNormal(p.target[i], p.color[i], s);
            referenceConstant[i] = ReferenceNormal(p.target[i], w, s);
        }
        r.note << n << " pixels, word " << std::hex << w << std::dec << " coverage " << s;
        SwBasicCompositeNormalOp()(p.context);
        SwBasicCompositeNormalOp::ComposeSpanUniform(uniform.data(), p.color.data(), s, n);
        SwBasicCompositeNormalOp::ComposeConstant(constant.data(), w, s, n);
        r.Compare("span", p.target, reference);
        r.Compare("uniform coverage", uniform, referenceUniform);
        r.Compare("constant word", constant, referenceConstant);
    }));
}

TEST(SwOperationTest, NormalSSE2FourPixelStep) {
    // Four pixels scale the target by 256 - a and add bytewise; the fifth takes the plain steps, 255 - a.
    Planes p(5);
    const uint32_t w[5] = {0x80800000u, 0x10FF0000u, 0xFF336699u, 0xFF000000u, 0x80800000u};
    const uint32_t t[5] = {0xFFFFFFFFu, 0xFFFF0000u, 0x12345678u, 0x12345678u, 0xFFFFFFFFu};
    const unsigned char s[5] = {255, 255, 255, 0, 255};
    for (int i = 0; i < 5; ++i) p.color[i] = w[i], p.target[i] = t[i], p.shape[i] = s[i];
    SwBasicCompositeNormalSSE2Op()(p.context);
    // 0xEF + 0xFF wraps to 0xEE without a carry; shape 0 keeps the target.
    EXPECT_EQ((std::vector<uint32_t>{0xFFFF7F7Fu, 0xFFEE0000u, 0xFF336699u, 0x12345678u, 0xFEFE7E7Eu}), p.target);
}

TEST(SwOperationTest, BlendUnpremultipliesAndMissingPlanesEmpty) {
    // (c << 8) / (a + 1) kept to a byte: alpha 128 gives 31, 63, 127; 506 wraps to 250; alpha 0 divides by 1.
    struct Case { unsigned char source[4], result[3]; };
    const Case cases[] = {
        {{16, 32, 64, 128}, {31, 63, 127}}, {{0, 0, 200, 100}, {0, 0, 250}}, {{5, 0, 0, 0}, {0, 0, 0}}};
    OperationContext context;
    const unsigned char backdrop[4] = {1, 2, 3, 4};
    for (const Case& c : cases) {
        unsigned char result[4] = {0, 0, 0, 0x77};
        BlendProbe::Blend(context, backdrop, c.source, result);
        EXPECT_EQ(0, std::memcmp(c.result, result, 3)) << int(c.source[3]);
        EXPECT_EQ(0x77, result[3]);
    }
    // Without a plane the pointers are emptied rather than left over from the last span.
    Planes p(1);
    SwTargetColorOp(nullptr)(p.context);
    SwTargetShapeOp(nullptr)(p.context);
    SwTargetAlphaOp(nullptr)(p.context);
    SwGetBackdropColorOp(nullptr)(p.context);
    EXPECT_TRUE(!p.context.targetColor && !p.context.targetShape && !p.context.targetAlpha && !p.context.backdropColor);
}
