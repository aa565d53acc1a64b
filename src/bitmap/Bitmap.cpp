#include "Graphics/Bitmap.h"

#include "bitmap/SysMemBitmap.h"
#include "core/Failure.h"

namespace Graphics {

Bitmap::Bitmap(std::shared_ptr<BitmapBase> implementation)
    : ImplementationHolder<BitmapBase>(std::move(implementation)) {}

Bitmap::Bitmap(const Size<int>& size, PixelFormat::Enum format, float dpiX, float dpiY)
    : ImplementationHolder<BitmapBase>(std::make_shared<SysMemBitmap>(size, format, dpiX, dpiY)) {}

Bitmap::~Bitmap() = default;

PixelFormat::Enum Bitmap::GetPixelFormat() const { return m_Implementation->GetPixelFormat(); }
Size<int> Bitmap::GetSize() const { return m_Implementation->GetSize(); }
float Bitmap::GetDpiX() const { return m_Implementation->GetDpiX(); }
float Bitmap::GetDpiY() const { return m_Implementation->GetDpiY(); }
std::shared_ptr<Palette> Bitmap::GetPalette() const { return m_Implementation->GetPalette(); }

void Bitmap::CopyToMemory(const Rect<int>* rect, void* destination, int stride, int maxRowBytes) {
    m_Implementation->CopyToMemory(rect, destination, stride, maxRowBytes);
}

bool Bitmap::IsOffscreenPainting() const { return offscreenPainting; }

void Bitmap::SetPalette(std::shared_ptr<Palette> palette) {
    m_Implementation->SetPalette(std::move(palette));
    ReleaseAllCaches();
}

LockedData Bitmap::Lock(const Rect<int>* rect, LockMode::Enum mode) {
    lockMode = mode;
    return m_Implementation->Lock(rect, mode);
}

void Bitmap::Unlock() {
    m_Implementation->Unlock();
    // Only a write-only lock drops the caches; ReadWrite deliberately keeps them.
    if (lockMode == LockMode::Write) ReleaseAllCaches();
}

void Bitmap::ColorFill(const Rect<int>* rect, const Color& color) { m_Implementation->ColorFill(rect, color); }

void Bitmap::CopyFromBitmap(const Point<int>* destination, std::shared_ptr<BitmapSource> source,
                            const Rect<int>* sourceRect) {
    if (!source) return;
    m_Implementation->CopyFromBitmap(destination, std::move(source), sourceRect);
    ReleaseAllCaches();
}

void Bitmap::CopyFromMemory(const Rect<int>* rect, const void* source, int stride, int maxRowBytes) {
    m_Implementation->CopyFromMemory(rect, source, stride, maxRowBytes);
    ReleaseAllCaches();
}

void Bitmap::CopyFromRenderTarget(const Point<int>*, std::shared_ptr<RenderTarget>, const Rect<int>*) {
    GRAPHICS_FAIL("Not implemented");
}

}  // namespace Graphics
