#include "Graphics/Bitmap.h"
#include "LogCapture.h"
#include "bitmap/PixelBuffer.h"
#include "bitmap/SolidColorBitmapSource.h"
#include "bitmap/SwBitmapCache.h"
#include "bitmap/SysMemBitmap.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

using namespace Graphics;

namespace {

// A memory bitmap that counts its locks.
class CountingBitmap : public SysMemBitmap {
public:
    CountingBitmap(const Size<int>& size, PixelFormat::Enum format) : SysMemBitmap(size, format, 96, 96) {}
    LockedData Lock(const Rect<int>* rect, LockMode::Enum mode) override {
        ++locks;
        lastRect = rect ? *rect : Rect<int>(-1, -1, -1, -1);
        lastMode = mode;
        return SysMemBitmap::Lock(rect, mode);
    }
    int locks = 0;
    Rect<int> lastRect;
    LockMode::Enum lastMode = LockMode::Read;
};

struct Marker : CacheBase {};

unsigned int Pixel32(BitmapBase& b, int x, int y) {
    LockedData l = b.Lock(nullptr, LockMode::Read);
    unsigned int v;
    std::memcpy(&v, static_cast<unsigned char*>(l.data) + static_cast<long>(l.stride) * y + 4 * x, 4);
    b.Unlock();
    return v;
}

void Fill32(BitmapBase& b, unsigned int value) {
    LockedData l = b.Lock(nullptr, LockMode::Write);
    for (int y = 0; y < b.GetSize().height; ++y)
        for (int x = 0; x < b.GetSize().width; ++x)
            std::memcpy(static_cast<unsigned char*>(l.data) + static_cast<long>(l.stride) * y + 4 * x, &value, 4);
    b.Unlock();
}

}  // namespace

TEST(PixelFormat, Table) {
    const int bits[] = {-1, 24, 32, 32, 32, 8, 8, 8, 1, 1, 1, -1};
    for (int f = 0; f <= 11; ++f) EXPECT_EQ(PixelFormat::GetBitsPerPixel(PixelFormat::Enum(f)), bits[f]) << f;
    for (int f : {0, 1, 4, 6, 7, 9, 10, 11}) EXPECT_FALSE(PixelFormat::HasAlpha(PixelFormat::Enum(f))) << f;
    for (int f : {2, 3, 5, 8}) EXPECT_TRUE(PixelFormat::HasAlpha(PixelFormat::Enum(f))) << f;
    for (int f = 0; f <= 11; ++f) {
        EXPECT_EQ(PixelFormat::IsIndexed(PixelFormat::Enum(f)), f == 6 || f == 9) << f;
        EXPECT_EQ(PixelFormat::IsPremultiplied(PixelFormat::Enum(f)), f == 2) << f;
    }
    const unsigned int colors[] = {0xFF000000u, 0xFFFFFFFFu, 0x80FF0000u};
    Palette palette(colors, 3);
    EXPECT_EQ(palette.GetCount(), 3u);
    EXPECT_EQ(palette.GetColor(2), 0x80FF0000u);
}

TEST(PixelBuffer, StrideAndPointers) {
    PixelBuffer a1(Size<int>(1, 1), PixelFormat::A1);
    EXPECT_EQ(a1.stride, 16);
    EXPECT_EQ(a1.GetPointer(9, 0), a1.GetPointer() + 1);
    EXPECT_EQ(a1.GetPointer(7, 0), a1.GetPointer());

    PixelBuffer rgb(Size<int>(5, 3), PixelFormat::RGB8);
    EXPECT_EQ(rgb.stride, 16);
    EXPECT_EQ(rgb.bitsPerPixel, 24);
    EXPECT_EQ(rgb.GetPointer(2), rgb.GetPointer() + 32);
    EXPECT_EQ(rgb.GetPointer(4, 2), rgb.GetPointer() + 32 + 12);
    // The spare byte after the last row lets the last pixel be read as a word.
    rgb.GetPointer()[rgb.stride * 3] = 0x5A;
    EXPECT_EQ(reinterpret_cast<uintptr_t>(rgb.GetPointer()) % 16, 0u);

    PixelBuffer wide(Size<int>(17, 1), 32u);
    EXPECT_EQ(wide.stride, 80);
    PixelBuffer empty(Size<int>(0, 0), PixelFormat::ARGB8);
    EXPECT_EQ(empty.stride, 0);
    EXPECT_NE(empty.GetPointer(), nullptr);

    EXPECT_GRAPHICS_FAILURE((void)PixelBuffer(Size<int>(1 << 30, 1 << 30), PixelFormat::ARGB8), "AllocAligned",
                            "Not enough memory");
    EXPECT_GRAPHICS_FAILURE((void)Bitmap(Size<int>(-5, 10), PixelFormat::ARGB8, 96, 96), "AllocAligned",
                            "Not enough memory");
}

