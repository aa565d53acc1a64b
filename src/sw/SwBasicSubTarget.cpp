#include "sw/SwBasicSubTarget.h"

#include "core/Failure.h"

namespace Graphics {

SwBasicSubTarget::SwBasicSubTarget(const Rect<int>& rectangle, const LayerParameters& parameters,
                                   const Matrix& matrix, float dpiX, float dpiY)
    : SwSubTarget(rectangle, parameters, matrix, dpiX, dpiY) {}

void SwBasicSubTarget::BeginLayer(const LayerParameters& parameters) {
    if (child) {
        child->BeginLayer(parameters);
        return;
    }
    // Transparency groups need layer planes that the compositor lacks so far.
    GRAPHICS_FAIL("Not implemented");
}

void SwBasicSubTarget::InitLayer(std::shared_ptr<BitmapBase> bitmap) {
    baseBitmap = bitmap;
    color = std::move(bitmap);
}

}  // namespace Graphics
