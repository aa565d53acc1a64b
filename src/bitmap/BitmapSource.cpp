#include "Graphics/Bitmap.h"

namespace Graphics {

BitmapSource::~BitmapSource() = default;

bool BitmapSource::IsOffscreenPainting() const { return false; }

}  // namespace Graphics
