#pragma once

#include "Graphics/Bitmap.h"
#include "bitmap/PixelBuffer.h"

namespace Graphics {

// A source of any size that is one colour, held as one pixel in `format`.
// Construction raises "Bad format conversion" for the indexed formats.
class SolidColorBitmapSource : public BitmapSource {
public:
    SolidColorBitmapSource(const Size<int>& size, PixelFormat::Enum format, const Color& color);

    PixelFormat::Enum GetPixelFormat() const override { return format; }
    Size<int> GetSize() const override { return size; }
    float GetDpiX() const override { return 96.0f; }
    float GetDpiY() const override { return 96.0f; }
    std::shared_ptr<Palette> GetPalette() const override { return std::shared_ptr<Palette>(); }
    void CopyToMemory(const Rect<int>* rect, void* destination, int stride, int maxRowBytes) override;

private:
    Size<int> size;
    PixelFormat::Enum format;
    PixelBuffer pixel;
};

}  // namespace Graphics
