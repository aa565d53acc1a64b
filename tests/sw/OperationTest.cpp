#include "core/PackedColor.h"
#include "sw/ShapeFilleOp.h"
#include "sw/SwBasicCompositeNormalOp.h"
#include "sw/SwBasicCompositeNormalSSE2Op.h"
#include "sw/SwBasicCompositeOp.h"
#include "sw/SwGetBackdropColorOp.h"
#include "sw/SwLayerCompositeNormalOp.h"
#include "sw/SwLayerCompositeOp.h"
#include "sw/SwSourceShapeOp.h"
#include "sw/SwTargetAlphaOp.h"
#include "sw/SwTargetColorOp.h"
#include "sw/SwTargetShapeOp.h"

#include "RandomizedCompare.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <vector>

using namespace Graphics;

namespace {

// Hand-made planes for one span of n pixels: the operations see them through
// a context exactly as the pipeline would set it up.
struct Planes {
    explicit Planes(int n)
        : color(n, 0), shape(n, 255), target(n, 0), targetShape(n, 0), targetAlpha(n, 0), backdrop(n, 0) {
        params.x1 = 10;
        params.x2 = 10 + n;
        params.coverage = 255;
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
    std::vector<unsigned char> targetShape;
    std::vector<unsigned char> targetAlpha;
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
    // One pixel: the planes before (colour, backdrop, shape, alpha), the
    // element (word and coverage), and the planes after. "Scale(c, f)" is
    // (byte * f) >> 8 per channel.
    struct Case {
        Kind kind;
        SwBlend::BlendFunc f;
        uint32_t t, backdrop;
        int tShape, tAlpha;
        uint32_t w;
        int s;
        uint32_t outT;
        int outShape, outAlpha;
    };
    const Case cases[] = {
        // Plain Normal: Scale(t, 255 - a) + Scale(w, s + 1). Opaque replaces.
        {BasicNormal, normal, 0x80402010u, 0, 0, 0, 0xFF336699u, 255, 0xFF336699u, 0, 0},
        // Alpha 128 red over white: Scale(white, 127) = 0x7E7E7E7E.
        {BasicNormal, normal, 0xFFFFFFFFu, 0, 0, 0, 0x80800000u, 255, 0xFEFE7E7Eu, 0, 0},
        // Translucent over translucent: 0x80 * 191 >> 8 = 0x5F.
        {BasicNormal, normal, 0x80808080u, 0, 0, 0, 0x40201008u, 255, 0x9F7F6F67u, 0, 0},
        // A target of alpha 0 takes the source as it is, whatever its bytes.
        {BasicNormal, normal, 0x00123456u, 0, 0, 0, 0x80402010u, 255, 0x80402010u, 0, 0},
        // Coverage 127: Scale(blue, 128) = 0x7F00007F over Scale(white, 128).
        {BasicNormal, normal, 0xFFFFFFFFu, 0, 0, 0, 0xFF0000FFu, 127, 0xFE7F7FFEu, 0, 0},
        // A nearly transparent black still darkens white by one step.
        {BasicNormal, normal, 0xFFFFFFFFu, 0, 0, 0, 0x01000000u, 255, 0xFEFDFDFDu, 0, 0},
        // Coverage that scales the source to nothing still scales the target
        // by 255.
        {BasicNormal, normal, 0xFFFFFFFFu, 0, 0, 0, 0x01010101u, 10, 0xFEFEFEFEu, 0, 0},
        // A plain 32-bit sum: red 0xEE + 0xFF carries into alpha.
        {BasicNormal, normal, 0xFFFF0000u, 0, 0, 0, 0x10FF0000u, 255, 0xFFED0000u, 0, 0},

        // Blending. Grey 128 times (200, 100, 50) is (100, 50, 25).
        {Basic, mul, 0xFFC86432u, 0, 0, 0, 0xFF808080u, 255, 0xFF643219u, 0, 0},
        {Basic, mul, 0x00112233u, 0, 0, 0, 0x80402010u, 255, 0x80402010u, 0, 0},
        // Opaque over alpha 128: the backdrop unpremultiplies to (198, 99,
        // 49), blends to (99, 49, 24); Scale(r, 129) + Scale(w, 128) =
        // 0x0031180C + 0x7F404040, alpha forced to 255.
        {Basic, mul, 0x80643219u, 0, 0, 0, 0xFF808080u, 255, 0xFF71584Cu, 0, 0},
        // 128 over 128: source (127, 63, 31), blend (98, 24, 5); m = 129 * 129
        // >> 8 = 65; Scale(w, 128) + Scale(t, 128) + Scale(r, 65) = 0x40201008
        // + 0x4032190C + 0x00180601; alpha 128 + 128 + 1 - 65.
        {Basic, mul, 0x80643219u, 0, 0, 0, 0x80402010u, 255, 0xC06A2F15u, 0, 0},
        // 128 over opaque: blend (99, 24, 6) * 129 = 0x00310C03 + Scale(t, 128).
        {Basic, mul, 0xFFC86432u, 0, 0, 0, 0x80402010u, 255, 0xFF953E1Cu, 0, 0},
        // Coverage 127 makes the opaque grey 0x7F404040, which unpremultiplies
        // to 128 again: the blend scaled by 128 plus Scale(t, 129).
        {Basic, mul, 0xFFC86432u, 0, 0, 0, 0xFF808080u, 127, 0xFF964B25u, 0, 0},
        // A source that coverage takes to alpha 0 still adds 1 to the alpha:
        // m = 0, and b + a + 1 - m = 129.
        {Basic, mul, 0x80808080u, 0, 0, 0, 0x01010101u, 10, 0x81808080u, 0, 0},
        // Screen: red 300 - 78, green 200 - 39, blue 150 - 19.
        {Basic, SwBlend::Screen, 0xFFC86432u, 0, 0, 0, 0xFF646464u, 255, 0xFFDEA183u, 0, 0},
        // Through Normal the blending operation rounds its own way:
        // Scale(0x336699, 129) + Scale(w, 128), a step short in red.
        {Basic, normal, 0x80402010u, 0, 0, 0, 0xFF336699u, 255, 0xFF326699u, 0, 0},

        // Layers over a white backdrop. Colour Scale(T, 256 - a) + w; the
        // alpha plane takes the union with the element's alpha, the colour
        // plane's alpha byte the union with the backdrop's.
        {LayerNormal, normal, 0xFFFFFFFFu, 0xFFFFFFFFu, 0, 0, 0x80800000u, 255, 0xFFFF7F7Fu, 255, 128},
        // A second element on the first: alpha 128 + 128 - (129 * 128 >> 8).
        {LayerNormal, normal, 0xFFFF7F7Fu, 0xFFFFFFFFu, 255, 128, 0x80000080u, 255, 0xFF7F3FBFu, 255, 192},
        // Coverage 127 from nothing: shape 127 + 1, alpha (128 * 128) >> 8.
        {LayerNormal, normal, 0, 0, 0, 0, 0x80800000u, 127, 0x40400000u, 128, 64},
        // The shape plane grows: 100 and 50 give 151 - (101 * 51 >> 8) = 131;
        // alpha (255 * 51) >> 8 = 50, and the colour Scale(black, 51).
        {LayerNormal, normal, 0, 0, 100, 0, 0xFF000000u, 50, 0x32000000u, 131, 50},
        // The union's rounding is not symmetric: element alpha 10 on 250 gives
        // 10 + 250 - (11 * 250 >> 8) = 250.
        {LayerNormal, normal, 0, 0, 0, 250, 0x0A0A0A0Au, 255, 0xFA0A0A0Au, 255, 250},
        // Without knockout an element unites with what is there: Scale(blue,
        // 128) + red.
        {LayerNormal, normal, 0xFF0000FFu, 0xFFFFFFFFu, 0, 255, 0x80800000u, 255, 0xFF80007Fu, 255, 255},
        // In a knockout group it starts over from the backdrop: blue is gone
        // and the alpha plane holds its alpha alone.
        {LayerNormalKnockout, normal, 0xFF0000FFu, 0xFFFFFFFFu, 255, 255, 0x80800000u, 255, 0xFFFF7F7Fu, 255, 128},
        // At coverage 127 the earlier content shows through by 129. Alpha
        // (255 * 128 + 128 * 128) >> 8 = 191.
        {LayerNormalKnockout, normal, 0xFF0000FFu, 0xFFFFFFFFu, 255, 255, 0x80800000u, 127, 0xFF7F3FBFu, 255, 191},
        {Layer, mul, 0xFFC86432u, 0xFFC86432u, 0, 0, 0xFF808080u, 255, 0xFF643219u, 255, 255},
        // 128 over 128: blend (98, 24, 5); b = 128: Scale(r, 129) + Scale(w,
        // 128) = 0x40511C0A; a = 128: Scale(., 129) + Scale(B, 128) =
        // 0x20280E05 + 0x4032190C. Darker than the basic operation's
        // 0xC06A2F15 for the same pair.
        {Layer, mul, 0x80643219u, 0x80643219u, 0, 128, 0x80402010u, 255, 0xE05A2711u, 255, 192},
        // Opaque white over black of alpha 254: the blend is black, and
        // Scale(w, 256 - 254) lets 1 of the white through.
        {Layer, mul, 0xFE000000u, 0, 0, 0, 0xFFFFFFFFu, 255, 0xFF010101u, 255, 255},
        // Knockout over a transparent backdrop at coverage 127: the blend with
        // nothing is 0, b = 0 adds w; then Scale(w, 128) + Scale(T, 129).
        {LayerKnockout, mul, 0xFF0000FFu, 0, 255, 255, 0xFF808080u, 127, 0xFF4040C0u, 255, 255},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << "kind " << c.kind << " target " << std::hex << c.t << " source " << c.w
                                        << std::dec << " coverage " << c.s);
        Planes p(1);
        p.target[0] = c.t;
        p.backdrop[0] = c.backdrop;
        p.targetShape[0] = static_cast<unsigned char>(c.tShape);
        p.targetAlpha[0] = static_cast<unsigned char>(c.tAlpha);
        p.color[0] = c.w;
        p.shape[0] = static_cast<unsigned char>(c.s);
        p.context.blendFunction = c.f;
        (*Make(c.kind))(p.context);
        EXPECT_EQ(c.outT, p.target[0]);
        EXPECT_EQ(c.outShape, p.targetShape[0]);
        EXPECT_EQ(c.outAlpha, p.targetAlpha[0]);
    }
}

TEST(SwOperationTest, CompositesThatLeaveEverything) {
    // Coverage 0, source alpha 0, a zero-width span and a missing plane leave
    // every plane of every composite as it was.
    enum Skip { Transparent, EmptySpan, NoTarget, NoBackdrop };
    for (Kind kind : {BasicNormal, BasicNormalSSE2, Basic, LayerNormal, LayerNormalKnockout, Layer, LayerKnockout}) {
        for (Skip skip : {Transparent, EmptySpan, NoTarget, NoBackdrop}) {
            // Only the layers need a backdrop.
            if (skip == NoBackdrop && kind < LayerNormal) continue;
            SCOPED_TRACE(testing::Message() << "kind " << kind << " case " << skip);
            Planes p(2);
            p.context.blendFunction = SwBlend::Multiply;
            for (int i = 0; i < 2; ++i) {
                p.target[i] = 0x11223344u;
                p.backdrop[i] = 0xFFFFFFFFu;
                p.targetShape[i] = 9;
                p.targetAlpha[i] = 8;
                p.color[i] = 0xFF00FF00u;
            }
            if (skip == Transparent) {
                p.shape[0] = 0;
                p.color[1] = 0x00FFFFFFu;
            }
            if (skip == EmptySpan) p.params.x2 = p.params.x1;
            if (skip == NoTarget) p.context.targetColor = nullptr;
            if (skip == NoBackdrop) p.context.backdropColor = nullptr;
            (*Make(kind))(p.context);
            for (int i = 0; i < 2; ++i) {
                EXPECT_EQ(0x11223344u, p.target[i]);
                EXPECT_EQ(9, p.targetShape[i]);
                EXPECT_EQ(8, p.targetAlpha[i]);
            }
        }
    }
}

TEST(SwOperationTest, NormalSpanLoopsMatchThePixelSteps) {
    // The span loops work four and eight pixels at a time, copy runs of
    // opaque words, and take a constant word or coverage once: whatever the
    // length and the mix of cases, every pixel equals the steps one by one.
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
    // Four pixels scale the target by 256 - a and add bytewise; the fifth
    // goes through the plain steps, 255 - a.
    Planes p(5);
    const uint32_t w[5] = {0x80800000u, 0x10FF0000u, 0xFF336699u, 0xFF000000u, 0x80800000u};
    const uint32_t t[5] = {0xFFFFFFFFu, 0xFFFF0000u, 0x12345678u, 0x12345678u, 0xFFFFFFFFu};
    const unsigned char s[5] = {255, 255, 255, 0, 255};
    for (int i = 0; i < 5; ++i) p.color[i] = w[i], p.target[i] = t[i], p.shape[i] = s[i];
    SwBasicCompositeNormalSSE2Op()(p.context);
    // White * 128 >> 8 = 0x7F, plus the source.
    EXPECT_EQ(0xFFFF7F7Fu, p.target[0]);
    // 0xFF * 240 >> 8 = 0xEF; red 0xEF + 0xFF wraps to 0xEE without carry.
    EXPECT_EQ(0xFFEE0000u, p.target[1]);
    EXPECT_EQ(0xFF336699u, p.target[2]);
    // Shape 0 scales the source to nothing and the target by 256.
    EXPECT_EQ(0x12345678u, p.target[3]);
    EXPECT_EQ(0xFEFE7E7Eu, p.target[4]);
}

TEST(SwOperationTest, BlendUnpremultipliesItsWords) {
    // Each channel becomes (c << 8) / (a + 1), kept to a byte. Alpha 128: 64
    // -> 127, 32 -> 63, 16 -> 31; 200 over alpha 100 wraps: 506 -> 250;
    // alpha 0 divides by 1: 5 << 8 kept to a byte is 0.
    struct Case {
        unsigned char source[4], result[3];
    };
    const Case cases[] = {{{16, 32, 64, 128}, {31, 63, 127}}, {{0, 0, 200, 100}, {0, 0, 250}}, {{5, 0, 0, 0}, {0, 0, 0}}};
    OperationContext context;
    const unsigned char backdrop[4] = {1, 2, 3, 4};
    for (const Case& c : cases) {
        unsigned char result[4] = {0, 0, 0, 0x77};
        BlendProbe::Blend(context, backdrop, c.source, result);
        EXPECT_EQ(c.result[0], result[0]);
        EXPECT_EQ(c.result[1], result[1]);
        EXPECT_EQ(c.result[2], result[2]);
        EXPECT_EQ(0x77, result[3]);
    }
}

TEST(SwOperationTest, StagesAndMissingPlanes) {
    // The plane pointers stand in the first stage, the backdrop's in its own;
    // the composites run last.
    EXPECT_EQ(OperationStage::Prepare, SwTargetColorOp(nullptr).GetStage());
    EXPECT_EQ(OperationStage::Prepare, SwTargetShapeOp(nullptr).GetStage());
    EXPECT_EQ(OperationStage::Prepare, SwTargetAlphaOp(nullptr).GetStage());
    EXPECT_EQ(OperationStage::Prepare, SwSourceShapeOp().GetStage());
    EXPECT_EQ(OperationStage::Backdrop, SwGetBackdropColorOp(nullptr).GetStage());
    EXPECT_EQ(OperationStage::Composite, ShapeFilleOp().GetStage());
    for (Kind kind : {BasicNormal, BasicNormalSSE2, Basic, LayerNormal, Layer})
        EXPECT_EQ(OperationStage::Composite, Make(kind)->GetStage());

    // Without a plane, or without a lock of the colour target, the pointers
    // are emptied rather than left over from the last span.
    Planes p(1);
    SwTargetColorOp(nullptr)(p.context);
    SwTargetShapeOp(nullptr)(p.context);
    SwTargetAlphaOp(nullptr)(p.context);
    SwGetBackdropColorOp(nullptr)(p.context);
    EXPECT_EQ(nullptr, p.context.targetColor);
    EXPECT_EQ(nullptr, p.context.targetShape);
    EXPECT_EQ(nullptr, p.context.targetAlpha);
    EXPECT_EQ(nullptr, p.context.backdropColor);
}