TEST(SysMemBitmap, LockReachesTheRightEdge) {
    SysMemBitmap b(Size<int>(10, 4), PixelFormat::ARGB8, 72, 144);
    EXPECT_EQ(b.GetDpiX(), 72);
    EXPECT_EQ(b.GetDpiY(), 144);
    EXPECT_EQ(b.GetPalette(), nullptr);
    const LockedData whole = b.Lock(nullptr, LockMode::Read);
    EXPECT_EQ(whole.rowBytes, 40);
    EXPECT_EQ(whole.stride, 48);
    const Rect<int> r(3, 2, 4, 3);
    const LockedData part = b.Lock(&r, LockMode::Write);
    EXPECT_EQ(part.rowBytes, 28);
    EXPECT_EQ(part.data, static_cast<unsigned char*>(whole.data) + 2 * 48 + 12);

    SysMemBitmap bits(Size<int>(20, 2), PixelFormat::L1, 96, 96);
    const Rect<int> r1(9, 1, 10, 2);
    const LockedData l1 = bits.Lock(&r1, LockMode::Read);
    EXPECT_EQ(l1.rowBytes, 2);  // (11 * 1 + 7) / 8
    EXPECT_EQ(l1.data, static_cast<unsigned char*>(bits.Lock(nullptr, LockMode::Read).data) + 16 + 1);
}

TEST(BitmapBase, CopyToAndFromMemory) {
    SysMemBitmap b(Size<int>(4, 3), PixelFormat::ARGB8, 96, 96);
    std::vector<unsigned int> src(12);
    for (int i = 0; i < 12; ++i) src[i] = 0x01000000u * (i + 1) + i;
    b.CopyFromMemory(nullptr, src.data(), 16, 16);
    EXPECT_EQ(Pixel32(b, 3, 2), src[11]);

    // A narrower row limit copies that many bytes and leaves the rest alone.
    std::vector<unsigned int> dst(12, 0xDEADBEEFu);
    b.CopyToMemory(nullptr, dst.data(), 16, 8);
    EXPECT_EQ(dst[0], src[0]);
    EXPECT_EQ(dst[1], src[1]);
    EXPECT_EQ(dst[2], 0xDEADBEEFu);
    EXPECT_EQ(dst[9], src[9]);
    EXPECT_EQ(dst[11], 0xDEADBEEFu);

    // A rectangle reaching past the left and top edge starts at 0 but keeps
    // its row count.
    std::fill(dst.begin(), dst.end(), 0u);
    const Rect<int> r(-1, -1, 1, 1);
    b.CopyToMemory(&r, dst.data(), 16, 16);
    EXPECT_EQ(dst[0], src[0]);
    EXPECT_EQ(dst[3], src[3]);  // the lock reached the right edge
    EXPECT_EQ(dst[4], src[4]);  // two rows, as the rectangle says
    EXPECT_EQ(dst[8], 0u);

    // A rectangle outside the bitmap locks (0, 0, 0, 0) and copies whole rows
    // from the top; rows past the bottom are never read.
    std::fill(dst.begin(), dst.end(), 0u);
    const Rect<int> outside(10, 10, 11, 30);
    b.CopyToMemory(&outside, dst.data(), 16, 16);
    EXPECT_EQ(dst[0], src[0]);
    EXPECT_EQ(dst[11], src[11]);

    // From memory into a part: the lock starts at the rectangle.
    const unsigned int two[2] = {0xAAAAAAAAu, 0xBBBBBBBBu};
    const Rect<int> at(2, 1, 3, 2);
    b.CopyFromMemory(&at, two, 8, 8);
    EXPECT_EQ(Pixel32(b, 2, 1), 0xAAAAAAAAu);
    EXPECT_EQ(Pixel32(b, 3, 1), 0xBBBBBBBBu);
    EXPECT_EQ(Pixel32(b, 1, 1), src[5]);
    // Rectangles that would write outside the pixels are ignored.
    const Rect<int> bad(7, 0, 9, 2);
    b.CopyFromMemory(&bad, two, 8, 8);
    const Rect<int> below(0, 2, 1, 50);
    std::vector<unsigned int> big(4 * 48, 0x12345678u);
    b.CopyFromMemory(&below, big.data(), 16, 16);
    EXPECT_EQ(Pixel32(b, 0, 2), 0x12345678u);

    LockedData from = b.Lock(nullptr, LockMode::Read);
    std::vector<unsigned int> out(6, 0);
    LockedData to{out.data(), 8, 8};
    BitmapBase::CopyLockedDataInternal(from, to, 3);
    EXPECT_EQ(out[0], src[0]);
    EXPECT_EQ(out[3], src[5]);
    EXPECT_EQ(out[5], 0x12345678u);
    BitmapBase::CopyLockedDataInternal(from, to, 0);
}

