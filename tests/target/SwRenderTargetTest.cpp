#include "Graphics/Brush.h"
#include "Graphics/Geometry.h"
#include "Graphics/RenderTarget.h"
#include "bitmap/SwBitmapCache.h"
#include "bitmap/SysMemBitmap.h"
#include "sw/SwRenderTarget.h"
#include "TargetTestSupport.h"

#include <gtest/gtest.h>

#include <memory>

using namespace Graphics;
using TargetTest::ExpectFailure;
using TargetTest::ReadBytes;
using TargetTest::ReadWord;

namespace {

std::shared_ptr<SwRenderTarget> SwOf(const RenderTarget& target) {
    return std::dynamic_pointer_cast<SwRenderTarget>(target.GetImplementation());
}

// A surface that hands out a bitmap of its choice and counts the calls.
class CountingSurface : public SwSurface {
public:
    explicit CountingSurface(std::shared_ptr<BitmapBase> b) : bitmap(std::move(b)) {}
    PixelFormat::Enum GetPixelFormat() const override { return bitmap->GetPixelFormat(); }
    Size<int> GetSize() const override { return bitmap->GetSize(); }
    float GetDpiX() const override { return bitmap->GetDpiX(); }
    float GetDpiY() const override { return bitmap->GetDpiY(); }
    std::shared_ptr<BitmapBase> BeginPaint() override {
        ++begins;
        return bitmap;
    }
    void EndPaint() override { ++ends; }
    void Present() override { ++presents; }

    std::shared_ptr<BitmapBase> bitmap;
    int begins = 0, ends = 0, presents = 0;
};

void ExpectAll(Bitmap& bitmap, unsigned int word) {
    const Size<int> size = bitmap.GetSize();
    for (int y = 0; y < size.height; ++y)
        for (int x = 0; x < size.width; ++x) ASSERT_EQ(ReadWord(bitmap, x, y), word) << x << "," << y;
}

}  // namespace

TEST(SwRenderTarget, ClearPaintsStraightIntoAnARGB8pBitmap) {
    auto bitmap = std::make_shared<Bitmap>(Size<int>(7, 5), PixelFormat::ARGB8p, 96.0f, 96.0f);
    TargetTest::FillBytes(*bitmap, 0x00);
    BitmapRenderTarget target(bitmap);
    auto sw = SwOf(target);
    ASSERT_TRUE(sw);
    EXPECT_EQ(target.GetPixelFormat(), PixelFormat::ARGB8p);
    EXPECT_EQ(target.GetSize(), Size<int>(7, 5));

    target.BeginPaint();
    // The sub-target paints on the bitmap's own implementation.
    EXPECT_EQ(sw->GetBitmap(), bitmap->GetImplementation());
    EXPECT_EQ(sw->GetSubTarget()->GetColor(), bitmap->GetImplementation());
    target.Clear(Color(1.0f, 0.0f, 0.0f, 1.0f));
    // Already in the caller's memory before EndPaint.
    ExpectAll(*bitmap, 0xFFFF0000u);
    EXPECT_TRUE(target.EndPaint());
    ExpectAll(*bitmap, 0xFFFF0000u);
    EXPECT_FALSE(SwBitmapCache::IsCached(bitmap));

    // A translucent colour is stored premultiplied: red 255 with alpha 128
    // scales by 129 / 256 to 128.
    target.BeginPaint();
    target.Clear(0x80FF0000u);
    ExpectAll(*bitmap, 0x80800000u);
    target.EndPaint();
}

TEST(SwRenderTarget, ClearOnXRGB8) {
    auto bitmap = std::make_shared<Bitmap>(Size<int>(3, 3), PixelFormat::XRGB8, 96.0f, 96.0f);
    TargetTest::FillBytes(*bitmap, 0x11);
    BitmapRenderTarget target(bitmap);
    target.BeginPaint();
    target.Clear(Color(1.0f, 0.0f, 0.0f, 1.0f));
    ExpectAll(*bitmap, 0xFFFF0000u);
    // XRGB8 takes the colour bytes as they are and writes 255 on top.
    target.Clear(0x80204060u);
    ExpectAll(*bitmap, 0xFF204060u);
    EXPECT_TRUE(target.EndPaint());
    ExpectAll(*bitmap, 0xFF204060u);
}

