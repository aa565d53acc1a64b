#include "Graphics/Bitmap.h"
#include "bitmap/SwBitmapCache.h"
#include "bitmap/SysMemBitmap.h"
#include "sw/SwBitmapSurface.h"
#include "sw/SwSurface.h"
#include "TargetTestSupport.h"

#include <gtest/gtest.h>

#include <memory>

using namespace Graphics;
using TargetTest::ExpectFailure;

namespace {

struct Marker : CacheBase {};

}  // namespace

TEST(SwSurface, SupportedAndCompatibleFormats) {
    for (int f = 0; f <= 11; ++f) {
        const bool expected = f == PixelFormat::ARGB8p || f == PixelFormat::XRGB8;
        EXPECT_EQ(SwSurface::IsSupportedFormat(static_cast<PixelFormat::Enum>(f)), expected) << f;
    }

    EXPECT_EQ(SwSurface::GetCompatibleFormat(1), PixelFormat::L1);
    EXPECT_EQ(SwSurface::GetCompatibleFormat(8), PixelFormat::XRGB8);
    EXPECT_EQ(SwSurface::GetCompatibleFormat(16), PixelFormat::XRGB8);
    EXPECT_EQ(SwSurface::GetCompatibleFormat(24), PixelFormat::RGB8);
    EXPECT_EQ(SwSurface::GetCompatibleFormat(32), PixelFormat::XRGB8);
    const unsigned int bad[] = {0, 2, 4, 7, 15, 48, 0xFFFFFFFFu};
    for (unsigned int bits : bad)
        ExpectFailure([bits] { SwSurface::GetCompatibleFormat(bits); }, "GetCompatibleFormat",
                      "Unsupported pixel format.");
}

TEST(SwSurface, CompatibleBitmapOfASupportedFormatIsTheBitmapItself) {
    auto bitmap = std::make_shared<Bitmap>(Size<int>(4, 3), PixelFormat::ARGB8p, 96.0f, 96.0f);
    EXPECT_FALSE(SwBitmapCache::IsCached(bitmap));
    auto compatible = SwSurface::GetCompatibleBitmap(bitmap);
    EXPECT_EQ(compatible, bitmap->GetImplementation());
    // Registered in the Bitmap's store, not in its implementation's.
    EXPECT_TRUE(SwBitmapCache::IsCached(bitmap));
    EXPECT_FALSE(SwBitmapCache::IsCached(bitmap->GetImplementation()));
    EXPECT_EQ(SwSurface::GetCompatibleBitmap(bitmap), compatible);

    // Nothing to copy back for a supported format, cached or not.
    SwSurface::UpdateBitmap(bitmap);
    SwSurface::ClearCachedBitmap(bitmap);
    EXPECT_FALSE(SwBitmapCache::IsCached(bitmap));
    SwSurface::UpdateBitmap(bitmap);

    auto xrgb = std::make_shared<SysMemBitmap>(Size<int>(2, 2), PixelFormat::XRGB8, 96.0f, 96.0f);
    EXPECT_EQ(SwSurface::GetCompatibleBitmap(std::shared_ptr<BitmapBase>(xrgb)), xrgb);
    EXPECT_TRUE(SwBitmapCache::IsCached(xrgb));
    SwSurface::UpdateBitmap(std::shared_ptr<BitmapBase>(xrgb));
    // The bitmap now holds itself through its cache until the entry goes,
    // as it does at every Present.
    SwSurface::ClearCachedBitmap(std::shared_ptr<BitmapBase>(xrgb));
    EXPECT_EQ(xrgb.use_count(), 1);
}

