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

#include "bitmap/SysMemBitmap.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <random>
#include <vector>

using namespace Graphics;

namespace {

// Hand-made planes for one span of n pixels: the operations see them through
// a context exactly as the pipeline would set it up.
struct Planes {
    explicit Planes(int n)
        : color(n, 0), shape(n, 255), target(n, 0), targetShape(n, 0), targetAlpha(n, 0), backdrop(n, 0) {
        params.y = 0;
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

// One pixel through an operation: source word and shape over a target word.
uint32_t One(SwOperation& op, uint32_t target, uint32_t w, unsigned char s,
             SwBlend::BlendFunc f = SwBlend::Normal) {
    Planes p(1);
    p.target[0] = target;
    p.color[0] = w;
    p.shape[0] = s;
    p.context.blendFunction = f;
    op(p.context);
    return p.target[0];
}

// The steps of the plain Normal composite, one by one, as a reference for
// the span loop.
uint32_t ReferenceNormal(uint32_t t, uint32_t w, unsigned int s) {
    if (s == 0) return t;
    if ((w >> 24) == 0) return t;
    if (s < 255) w = ScaleColor(w, s + 1);
    if ((t >> 24) == 0) return w;
    return ScaleColor(t, 255 - (w >> 24)) + w;
}

class BlendProbe : public SwOperation {
public:
    BlendProbe() : SwOperation(OperationStage::Composite) {}
    void operator()(OperationContext&) override {}
    using SwOperation::Blend;
    using SwOperation::GetArgbValue;
    using SwOperation::GetValue;
};

}  // namespace

TEST(SwOperationTest, StagesAndAddresses) {
    // The composite operations all belong to the last stage; the plane
    // pointers are set up in the first, the backdrop's in its own.
    EXPECT_EQ(OperationStage::Composite, SwLayerCompositeOp(true, false).GetStage());
    EXPECT_EQ(OperationStage::Composite, ShapeFilleOp().GetStage());
    EXPECT_EQ(OperationStage::Prepare, SwTargetAlphaOp(nullptr).GetStage());
    EXPECT_EQ(OperationStage::Backdrop, SwGetBackdropColorOp(nullptr).GetStage());

    unsigned char buffer[64] = {};
    EXPECT_EQ(buffer + 6, BlendProbe::GetValue(buffer, 2, 3));
    EXPECT_EQ(reinterpret_cast<uint32_t*>(buffer + 12), BlendProbe::GetArgbValue(buffer, 3));
    LockedData lock;
    lock.data = buffer;
    lock.stride = 20;
    EXPECT_EQ(buffer + 2 * 20 + 3, BlendProbe::GetValue(lock, 1, 3, 2));
    EXPECT_EQ(reinterpret_cast<uint32_t*>(buffer + 20 + 8), BlendProbe::GetArgbValue(lock, 2, 1));
}

TEST(SwOperationTest, BlendUnpremultipliesBothWords) {
    OperationContext context;
    context.blendFunction = SwBlend::Normal;
    // Source alpha 128: (c << 8) / 129. 64 -> 127, 32 -> 63, 16 -> 31.
    const unsigned char source[4] = {16, 32, 64, 128};
    const unsigned char backdrop[4] = {1, 2, 3, 4};
    unsigned char result[4] = {0, 0, 0, 0x77};
    BlendProbe::Blend(context, backdrop, source, result);
    EXPECT_EQ(31, result[0]);
    EXPECT_EQ(63, result[1]);
    EXPECT_EQ(127, result[2]);
    EXPECT_EQ(0x77, result[3]);

    // A channel above its alpha wraps: 200 * 256 / 101 = 506 -> 250.
    const unsigned char wrapping[4] = {0, 0, 200, 100};
    BlendProbe::Blend(context, backdrop, wrapping, result);
    EXPECT_EQ(250, result[2]);
    // Alpha 0 divides by 1: 5 << 8 kept to a byte is 0.
    const unsigned char clear[4] = {5, 0, 0, 0};
    BlendProbe::Blend(context, backdrop, clear, result);
    EXPECT_EQ(0, result[0]);

    // The backdrop reaches the function unpremultiplied as well:
    // Multiply of opaque white with a backdrop of alpha 128, red 100:
    // 25600 / 129 = 198.
    context.blendFunction = SwBlend::Multiply;
    const unsigned char white[4] = {255, 255, 255, 255};
    const unsigned char half[4] = {25, 50, 100, 128};
    BlendProbe::Blend(context, half, white, result);
    EXPECT_EQ(49, result[0]);
    EXPECT_EQ(99, result[1]);
    EXPECT_EQ(198, result[2]);
}

TEST(SwOperationTest, BasicNormalExactPixels) {
    SwBasicCompositeNormalOp op;
    // Opaque under full coverage replaces any target: Scale(t, 0) + w.
    EXPECT_EQ(0xFF336699u, One(op, 0x80402010u, 0xFF336699u, 255));
    EXPECT_EQ(0xFF336699u, One(op, 0xFFFFFFFFu, 0xFF336699u, 255));
    // Alpha 128, red 128 over opaque white: Scale(white, 127) = 0x7E7E7E7E.
    EXPECT_EQ(0xFEFE7E7Eu, One(op, 0xFFFFFFFFu, 0x80800000u, 255));
    // Translucent over translucent: 0x80 * 191 >> 8 = 0x5F.
    EXPECT_EQ(0x9F7F6F67u, One(op, 0x80808080u, 0x40201008u, 255));
    // An empty target takes the source as it is, whatever its colour bytes.
    EXPECT_EQ(0x80402010u, One(op, 0x00123456u, 0x80402010u, 255));
    // Partial coverage: opaque blue under 127 is Scale(w, 128) = 0x7F00007F;
    // white is scaled by 128: 0x7F7F7F7F.
    EXPECT_EQ(0xFE7F7FFEu, One(op, 0xFFFFFFFFu, 0xFF0000FFu, 127));
    // A nearly transparent black still darkens white by one step (254).
    EXPECT_EQ(0xFEFDFDFDu, One(op, 0xFFFFFFFFu, 0x01000000u, 255));
    // A source that coverage scales to nothing is no skip: the target is
    // scaled by 255.
    EXPECT_EQ(0xFEFEFEFEu, One(op, 0xFFFFFFFFu, 0x01010101u, 10));
    // The sum is a plain 32-bit addition: red 0xEE + 0xFF carries into alpha.
    EXPECT_EQ(0xFFED0000u, One(op, 0xFFFF0000u, 0x10FF0000u, 255));
    // Shape 0, or source alpha 0, leaves the target alone.
    EXPECT_EQ(0xFFFFFFFFu, One(op, 0xFFFFFFFFu, 0xFF000000u, 0));
    EXPECT_EQ(0xFFFFFFFFu, One(op, 0xFFFFFFFFu, 0x00FF0000u, 255));
    // An XRGB8 word with a top byte of 0 is overwritten, not blended; one
    // with 255 takes part like any other.
    EXPECT_EQ(0x80800000u, One(op, 0x00FFFFFFu, 0x80800000u, 255));
    EXPECT_EQ(0xFEFE7E7Eu, One(op, 0xFFFFFFFFu, 0x80800000u, 255));

    // A zero-width span, and a span without a colour row, do nothing.
    Planes p(1);
    p.target[0] = 0x12345678u;
    p.color[0] = 0xFF000000u;
    p.params.x2 = p.params.x1;
    op(p.context);
    EXPECT_EQ(0x12345678u, p.target[0]);
    p.params.x2 = p.params.x1 + 1;
    p.context.targetColor = nullptr;
    op(p.context);
    EXPECT_EQ(0x12345678u, p.target[0]);
}

TEST(SwOperationTest, BasicNormalSpanMatchesTheStepsEverywhere) {
    // The span loop works four pixels at a time where it can; whatever the
    // length, the mix of cases and the position in the span, every pixel must
    // equal the steps done one by one.
    std::mt19937 random(1234);
    const uint32_t specials[] = {0x00000000u, 0xFF000000u, 0xFFFFFFFFu, 0x01000000u, 0x00FFFFFFu,
                                 0x80800000u, 0x10FF0000u, 0xFF336699u, 0x7F7F7F7Fu, 0x01010101u};
    const unsigned char shapes[] = {0, 1, 2, 127, 128, 254, 255, 255, 255, 255};
    auto word = [&]() -> uint32_t {
        if (random() % 3 == 0) return specials[random() % 10];
        return static_cast<uint32_t>(random());
    };
    for (int n = 0; n <= 37; ++n) {
        for (int round = 0; round < 40; ++round) {
            Planes p(n);
            std::vector<uint32_t> expected(n);
            const bool opaque = round % 4 == 0;  // runs of the copy path
            for (int i = 0; i < n; ++i) {
                p.color[i] = opaque ? (word() | 0xFF000000u) : word();
                p.shape[i] = opaque ? 255 : (random() % 2 ? shapes[random() % 10] : static_cast<unsigned char>(random()));
                p.target[i] = word();
                expected[i] = ReferenceNormal(p.target[i], p.color[i], p.shape[i]);
            }
            SwBasicCompositeNormalOp op;
            op(p.context);
            for (int i = 0; i < n; ++i)
                ASSERT_EQ(expected[i], p.target[i]) << "n " << n << " pixel " << i << " colour " << std::hex
                                                    << p.color[i] << " shape " << std::dec << int(p.shape[i]);
        }
    }
}

TEST(SwOperationTest, NormalSSE2FourPixelStep) {
    // Four pixels: factor 256 - a and bytewise sums. The fifth pixel goes
    // through the plain steps.
    Planes p(5);
    const uint32_t w[5] = {0x80800000u, 0x10FF0000u, 0xFF336699u, 0xFF000000u, 0x80800000u};
    const uint32_t t[5] = {0xFFFFFFFFu, 0xFFFF0000u, 0x12345678u, 0x12345678u, 0xFFFFFFFFu};
    const unsigned char s[5] = {255, 255, 255, 0, 255};
    for (int i = 0; i < 5; ++i) {
        p.color[i] = w[i];
        p.target[i] = t[i];
        p.shape[i] = s[i];
    }
    SwBasicCompositeNormalSSE2Op op;
    op(p.context);
    // White * 128 >> 8 = 0x7F, plus 0x80800000.
    EXPECT_EQ(0xFFFF7F7Fu, p.target[0]);
    // 0xFF * 240 >> 8 = 0xEF; red 0xEF + 0xFF wraps to 0xEE without carry.
    EXPECT_EQ(0xFFEE0000u, p.target[1]);
    EXPECT_EQ(0xFF336699u, p.target[2]);
    // No test for zero: shape 0 scales the source to nothing and the target
    // by 256, which leaves it.
    EXPECT_EQ(0x12345678u, p.target[3]);
    // The plain path: factor 255 - a.
    EXPECT_EQ(0xFEFE7E7Eu, p.target[4]);

    Planes q(1);
    q.color[0] = 0x80800000u;
    q.target[0] = 0xFFFFFFFFu;
    SwBasicCompositeNormalSSE2Op::Compose_Native(q.context, 0);
    EXPECT_EQ(0xFEFE7E7Eu, q.target[0]);
}

TEST(SwOperationTest, BasicBlendExactPixels) {
    SwBasicCompositeOp op;
    const SwBlend::BlendFunc mul = SwBlend::Multiply;
    // An empty target stores the source unchanged.
    EXPECT_EQ(0x80402010u, One(op, 0x00112233u, 0x80402010u, 255, mul));
    // Opaque over opaque: the blend result with alpha 255. Grey 128 times
    // (200, 100, 50) is (100, 50, 25).
    EXPECT_EQ(0xFF643219u, One(op, 0xFFC86432u, 0xFF808080u, 255, mul));
    // Opaque over alpha 128: the backdrop unpremultiplies to (198, 99, 49),
    // blends to (99, 49, 24); Scale(r, 129) + Scale(w, 128) = 0x0031180C +
    // 0x7F404040, alpha forced to 255.
    EXPECT_EQ(0xFF71584Cu, One(op, 0x80643219u, 0xFF808080u, 255, mul));
    // Alpha 128 over alpha 128: source (127, 63, 31), blend (98, 24, 5);
    // m = 129 * 129 >> 8 = 65; Scale(w, 128) + Scale(t, 128) + Scale(r, 65)
    // = 0x40201008 + 0x4032190C + 0x00180601; alpha 128 + 128 + 1 - 65.
    EXPECT_EQ(0xC06A2F15u, One(op, 0x80643219u, 0x80402010u, 255, mul));
    // Alpha 128 over opaque: blend (99, 24, 6) scaled by 129 = 0x00310C03,
    // plus Scale(t, 128) = 0x7F643219.
    EXPECT_EQ(0xFF953E1Cu, One(op, 0xFFC86432u, 0x80402010u, 255, mul));
    // Partial coverage makes the opaque source translucent: Scale(w, 128) =
    // 0x7F404040 unpremultiplies to grey 128 again; the blend (100, 50, 25)
    // scaled by 128 plus Scale(t, 129) = 0x80643219.
    EXPECT_EQ(0xFF964B25u, One(op, 0xFFC86432u, 0xFF808080u, 127, mul));
    // A source that coverage takes to alpha 0 still adds 1 to a translucent
    // target's alpha: m = 0, and b + a + 1 - m = 129.
    EXPECT_EQ(0x81808080u, One(op, 0x80808080u, 0x01010101u, 10, mul));
    // Shape 0 and source alpha 0 are skipped.
    EXPECT_EQ(0x80808080u, One(op, 0x80808080u, 0xFF000000u, 0, mul));
    EXPECT_EQ(0x80808080u, One(op, 0x80808080u, 0x00FFFFFFu, 255, mul));
    // Screen of opaque colours, cs + cb - cs * cb / 255 per channel: red
    // 300 - 78, green 200 - 39, blue 150 - 19.
    EXPECT_EQ(0xFFDEA183u, One(op, 0xFFC86432u, 0xFF646464u, 255, SwBlend::Screen));
    // Through Normal the basic operation rounds its own way: an opaque
    // source over alpha 128 is Scale(0x336699, 129) + Scale(w, 128) =
    // 0x0019334D + 0x7F19334C, a step short in red where the plain
    // operation would store the source.
    EXPECT_EQ(0xFF326699u, One(op, 0x80402010u, 0xFF336699u, 255));
}

TEST(SwOperationTest, LayerNormalPlanes) {
    // Non-knockout over a white backdrop, two elements one after the other.
    SwLayerCompositeNormalOp op(false, false);
    Planes p(1);
    p.target[0] = 0xFFFFFFFFu;
    p.backdrop[0] = 0xFFFFFFFFu;
    p.color[0] = 0x80800000u;
    op(p.context);
    // Colour: Scale(T, 128) + w; alpha byte: union of 255 and 128.
    EXPECT_EQ(0xFFFF7F7Fu, p.target[0]);
    EXPECT_EQ(255, p.targetShape[0]);
    EXPECT_EQ(128, p.targetAlpha[0]);
    p.color[0] = 0x80000080u;
    op(p.context);
    EXPECT_EQ(0xFF7F3FBFu, p.target[0]);
    EXPECT_EQ(255, p.targetShape[0]);
    // Alpha: 128 + 128 - (129 * 128 >> 8) = 192.
    EXPECT_EQ(192, p.targetAlpha[0]);

    // Transparent start, partial coverage 127: shape 127 + 1 - 0 = 128;
    // alpha (128 * 128) >> 8 = 64; colour Scale(w, 128) = 0x40400000.
    Planes q(1);
    q.color[0] = 0x80800000u;
    q.shape[0] = 127;
    op(q.context);
    EXPECT_EQ(0x40400000u, q.target[0]);
    EXPECT_EQ(128, q.targetShape[0]);
    EXPECT_EQ(64, q.targetAlpha[0]);

    // The shape plane grows: t 100 with s 50 gives 151 - (101 * 51 >> 8).
    Planes r(2);
    r.targetShape[0] = 100;
    r.shape[0] = 50;
    r.targetShape[1] = 7;
    r.shape[1] = 255;
    r.color[0] = r.color[1] = 0xFF000000u;
    op(r.context);
    EXPECT_EQ(131, r.targetShape[0]);
    EXPECT_EQ(255, r.targetShape[1]);

    // Shape 0 and alpha 0 leave every plane.
    Planes z(2);
    z.target[0] = z.target[1] = 0x11223344u;
    z.targetShape[0] = z.targetShape[1] = 9;
    z.targetAlpha[0] = z.targetAlpha[1] = 8;
    z.color[0] = 0xFF00FF00u;
    z.shape[0] = 0;
    z.color[1] = 0x00FFFFFFu;
    op(z.context);
    SwLayerCompositeNormalOp(true, false)(z.context);
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(0x11223344u, z.target[i]);
        EXPECT_EQ(9, z.targetShape[i]);
        EXPECT_EQ(8, z.targetAlpha[i]);
    }
}

TEST(SwOperationTest, LayerNormalKnockout) {
    // Over a white backdrop, opaque blue first, then translucent red. In a
    // knockout group the second starts over from the backdrop: blue is gone,
    // and the alpha plane holds the second element's alpha alone.
    SwLayerCompositeNormalOp knockout(true, false);
    Planes p(1);
    p.target[0] = 0xFFFFFFFFu;
    p.backdrop[0] = 0xFFFFFFFFu;
    p.color[0] = 0xFF0000FFu;
    knockout(p.context);
    EXPECT_EQ(0xFF0000FFu, p.target[0]);
    EXPECT_EQ(255, p.targetAlpha[0]);
    p.color[0] = 0x80800000u;
    knockout(p.context);
    EXPECT_EQ(0xFFFF7F7Fu, p.target[0]);
    EXPECT_EQ(128, p.targetAlpha[0]);
    EXPECT_EQ(255, p.targetShape[0]);

    // The same second element at coverage 127: the earlier content shows
    // through by 129. Alpha (255 * 128 + 128 * 128) >> 8 = 191.
    Planes q(1);
    q.target[0] = 0xFF0000FFu;
    q.backdrop[0] = 0xFFFFFFFFu;
    q.targetShape[0] = 255;
    q.targetAlpha[0] = 255;
    q.color[0] = 0x80800000u;
    q.shape[0] = 127;
    knockout(q.context);
    EXPECT_EQ(0xFF7F3FBFu, q.target[0]);
    EXPECT_EQ(191, q.targetAlpha[0]);
    EXPECT_EQ(255, q.targetShape[0]);

    // Without knockout the same element unites its alpha with what is there.
    SwLayerCompositeNormalOp plain(false, false);
    Planes r(1);
    r.target[0] = 0xFF0000FFu;
    r.backdrop[0] = 0xFFFFFFFFu;
    r.targetAlpha[0] = 255;
    r.color[0] = 0x80800000u;
    plain(r.context);
    EXPECT_EQ(255, r.targetAlpha[0]);
    // Scale(blue, 128) + red = 0x7F00007F + 0x80800000.
    EXPECT_EQ(0xFF80007Fu, r.target[0]);

    // An element of alpha 0 changes nothing, even in a knockout group.
    p.color[0] = 0x00000000u;
    knockout(p.context);
    EXPECT_EQ(0xFFFF7F7Fu, p.target[0]);
    EXPECT_EQ(128, p.targetAlpha[0]);
}

TEST(SwOperationTest, LayerBlendPlanes) {
    const SwBlend::BlendFunc mul = SwBlend::Multiply;
    SwLayerCompositeOp op(false, false);

    // Opaque on opaque: the blend result, alpha from the backdrop's union.
    Planes p(1);
    p.context.blendFunction = mul;
    p.target[0] = p.backdrop[0] = 0xFFC86432u;
    p.color[0] = 0xFF808080u;
    op(p.context);
    EXPECT_EQ(0xFF643219u, p.target[0]);
    EXPECT_EQ(255, p.targetShape[0]);
    EXPECT_EQ(255, p.targetAlpha[0]);

    // Alpha 128 over alpha 128: blend (98, 24, 5); with b = 128:
    // Scale(r, 129) + Scale(w, 128) = 0x40511C0A; with a = 128: Scale(., 129)
    // + Scale(B, 128) = 0x20280E05 + 0x4032190C. The alpha plane goes from
    // 128 to 192, the colour plane's alpha byte is the union of 128 and 192.
    // The basic operation gives 0xC06A2F15 for the same pair: darker here.
    Planes q(1);
    q.context.blendFunction = mul;
    q.target[0] = q.backdrop[0] = 0x80643219u;
    q.targetAlpha[0] = 128;
    q.color[0] = 0x80402010u;
    op(q.context);
    EXPECT_EQ(0xE05A2711u, q.target[0]);
    EXPECT_EQ(192, q.targetAlpha[0]);

    // Knockout over a transparent backdrop at coverage 127: the blend with
    // nothing is 0, b = 0 adds w itself; then Scale(w, 128) + Scale(T, 129).
    SwLayerCompositeOp knockout(true, false);
    Planes r(1);
    r.context.blendFunction = mul;
    r.target[0] = 0xFF0000FFu;
    r.backdrop[0] = 0x00000000u;
    r.targetShape[0] = 255;
    r.targetAlpha[0] = 255;
    r.color[0] = 0xFF808080u;
    r.shape[0] = 127;
    knockout(r.context);
    EXPECT_EQ(0xFF4040C0u, r.target[0]);
    EXPECT_EQ(255, r.targetAlpha[0]);
    EXPECT_EQ(255, r.targetShape[0]);

    // Skips, and a span that lacks a plane, leave everything.
    Planes z(1);
    z.target[0] = 0x11223344u;
    z.color[0] = 0xFF808080u;
    z.shape[0] = 0;
    op(z.context);
    EXPECT_EQ(0x11223344u, z.target[0]);
    z.shape[0] = 255;
    z.context.backdropColor = nullptr;
    op(z.context);
    SwLayerCompositeNormalOp(false, false)(z.context);
    EXPECT_EQ(0x11223344u, z.target[0]);
    EXPECT_EQ(0, z.targetShape[0]);
}

TEST(SwOperationTest, ShapeRowsAndTargetPointers) {
    Planes p(4);
    p.params.coverage = 77;
    SwSourceShapeOp()(p.context);
    for (int i = 0; i < 4; ++i) EXPECT_EQ(77, p.shape[i]);
    p.params.coverage = 9;
    ShapeFilleOp()(p.context);
    for (int i = 0; i < 4; ++i) EXPECT_EQ(9, p.targetShape[i]);
    // Nothing beyond the span.
    Planes q(4);
    q.params.x2 = q.params.x1 + 2;
    q.params.coverage = 5;
    q.shape[2] = 1;
    SwSourceShapeOp()(q.context);
    ShapeFilleOp()(q.context);
    EXPECT_EQ(5, q.shape[1]);
    EXPECT_EQ(1, q.shape[2]);
    EXPECT_EQ(5, q.targetShape[1]);
    EXPECT_EQ(0, q.targetShape[2]);

    // The plane operations point at (x1, y) of their locks.
    auto color = std::make_shared<SysMemBitmap>(Size<int>(20, 4), PixelFormat::ARGB8p, 96.0f, 96.0f);
    auto shape = std::make_shared<SysMemBitmap>(Size<int>(20, 4), PixelFormat::A8, 96.0f, 96.0f);
    auto alpha = std::make_shared<SysMemBitmap>(Size<int>(20, 4), PixelFormat::A8, 96.0f, 96.0f);
    auto backdrop = std::make_shared<SysMemBitmap>(Size<int>(20, 4), PixelFormat::ARGB8p, 96.0f, 96.0f);
    OperationContext context;
    OperationContext::Params params;
    params.x1 = 3;
    params.x2 = 9;
    params.y = 2;
    context.params = &params;
    context.targetLock = color->Lock(nullptr, LockMode::ReadWrite);
    SwTargetColorOp colorOp(color);
    SwTargetShapeOp shapeOp(shape);
    SwTargetAlphaOp alphaOp(alpha);
    SwGetBackdropColorOp backdropOp(backdrop);
    colorOp(context);
    shapeOp(context);
    alphaOp(context);
    backdropOp(context);
    color->Unlock();
    const LockedData c = color->Lock(nullptr, LockMode::Read);
    const LockedData s = shape->Lock(nullptr, LockMode::Read);
    const LockedData a = alpha->Lock(nullptr, LockMode::Read);
    const LockedData b = backdrop->Lock(nullptr, LockMode::Read);
    EXPECT_EQ(static_cast<unsigned char*>(c.data) + 2 * c.stride + 12, reinterpret_cast<unsigned char*>(context.targetColor));
    EXPECT_EQ(static_cast<unsigned char*>(s.data) + 2 * s.stride + 3, context.targetShape);
    EXPECT_EQ(static_cast<unsigned char*>(a.data) + 2 * a.stride + 3, context.targetAlpha);
    EXPECT_EQ(static_cast<unsigned char*>(b.data) + 2 * b.stride + 12,
              reinterpret_cast<unsigned char*>(context.backdropColor));
    color->Unlock();
    shape->Unlock();
    alpha->Unlock();
    backdrop->Unlock();

    // Without a plane the pointers stay empty.
    SwTargetShapeOp noShape(nullptr);
    SwGetBackdropColorOp noBackdrop(nullptr);
    noShape(context);
    noBackdrop(context);
    context.targetLock = LockedData();
    colorOp(context);
    EXPECT_EQ(nullptr, context.targetShape);
    EXPECT_EQ(nullptr, context.backdropColor);
    EXPECT_EQ(nullptr, context.targetColor);
}
