#include "TargetTestSupport.h"

#include "bitmap/SwBitmapCache.h"
#include "bitmap/SysMemBitmap.h"
#include "sw/SwBitmapSurface.h"

using namespace Graphics;
using namespace TargetTest;

namespace {

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

struct Marker : CacheBase {};

typedef std::vector<unsigned char> Bytes;

}  // namespace

TEST(SwRenderTarget, PaintsInPlaceOrThroughACopyByFormat) {
    // ARGB8p and XRGB8 are painted in the caller's own pixels, at once;
    // XRGB8 keeps the colour bytes of a translucent clear and writes 255 on
    // top. Other formats go through an ARGB8p copy that starts from the
    // bitmap's pixels and lands at EndPaint, converted: gray of pure red is
    // 77 * 255 >> 8 = 76; the alpha of A8; blue, green, red of RGB8.
    const struct {
        PixelFormat::Enum format;
        unsigned char before;
        unsigned int copyWord;  // a word of the copy; 0 where there is none
        unsigned int clear;
        Bytes during, after;    // the bytes of a pixel
    } cases[] = {
        {PixelFormat::ARGB8p, 0x00, 0, 0x80FF0000u, {0x00, 0x00, 0x80, 0x80}, {0x00, 0x00, 0x80, 0x80}},
        {PixelFormat::XRGB8, 0x11, 0, 0x80204060u, {0x60, 0x40, 0x20, 0xFF}, {0x60, 0x40, 0x20, 0xFF}},
        {PixelFormat::RGB8, 0x33, 0xFF333333u, 0xFFFF0000u, {0x33, 0x33, 0x33}, {0x00, 0x00, 0xFF}},
        {PixelFormat::A8, 0x10, 0x10101010u, 0x80FF0000u, {0x10}, {0x80}},
        {PixelFormat::L8, 0x00, 0xFF000000u, 0xFFFF0000u, {0x00}, {76}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.format);
        auto bitmap = std::make_shared<Bitmap>(Size<int>(4, 2), c.format, 96.0f, 96.0f);
        FillBytes(*bitmap, c.before);
        BitmapRenderTarget target(bitmap);
        EXPECT_EQ(target.GetPixelFormat(), c.format);
        EXPECT_EQ(target.GetBitmap(), bitmap);
        auto sw = SwOf(target);
        target.BeginPaint();
        EXPECT_EQ(sw->GetBitmap() == bitmap->GetImplementation(), c.copyWord == 0);
        EXPECT_EQ(sw->GetSubTarget()->GetColor(), sw->GetBitmap());
        EXPECT_EQ(sw->GetBitmap()->GetPixelFormat(), c.copyWord ? PixelFormat::ARGB8p : c.format);
        EXPECT_EQ(ReadWord(*sw->GetBitmap(), 3, 1), c.copyWord ? c.copyWord : ReadWord(*bitmap, 3, 1));
        target.Clear(Color(c.clear));
        EXPECT_EQ(ReadBytes(*bitmap, 3, 1, static_cast<int>(c.during.size())), c.during);
        EXPECT_TRUE(target.EndPaint());
        EXPECT_EQ(ReadBytes(*bitmap, 0, 0, static_cast<int>(c.after.size())), c.after);
        EXPECT_EQ(ReadBytes(*bitmap, 3, 1, static_cast<int>(c.after.size())), c.after);
        EXPECT_FALSE(SwBitmapCache::IsCached(bitmap));
    }

    // Flush presents without ending the cycle. Presenting drops the copy,
    // so a second presentation in the same cycle finds nothing to copy back.
    auto rgb = std::make_shared<Bitmap>(Size<int>(2, 1), PixelFormat::RGB8, 96.0f, 96.0f);
    BitmapRenderTarget target(rgb);
    target.BeginPaint();
    target.Clear(0xFF00FF00u);
    target.Flush();
    EXPECT_EQ(ReadBytes(*rgb, 1, 0, 3), (Bytes{0x00, 0xFF, 0x00}));
    EXPECT_TRUE(SwOf(target)->GetSubTarget());
    EXPECT_GRAPHICS_FAILURE(target.EndPaint(), "UpdateBitmap", "Bitmap is not cached");

    // A target keeps its bitmap alive.
    std::weak_ptr<Bitmap> weak = rgb;
    rgb.reset();
    EXPECT_FALSE(weak.expired());
}

