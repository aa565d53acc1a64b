#include "Graphics/Bitmap.h"
#include "LogCapture.h"
#include "bitmap/PixelBuffer.h"
#include "bitmap/SolidColorBitmapSource.h"
#include "bitmap/SwBitmapCache.h"
#include "bitmap/SysMemBitmap.h"
#include <gtest/gtest.h>
#include <cstring>
#include <functional>
#include <vector>

using namespace Graphics;

namespace {
struct Marker : CacheBase {};
unsigned char* Data(BitmapBase& b) { return static_cast<unsigned char*>(b.Lock(nullptr, LockMode::Read).data); }

unsigned int Pixel32(BitmapBase& b, int x, int y) {
    const LockedData l = b.Lock(nullptr, LockMode::Read);
    unsigned int v;
    std::memcpy(&v, static_cast<unsigned char*>(l.data) + static_cast<long>(l.stride) * y + 4 * x, 4);
    b.Unlock();
    return v;
}
void Fill32(BitmapBase& b, unsigned int value) {
    const LockedData l = b.Lock(nullptr, LockMode::Write);
    for (int y = 0; y < b.GetSize().height; ++y)
        for (int x = 0; x < b.GetSize().width; ++x)
            std::memcpy(static_cast<unsigned char*>(l.data) + static_cast<long>(l.stride) * y + 4 * x, &value, 4);
    b.Unlock();
}
}  // namespace

TEST(PixelFormat, TableBuffersAndLocks) {
    const int bits[] = {-1, 24, 32, 32, 32, 8, 8, 8, 1, 1, 1, -1};
    for (int f = 0; f <= 11; ++f) {
        const PixelFormat::Enum e = PixelFormat::Enum(f);
        EXPECT_EQ(PixelFormat::GetBitsPerPixel(e), bits[f]) << f;
        EXPECT_EQ(PixelFormat::HasAlpha(e), f == 2 || f == 3 || f == 5 || f == 8) << f;
        EXPECT_EQ(PixelFormat::IsIndexed(e), f == 6 || f == 9) << f;
        EXPECT_EQ(PixelFormat::IsPremultiplied(e), f == 2) << f;
    }
    // Rows round up to 16 bytes; a spare byte after the last row lets the last RGB8 pixel be read as a word.
    PixelBuffer a1(Size<int>(1, 1), PixelFormat::A1);
    EXPECT_EQ(a1.stride, 16);
    EXPECT_EQ(a1.GetPointer(9, 0), a1.GetPointer() + 1);
    PixelBuffer rgb(Size<int>(5, 3), PixelFormat::RGB8);
    EXPECT_EQ(rgb.stride, 16);
    EXPECT_EQ(rgb.GetPointer(4, 2), rgb.GetPointer() + 32 + 12);
    rgb.GetPointer()[rgb.stride * 3] = 0x5A;
    EXPECT_EQ(PixelBuffer(Size<int>(17, 1), 32u).stride, 80);
    // Absurd and negative sizes are reported as the heap would.
    for (const Size<int>& bad : {Size<int>(1 << 30, 1 << 30), Size<int>(-5, 10)})
        EXPECT_GRAPHICS_FAILURE((void)Bitmap(bad, PixelFormat::ARGB8, 96, 96), "AllocAligned", "Not enough memory");
    // A lock starts at the rectangle's corner and always reaches the right edge.
    SysMemBitmap b(Size<int>(10, 4), PixelFormat::ARGB8, 72, 144);
    const LockedData whole = b.Lock(nullptr, LockMode::Read);
    const Rect<int> r(3, 2, 4, 3);
    const LockedData part = b.Lock(&r, LockMode::Write);
    EXPECT_EQ(part.rowBytes, 28);
    EXPECT_EQ(part.data, static_cast<unsigned char*>(whole.data) + 2 * 48 + 12);
    SysMemBitmap l1(Size<int>(20, 2), PixelFormat::L1, 96, 96);
    const Rect<int> r1(9, 1, 10, 2);
    const LockedData bitsLock = l1.Lock(&r1, LockMode::Read);
    EXPECT_EQ(bitsLock.rowBytes, 2);  // (11 * 1 + 7) / 8
    EXPECT_EQ(bitsLock.data, Data(l1) + 16 + 1);
}

