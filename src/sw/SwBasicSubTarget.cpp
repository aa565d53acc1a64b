#include "sw/SwBasicSubTarget.h"

#include "Graphics/Geometry.h"
#include "core/Failure.h"
#include "sw/SwPipeLine.h"

#include <utility>

namespace Graphics {

namespace {

// Where a clip lets spans go. Geometries can't be added to a clip so far, so
// every clip still lets the whole target through: its bound is the target,
// and it needs no mask.
Rect<int> _ClipBound(const SwClipping& clip) {
    const Size<int>& size = clip.GetSize();
    return Rect<int>(0, 0, size.width, size.height);
}

}  // namespace

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

void SwBasicSubTarget::InnerFillGeometry(std::shared_ptr<Geometry> geometry, std::shared_ptr<SwColorSource> source,
                                         const Matrix& matrix) {
    if (!geometry || geometry->IsEmpty()) return;

    const State& state = CurrentState();
    // The pipeline can't apply soft masks yet. Ignoring one would paint
    // where the caller asked for nothing, so the fill is refused instead.
    if (state.shapeMask || state.opacityMask || layerMask) GRAPHICS_FAIL("Not implemented");

    SwSubTarget::InnerFillGeometry(geometry, source, matrix);
    // Before InitLayer there is no plane to paint on.
    if (!color) return;

    SwPipeLine pipeline(std::move(geometry), rectangle);
    pipeline.SetTransform2D(matrix);
    pipeline.SetBlendMode(state.blendMode);
    pipeline.SetAdjustRectangles(state.strokeAdjustment);
    pipeline.SetColorTarget(color);
    if (clipping) pipeline.IntersectBound(_ClipBound(*clipping));
    pipeline.SetColorSource(std::move(source));
    pipeline.SetBasicComposite();
    pipeline.Execute();
}

}  // namespace Graphics
