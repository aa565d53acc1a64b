#pragma once

#include "Graphics/Cache.h"
#include "Graphics/ImplementationHolder.h"
#include "Graphics/Memory.h"
#include "Graphics/Types.h"

#include <memory>
#include <string>
#include <vector>

namespace Graphics {

class RenderTarget;

struct PixelFormat {
    enum Enum : int {
        RGB8 = 1,    // 24 bits: blue, green, red bytes
        ARGB8p = 2,  // 32-bit word, alpha on top, colour premultiplied
        ARGB8 = 3,   // 32-bit word, not premultiplied
        XRGB8 = 4,   // 32-bit word, top byte ignored (written as 255)
        A8 = 5,
        P8 = 6,
        L8 = 7,
        A1 = 8,  // one-bit formats: leftmost pixel in the bit of mask 128
        P1 = 9,
        L1 = 10
    };

    static int GetBitsPerPixel(Enum format);  // -1 outside 1..10
    static bool HasAlpha(Enum format);
    static bool IsIndexed(Enum format);
    static bool IsPremultiplied(Enum format);
};

struct LockMode {
    enum Enum : int { Read = 1, Write = 2, ReadWrite = 3 };
};

struct LockedData {
    void* data = nullptr;  // first requested pixel
    int stride = 0;        // bytes from one row to the next
    int rowBytes = 0;      // usable bytes from data within a row
};

// Immutable list of ARGB8 (not premultiplied) words.
class Palette {
public:
    Palette(const unsigned int* colors, unsigned long count);
    // No bounds check.
    unsigned int GetColor(unsigned long index) const { return colors[index]; }
    unsigned long GetCount() const { return static_cast<unsigned long>(colors.size()); }

private:
    std::vector<unsigned int> colors;
};

// Read-only pixels, and a store of what back ends derive from them.
class BitmapSource : public CacheHolder {
public:
    virtual ~BitmapSource();
    virtual PixelFormat::Enum GetPixelFormat() const = 0;
    virtual Size<int> GetSize() const = 0;
    virtual float GetDpiX() const = 0;
    virtual float GetDpiY() const = 0;
    virtual std::shared_ptr<Palette> GetPalette() const = 0;
    // A null rect means the whole source.
    virtual void CopyToMemory(const Rect<int>* rect, void* destination, int stride, int maxRowBytes) = 0;
    virtual bool IsOffscreenPainting() const;

    // Whoever changes the pixels behind the source's back calls this: every
    // back end's derived data is dropped.
    void NotifyChange() { ReleaseAllCaches(); }
};

// Writable, lockable pixels.
class BitmapBase : public BitmapSource {
public:
    BitmapBase(const Size<int>& size, PixelFormat::Enum format, float dpiX, float dpiY);

    PixelFormat::Enum GetPixelFormat() const override { return format; }
    Size<int> GetSize() const override { return size; }
    float GetDpiX() const override { return dpiX; }
    float GetDpiY() const override { return dpiY; }
    void CopyToMemory(const Rect<int>* rect, void* destination, int stride, int maxRowBytes) override;

    virtual void SetPalette(std::shared_ptr<Palette> palette) = 0;
    // A null rect means from the top left pixel. A lock always reaches the
    // right edge of the bitmap.
    virtual LockedData Lock(const Rect<int>* rect, LockMode::Enum mode) = 0;
    virtual void Unlock() = 0;
    virtual void ColorFill(const Rect<int>* rect, const Color& color);
    virtual void CopyWithSameFormat(const Point<int>* destination, std::shared_ptr<BitmapSource> source,
                                    const Rect<int>* sourceRect);

    // Converts through PixelFormatConverter when the formats differ.
    void CopyFromBitmap(const Point<int>* destination, std::shared_ptr<BitmapSource> source,
                        const Rect<int>* sourceRect);
    void CopyFromMemory(const Rect<int>* rect, const void* source, int stride, int maxRowBytes);

    static void CopyLockedDataInternal(const LockedData& source, const LockedData& destination, int rows);

protected:
    Size<int> size;
    PixelFormat::Enum format;
    float dpiX;
    float dpiY;
};

// The public bitmap. Its own caches and those of its implementation are two
// separate stores: back ends given a Bitmap attach their data to the Bitmap.
class Bitmap : public GraphicsBase, public ImplementationHolder<BitmapBase>, public BitmapSource {
public:
    explicit Bitmap(std::shared_ptr<BitmapBase> implementation);
    Bitmap(const Size<int>& size, PixelFormat::Enum format, float dpiX, float dpiY);
    ~Bitmap() override;

    PixelFormat::Enum GetPixelFormat() const override;
    Size<int> GetSize() const override;
    float GetDpiX() const override;
    float GetDpiY() const override;
    std::shared_ptr<Palette> GetPalette() const override;
    void CopyToMemory(const Rect<int>* rect, void* destination, int stride, int maxRowBytes) override;
    bool IsOffscreenPainting() const override;

    void SetPalette(std::shared_ptr<Palette> palette);
    LockedData Lock(const Rect<int>* rect, LockMode::Enum mode);
    // Releases this Bitmap's caches when the lock was exactly LockMode::Write.
    void Unlock();
    // The mode given to the last Lock (LockMode::Read before any).
    LockMode::Enum GetLastLockMode() const { return lockMode; }
    // Leaves the caches in place: call NotifyChange after filling a bitmap
    // that a back end has cached.
    void ColorFill(const Rect<int>* rect, const Color& color);
    void CopyFromBitmap(const Point<int>* destination, std::shared_ptr<BitmapSource> source,
                        const Rect<int>* sourceRect);
    void CopyFromMemory(const Rect<int>* rect, const void* source, int stride, int maxRowBytes);
    void CopyFromRenderTarget(const Point<int>* destination, std::shared_ptr<RenderTarget> target,
                              const Rect<int>* sourceRect);

    // Image files: PNG, JPEG, BMP and TIFF. A loaded bitmap is always ARGB8.
    static std::shared_ptr<Bitmap> LoadFromFile(const std::wstring& filename);
    static std::shared_ptr<Bitmap> LoadFromMemory(const void* data, unsigned long size);
    void SaveToFile(const std::wstring& filename);
    void SaveToFile(const std::wstring& filename, const std::wstring& type);

private:
    LockMode::Enum lockMode = LockMode::Read;
    bool offscreenPainting = false;
};

// The text after the last '.', with "jpg" read as "jpeg" and "tif" as "tiff"
// (case-sensitive).
std::wstring GetTypeFromFilename(const std::wstring& filename);

// Lockable pixels for any source: its cached software copy, the source itself
// when it is a BitmapBase, the implementation of a Bitmap, or a new copy.
std::shared_ptr<BitmapBase> DeriveBitmapFromSource(std::shared_ptr<BitmapSource> source);

}  // namespace Graphics
