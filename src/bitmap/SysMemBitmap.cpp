#include "bitmap/SysMemBitmap.h"

namespace Graphics {

SysMemBitmap::SysMemBitmap(const Size<int>& s, PixelFormat::Enum f, float x, float y)
    : BitmapBase(s, f, x, y), buffer(s, f) {}

LockedData SysMemBitmap::Lock(const Rect<int>* rect, LockMode::Enum) {
    LockedData result;
    const long bits = buffer.bitsPerPixel;
    if (rect) {
        result.data = buffer.GetPointer(rect->left, rect->top);
        // The rectangle's right and bottom play no part: a lock reaches the
        // bitmap's right edge.
        result.rowBytes = static_cast<int>(((static_cast<long>(size.width) - rect->left) * bits + 7) / 8);
    } else {
        result.data = buffer.GetPointer();
        result.rowBytes = static_cast<int>((static_cast<long>(size.width) * bits + 7) / 8);
    }
    result.stride = buffer.stride;
    return result;
}

}  // namespace Graphics
