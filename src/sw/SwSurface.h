#pragma once

#include "Graphics/Bitmap.h"

#include <memory>

namespace Graphics {

// Where the software back end's pixels come from and go to. BeginPaint hands
// out a bitmap in a format that the compositor can paint on; Present brings
// the painted pixels to their destination.
class SwSurface {
public:
    virtual ~SwSurface();
    virtual PixelFormat::Enum GetPixelFormat() const = 0;
    virtual Size<int> GetSize() const = 0;
    virtual float GetDpiX() const = 0;
    virtual float GetDpiY() const = 0;
    virtual std::shared_ptr<BitmapBase> BeginPaint() = 0;
    virtual void EndPaint() = 0;
    virtual void Present() = 0;

    // The compositor paints on ARGB8p and XRGB8 only.
    static bool IsSupportedFormat(PixelFormat::Enum format);
    // The format to paint in for a display of the given depth.
    static PixelFormat::Enum GetCompatibleFormat(unsigned int bitsPerPixel);

    // A bitmap to paint on for the given one: its own pixels when the format
    // is supported, otherwise an ARGB8p copy kept in its software cache.
    static std::shared_ptr<BitmapBase> GetCompatibleBitmap(std::shared_ptr<Bitmap> bitmap);
    static std::shared_ptr<BitmapBase> GetCompatibleBitmap(std::shared_ptr<BitmapBase> bitmap);
    // Copies the painted ARGB8p copy back into a bitmap of another format.
    static void UpdateBitmap(std::shared_ptr<Bitmap> bitmap);
    static void UpdateBitmap(std::shared_ptr<BitmapBase> bitmap);
    // Drops the software copy and everything else derived from the bitmap.
    static void ClearCachedBitmap(std::shared_ptr<Bitmap> bitmap);
    static void ClearCachedBitmap(std::shared_ptr<BitmapBase> bitmap);
};

}  // namespace Graphics
