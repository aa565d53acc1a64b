#include "sw/SwSolidColorSource.h"

#include <cstring>

#include "Graphics/Brush.h"
#include "core/PackedColor.h"

namespace Graphics {

SwSolidColorSource::SwSolidColorSource(std::shared_ptr<SolidBrush> brush) {
    if (!brush) return;  // nothing to paint with: transparent black
    Color color = brush->GetColor();
    color.a *= brush->GetOpacity();
    const unsigned int c = color.ToARGB();
    const unsigned int alpha = c >> 24;
    if (alpha == 255) {
        m_Color = c;
    } else {
        // With the alpha byte forced to 255 the scale leaves alpha as it was
        // and premultiplies the channels: (v * (alpha + 1)) >> 8.
        m_Color = ScaleColor(c | 0xFF000000u, alpha + 1);
    }
}

void SwSolidColorSource::FillSpan(int x0, int x1, int, unsigned char* destination) {
    const unsigned int color = m_Color;
    for (int x = x0; x < x1; ++x) {
        std::memcpy(destination, &color, sizeof color);
        destination += sizeof color;
    }
}

}  // namespace Graphics