TEST(SwRenderTarget, RefusesFormatsItCantPaintOn) {
    // A software copy in the bitmap's own format, as the sampler makes,
    // stands in the cache: the surface hands it out and the target refuses it.
    auto bitmap = std::make_shared<Bitmap>(Size<int>(2, 2), PixelFormat::RGB8, 96.0f, 96.0f);
    SwBitmapCache::GetCachedBitmap(bitmap);
    BitmapRenderTarget target(bitmap);
    EXPECT_GRAPHICS_FAILURE(target.BeginPaint(), "BeginPaint", "Unsuported pixel format");
    EXPECT_FALSE(SwOf(target)->GetSubTarget());
    // A failing BeginPaint after a good one leaves no sub-target either.
    auto a8 = std::make_shared<SysMemBitmap>(Size<int>(2, 2), PixelFormat::A8, 96.0f, 96.0f);
    auto surface = std::make_shared<CountingSurface>(
        std::make_shared<SysMemBitmap>(Size<int>(2, 2), PixelFormat::ARGB8p, 96.0f, 96.0f));
    SwRenderTarget direct(surface);
    direct.BeginPaint();
    EXPECT_TRUE(direct.GetSubTarget());
    surface->bitmap = a8;
    EXPECT_GRAPHICS_FAILURE(direct.BeginPaint(), "BeginPaint", "Unsuported pixel format");
    EXPECT_FALSE(direct.GetSubTarget());
    // No bitmap at all reads the same.
    BitmapRenderTarget none(nullptr);
    EXPECT_EQ(none.GetSize(), Size<int>(0, 0));
    EXPECT_GRAPHICS_FAILURE(none.BeginPaint(), "BeginPaint", "Unsuported pixel format");
    EXPECT_TRUE(none.EndPaint());

    // The compositor paints on ARGB8p and XRGB8 only; displays of other
    // depths map to formats, or fail.
    for (int f = 0; f <= 11; ++f)
        EXPECT_EQ(SwSurface::IsSupportedFormat(PixelFormat::Enum(f)), f == PixelFormat::ARGB8p || f == PixelFormat::XRGB8);
    const std::pair<unsigned int, PixelFormat::Enum> depths[] = {
        {1, PixelFormat::L1}, {8, PixelFormat::XRGB8}, {16, PixelFormat::XRGB8}, {24, PixelFormat::RGB8},
        {32, PixelFormat::XRGB8}};
    for (const auto& d : depths) EXPECT_EQ(SwSurface::GetCompatibleFormat(d.first), d.second) << d.first;
    for (unsigned int bits : {0u, 2u, 4u, 7u, 15u, 48u, 0xFFFFFFFFu})
        EXPECT_GRAPHICS_FAILURE(SwSurface::GetCompatibleFormat(bits), "GetCompatibleFormat", "Unsupported pixel format.");
}

