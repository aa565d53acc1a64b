#include "Graphics/Bitmap.h"

namespace Graphics {

Palette::Palette(const unsigned int* c, unsigned long count) {
    if (c && count > 0) colors.assign(c, c + count);
}

}  // namespace Graphics
