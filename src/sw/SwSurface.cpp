#include "sw/SwSurface.h"

#include "bitmap/SwBitmapCache.h"
#include "core/Failure.h"

namespace Graphics {

SwSurface::~SwSurface() = default;

bool SwSurface::IsSupportedFormat(PixelFormat::Enum format) {
    return format == PixelFormat::ARGB8p || format == PixelFormat::XRGB8;
}

PixelFormat::Enum SwSurface::GetCompatibleFormat(unsigned int bitsPerPixel) {
    switch (bitsPerPixel) {
        case 1:
            return PixelFormat::L1;
        case 8:
        case 16:
        case 32:
            return PixelFormat::XRGB8;
        case 24:
            return PixelFormat::RGB8;
        default:
            GRAPHICS_FAIL("Unsupported pixel format.");
    }
}

namespace {

// The source is the object whose cache holds the copy; own is the BitmapBase
// that can be painted on directly when the format allows it.
std::shared_ptr<BitmapBase> _GetCompatibleBitmap(const std::shared_ptr<BitmapSource>& source,
                                                 const std::shared_ptr<BitmapBase>& own) {
    if (!source) return nullptr;
    if (SwBitmapCache::IsCached(source)) return SwBitmapCache::GetCachedBitmap(source);
    if (!SwSurface::IsSupportedFormat(source->GetPixelFormat()) || !own)
        return SwBitmapCache::SetCachedBitmap(source, PixelFormat::ARGB8p);
    // The painting goes straight into the caller's pixels.
    return SwBitmapCache::SetCachedBitmap(source, own);
}

}  // namespace

std::shared_ptr<BitmapBase> SwSurface::GetCompatibleBitmap(std::shared_ptr<Bitmap> bitmap) {
    if (!bitmap) return nullptr;
    return _GetCompatibleBitmap(bitmap, bitmap->GetImplementation());
}

std::shared_ptr<BitmapBase> SwSurface::GetCompatibleBitmap(std::shared_ptr<BitmapBase> bitmap) {
    return _GetCompatibleBitmap(bitmap, bitmap);
}

void SwSurface::UpdateBitmap(std::shared_ptr<Bitmap> bitmap) {
    if (!bitmap || IsSupportedFormat(bitmap->GetPixelFormat())) return;
    if (!SwBitmapCache::IsCached(bitmap)) GRAPHICS_FAIL("Bitmap is not cached");
    bitmap->CopyFromBitmap(nullptr, SwBitmapCache::GetCachedBitmap(bitmap), nullptr);
}

void SwSurface::UpdateBitmap(std::shared_ptr<BitmapBase> bitmap) {
    if (!bitmap || IsSupportedFormat(bitmap->GetPixelFormat())) return;
    if (!SwBitmapCache::IsCached(bitmap)) GRAPHICS_FAIL("Bitmap is not cached");
    bitmap->CopyFromBitmap(nullptr, SwBitmapCache::GetCachedBitmap(bitmap), nullptr);
}

void SwSurface::ClearCachedBitmap(std::shared_ptr<Bitmap> bitmap) {
    if (!bitmap) return;
    SwBitmapCache::ClearCachedBitmap(bitmap);
    bitmap->NotifyChange();
}

void SwSurface::ClearCachedBitmap(std::shared_ptr<BitmapBase> bitmap) {
    if (!bitmap) return;
    SwBitmapCache::ClearCachedBitmap(bitmap);
    bitmap->NotifyChange();
}

}  // namespace Graphics
