#include "Graphics/Brush.h"

namespace Graphics {

SolidBrush::SolidBrush(unsigned int argb) : m_Color(argb) {}

SolidBrush::SolidBrush(const Color& color) : m_Color(color) {}

int SolidBrush::GetType() const { return 0; }

}  // namespace Graphics