TEST(SwRenderTarget, RGB8PixelsArriveAtEndPaintOrFlush) {
    auto bitmap = std::make_shared<Bitmap>(Size<int>(4, 2), PixelFormat::RGB8, 96.0f, 96.0f);
    TargetTest::FillBytes(*bitmap, 0x33);
    BitmapRenderTarget target(bitmap);
    auto sw = SwOf(target);

    target.BeginPaint();
    ASSERT_NE(sw->GetBitmap(), bitmap->GetImplementation());
    EXPECT_EQ(sw->GetBitmap()->GetPixelFormat(), PixelFormat::ARGB8p);
    // The copy starts from the bitmap's pixels.
    EXPECT_EQ(ReadWord(*sw->GetBitmap(), 3, 1), 0xFF333333u);
    target.Clear(Color(1.0f, 0.0f, 0.0f, 1.0f));
    EXPECT_EQ(ReadBytes(*bitmap, 0, 0, 3), (std::vector<unsigned char>{0x33, 0x33, 0x33}));
    EXPECT_TRUE(target.EndPaint());
    for (int y = 0; y < 2; ++y)
        for (int x = 0; x < 4; ++x)
            EXPECT_EQ(ReadBytes(*bitmap, x, y, 3), (std::vector<unsigned char>{0x00, 0x00, 0xFF}));

    // Flush presents without ending the cycle.
    target.BeginPaint();
    target.Clear(0xFF00FF00u);
    EXPECT_EQ(ReadBytes(*bitmap, 3, 1, 3), (std::vector<unsigned char>{0x00, 0x00, 0xFF}));
    target.Flush();
    EXPECT_EQ(ReadBytes(*bitmap, 3, 1, 3), (std::vector<unsigned char>{0x00, 0xFF, 0x00}));
    EXPECT_TRUE(sw->GetSubTarget());
    // Presenting drops the copy, so a second presentation in the same cycle
    // finds nothing to copy back.
    ExpectFailure([&] { target.EndPaint(); }, "UpdateBitmap", "Bitmap is not cached");
}

TEST(SwRenderTarget, NarrowFormatsPaintThroughTheCopy) {
    auto alpha = std::make_shared<Bitmap>(Size<int>(3, 2), PixelFormat::A8, 96.0f, 96.0f);
    TargetTest::FillBytes(*alpha, 0x10);
    BitmapRenderTarget alphaTarget(alpha);
    alphaTarget.BeginPaint();
    EXPECT_EQ(SwOf(alphaTarget)->GetBitmap()->GetPixelFormat(), PixelFormat::ARGB8p);
    EXPECT_EQ(ReadWord(*SwOf(alphaTarget)->GetBitmap(), 2, 1), 0x10101010u);
    alphaTarget.Clear(0x80FF0000u);
    EXPECT_EQ(ReadBytes(*alpha, 2, 1, 1)[0], 0x10);
    alphaTarget.EndPaint();
    EXPECT_EQ(ReadBytes(*alpha, 0, 0, 1)[0], 0x80);
    EXPECT_EQ(ReadBytes(*alpha, 2, 1, 1)[0], 0x80);

    // Gray of pure red: 77 * 255 >> 8 = 76; of pure green: 151 * 255 >> 8 = 150.
    auto gray = std::make_shared<Bitmap>(Size<int>(2, 2), PixelFormat::L8, 96.0f, 96.0f);
    BitmapRenderTarget grayTarget(gray);
    grayTarget.BeginPaint();
    grayTarget.Clear(0xFFFF0000u);
    grayTarget.EndPaint();
    EXPECT_EQ(ReadBytes(*gray, 1, 1, 1)[0], 76);
    grayTarget.BeginPaint();
    grayTarget.Clear(0xFF00FF00u);
    grayTarget.EndPaint();
    EXPECT_EQ(ReadBytes(*gray, 0, 0, 1)[0], 150);
}

