#include "Graphics/RenderTarget.h"
#include "sw/SwBitmapSurface.h"
#include "sw/SwRenderTarget.h"

namespace Graphics {

// A bitmap is always painted by the software back end, whatever the runtime
// mode.
BitmapRenderTarget::BitmapRenderTarget(std::shared_ptr<Bitmap> b)
    : RenderTarget(std::make_shared<SwRenderTarget>(std::make_shared<SwBitmapSurface>(b))), bitmap(b) {}

BitmapRenderTarget::~BitmapRenderTarget() = default;

}  // namespace Graphics