TEST(BitmapBase, CopyWithSameFormat) {
    auto src = std::make_shared<SysMemBitmap>(Size<int>(2, 2), PixelFormat::ARGB8p, 96, 96);
    Fill32(*src, 0x11223344u);
    CountingBitmap dst(Size<int>(4, 4), PixelFormat::ARGB8p);
    Fill32(dst, 0);
    dst.locks = 0;

    // An empty source rectangle locks nothing.
    const Rect<int> empty(1, 0, 1, 2);
    dst.CopyWithSameFormat(nullptr, src, &empty);
    EXPECT_EQ(dst.locks, 0);
    // Inverted rectangles are not empty by this test and go on.
    const Point<int> p(1, 1);
    dst.CopyFromBitmap(&p, src, nullptr);
    EXPECT_EQ(dst.locks, 1);
    EXPECT_EQ(dst.lastRect, Rect<int>(1, 1, 3, 3));
    EXPECT_EQ(dst.lastMode, LockMode::Write);
    EXPECT_EQ(Pixel32(dst, 1, 1), 0x11223344u);
    EXPECT_EQ(Pixel32(dst, 2, 2), 0x11223344u);
    EXPECT_EQ(Pixel32(dst, 3, 3), 0u);
    EXPECT_EQ(Pixel32(dst, 0, 0), 0u);

    // A destination wholly outside still locks and writes from the top left.
    dst.locks = 0;
    const Point<int> far(100, 100);
    Fill32(*src, 0x55555555u);
    dst.CopyFromBitmap(&far, src, nullptr);
    EXPECT_GE(dst.locks, 1);
    EXPECT_EQ(dst.lastRect, Rect<int>(0, 0, 0, 0));
    EXPECT_EQ(Pixel32(dst, 0, 0), 0x55555555u);
    EXPECT_EQ(Pixel32(dst, 1, 1), 0x55555555u);

    // Clipped at the bottom, the rows that fit land and nothing overflows.
    auto tall = std::make_shared<SysMemBitmap>(Size<int>(1, 9), PixelFormat::ARGB8p, 96, 96);
    Fill32(*tall, 0x77777777u);
    const Point<int> low(3, 2);
    dst.CopyFromBitmap(&low, tall, nullptr);
    EXPECT_EQ(Pixel32(dst, 3, 2), 0x77777777u);
    EXPECT_EQ(Pixel32(dst, 3, 3), 0x77777777u);
}