TEST(SwSurface, OtherFormatsGoThroughAnARGB8pCopy) {
    auto bitmap = std::make_shared<Bitmap>(Size<int>(3, 2), PixelFormat::RGB8, 96.0f, 72.0f);
    const unsigned char rgb[2][9] = {{0x10, 0x20, 0x30, 0x40, 0x50, 0x60, 0x70, 0x80, 0x90},
                                     {0xA0, 0xB0, 0xC0, 0xD0, 0xE0, 0xF0, 0x01, 0x02, 0x03}};
    bitmap->CopyFromMemory(nullptr, rgb, 9, 9);

    auto copy = SwSurface::GetCompatibleBitmap(bitmap);
    ASSERT_TRUE(copy);
    EXPECT_NE(copy, bitmap->GetImplementation());
    EXPECT_EQ(copy->GetPixelFormat(), PixelFormat::ARGB8p);
    EXPECT_EQ(copy->GetSize(), Size<int>(3, 2));
    EXPECT_EQ(copy->GetDpiX(), 96.0f);
    EXPECT_EQ(copy->GetDpiY(), 72.0f);
    // The copy starts with the bitmap's content: blue, green, red bytes
    // become an opaque word.
    EXPECT_EQ(TargetTest::ReadWord(*copy, 0, 0), 0xFF302010u);
    EXPECT_EQ(TargetTest::ReadWord(*copy, 2, 0), 0xFF908070u);
    EXPECT_EQ(TargetTest::ReadWord(*copy, 1, 1), 0xFFF0E0D0u);
    EXPECT_EQ(SwSurface::GetCompatibleBitmap(bitmap), copy);

    // Painting on the copy reaches the bitmap only through UpdateBitmap.
    const Rect<int> pixel(1, 0, 2, 1);
    copy->ColorFill(&pixel, Color(0xFF0000FFu));
    EXPECT_EQ(TargetTest::ReadBytes(*bitmap, 1, 0, 3), (std::vector<unsigned char>{0x40, 0x50, 0x60}));
    SwSurface::UpdateBitmap(bitmap);
    EXPECT_EQ(TargetTest::ReadBytes(*bitmap, 1, 0, 3), (std::vector<unsigned char>{0xFF, 0x00, 0x00}));
    EXPECT_EQ(TargetTest::ReadBytes(*bitmap, 0, 1, 3), (std::vector<unsigned char>{0xA0, 0xB0, 0xC0}));

    // A BitmapBase of another format is cached in its own store.
    auto gray = std::make_shared<SysMemBitmap>(Size<int>(2, 1), PixelFormat::L8, 96.0f, 96.0f);
    const unsigned char levels[2] = {0x00, 0x7F};
    gray->CopyFromMemory(nullptr, levels, 2, 2);
    auto grayCopy = SwSurface::GetCompatibleBitmap(std::shared_ptr<BitmapBase>(gray));
    ASSERT_TRUE(grayCopy);
    EXPECT_EQ(grayCopy->GetPixelFormat(), PixelFormat::ARGB8p);
    EXPECT_EQ(TargetTest::ReadWord(*grayCopy, 1, 0), 0xFF7F7F7Fu);
    grayCopy->ColorFill(nullptr, Color(0xFFFFFFFFu));
    SwSurface::UpdateBitmap(std::shared_ptr<BitmapBase>(gray));
    LockedData lock = gray->Lock(nullptr, LockMode::Read);
    EXPECT_EQ(static_cast<unsigned char*>(lock.data)[0], 0xFF);
    EXPECT_EQ(static_cast<unsigned char*>(lock.data)[1], 0xFF);
    gray->Unlock();
}

TEST(SwSurface, UpdateBitmapWithoutACopyFails) {
    auto bitmap = std::make_shared<Bitmap>(Size<int>(2, 2), PixelFormat::RGB8, 96.0f, 96.0f);
    ExpectFailure([&] { SwSurface::UpdateBitmap(bitmap); }, "UpdateBitmap", "Bitmap is not cached");

    auto base = std::shared_ptr<BitmapBase>(
        std::make_shared<SysMemBitmap>(Size<int>(2, 2), PixelFormat::A8, 96.0f, 96.0f));
    ExpectFailure([&] { SwSurface::UpdateBitmap(base); }, "UpdateBitmap", "Bitmap is not cached");

    // After the copy is dropped the same failure comes back.
    SwSurface::GetCompatibleBitmap(bitmap);
    SwSurface::UpdateBitmap(bitmap);
    SwSurface::ClearCachedBitmap(bitmap);
    ExpectFailure([&] { SwSurface::UpdateBitmap(bitmap); }, "UpdateBitmap", "Bitmap is not cached");
}

