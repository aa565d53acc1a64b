#include "Graphics/Bitmap.h"

namespace Graphics {

int PixelFormat::GetBitsPerPixel(Enum format) {
    switch (format) {
        case RGB8: return 24;
        case ARGB8p:
        case ARGB8:
        case XRGB8: return 32;
        case A8:
        case P8:
        case L8: return 8;
        case A1:
        case P1:
        case L1: return 1;
    }
    return -1;
}

bool PixelFormat::HasAlpha(Enum format) {
    return format == ARGB8p || format == ARGB8 || format == A8 || format == A1;
}

bool PixelFormat::IsIndexed(Enum format) { return format == P8 || format == P1; }

bool PixelFormat::IsPremultiplied(Enum format) { return format == ARGB8p; }

}  // namespace Graphics