TEST(BitmapBase, ColorFill) {
    // The fill converts from ARGB8, so a premultiplied bitmap gets the
    // premultiplied colour.
    SysMemBitmap p(Size<int>(3, 2), PixelFormat::ARGB8p, 96, 96);
    p.ColorFill(nullptr, Color(0x80FF0000u));
    EXPECT_EQ(Pixel32(p, 0, 0), 0x80800000u);
    EXPECT_EQ(Pixel32(p, 2, 1), 0x80800000u);

    const Rect<int> r(1, 1, 3, 2);
    p.ColorFill(&r, Color(0xFF00FF00u));
    EXPECT_EQ(Pixel32(p, 0, 1), 0x80800000u);
    EXPECT_EQ(Pixel32(p, 1, 1), 0xFF00FF00u);
    EXPECT_EQ(Pixel32(p, 2, 1), 0xFF00FF00u);
    EXPECT_EQ(Pixel32(p, 1, 0), 0x80800000u);

    SysMemBitmap x(Size<int>(2, 1), PixelFormat::XRGB8, 96, 96);
    x.ColorFill(nullptr, Color(0.0f, 0.0f, 1.0f, 0.0f));
    EXPECT_EQ(Pixel32(x, 1, 0), 0xFF0000FFu);

    SysMemBitmap rgb(Size<int>(3, 1), PixelFormat::RGB8, 96, 96);
    rgb.ColorFill(nullptr, Color(0xFF102030u));
    const unsigned char* q = static_cast<unsigned char*>(rgb.Lock(nullptr, LockMode::Read).data);
    EXPECT_EQ(q[6], 0x30);
    EXPECT_EQ(q[7], 0x20);
    EXPECT_EQ(q[8], 0x10);

    // One-bit fills repeat the pixel's byte over an eighth of the row.
    SysMemBitmap a1(Size<int>(16, 1), PixelFormat::A1, 96, 96);
    unsigned char* bits = static_cast<unsigned char*>(a1.Lock(nullptr, LockMode::Write).data);
    bits[0] = bits[1] = 0;
    a1.ColorFill(nullptr, Color(0xFF000000u));
    EXPECT_EQ(bits[0], 0x80);
    EXPECT_EQ(bits[1], 0x00);

    // Indexed bitmaps can't be filled, and keep their pixels.
    SysMemBitmap p8(Size<int>(4, 1), PixelFormat::P8, 96, 96);
    unsigned char* idx = static_cast<unsigned char*>(p8.Lock(nullptr, LockMode::Write).data);
    std::memset(idx, 3, 4);
    EXPECT_GRAPHICS_FAILURE(p8.ColorFill(nullptr, Color(0xFFFFFFFFu)), "ThrowBadConversion", "Bad format conversion");
    EXPECT_EQ(idx[3], 3);
}

TEST(SolidColorBitmapSource, CopiesOneColour) {
    SolidColorBitmapSource s(Size<int>(3, 2), PixelFormat::ARGB8, Color(0x40112233u));
    EXPECT_EQ(s.GetDpiX(), 96.0f);
    EXPECT_EQ(s.GetPalette(), nullptr);
    std::vector<unsigned int> out(8, 0);
    s.CopyToMemory(nullptr, out.data(), 16, 8);  // row limit of two pixels
    EXPECT_EQ(out[0], 0x40112233u);
    EXPECT_EQ(out[1], 0x40112233u);
    EXPECT_EQ(out[2], 0u);
    EXPECT_EQ(out[4], 0x40112233u);
    const Rect<int> inverted(2, 2, 1, 1);
    s.CopyToMemory(&inverted, out.data(), 16, 16);

    EXPECT_GRAPHICS_FAILURE((void)SolidColorBitmapSource(Size<int>(1, 1), PixelFormat::P1, Color()), "ThrowBadConversion",
                            "Bad format conversion");
}