TEST(SwSurface, ClearCachedBitmapDropsEveryDerivedCache) {
    auto bitmap = std::make_shared<Bitmap>(Size<int>(2, 2), PixelFormat::L8, 96.0f, 96.0f);
    SwSurface::GetCompatibleBitmap(bitmap);
    const unsigned int token = CacheHolder::GenerateUniqueToken();
    bitmap->SetCache(token, std::make_shared<Marker>());
    ASSERT_TRUE(SwBitmapCache::IsCached(bitmap));

    SwSurface::ClearCachedBitmap(bitmap);
    EXPECT_FALSE(SwBitmapCache::IsCached(bitmap));
    EXPECT_FALSE(bitmap->GetCache(token));

    auto base = std::make_shared<SysMemBitmap>(Size<int>(2, 2), PixelFormat::A8, 96.0f, 96.0f);
    SwSurface::GetCompatibleBitmap(std::shared_ptr<BitmapBase>(base));
    base->SetCache(token, std::make_shared<Marker>());
    SwSurface::ClearCachedBitmap(std::shared_ptr<BitmapBase>(base));
    EXPECT_FALSE(SwBitmapCache::IsCached(base));
    EXPECT_FALSE(base->GetCache(token));

    // Empty pointers are tolerated throughout.
    EXPECT_FALSE(SwSurface::GetCompatibleBitmap(std::shared_ptr<Bitmap>()));
    EXPECT_FALSE(SwSurface::GetCompatibleBitmap(std::shared_ptr<BitmapBase>()));
    SwSurface::UpdateBitmap(std::shared_ptr<Bitmap>());
    SwSurface::ClearCachedBitmap(std::shared_ptr<BitmapBase>());
}

TEST(SwBitmapSurface, ForwardsAndPresents) {
    auto bitmap = std::make_shared<Bitmap>(Size<int>(5, 4), PixelFormat::A8, 150.0f, 300.0f);
    SwBitmapSurface surface(bitmap);
    EXPECT_EQ(surface.GetPixelFormat(), PixelFormat::A8);
    EXPECT_EQ(surface.GetSize(), Size<int>(5, 4));
    EXPECT_EQ(surface.GetDpiX(), 150.0f);
    EXPECT_EQ(surface.GetDpiY(), 300.0f);

    TargetTest::FillBytes(*bitmap, 0x40);
    auto painted = surface.BeginPaint();
    ASSERT_TRUE(painted);
    EXPECT_EQ(painted->GetPixelFormat(), PixelFormat::ARGB8p);
    // Alpha 0x40 becomes all four bytes 0x40.
    EXPECT_EQ(TargetTest::ReadWord(*painted, 4, 3), 0x40404040u);

    painted->ColorFill(nullptr, Color(0xFFFF0000u));
    surface.EndPaint();
    EXPECT_EQ(TargetTest::ReadBytes(*bitmap, 0, 0, 1)[0], 0x40);
    surface.Present();
    EXPECT_EQ(TargetTest::ReadBytes(*bitmap, 0, 0, 1)[0], 0xFF);
    EXPECT_EQ(TargetTest::ReadBytes(*bitmap, 4, 3, 1)[0], 0xFF);
    EXPECT_FALSE(SwBitmapCache::IsCached(bitmap));

    SwBitmapSurface empty(nullptr);
    EXPECT_EQ(empty.GetSize(), Size<int>(0, 0));
    EXPECT_FALSE(empty.BeginPaint());
    empty.Present();
}