TEST(SwRenderTarget, UnsupportedFormatFromTheSurface) {
    // A software copy in the bitmap's own format, as the sampler makes, stands
    // in the cache: the surface hands it out, and the target refuses it.
    auto bitmap = std::make_shared<Bitmap>(Size<int>(2, 2), PixelFormat::RGB8, 96.0f, 96.0f);
    SwBitmapCache::GetCachedBitmap(bitmap);
    BitmapRenderTarget target(bitmap);
    ExpectFailure([&] { target.BeginPaint(); }, "BeginPaint", "Unsuported pixel format");
    EXPECT_FALSE(SwOf(target)->GetSubTarget());

    auto a8 = std::make_shared<SysMemBitmap>(Size<int>(2, 2), PixelFormat::A8, 96.0f, 96.0f);
    auto surface = std::make_shared<CountingSurface>(a8);
    SwRenderTarget direct(surface);
    ExpectFailure([&] { direct.BeginPaint(); }, "BeginPaint", "Unsuported pixel format");
    EXPECT_FALSE(direct.GetSubTarget());
    EXPECT_EQ(surface->begins, 1);

    // A failing BeginPaint after a good one leaves no sub-target either.
    surface->bitmap = std::make_shared<SysMemBitmap>(Size<int>(2, 2), PixelFormat::ARGB8p, 96.0f, 96.0f);
    direct.BeginPaint();
    EXPECT_TRUE(direct.GetSubTarget());
    surface->bitmap = a8;
    EXPECT_THROW(direct.BeginPaint(), Exception);
    EXPECT_FALSE(direct.GetSubTarget());

    // No bitmap at all reads the same.
    BitmapRenderTarget none(nullptr);
    EXPECT_EQ(none.GetSize(), Size<int>(0, 0));
    ExpectFailure([&] { none.BeginPaint(); }, "BeginPaint", "Unsuported pixel format");
    EXPECT_TRUE(none.EndPaint());
}

TEST(SwRenderTarget, MirrorsAcrossTheCycle) {
    auto bitmap = std::make_shared<Bitmap>(Size<int>(8, 8), PixelFormat::ARGB8p, 72.0f, 144.0f);
    BitmapRenderTarget target(bitmap);
    auto sw = SwOf(target);

    EXPECT_TRUE(target.GetStrokeAdjustment());
    EXPECT_EQ(target.GetBlendMode(), BlendMode::Normal);
    EXPECT_EQ(target.GetInterpolationMode(), InterpolationMode::Nearest);
    EXPECT_TRUE(target.GetTransform().IsIdentity());

    const Matrix t(2, 0, 0, 3, 1.5f, -4);
    target.SetTransform(t);
    target.SetBlendMode(BlendMode::Multiply);
    target.SetInterpolationMode(InterpolationMode::HighQuality);
    target.SetStrokeAdjustment(false);
    EXPECT_EQ(target.GetTransform(), t);
    EXPECT_EQ(target.GetBlendMode(), BlendMode::Multiply);

    target.BeginPaint();
    auto sub = sw->GetSubTarget();
    ASSERT_TRUE(sub);
    // In force in the sub-target, which is now what the getters read.
    EXPECT_EQ(sub->GetTransform(), t);
    EXPECT_EQ(sub->InnerTransform(), t);
    EXPECT_EQ(sub->GetBlendMode(), BlendMode::Multiply);
    EXPECT_EQ(sub->GetInterpolationMode(), InterpolationMode::HighQuality);
    EXPECT_FALSE(sub->GetStrokeAdjustment());
    EXPECT_EQ(target.GetTransform(), t);
    EXPECT_EQ(target.GetBlendMode(), BlendMode::Multiply);
    // The bitmap's resolution reaches the state's clip.
    EXPECT_EQ(sub->CurrentState().clipping->GetDpiX(), 72.0f);
    EXPECT_EQ(sub->CurrentState().clipping->GetDpiY(), 144.0f);
    EXPECT_EQ(sub->GetTargetSize(), Size<int>(8, 8));

    target.SetBlendMode(BlendMode::Screen);
    EXPECT_EQ(sub->GetBlendMode(), BlendMode::Screen);
    target.ScaleTransform(0.5f, 1.0f);
    EXPECT_EQ(sub->GetTransform(), Matrix(1, 0, 0, 3, 1.5f, -4));

    EXPECT_TRUE(target.EndPaint());
    EXPECT_FALSE(sw->GetSubTarget());
    EXPECT_TRUE(target.GetTransform().IsIdentity());
    EXPECT_EQ(target.GetBlendMode(), BlendMode::Normal);
    EXPECT_EQ(target.GetInterpolationMode(), InterpolationMode::Nearest);
    EXPECT_TRUE(target.GetStrokeAdjustment());
    // The last bitmap stays known after the cycle.
    EXPECT_EQ(sw->GetBitmap(), bitmap->GetImplementation());

    // Nothing of the last cycle reaches the next.
    target.BeginPaint();
    EXPECT_TRUE(target.GetTransform().IsIdentity());
    EXPECT_EQ(sw->GetSubTarget()->GetBlendMode(), BlendMode::Normal);
    target.EndPaint();
}

