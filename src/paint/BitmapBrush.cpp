#include "Graphics/Brush.h"

namespace Graphics {

BitmapBrush::BitmapBrush(std::shared_ptr<BitmapSource> bitmap) : m_Bitmap(std::move(bitmap)) {}

int BitmapBrush::GetType() const { return 1; }

}  // namespace Graphics
