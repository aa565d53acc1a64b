#pragma once

#include "Graphics/Bitmap.h"

namespace Graphics {

// Row-aligned pixel store. stride = (width * bpp + 7) / 8 rounded up to 16;
// stride * height + 1 bytes, not cleared. The spare byte lets the sampler
// read the last RGB8 pixel as a 32-bit word.
class PixelBuffer {
public:
    PixelBuffer(const Size<int>& size, PixelFormat::Enum format);
    PixelBuffer(const Size<int>& size, unsigned int bitsPerPixel);
    ~PixelBuffer();
    PixelBuffer(const PixelBuffer&) = delete;
    PixelBuffer& operator=(const PixelBuffer&) = delete;

    // Allocates as the constructors do, without freeing what was there.
    void AllocBuffer();

    unsigned char* GetPointer() const { return data; }
    unsigned char* GetPointer(int y) const { return data + static_cast<long>(stride) * y; }
    unsigned char* GetPointer(int x, int y) const {
        return data + static_cast<long>(stride) * y + (static_cast<long>(bitsPerPixel) * x) / 8;
    }

    Size<int> size;
    int stride = 0;
    int bitsPerPixel = 0;
    unsigned char* data = nullptr;

private:
    void Init(int bits);
};

}  // namespace Graphics
