#include "Graphics/Brush.h"

namespace Graphics {

PatternBrush::PatternBrush(std::shared_ptr<Pattern> pattern) : m_Pattern(std::move(pattern)) {}

int PatternBrush::GetType() const { return 2; }

}  // namespace Graphics