TEST(SwRenderTarget, PopStateReadsBackIntoTheMirrors) {
    auto bitmap = std::make_shared<Bitmap>(Size<int>(4, 4), PixelFormat::ARGB8p, 96.0f, 96.0f);
    BitmapRenderTarget target(bitmap);
    auto sw = SwOf(target);

    // Outside a cycle both do nothing.
    target.SetBlendMode(BlendMode::Darken);
    target.PushState();
    target.SetBlendMode(BlendMode::Lighten);
    target.PopState();
    EXPECT_EQ(target.GetBlendMode(), BlendMode::Lighten);
    target.SetBlendMode(BlendMode::Normal);

    target.BeginPaint();
    target.SetBlendMode(BlendMode::Overlay);
    target.SetTransform(Matrix(1, 0, 0, 1, 3, 3));
    target.PushState();
    target.SetBlendMode(BlendMode::Hue);
    target.SetTransform(Matrix(5, 0, 0, 5, 0, 0));
    target.SetInterpolationMode(InterpolationMode::Linear);
    target.SetStrokeAdjustment(false);
    target.PopState();
    auto sub = sw->GetSubTarget();
    EXPECT_EQ(sub->GetBlendMode(), BlendMode::Overlay);
    EXPECT_EQ(sub->GetTransform(), Matrix(1, 0, 0, 1, 3, 3));
    EXPECT_EQ(sub->GetInterpolationMode(), InterpolationMode::Nearest);
    EXPECT_TRUE(sub->GetStrokeAdjustment());

    // The mirrors followed: a further BeginPaint hands them on.
    target.BeginPaint();
    EXPECT_NE(sw->GetSubTarget(), sub);
    EXPECT_EQ(sw->GetSubTarget()->GetBlendMode(), BlendMode::Overlay);
    EXPECT_EQ(sw->GetSubTarget()->GetTransform(), Matrix(1, 0, 0, 1, 3, 3));
    EXPECT_TRUE(sw->GetSubTarget()->GetStrokeAdjustment());
    target.EndPaint();
}

