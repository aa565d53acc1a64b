#include "sw/SwBitmapSurface.h"

namespace Graphics {

SwBitmapSurface::SwBitmapSurface(std::shared_ptr<Bitmap> b) : bitmap(std::move(b)) {}

// Without a bitmap the surface reads as empty, and BeginPaint hands out
// nothing, which the render target refuses as an unsupported format.

PixelFormat::Enum SwBitmapSurface::GetPixelFormat() const {
    return bitmap ? bitmap->GetPixelFormat() : static_cast<PixelFormat::Enum>(0);
}

Size<int> SwBitmapSurface::GetSize() const { return bitmap ? bitmap->GetSize() : Size<int>(); }

float SwBitmapSurface::GetDpiX() const { return bitmap ? bitmap->GetDpiX() : 96.0f; }

float SwBitmapSurface::GetDpiY() const { return bitmap ? bitmap->GetDpiY() : 96.0f; }

std::shared_ptr<BitmapBase> SwBitmapSurface::BeginPaint() { return SwSurface::GetCompatibleBitmap(bitmap); }

void SwBitmapSurface::EndPaint() {}

void SwBitmapSurface::Present() {
    SwSurface::UpdateBitmap(bitmap);
    SwSurface::ClearCachedBitmap(bitmap);
}

}  // namespace Graphics
