#pragma once

#include "Graphics/Bitmap.h"
#include "bitmap/PixelBuffer.h"

namespace Graphics {

// A bitmap in system memory. Lock only computes a pointer: locks neither nest
// nor exclude anything.
class SysMemBitmap : public BitmapBase {
public:
    SysMemBitmap(const Size<int>& size, PixelFormat::Enum format, float dpiX, float dpiY);

    std::shared_ptr<Palette> GetPalette() const override { return palette; }
    void SetPalette(std::shared_ptr<Palette> p) override { palette = std::move(p); }
    LockedData Lock(const Rect<int>* rect, LockMode::Enum mode) override;
    void Unlock() override {}

    PixelBuffer& GetBuffer() { return buffer; }

private:
    PixelBuffer buffer;
    std::shared_ptr<Palette> palette;
};

}  // namespace Graphics