TEST(SwRenderTarget, CallOrderMisuse) {
    auto bitmap = std::make_shared<SysMemBitmap>(Size<int>(3, 3), PixelFormat::XRGB8, 96.0f, 96.0f);
    auto surface = std::make_shared<CountingSurface>(bitmap);
    SwRenderTarget target(surface);
    EXPECT_EQ(target.GetPixelFormat(), PixelFormat::XRGB8);
    EXPECT_EQ(target.GetSize(), Size<int>(3, 3));
    EXPECT_EQ(target.GetDpiX(), 96.0f);

    // EndPaint without BeginPaint still talks to the surface.
    EXPECT_TRUE(target.EndPaint());
    EXPECT_EQ(surface->ends, 1);
    EXPECT_EQ(surface->presents, 1);

    // Drawing calls outside a cycle have nothing to act on.
    target.Clear(Color(1, 1, 1, 1));
    target.EndLayer();
    target.BeginLayer(LayerParameters());
    target.ClipGeometry(nullptr);
    target.FillGeometry(nullptr, nullptr);
    target.FillTextGeometry(nullptr, nullptr);
    target.SetOpacityMask(nullptr, SoftMaskType::Alpha);
    target.SetShapeMask(nullptr, SoftMaskType::Alpha);

    // BeginPaint twice replaces the cycle: a new sub-target with one state.
    target.BeginPaint();
    target.SetBlendMode(BlendMode::Screen);
    target.PushState();
    target.PushState();
    auto first = target.GetSubTarget();
    EXPECT_EQ(first->GetStateCount(), 3u);
    target.BeginPaint();
    EXPECT_EQ(surface->begins, 2);
    EXPECT_NE(target.GetSubTarget(), first);
    EXPECT_EQ(target.GetSubTarget()->GetStateCount(), 1u);
    EXPECT_EQ(target.GetBlendMode(), BlendMode::Screen);

    // An extra PopState keeps the initial state.
    target.PopState();
    target.PopState();
    EXPECT_EQ(target.GetSubTarget()->GetStateCount(), 1u);
    EXPECT_EQ(target.GetBlendMode(), BlendMode::Screen);

    // EndLayer without a layer does nothing.
    target.EndLayer();

    // Flush presents only; Present ends the surface's painting as well.
    target.Flush();
    EXPECT_EQ(surface->ends, 1);
    EXPECT_EQ(surface->presents, 2);
    target.Present();
    EXPECT_EQ(surface->ends, 2);
    EXPECT_EQ(surface->presents, 3);
    EXPECT_TRUE(target.GetSubTarget());
    EXPECT_TRUE(target.EndPaint());
}

TEST(SwRenderTarget, OperationsOfLaterStagesReportNotImplemented) {
    auto bitmap = std::make_shared<SysMemBitmap>(Size<int>(3, 3), PixelFormat::ARGB8p, 96.0f, 96.0f);
    SwRenderTarget target(std::make_shared<CountingSurface>(bitmap));
    target.BeginPaint();
    ExpectFailure([&] { target.BeginLayer(LayerParameters()); }, "BeginLayer", "Not implemented");
    ExpectFailure([&] { target.ClipGeometry(nullptr); }, "ClipGeometry", "Not implemented");
    ExpectFailure([&] { target.SetOpacityMask(nullptr, SoftMaskType::Luminosity); }, "SetOpacityMask",
                  "Not implemented");
    ExpectFailure([&] { target.SetShapeMask(nullptr, SoftMaskType::Alpha); }, "SetShapeMask",
                  "Not implemented");

    // Text fill leaves the stroke adjustment as it found it, even when the
    // fill fails (pattern brushes can't be painted yet).
    auto square = std::make_shared<Geometry>();
    square->Rectangle(Rect<float>(0, 0, 2, 2));
    auto pattern = std::make_shared<PatternBrush>(nullptr);
    for (bool adjust : {true, false}) {
        target.SetStrokeAdjustment(adjust);
        ExpectFailure([&] { target.FillTextGeometry(square, pattern); }, "CreateFromBrush", "Not implemented");
        EXPECT_EQ(target.GetStrokeAdjustment(), adjust);
        EXPECT_EQ(target.GetSubTarget()->GetStrokeAdjustment(), adjust);
    }
    target.EndPaint();
}

TEST(BitmapRenderTarget, KeepsItsBitmapAndUsesTheSoftwareBackEnd) {
    auto bitmap = std::make_shared<Bitmap>(Size<int>(2, 2), PixelFormat::ARGB8p, 96.0f, 96.0f);
    std::weak_ptr<Bitmap> weak = bitmap;
    auto target = std::make_shared<BitmapRenderTarget>(bitmap);
    bitmap.reset();
    EXPECT_FALSE(weak.expired());
    EXPECT_EQ(target->GetBitmap(), weak.lock());
    EXPECT_TRUE(SwOf(*target));
    target.reset();
    EXPECT_TRUE(weak.expired());
}