TEST(SwRenderTarget, SettingsMirrorAcrossTheCycle) {
    auto bitmap = std::make_shared<Bitmap>(Size<int>(8, 8), PixelFormat::ARGB8p, 72.0f, 144.0f);
    BitmapRenderTarget target(bitmap);
    auto sw = SwOf(target);
    // Settings made before the cycle are in force in it.
    const Matrix t(2, 0, 0, 3, 1.5f, -4);
    target.SetTransform(t);
    target.SetBlendMode(BlendMode::Multiply);
    target.SetInterpolationMode(InterpolationMode::HighQuality);
    target.SetStrokeAdjustment(false);
    EXPECT_EQ(target.GetTransform(), t);
    // Outside a cycle Push and Pop do nothing.
    target.PushState();
    target.SetBlendMode(BlendMode::Lighten);
    target.PopState();
    EXPECT_EQ(target.GetBlendMode(), BlendMode::Lighten);
    target.SetBlendMode(BlendMode::Multiply);
    target.BeginPaint();
    auto sub = sw->GetSubTarget();
    EXPECT_EQ(sub->GetTransform(), t);
    EXPECT_EQ(sub->GetBlendMode(), BlendMode::Multiply);
    EXPECT_EQ(sub->GetInterpolationMode(), InterpolationMode::HighQuality);
    EXPECT_FALSE(sub->GetStrokeAdjustment());
    // The bitmap's resolution reaches the target and the clip.
    EXPECT_EQ(sw->GetDpiX(), 72.0f);
    EXPECT_EQ(sw->GetDpiY(), 144.0f);
    EXPECT_EQ(sub->CurrentState().clipping->GetDpiX(), 72.0f);
    EXPECT_EQ(sub->CurrentState().clipping->GetDpiY(), 144.0f);
    target.ScaleTransform(0.5f, 1.0f);
    EXPECT_EQ(sub->GetTransform(), Matrix(1, 0, 0, 3, 1.5f, -4));

    // PopState reads the restored state back into the mirrors, which a
    // further BeginPaint hands on to its new sub-target with one state.
    target.SetBlendMode(BlendMode::Overlay);
    target.PushState();
    target.PushState();
    target.SetBlendMode(BlendMode::Hue);
    target.SetTransform(Matrix(5, 0, 0, 5, 0, 0));
    target.SetInterpolationMode(InterpolationMode::Linear);
    target.SetStrokeAdjustment(true);
    target.PopState();
    EXPECT_EQ(sub->GetStateCount(), 2u);
    EXPECT_EQ(sub->GetBlendMode(), BlendMode::Overlay);
    target.BeginPaint();
    EXPECT_NE(sw->GetSubTarget(), sub);
    sub = sw->GetSubTarget();
    EXPECT_EQ(sub->GetStateCount(), 1u);
    EXPECT_EQ(sub->GetBlendMode(), BlendMode::Overlay);
    EXPECT_EQ(sub->GetTransform(), Matrix(1, 0, 0, 3, 1.5f, -4));
    EXPECT_EQ(sub->GetInterpolationMode(), InterpolationMode::HighQuality);
    EXPECT_FALSE(sub->GetStrokeAdjustment());
    target.PopState();  // an extra pop keeps the initial state
    EXPECT_EQ(sub->GetStateCount(), 1u);

    // Nothing of one cycle reaches the next.
    EXPECT_TRUE(target.EndPaint());
    EXPECT_FALSE(sw->GetSubTarget());
    for (int cycle = 0; cycle < 2; ++cycle) {
        EXPECT_TRUE(target.GetTransform().IsIdentity());
        EXPECT_EQ(target.GetBlendMode(), BlendMode::Normal);
        EXPECT_EQ(target.GetInterpolationMode(), InterpolationMode::Nearest);
        EXPECT_TRUE(target.GetStrokeAdjustment());
        target.BeginPaint();
    }
    target.EndPaint();
}

TEST(SwRenderTarget, CallsOutsideTheCycleAndLaterStages) {
    auto surface = std::make_shared<CountingSurface>(
        std::make_shared<SysMemBitmap>(Size<int>(3, 3), PixelFormat::ARGB8p, 96.0f, 96.0f));
    SwRenderTarget target(surface);
    // EndPaint without BeginPaint still talks to the surface; drawing calls
    // outside a cycle have nothing to act on.
    EXPECT_TRUE(target.EndPaint());
    EXPECT_EQ(surface->ends, 1);
    EXPECT_EQ(surface->presents, 1);
    target.Clear(Color(1, 1, 1, 1));
    target.EndLayer();
    target.BeginLayer(LayerParameters());
    target.ClipGeometry(nullptr);
    target.FillGeometry(nullptr, nullptr);
    target.FillTextGeometry(nullptr, nullptr);
    target.SetOpacityMask(nullptr, SoftMaskType::Alpha);
    target.SetShapeMask(nullptr, SoftMaskType::Alpha);
    EXPECT_EQ(surface->begins, 0);

    // Flush presents only; Present ends the surface's painting as well.
    target.BeginPaint();
    target.EndLayer();  // without a layer: nothing
    target.Flush();
    EXPECT_EQ(surface->ends, 1);
    EXPECT_EQ(surface->presents, 2);
    target.Present();
    EXPECT_EQ(surface->ends, 2);
    EXPECT_EQ(surface->presents, 3);
    EXPECT_TRUE(target.GetSubTarget());

    // What needs layer planes or clip masks is not there yet.
    EXPECT_GRAPHICS_FAILURE(target.BeginLayer(LayerParameters()), "BeginLayer", "Not implemented");
    EXPECT_GRAPHICS_FAILURE(target.ClipGeometry(nullptr), "ClipGeometry", "Not implemented");
    EXPECT_GRAPHICS_FAILURE(target.SetOpacityMask(nullptr, SoftMaskType::Luminosity), "SetOpacityMask",
                            "Not implemented");
    EXPECT_GRAPHICS_FAILURE(target.SetShapeMask(nullptr, SoftMaskType::Alpha), "SetShapeMask", "Not implemented");
    // A text fill leaves the stroke adjustment as it found it, even when the
    // fill fails (pattern brushes can't be painted yet).
    auto square = std::make_shared<Geometry>();
    square->Rectangle(Rect<float>(0, 0, 2, 2));
    for (bool adjust : {true, false}) {
        target.SetStrokeAdjustment(adjust);
        EXPECT_GRAPHICS_FAILURE(target.FillTextGeometry(square, std::make_shared<PatternBrush>(nullptr)),
                                "CreateFromBrush", "Not implemented");
        EXPECT_EQ(target.GetSubTarget()->GetStrokeAdjustment(), adjust);
    }
    target.EndPaint();
}

