#include "bitmap/SolidColorBitmapSource.h"

#include "bitmap/PixelConversion.h"

#include <algorithm>
#include <cstring>

namespace Graphics {

SolidColorBitmapSource::SolidColorBitmapSource(const Size<int>& s, PixelFormat::Enum f, const Color& color)
    : size(s), format(f), pixel(Size<int>(1, 1), f) {
    const unsigned int argb = color.ToARGB();
    // A one-bit conversion writes only its own bit; the rest of the byte is
    // cleared so that a fill repeats a defined byte.
    *pixel.GetPointer() = 0;
    PixelConverter(PixelFormat::ARGB8, format).Convert(&argb, pixel.GetPointer(), 1);
}

void SolidColorBitmapSource::CopyToMemory(const Rect<int>* rect, void* destination, int stride, int maxRowBytes) {
    const int w = rect ? rect->Width() : size.width;
    const int h = rect ? rect->Height() : size.height;
    if (w < 1 || h < 1) return;
    PixelBuffer row(Size<int>(w, 1), format);
    const int b = pixel.bitsPerPixel;
    if (b < 1) return;
    // One-bit formats repeat the pixel's whole byte, and only a fraction of
    // the row is covered: a fill of a one-bit bitmap sets only some pixels.
    const int n = b < 8 ? (w * b + 7) / 8 : w;
    const int pixelBytes = (b + 7) / 8;
    unsigned char* out = row.GetPointer();
    for (int i = 0; i < n; ++i) std::memcpy(out + static_cast<long>(i) * pixelBytes, pixel.GetPointer(), pixelBytes);
    const int bytes = std::min(static_cast<int>((static_cast<long>(n) * b + 7) / 8), maxRowBytes);
    if (bytes <= 0) return;
    unsigned char* d = static_cast<unsigned char*>(destination);
    for (int y = 0; y < h; ++y, d += stride) std::memcpy(d, out, static_cast<size_t>(bytes));
}

}  // namespace Graphics
