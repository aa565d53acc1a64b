#include "bitmap/PixelBuffer.h"

#include "core/Failure.h"

#include <climits>
#include <cstdint>

namespace Graphics {

PixelBuffer::PixelBuffer(const Size<int>& s, PixelFormat::Enum format) : size(s) {
    Init(PixelFormat::GetBitsPerPixel(format));
}

PixelBuffer::PixelBuffer(const Size<int>& s, unsigned int bits) : size(s) { Init(static_cast<int>(bits)); }

PixelBuffer::~PixelBuffer() { ProcessHeap::FreeAligned(data); }

void PixelBuffer::Init(int bits) {
    bitsPerPixel = bits;
    // Computed wide so that absurd sizes become an allocation failure rather
    // than an overflowed stride.
    const int64_t rowBytes = (static_cast<int64_t>(size.width) * bits + 7) / 8;
    const int64_t aligned = (rowBytes + 15) & ~static_cast<int64_t>(15);
    stride = (aligned >= INT_MIN && aligned <= INT_MAX) ? static_cast<int>(aligned) : 0;
    AllocBuffer();
}

void PixelBuffer::AllocBuffer() {
    const int64_t rowBytes = (static_cast<int64_t>(size.width) * bitsPerPixel + 7) / 8;
    const int64_t aligned = (rowBytes + 15) & ~static_cast<int64_t>(15);
    const int64_t bytes = aligned * size.height + 1;
    // Negative or overflowing sizes can't be allocated; report them the way a
    // failing heap would.
    if (size.width < 0 || size.height < 0 || aligned > INT_MAX || bytes <= 0 || bytes > (int64_t(1) << 40))
        GRAPHICS_FAIL_IN("AllocAligned", "Not enough memory");
    data = static_cast<unsigned char*>(ProcessHeap::AllocAligned(static_cast<unsigned long>(bytes), 16));
}

}  // namespace Graphics