TEST(BitmapBase, CopyToAndFromMemory) {
    SysMemBitmap b(Size<int>(4, 3), PixelFormat::ARGB8, 96, 96);
    std::vector<unsigned int> src(12), dst(12, 0xDEADBEEFu);
    for (int i = 0; i < 12; ++i) src[i] = 0x01000000u * (i + 1) + i;
    b.CopyFromMemory(nullptr, src.data(), 16, 16);
    EXPECT_EQ(Pixel32(b, 3, 2), src[11]);
    const unsigned int x = 0xDEADBEEFu;  // a narrower row limit leaves the rest alone
    b.CopyToMemory(nullptr, dst.data(), 16, 8);
    EXPECT_EQ(dst, (std::vector<unsigned int>{src[0], src[1], x, x, src[4], src[5], x, x, src[8], src[9], x, x}));
    // A rectangle past the top left starts at 0, reaches the right edge and keeps its row count.
    std::fill(dst.begin(), dst.end(), 0u);
    const Rect<int> corner(-1, -1, 1, 1);
    b.CopyToMemory(&corner, dst.data(), 16, 16);
    EXPECT_EQ(dst, (std::vector<unsigned int>{src[0], src[1], src[2], src[3], src[4], src[5], src[6], src[7], 0, 0, 0, 0}));
    // One outside locks (0, 0, 0, 0): whole rows from the top, none past the bottom.
    const Rect<int> outside(10, 10, 11, 30);
    b.CopyToMemory(&outside, dst.data(), 16, 16);
    EXPECT_EQ(dst, src);
    // Into a part: the lock starts at the rectangle; writes outside are ignored or cut at the bottom.
    const unsigned int two[2] = {0xAAAAAAAAu, 0xBBBBBBBBu};
    const Rect<int> at(2, 1, 3, 2), right(7, 0, 9, 2), below(0, 2, 1, 50);
    b.CopyFromMemory(&at, two, 8, 8);
    b.CopyFromMemory(&right, two, 8, 8);
    std::vector<unsigned int> big(4 * 48, 0x12345678u);
    b.CopyFromMemory(&below, big.data(), 16, 16);
    b.CopyToMemory(nullptr, dst.data(), 16, 16);
    EXPECT_EQ(dst, (std::vector<unsigned int>{src[0], src[1], src[2], src[3], src[4], src[5], two[0], two[1],
                                              0x12345678u, 0x12345678u, 0x12345678u, 0x12345678u}));
}

TEST(BitmapBase, CopyBetweenBitmapsAndFills) {
    auto src = std::make_shared<SysMemBitmap>(Size<int>(2, 2), PixelFormat::ARGB8p, 96, 96);
    Fill32(*src, 0x11223344u);
    SysMemBitmap dst(Size<int>(4, 4), PixelFormat::ARGB8p, 96, 96);
    Fill32(dst, 0);
    const Rect<int> empty(1, 0, 1, 2);  // an empty source rectangle copies nothing
    dst.CopyWithSameFormat(nullptr, src, &empty);
    EXPECT_EQ(Pixel32(dst, 0, 0), 0u);
    const Point<int> p(1, 1), far(100, 100), low(3, 2);
    dst.CopyFromBitmap(&p, src, nullptr);
    EXPECT_EQ(Pixel32(dst, 0, 0), 0u);
    EXPECT_EQ(Pixel32(dst, 1, 1), 0x11223344u);
    EXPECT_EQ(Pixel32(dst, 3, 3), 0u);
    // A destination wholly outside locks (0, 0, 0, 0) and writes from the top left.
    Fill32(*src, 0x55555555u);
    dst.CopyFromBitmap(&far, src, nullptr);
    EXPECT_EQ(Pixel32(dst, 0, 0), 0x55555555u);
    // Clipped at the bottom, the rows that fit land and nothing overflows.
    auto tall = std::make_shared<SysMemBitmap>(Size<int>(1, 9), PixelFormat::ARGB8p, 96, 96);
    Fill32(*tall, 0x77777777u);
    dst.CopyFromBitmap(&low, tall, nullptr);
    EXPECT_EQ(Pixel32(dst, 3, 3), 0x77777777u);
    // A fill converts from ARGB8: premultiplied here, alpha forced on XRGB8.
    SysMemBitmap argb(Size<int>(3, 2), PixelFormat::ARGB8p, 96, 96);
    argb.ColorFill(nullptr, Color(0x80FF0000u));
    const Rect<int> r(1, 1, 3, 2);
    argb.ColorFill(&r, Color(0xFF00FF00u));
    EXPECT_EQ(Pixel32(argb, 0, 1), 0x80800000u);
    EXPECT_EQ(Pixel32(argb, 2, 1), 0xFF00FF00u);
    SysMemBitmap x(Size<int>(2, 1), PixelFormat::XRGB8, 96, 96);
    x.ColorFill(nullptr, Color(0.0f, 0.0f, 1.0f, 0.0f));
    EXPECT_EQ(Pixel32(x, 1, 0), 0xFF0000FFu);
    // One-bit fills repeat the pixel's byte over an eighth of the row.
    SysMemBitmap a1(Size<int>(16, 1), PixelFormat::A1, 96, 96);
    Data(a1)[0] = Data(a1)[1] = 0;
    a1.ColorFill(nullptr, Color(0xFF000000u));
    EXPECT_EQ(Data(a1)[0], 0x80);
    EXPECT_EQ(Data(a1)[1], 0x00);
    // Indexed bitmaps can't be filled, and keep their pixels.
    SysMemBitmap p8(Size<int>(4, 1), PixelFormat::P8, 96, 96);
    std::memset(Data(p8), 3, 4);
    EXPECT_GRAPHICS_FAILURE(p8.ColorFill(nullptr, Color(0xFFFFFFFFu)), "ThrowBadConversion", "Bad format conversion");
    EXPECT_EQ(Data(p8)[3], 3);
    EXPECT_GRAPHICS_FAILURE((void)SolidColorBitmapSource(Size<int>(1, 1), PixelFormat::P1, Color()),
                            "ThrowBadConversion", "Bad format conversion");
}

