#include "Graphics/Rasterizer.h"

#include "core/FpuState.h"
#include "geometry/StripClipper.h"
#include "geometry/Transformer.h"
#include "raster/Rasterizer.h"

#include <memory>
#include <utility>

namespace Graphics {

std::shared_ptr<GeometrySink> MakeRasterizationChain(const Geometry& geometry, const Matrix& transform,
                                                     std::shared_ptr<Rasterizer> rasterizer) {
    std::shared_ptr<GeometrySink> head = std::move(rasterizer);
    // The tests are uneven on purpose: a left side exactly at the limit
    // needs no clipper, a right side exactly at it does.
    const Rect<float> bound = geometry.GetBound(transform);
    if (-kStripLimit > bound.left || bound.right >= kStripLimit)
        head = std::make_shared<StripClipper>(StripOrientation::Vertical, -kStripLimit, kStripLimit, kRasterTolerance, head);
    if (-kStripLimit > bound.top || bound.bottom >= kStripLimit)
        head =
            std::make_shared<StripClipper>(StripOrientation::Horizontal, -kStripLimit, kStripLimit, kRasterTolerance, head);
    if (!transform.IsIdentity()) head = std::make_shared<Transformer>(transform, head);
    return head;
}

void RasterizeGeometry(std::shared_ptr<Geometry> geometry, const Matrix& transform, const Rect<float>& clip,
                       bool adjustRectangles, std::shared_ptr<RasterizationSink> sink) {
    if (!geometry || !sink) return;
    const Rect<float> bound = geometry->GetBound(transform);
    const bool clipX = -kStripLimit > bound.left || bound.right >= kStripLimit;
    const bool clipY = -kStripLimit > bound.top || bound.bottom >= kStripLimit;
    if (clipX || clipY) {
        // Far-reaching paths are rare: the general chain serves them.
        FpuState fpuState;
        Rasterizer rasterizer(clip, kRasterTolerance, adjustRectangles, std::move(sink));
        const std::shared_ptr<Rasterizer> last(std::shared_ptr<Rasterizer>(), &rasterizer);
        const std::shared_ptr<GeometrySink> head = MakeRasterizationChain(*geometry, transform, last);
        rasterizer.BeginGeometry();
        geometry->SendToSink(head);
        rasterizer.EndGeometry();
        return;
    }
    RasterizeWithinReach(transform, clip, adjustRectangles, std::move(sink),
                         [&](const std::shared_ptr<GeometrySink>& head) { geometry->SendToSink(head); });
}

void RasterizeWithinReach(const Matrix& transform, const Rect<float>& clip, bool adjustRectangles,
                          std::shared_ptr<RasterizationSink> sink, const PathSender& send) {
    FpuState fpuState;
    // The stages live only for this call and nobody keeps them, so they stay
    // on the stack; the pointers handed down the chain own nothing.
    Rasterizer rasterizer(clip, kRasterTolerance, adjustRectangles, std::move(sink));
    const std::shared_ptr<GeometrySink> last(std::shared_ptr<Rasterizer>(), &rasterizer);
    rasterizer.BeginGeometry();
    if (transform.IsIdentity()) {
        send(last);
    } else {
        Transformer transformer(transform, last);
        send(std::shared_ptr<GeometrySink>(std::shared_ptr<GeometrySink>(), &transformer));
    }
    rasterizer.EndGeometry();
}

}  // namespace Graphics
