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
    // ARGB8p and XRGB8 are painted in place, at once; XRGB8 keeps the colour
    // bytes of a translucent clear and writes 255 on top. Others go through an
    // ARGB8p copy of their pixels that lands at EndPaint, converted: gray of red is 77 * 255 >> 8 = 76.
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
        const LockedData lock = bitmap->Lock(nullptr, LockMode::ReadWrite);  // the caches stay
        std::memset(lock.data, c.before, lock.stride * 2);
        bitmap->Unlock();
        BitmapRenderTarget target(bitmap);
        auto sw = SwOf(target);
        target.BeginPaint();
        EXPECT_EQ(sw->GetBitmap() == bitmap->GetImplementation(), c.copyWord == 0);
        EXPECT_EQ(ReadWord(*sw->GetBitmap(), 3, 1), c.copyWord ? c.copyWord : ReadWord(*bitmap, 3, 1));
        target.Clear(Color(c.clear));
        EXPECT_EQ(ReadBytes(*bitmap, 3, 1, static_cast<int>(c.during.size())), c.during);
        EXPECT_TRUE(target.EndPaint());
        EXPECT_EQ(ReadBytes(*bitmap, 3, 1, static_cast<int>(c.after.size())), c.after);
        EXPECT_FALSE(SwBitmapCache::IsCached(bitmap));
    }
    // Flush presents without ending the cycle; presenting drops the copy, so a second finds nothing.
    auto rgb = std::make_shared<Bitmap>(Size<int>(2, 1), PixelFormat::RGB8, 96.0f, 96.0f);
    BitmapRenderTarget target(rgb);
    target.BeginPaint();
    target.Clear(0xFF00FF00u);
    target.Flush();
    EXPECT_EQ(ReadBytes(*rgb, 1, 0, 3), (Bytes{0x00, 0xFF, 0x00}));
    EXPECT_TRUE(SwOf(target)->GetSubTarget());
    EXPECT_GRAPHICS_FAILURE(target.EndPaint(), "UpdateBitmap", "Bitmap is not cached");
}

TEST(SwRenderTarget, RefusesFormatsItCantPaintOn) {
    // A copy in the bitmap's own format, as the sampler makes, stands in the cache and is refused.
    auto bitmap = std::make_shared<Bitmap>(Size<int>(2, 2), PixelFormat::RGB8, 96.0f, 96.0f);
    SwBitmapCache::GetCachedBitmap(bitmap);
    BitmapRenderTarget target(bitmap);
    EXPECT_GRAPHICS_FAILURE(target.BeginPaint(), "BeginPaint", "Unsuported pixel format");
    EXPECT_FALSE(SwOf(target)->GetSubTarget());
    // A failing BeginPaint after a good one leaves no sub-target either.
    auto surface = std::make_shared<CountingSurface>(
        std::make_shared<SysMemBitmap>(Size<int>(2, 2), PixelFormat::ARGB8p, 96.0f, 96.0f));
    SwRenderTarget direct(surface);
    direct.BeginPaint();
    EXPECT_TRUE(direct.GetSubTarget());
    surface->bitmap = std::make_shared<SysMemBitmap>(Size<int>(2, 2), PixelFormat::A8, 96.0f, 96.0f);
    EXPECT_GRAPHICS_FAILURE(direct.BeginPaint(), "BeginPaint", "Unsuported pixel format");
    EXPECT_FALSE(direct.GetSubTarget());
    BitmapRenderTarget none(nullptr);  // no bitmap at all reads the same
    EXPECT_GRAPHICS_FAILURE(none.BeginPaint(), "BeginPaint", "Unsuported pixel format");
    // The compositor paints on ARGB8p and XRGB8 only.
    for (int f = 0; f <= 11; ++f)
        EXPECT_EQ(SwSurface::IsSupportedFormat(PixelFormat::Enum(f)), f == PixelFormat::ARGB8p || f == PixelFormat::XRGB8);
}

TEST(SwRenderTarget, SettingsMirrorAcrossTheCycle) {
    auto bitmap = std::make_shared<Bitmap>(Size<int>(8, 8), PixelFormat::ARGB8p, 72.0f, 144.0f);
    BitmapRenderTarget target(bitmap);
    auto sw = SwOf(target);
    auto expectSettings = [](auto& t, const Matrix& m, BlendMode::Enum blend, InterpolationMode::Enum mode, bool adjust) {
        EXPECT_EQ(t.GetTransform(), m);
        EXPECT_EQ(t.GetBlendMode(), blend);
        EXPECT_EQ(t.GetInterpolationMode(), mode);
        EXPECT_EQ(t.GetStrokeAdjustment(), adjust);
    };
    // Settings made before the cycle are in force in it; outside it Push and Pop do nothing.
    const Matrix t(2, 0, 0, 3, 1.5f, -4);
    target.SetTransform(t);
    target.SetInterpolationMode(InterpolationMode::HighQuality);
    target.SetStrokeAdjustment(false);
    target.PushState();
    target.SetBlendMode(BlendMode::Multiply);
    target.PopState();
    target.BeginPaint();
    auto sub = sw->GetSubTarget();
    expectSettings(*sub, t, BlendMode::Multiply, InterpolationMode::HighQuality, false);
    EXPECT_EQ(sub->CurrentState().clipping->GetDpiY(), 144.0f);  // the bitmap's resolution
    // PopState reads the restored state back into the mirrors, which a further
    // BeginPaint hands on to its new sub-target with one state.
    target.PushState();
    target.PushState();
    target.SetBlendMode(BlendMode::Hue);
    target.SetTransform(Matrix(5, 0, 0, 5, 0, 0));
    target.SetInterpolationMode(InterpolationMode::Linear);
    target.SetStrokeAdjustment(true);
    target.PopState();
    EXPECT_EQ(sub->GetStateCount(), 2u);
    target.BeginPaint();
    sub = sw->GetSubTarget();
    EXPECT_EQ(sub->GetStateCount(), 1u);
    expectSettings(*sub, t, BlendMode::Multiply, InterpolationMode::HighQuality, false);
    target.PopState();  // an extra pop keeps the initial state
    EXPECT_EQ(sub->GetStateCount(), 1u);
    // Nothing of one cycle reaches the next.
    EXPECT_TRUE(target.EndPaint());
    EXPECT_FALSE(sw->GetSubTarget());
    expectSettings(target, Matrix(), BlendMode::Normal, InterpolationMode::Nearest, true);
}

