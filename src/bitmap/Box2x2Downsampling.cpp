#include "Graphics/Downsampling.h"

#include "core/Failure.h"

namespace Graphics {

namespace {

typedef unsigned char Byte;

// The four corners of the block at (2x, 2y), with a missing right column or
// bottom row replaced by the pixel to the left or above. False when the
// output pixel lies outside the source, which leaves the destination alone.
struct _Block {
    const Byte* top;
    const Byte* bottom;
    long left;   // byte offset of column 2x
    long right;  // byte offset of column 2x + 1, or of 2x again
};

inline bool _MakeBlock(const void* source, const Size<int>& size, int stride, int x, int y, int bytesPerPixel,
                       _Block& block) {
    if (!source || x < 0 || y < 0) return false;
    long column = 2L * x;
    long row = 2L * y;
    if (column >= size.width || row >= size.height) return false;
    block.top = static_cast<const Byte*>(source);
    block.bottom = row + 1 < size.height ? block.top + stride : block.top;
    block.left = column * bytesPerPixel;
    block.right = column + 1 < size.width ? block.left + bytesPerPixel : block.left;
    return true;
}

inline unsigned int _Load32(const Byte* p) {
    return static_cast<unsigned int>(p[0]) | (static_cast<unsigned int>(p[1]) << 8) |
           (static_cast<unsigned int>(p[2]) << 16) | (static_cast<unsigned int>(p[3]) << 24);
}

}  // namespace

void Box2x2Downsampling::Downsample_8bpp(const void* source, const Size<int>& size, int stride, int x, int y,
                                         void* destination) {
    _Block b;
    if (!destination || !_MakeBlock(source, size, stride, x, y, 1, b)) return;
    unsigned int sum = b.top[b.left] + b.top[b.right] + b.bottom[b.left] + b.bottom[b.right];
    static_cast<Byte*>(destination)[x] = static_cast<Byte>(sum >> 2);
}

// Three channels of three-byte pixels. Only the three bytes of each pixel
// are read, so the last pixel of a buffer is never read past.
void Box2x2Downsampling::Downsample_24bpp(const void* source, const Size<int>& size, int stride, int x, int y,
                                          void* destination) {
    _Block b;
    if (!destination || !_MakeBlock(source, size, stride, x, y, 3, b)) return;
    Byte* d = static_cast<Byte*>(destination) + 3L * x;
    for (int c = 0; c < 3; ++c) {
        unsigned int sum = b.top[b.left + c] + b.top[b.right + c] + b.bottom[b.left + c] + b.bottom[b.right + c];
        d[c] = static_cast<Byte>(sum >> 2);
    }
}

// Two channels at a time in the 0x00FF00FF lanes of a word: four bytes add
// up to at most 1020, which stays inside a 16-bit lane.
void Box2x2Downsampling::Downsample_32bpp(const void* source, const Size<int>& size, int stride, int x, int y,
                                          void* destination) {
    _Block b;
    if (!destination || !_MakeBlock(source, size, stride, x, y, 4, b)) return;
    unsigned int p0 = _Load32(b.top + b.left);
    unsigned int p1 = _Load32(b.top + b.right);
    unsigned int p2 = _Load32(b.bottom + b.left);
    unsigned int p3 = _Load32(b.bottom + b.right);
    unsigned int rb = (p0 & 0x00FF00FFu) + (p1 & 0x00FF00FFu) + (p2 & 0x00FF00FFu) + (p3 & 0x00FF00FFu);
    unsigned int ag = ((p0 >> 8) & 0x00FF00FFu) + ((p1 >> 8) & 0x00FF00FFu) + ((p2 >> 8) & 0x00FF00FFu) +
                      ((p3 >> 8) & 0x00FF00FFu);
    unsigned int word = ((rb >> 2) & 0x00FF00FFu) | (((ag >> 2) & 0x00FF00FFu) << 8);
    Byte* d = static_cast<Byte*>(destination) + 4L * x;
    d[0] = static_cast<Byte>(word);
    d[1] = static_cast<Byte>(word >> 8);
    d[2] = static_cast<Byte>(word >> 16);
    d[3] = static_cast<Byte>(word >> 24);
}

void Box2x2Downsampling::ThrowBadFormat() { GRAPHICS_FAIL("Bad format for downsampling"); }

}  // namespace Graphics
