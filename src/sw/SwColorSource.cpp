#include "sw/SwColorSource.h"

#include "Graphics/Brush.h"
#include "core/Failure.h"
#include "sw/SwBitmapColorSource.h"
#include "sw/SwGradientColorSource.h"
#include "sw/SwSolidColorSource.h"

namespace Graphics {

std::shared_ptr<SwColorSource> SwColorSource::CreateFromBrush(std::shared_ptr<Brush> brush, const Rect<float>& bounds,
                                                              const Matrix& placement) {
    // A missing brush is refused like a brush of unknown type.
    if (!brush) GRAPHICS_FAIL("Not implemented");
    switch (brush->GetType()) {
        case 0:
            return std::make_shared<SwSolidColorSource>(std::static_pointer_cast<SolidBrush>(brush));
        case 3:
            return SwGradientColorSource::Factory(std::static_pointer_cast<GradientBrush>(brush), bounds, placement);
        case 1:
            return std::make_shared<SwBitmapColorSource>(std::static_pointer_cast<BitmapBrush>(brush), placement);
        default:
            GRAPHICS_FAIL("Not implemented");
    }
}

}  // namespace Graphics