TEST(SwSurface, CompatibleBitmapsOfBitmapBases) {
    // A supported format is its own compatible bitmap, registered in its
    // own store: it holds itself until the entry goes.
    auto xrgb = std::make_shared<SysMemBitmap>(Size<int>(2, 2), PixelFormat::XRGB8, 96.0f, 96.0f);
    const std::shared_ptr<BitmapBase> base = xrgb;
    EXPECT_EQ(SwSurface::GetCompatibleBitmap(base), base);
    EXPECT_TRUE(SwBitmapCache::IsCached(base));
    SwSurface::UpdateBitmap(base);  // nothing to copy back
    SwSurface::ClearCachedBitmap(base);
    EXPECT_EQ(xrgb.use_count(), 2);

    // Other formats paint on an ARGB8p copy, copied back by UpdateBitmap;
    // clearing drops every derived cache, and with no copy left UpdateBitmap fails.
    std::shared_ptr<BitmapBase> gray = std::make_shared<SysMemBitmap>(Size<int>(2, 1), PixelFormat::L8, 96.0f, 72.0f);
    const unsigned char levels[2] = {0x00, 0x7F};
    gray->CopyFromMemory(nullptr, levels, 2, 2);
    auto copy = SwSurface::GetCompatibleBitmap(gray);
    EXPECT_EQ(copy->GetPixelFormat(), PixelFormat::ARGB8p);
    EXPECT_EQ(copy->GetDpiY(), 72.0f);
    EXPECT_EQ(ReadWord(*copy, 1, 0), 0xFF7F7F7Fu);
    EXPECT_EQ(SwSurface::GetCompatibleBitmap(gray), copy);
    copy->ColorFill(nullptr, Color(0xFFFFFFFFu));
    SwSurface::UpdateBitmap(gray);
    const unsigned char* pixels = static_cast<unsigned char*>(gray->Lock(nullptr, LockMode::Read).data);
    EXPECT_EQ(pixels[0], 0xFF);
    EXPECT_EQ(pixels[1], 0xFF);
    const unsigned int token = CacheHolder::GenerateUniqueToken();
    gray->SetCache(token, std::make_shared<Marker>());
    SwSurface::ClearCachedBitmap(gray);
    EXPECT_FALSE(gray->GetCache(token));
    EXPECT_GRAPHICS_FAILURE(SwSurface::UpdateBitmap(gray), "UpdateBitmap", "Bitmap is not cached");

    // Empty pointers are tolerated throughout.
    EXPECT_FALSE(SwSurface::GetCompatibleBitmap(std::shared_ptr<Bitmap>()));
    EXPECT_FALSE(SwSurface::GetCompatibleBitmap(std::shared_ptr<BitmapBase>()));
    SwSurface::UpdateBitmap(std::shared_ptr<Bitmap>());
    SwSurface::ClearCachedBitmap(std::shared_ptr<BitmapBase>());
    SwBitmapSurface empty(nullptr);
    EXPECT_FALSE(empty.BeginPaint());
    empty.Present();
}
