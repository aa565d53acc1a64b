#include "Graphics/Brush.h"

namespace Graphics {

GradientBrush::GradientBrush(std::shared_ptr<Gradient> gradient) : m_Gradient(std::move(gradient)) {}

int GradientBrush::GetType() const { return 3; }

}  // namespace Graphics
