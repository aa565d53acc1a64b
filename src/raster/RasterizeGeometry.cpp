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

    // The stages live only for this call and nobody keeps them, so they stay
    // on the stack; the pointers handed down the chain own nothing.
    Rasterizer rasterizer(clip, _Tolerance, adjustRectangles, std::move(sink));
    const std::shared_ptr<Rasterizer> last(std::shared_ptr<Rasterizer>(), &rasterizer);
    const Rect<float> bound = geometry->GetBound(transform);
    const bool clipX = -_StripLimit > bound.left || bound.right >= _StripLimit;
    const bool clipY = -_StripLimit > bound.top || bound.bottom >= _StripLimit;
    if (clipX || clipY) {
        // Far-reaching paths are rare: the general chain serves them.
        const std::shared_ptr<GeometrySink> head = MakeRasterizationChain(*geometry, transform, last);
        rasterizer.BeginGeometry();
        geometry->SendToSink(head);
        rasterizer.EndGeometry();
        return;
    }
    rasterizer.BeginGeometry();
    if (transform.IsIdentity()) {
        geometry->SendToSink(last);
    } else {
        Transformer transformer(transform, last);
        geometry->SendToSink(std::shared_ptr<GeometrySink>(std::shared_ptr<GeometrySink>(), &transformer));
    }
    rasterizer.EndGeometry();
}

}  // namespace Graphics
