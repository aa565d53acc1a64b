#pragma once

#include "Graphics/Geometry.h"
#include "Graphics/Rasterizer.h"

#include <memory>

namespace Graphics {

// The outline the stroker makes of a closed rectangle is two figures: the
// outer edge, and an inner one whose sides run on past each other at the
// corners, where the offset lines cross, so that each corner carries a small
// triangle turned the other way from the rest of the inner figure. Under the
// Winding rule those triangles only add to coverage that is already there;
// but their sloped edges make the rasterizer walk every sample row they
// touch, one at a time.
//
// This rasterizes such an outline with the inner figure replaced by the plain
// rectangle between its four sides, after checking, on the fixed-point edges
// that the rasterizer would build, that the replacement cannot change any
// pixel's coverage: the transform keeps the sides vertical and horizontal,
// the outer figure crosses the rows of the triangles with just two vertical
// edges of opposite windings, each triangle's first and last sample columns
// lie between those edges, and the triangle adds the winding the outer edges
// give there. Nothing lies where the rasterizer folds points at the clip's
// sides, and the plain rectangle gives edges of its own. Straight runs of the
// outer figure go as single edges. The coverage of every pixel, and the rows reported, then come out
// the same; only where two edges meet at one x may a row be split into two
// runs of equal coverage instead of one, which a sink painting a single
// colour cannot tell.
//
// Returns false, having done nothing, when the geometry is not such an
// outline or any of the checks fails; the caller then rasterizes it as it is.
bool RasterizeStrokedRectangle(const Geometry& geometry, const Matrix& transform, const Rect<float>& clip,
                               bool adjustRectangles, const std::shared_ptr<RasterizationSink>& sink);

}  // namespace Graphics
