#include "Graphics/Rasterizer.h"

#include "core/FpuState.h"
#include "geometry/StripClipper.h"
#include "geometry/Transformer.h"
#include "raster/Rasterizer.h"

#include <memory>
#include <utility>

namespace Graphics {

namespace {

// Beyond this many pixels either way, paths are clipped before they reach the
// fixed-point arithmetic: 4164480 fixed units, so that the difference of two
// clipped coordinates stays below 2^23.
const float _StripLimit = 32535.0f;
const float _Tolerance = 0.25f;

}  // namespace

std::shared_ptr<GeometrySink> MakeRasterizationChain(const Geometry& geometry, const Matrix& transform,
                                                     std::shared_ptr<Rasterizer> rasterizer) {
    std::shared_ptr<GeometrySink> head = std::move(rasterizer);
    // The tests are uneven on purpose: a left side exactly at the limit
    // needs no clipper, a right side exactly at it does.
    const Rect<float> bound = geometry.GetBound(transform);
    if (-_StripLimit > bound.left || bound.right >= _StripLimit)
        head = std::make_shared<StripClipper>(StripOrientation::Vertical, -_StripLimit, _StripLimit, _Tolerance, head);
    if (-_StripLimit > bound.top || bound.bottom >= _StripLimit)
        head =
            std::make_shared<StripClipper>(StripOrientation::Horizontal, -_StripLimit, _StripLimit, _Tolerance, head);
    if (!transform.IsIdentity()) head = std::make_shared<Transformer>(transform, head);
    return head;
}

void RasterizeGeometry(std::shared_ptr<Geometry> geometry, const Matrix& transform, const Rect<float>& clip,
                       bool adjustRectangles, std::shared_ptr<RasterizationSink> sink) {
    if (!geometry || !sink) return;
    FpuState fpuState;

    std::shared_ptr<Rasterizer> rasterizer = std::make_shared<Rasterizer>(clip, _Tolerance, adjustRectangles, sink);
    const std::shared_ptr<GeometrySink> head = MakeRasterizationChain(*geometry, transform, rasterizer);
    rasterizer->BeginGeometry();
    geometry->SendToSink(head);
    rasterizer->EndGeometry();
}

}  // namespace Graphics