TEST(Bitmap, CacheRules) {
    auto bitmap = std::make_shared<Bitmap>(Size<int>(4, 4), PixelFormat::ARGB8p, 96.0f, 96.0f);
    EXPECT_FALSE(bitmap->IsOffscreenPainting());
    auto marker = std::make_shared<Marker>();
    auto refill = [&] { bitmap->SetCache(42, marker); };
    auto cached = [&] { return bitmap->GetCache(42) != nullptr; };

    refill();
    bitmap->Lock(nullptr, LockMode::Read);
    bitmap->Unlock();
    EXPECT_TRUE(cached());
    bitmap->Lock(nullptr, LockMode::ReadWrite);
    bitmap->Unlock();
    EXPECT_TRUE(cached());  // read-write deliberately keeps them
    bitmap->Lock(nullptr, LockMode::Write);
    bitmap->Unlock();
    EXPECT_FALSE(cached());

    refill();
    bitmap->ColorFill(nullptr, Color(0xFF000000u));
    EXPECT_TRUE(cached());  // a fill leaves caches alone
    bitmap->CopyFromBitmap(nullptr, nullptr, nullptr);
    EXPECT_TRUE(cached());  // no source: nothing at all
    const unsigned int word = 0xFFFFFFFFu;
    const Rect<int> one(0, 0, 1, 1);
    bitmap->CopyFromMemory(&one, &word, 4, 4);
    EXPECT_FALSE(cached());

    refill();
    auto other = std::make_shared<Bitmap>(Size<int>(2, 2), PixelFormat::ARGB8p, 96.0f, 96.0f);
    bitmap->CopyFromBitmap(nullptr, other, nullptr);
    EXPECT_FALSE(cached());

    refill();
    bitmap->SetPalette(nullptr);
    EXPECT_FALSE(cached());

    // The implementation's store is a separate one.
    refill();
    bitmap->GetImplementation()->SetCache(42, marker);
    bitmap->GetImplementation()->NotifyChange();
    EXPECT_TRUE(cached());
    bitmap->NotifyChange();
    EXPECT_FALSE(cached());

    EXPECT_GRAPHICS_FAILURE(bitmap->CopyFromRenderTarget(nullptr, nullptr, nullptr), "CopyFromRenderTarget",
                            "Not implemented");
}

TEST(Bitmap, ForwardsToItsImplementation) {
    auto impl = std::make_shared<SysMemBitmap>(Size<int>(3, 5), PixelFormat::L8, 50.0f, 60.0f);
    Bitmap b(impl);
    EXPECT_EQ(b.GetPixelFormat(), PixelFormat::L8);
    EXPECT_EQ(b.GetSize(), Size<int>(3, 5));
    EXPECT_EQ(b.GetDpiX(), 50.0f);
    EXPECT_EQ(b.GetDpiY(), 60.0f);
    const unsigned int colors[] = {1, 2};
    auto palette = std::make_shared<Palette>(colors, 2);
    b.SetPalette(palette);
    EXPECT_EQ(impl->GetPalette(), palette);
    EXPECT_EQ(b.GetPalette(), palette);
    unsigned char* row = static_cast<unsigned char*>(b.Lock(nullptr, LockMode::Write).data);
    row[0] = 9;
    b.Unlock();
    unsigned char out[3] = {0, 0, 0};
    b.CopyToMemory(nullptr, out, 0, 3);  // all rows onto one: the last wins
    EXPECT_EQ(out[0], row[16 * 4]);
}

TEST(SwBitmapCache, EntriesFollowTheSource) {
    auto source = std::make_shared<SolidColorBitmapSource>(Size<int>(3, 2), PixelFormat::ARGB8, Color(0xFF0000FFu));
    EXPECT_FALSE(SwBitmapCache::IsCached(source));
    auto copy = SwBitmapCache::GetCachedBitmap(source);
    ASSERT_NE(copy, nullptr);
    EXPECT_NE(std::dynamic_pointer_cast<SysMemBitmap>(copy), nullptr);
    EXPECT_EQ(copy->GetSize(), Size<int>(3, 2));
    EXPECT_EQ(copy->GetPixelFormat(), PixelFormat::ARGB8);
    EXPECT_EQ(Pixel32(*copy, 2, 1), 0xFF0000FFu);
    EXPECT_TRUE(SwBitmapCache::IsCached(source));
    EXPECT_EQ(SwBitmapCache::GetCachedBitmap(source), copy);
    EXPECT_EQ(DeriveBitmapFromSource(source), copy);

    source->NotifyChange();
    EXPECT_FALSE(SwBitmapCache::IsCached(source));

    // Clearing leaves the token in the map with an empty pointer.
    SwBitmapCache::GetCachedBitmap(source);
    source->SetCache(SwBitmapCache::m_Token + 1000, std::make_shared<Marker>());
    SwBitmapCache::ClearCachedBitmap(source);
    EXPECT_FALSE(SwBitmapCache::IsCached(source));
    EXPECT_EQ(source->GetCache(SwBitmapCache::m_Token), nullptr);
    EXPECT_NE(source->GetCache(SwBitmapCache::m_Token + 1000), nullptr);

    // Registering an existing bitmap: the first one wins.
    auto first = std::make_shared<SysMemBitmap>(Size<int>(1, 1), PixelFormat::ARGB8p, 96, 96);
    auto second = std::make_shared<SysMemBitmap>(Size<int>(1, 1), PixelFormat::ARGB8p, 96, 96);
    EXPECT_EQ(SwBitmapCache::SetCachedBitmap(source, first), first);
    EXPECT_EQ(SwBitmapCache::SetCachedBitmap(source, second), first);
    EXPECT_EQ(SwBitmapCache::SetCachedBitmap(source, PixelFormat::L8), first);
}