TEST(SwRenderTarget, CallsOutsideTheCycleAndLaterStages) {
    auto surface = std::make_shared<CountingSurface>(std::make_shared<SysMemBitmap>(Size<int>(3, 3), PixelFormat::ARGB8p, 96, 96));
    SwRenderTarget target(surface);
    // EndPaint without BeginPaint still talks to the surface; drawing outside a cycle does nothing.
    auto calls = [&] { return std::vector<int>{surface->begins, surface->ends, surface->presents}; };
    EXPECT_TRUE(target.EndPaint());
    target.Clear(Color(1, 1, 1, 1));
    target.FillGeometry(nullptr, nullptr);
    EXPECT_EQ(calls(), (std::vector<int>{0, 1, 1}));
    // Flush presents only; Present ends the surface's painting as well.
    target.BeginPaint();
    target.EndLayer();  // without a layer: nothing
    target.Flush();
    EXPECT_EQ(calls(), (std::vector<int>{1, 1, 2}));
    target.Present();
    EXPECT_EQ(calls(), (std::vector<int>{1, 2, 3}));
    EXPECT_GRAPHICS_FAILURE(target.BeginLayer(LayerParameters()), "BeginLayer", "Not implemented");
    // A failing text fill (pattern brushes can't be painted yet) leaves the stroke adjustment as it was.
    auto square = std::make_shared<Geometry>();
    square->Rectangle(Rect<float>(0, 0, 2, 2));
    EXPECT_GRAPHICS_FAILURE(target.FillTextGeometry(square, std::make_shared<PatternBrush>(nullptr)),
                            "CreateFromBrush", "Not implemented");
    EXPECT_TRUE(target.GetSubTarget()->GetStrokeAdjustment());
    target.EndPaint();
}

TEST(SwSurface, CompatibleBitmapsOfBitmapBases) {
    // A supported format is its own compatible bitmap, holding itself until the entry goes.
    auto xrgb = std::make_shared<SysMemBitmap>(Size<int>(2, 2), PixelFormat::XRGB8, 96.0f, 96.0f);
    const std::shared_ptr<BitmapBase> base = xrgb;
    EXPECT_EQ(SwSurface::GetCompatibleBitmap(base), base);
    EXPECT_TRUE(SwBitmapCache::IsCached(base));
    SwSurface::ClearCachedBitmap(base);
    EXPECT_EQ(xrgb.use_count(), 2);
    // Others paint on an ARGB8p copy, copied back by UpdateBitmap; clearing
    // drops every derived cache, and then UpdateBitmap fails.
    std::shared_ptr<BitmapBase> gray = std::make_shared<SysMemBitmap>(Size<int>(2, 1), PixelFormat::L8, 96.0f, 72.0f);
    const unsigned char levels[2] = {0x00, 0x7F};
    gray->CopyFromMemory(nullptr, levels, 2, 2);
    auto copy = SwSurface::GetCompatibleBitmap(gray);
    EXPECT_EQ(ReadWord(*copy, 1, 0), 0xFF7F7F7Fu);
    EXPECT_EQ(SwSurface::GetCompatibleBitmap(gray), copy);
    copy->ColorFill(nullptr, Color(0xFFFFFFFFu));
    SwSurface::UpdateBitmap(gray);
    EXPECT_EQ(ReadBytes(*gray, 0, 0, 2), Bytes(2, 0xFF));
    const unsigned int token = CacheHolder::GenerateUniqueToken();
    gray->SetCache(token, std::make_shared<Marker>());
    SwSurface::ClearCachedBitmap(gray);
    EXPECT_FALSE(gray->GetCache(token));
    EXPECT_GRAPHICS_FAILURE(SwSurface::UpdateBitmap(gray), "UpdateBitmap", "Bitmap is not cached");
    // Empty pointers are tolerated throughout.
    EXPECT_FALSE(SwSurface::GetCompatibleBitmap(std::shared_ptr<Bitmap>()));
    SwSurface::UpdateBitmap(std::shared_ptr<Bitmap>());
    EXPECT_FALSE(SwBitmapSurface(nullptr).BeginPaint());
}