TEST(Bitmap, CacheRulesAndForwarding) {
    auto impl = std::make_shared<SysMemBitmap>(Size<int>(4, 4), PixelFormat::ARGB8p, 50.0f, 60.0f);
    auto bitmap = std::make_shared<Bitmap>(impl);
    // Whether an action drops the caches.
    auto drops = [&](const std::function<void()>& action) {
        bitmap->SetCache(42, std::make_shared<Marker>());
        action();
        return bitmap->GetCache(42) == nullptr;
    };
    // Only a lock for writing alone drops them; read-write keeps them.
    for (LockMode::Enum mode : {LockMode::Read, LockMode::ReadWrite, LockMode::Write})
        EXPECT_EQ(drops([&] { bitmap->Lock(nullptr, mode), bitmap->Unlock(); }), mode == LockMode::Write) << mode;
    // Fills and a copy from nothing keep them; copies and a new palette drop them.
    EXPECT_FALSE(drops([&] { bitmap->ColorFill(nullptr, Color(0xFF000000u)); }));
    EXPECT_FALSE(drops([&] { bitmap->CopyFromBitmap(nullptr, nullptr, nullptr); }));
    const unsigned int word = 0xFFFFFFFFu;
    const Rect<int> one(0, 0, 1, 1);
    EXPECT_TRUE(drops([&] { bitmap->CopyFromMemory(&one, &word, 4, 4); }));
    EXPECT_EQ(Pixel32(*impl, 0, 0), word);
    auto other = std::make_shared<Bitmap>(Size<int>(2, 2), PixelFormat::ARGB8p, 96.0f, 96.0f);
    EXPECT_TRUE(drops([&] { bitmap->CopyFromBitmap(nullptr, other, nullptr); }));
    const unsigned int colors[] = {1, 2};
    EXPECT_TRUE(drops([&] { bitmap->SetPalette(std::make_shared<Palette>(colors, 2)); }));
    // The implementation's store is a separate one.
    EXPECT_FALSE(drops([&] { impl->NotifyChange(); }));
    EXPECT_TRUE(drops([&] { bitmap->NotifyChange(); }));
    EXPECT_GRAPHICS_FAILURE(bitmap->CopyFromRenderTarget(nullptr, nullptr, nullptr), "CopyFromRenderTarget",
                            "Not implemented");
}

TEST(SwBitmapCache, CopiesFollowTheirSource) {
    auto source = std::make_shared<SolidColorBitmapSource>(Size<int>(3, 2), PixelFormat::ARGB8, Color(0xFF0000FFu));
    auto copy = SwBitmapCache::GetCachedBitmap(source);
    EXPECT_EQ(Pixel32(*copy, 2, 1), 0xFF0000FFu);
    EXPECT_EQ(SwBitmapCache::GetCachedBitmap(source), copy);
    EXPECT_EQ(DeriveBitmapFromSource(source), copy);
    source->NotifyChange();
    EXPECT_FALSE(SwBitmapCache::IsCached(source));
    // Clearing drops only this cache's entry.
    SwBitmapCache::GetCachedBitmap(source);
    source->SetCache(SwBitmapCache::m_Token + 1000, std::make_shared<Marker>());
    SwBitmapCache::ClearCachedBitmap(source);
    EXPECT_FALSE(SwBitmapCache::IsCached(source));
    EXPECT_NE(source->GetCache(SwBitmapCache::m_Token + 1000), nullptr);
    // Registering over an existing entry: the first one wins.
    auto first = std::make_shared<SysMemBitmap>(Size<int>(1, 1), PixelFormat::ARGB8p, 96, 96),
         second = std::make_shared<SysMemBitmap>(Size<int>(1, 1), PixelFormat::ARGB8p, 96, 96);
    EXPECT_EQ(SwBitmapCache::SetCachedBitmap(source, first), first);
    EXPECT_EQ(SwBitmapCache::SetCachedBitmap(source, second), first);
    // Lockable sources are used as they are, unless a cached copy exists.
    auto bitmap = std::make_shared<Bitmap>(first);
    EXPECT_EQ(DeriveBitmapFromSource(bitmap), first);
    SwBitmapCache::SetCachedBitmap(bitmap, second);
    EXPECT_EQ(DeriveBitmapFromSource(bitmap), second);
    // A conversion that does not exist leaves no entry.
    auto xrgb = std::make_shared<SysMemBitmap>(Size<int>(2, 2), PixelFormat::XRGB8, 96, 96);
    EXPECT_GRAPHICS_FAILURE(SwBitmapCache::SetCachedBitmap(xrgb, PixelFormat::A8), "ThrowBadConversion",
                            "Bad format conversion");
    EXPECT_FALSE(SwBitmapCache::IsCached(xrgb));
}