TEST(SwBitmapCache, DeriveBitmapFromSource) {
    auto base = std::make_shared<SysMemBitmap>(Size<int>(1, 1), PixelFormat::ARGB8p, 96, 96);
    EXPECT_EQ(DeriveBitmapFromSource(base), base);
    auto bitmap = std::make_shared<Bitmap>(base);
    EXPECT_EQ(DeriveBitmapFromSource(bitmap), base);
    EXPECT_FALSE(SwBitmapCache::IsCached(bitmap));
    EXPECT_EQ(DeriveBitmapFromSource(nullptr), nullptr);
    // A cached copy is preferred over the object itself.
    auto other = std::make_shared<SysMemBitmap>(Size<int>(1, 1), PixelFormat::ARGB8p, 96, 96);
    SwBitmapCache::SetCachedBitmap(bitmap, other);
    EXPECT_EQ(DeriveBitmapFromSource(bitmap), other);
}

TEST(SwBitmapCache, ConvertedCopies) {
    // An indexed source expands through its palette.
    auto p8 = std::make_shared<SysMemBitmap>(Size<int>(3, 1), PixelFormat::P8, 96, 96);
    const unsigned int colors[] = {0xFF000000u, 0x80FF0000u, 0xFF00FF00u};
    p8->SetPalette(std::make_shared<Palette>(colors, 3));
    unsigned char* idx = static_cast<unsigned char*>(p8->Lock(nullptr, LockMode::Write).data);
    idx[0] = 2;
    idx[1] = 1;
    idx[2] = 0;
    auto copy = SwBitmapCache::SetCachedBitmap(p8, PixelFormat::ARGB8p);
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(copy->GetPixelFormat(), PixelFormat::ARGB8p);
    EXPECT_EQ(Pixel32(*copy, 0, 0), 0xFF00FF00u);
    EXPECT_EQ(Pixel32(*copy, 1, 0), 0x80800000u);
    EXPECT_EQ(Pixel32(*copy, 2, 0), 0xFF000000u);
    EXPECT_EQ(SwBitmapCache::SetCachedBitmap(p8, PixelFormat::XRGB8), copy);

    // A conversion that does not exist leaves no entry.
    auto rgb = std::make_shared<SysMemBitmap>(Size<int>(2, 2), PixelFormat::XRGB8, 96, 96);
    EXPECT_GRAPHICS_FAILURE(SwBitmapCache::SetCachedBitmap(rgb, PixelFormat::A8), "ThrowBadConversion",
                            "Bad format conversion");
    EXPECT_FALSE(SwBitmapCache::IsCached(rgb));

    // Between bitmaps of different formats, CopyFromBitmap converts.
    auto bitmap = std::make_shared<Bitmap>(Size<int>(3, 1), PixelFormat::XRGB8, 96.0f, 96.0f);
    bitmap->CopyFromBitmap(nullptr, p8, nullptr);
    EXPECT_EQ(Pixel32(*bitmap->GetImplementation(), 1, 0), 0xFFFF0000u);
}
