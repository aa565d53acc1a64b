#include "raster/StrokedRectangle.h"

#include "geometry/Figure.h"
#include "geometry/GeometryAccess.h"
#include "geometry/Transformer.h"
#include "raster/Rasterizer.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace Graphics {

namespace {

// An outer edge with more points than a mitred or bevelled corner gives is
// some other shape.
const std::size_t _MostOuterPoints = 16;

using Edge = Rasterizer::Edge;

// Closed, of lines only.
bool _ClosedPolygon(const Figure& figure) {
    if (!figure.closed || figure.commands.size() + 1 != figure.points.size()) return false;
    for (std::int32_t command : figure.commands)
        if (command != Figure::Line) return false;
    return true;
}

bool _Ordered(int a, int b, int c, int d) { return (a < b && b < c && c < d) || (a > b && b > c && c > d); }

// A point where the rasterizer would have it, or false when it lies where
// the path would be clipped first.
inline bool _ToFixed(const Matrix& m, bool identity, const Point<float>& p, Point<int>* fixed) {
    const Point<float> d = identity ? p : Transformer::Map(m, p);
    if (!(std::fabs(d.x) < kStripLimit && std::fabs(d.y) < kStripLimit)) return false;
    *fixed = Point<int>(Rasterizer::TransformToFixed(d.x), Rasterizer::TransformToFixed(d.y));
    return true;
}

}  // namespace

bool RasterizeStrokedRectangle(const Geometry& geometry, const Matrix& transform, const Rect<float>& clip,
                               bool adjustRectangles, const std::shared_ptr<RasterizationSink>& sink) {
    if (!sink) return false;
    const Shape& shape = GeometryAccess::GetShape(geometry);
    const std::vector<std::shared_ptr<Figure>>& figures = shape.GetFigures();
    if (shape.GetFillRule() != FillRule::Winding || figures.size() != 2) return false;
    const Figure& inner = *figures[0];
    const Figure& outer = *figures[1];
    const std::size_t outerCount = outer.points.size();
    if (inner.points.size() != 8 || outerCount < 4 || outerCount > _MostOuterPoints) return false;
    if (!_ClosedPolygon(inner) || !_ClosedPolygon(outer)) return false;
    // Sides stay vertical and horizontal, and each device coordinate then
    // depends on one coordinate of the path.
    if (transform.m12 != 0.0f || transform.m21 != 0.0f) return false;

    // The inner figure: the top side from one corner's column to the
    // other's, the right side from the top row to the bottom one, and so on;
    // between the sides, the crossing lines at the corners.
    const Point<float>* a = &inner.points[0];
    if (!(a[0].y == a[1].y && a[2].x == a[3].x && a[4].y == a[5].y && a[6].x == a[7].x && a[0].x == a[5].x &&
          a[1].x == a[4].x && a[2].y == a[7].y && a[3].y == a[6].y))
        return false;

    // Under such a transform a device column depends on the path's column
    // alone, and a row on its row: four corners of the inner figure give
    // every coordinate it has.
    const bool identity = transform.IsIdentity();
    Point<int> c0, c2, c4, c6;
    if (!_ToFixed(transform, identity, a[0], &c0) || !_ToFixed(transform, identity, a[2], &c2) ||
        !_ToFixed(transform, identity, a[4], &c4) || !_ToFixed(transform, identity, a[6], &c6))
        return false;
    // Columns of the corners and the sides, rows of the sides and the corners.
    const int xc0 = c0.x, xc1 = c4.x, xi0 = c6.x, xi1 = c2.x;
    const int yi0 = c0.y, yi1 = c4.y, yc0 = c2.y, yc1 = c6.y;
    if (!_Ordered(xc0, xi0, xi1, xc1) || !_Ordered(yc0, yi0, yi1, yc1)) return false;
    const Point<int> p[8] = {Point<int>(xc0, yi0), Point<int>(xc1, yi0), Point<int>(xi1, yc0), Point<int>(xi1, yc1),
                             Point<int>(xc1, yi1), Point<int>(xc0, yi1), Point<int>(xi0, yc1), Point<int>(xi0, yc0)};
    // Plain numbers, left unset past outerCount.
    int qx[_MostOuterPoints], qy[_MostOuterPoints];
    for (std::size_t i = 0; i < outerCount; ++i) {
        Point<int> fixed;
        if (!_ToFixed(transform, identity, outer.points[i], &fixed)) return false;
        qx[i] = fixed.x;
        qy[i] = fixed.y;
    }

    // Nothing at or beyond the clip's sides, where the rasterizer folds runs
    // of points into one edge.
    const Rect<int> fixedClip(Rasterizer::TransformToFixed(clip.left), Rasterizer::TransformToFixed(clip.top),
                              Rasterizer::TransformToFixed(clip.right), Rasterizer::TransformToFixed(clip.bottom));
    if (!(std::min(xc0, xc1) > fixedClip.left && std::max(xc0, xc1) < fixedClip.right)) return false;
    for (std::size_t i = 0; i < outerCount; ++i)
        if (!(qx[i] > fixedClip.left && qx[i] < fixedClip.right)) return false;
    const int top = fixedClip.top >> 4;
    const int bottom = (fixedClip.bottom + 15) >> 4;

    // The plain rectangle must give edges of its own, as the inner sides do,
    // so that neither outline can come down to the two edges of a lone
    // rectangle, which under adjustRectangles is filled by whole pixels.
    const int plainTop = std::min(yi0, yi1) >> 4;
    const int plainBottom = std::max(yi0, yi1) >> 4;
    if (plainTop == plainBottom || plainTop >= bottom || plainBottom <= top) return false;

    // The crossings lie in the rows of the inner sides. There the outer
    // figure may only have two vertical edges, running through all those
    // rows, with opposite windings.
    const int u0 = std::min(yc0, yc1) >> 4;
    const int u1 = std::max(yc0, yc1) >> 4;
    // Rows far beyond any fixed coordinate: a whole edge, nothing skipped.
    const int above = -(1 << 28), below = 1 << 28;
    Edge left, right;
    int found = 0;
    for (std::size_t i = 0; i < outerCount; ++i) {
        const std::size_t j = i + 1 == outerCount ? 0 : i + 1;
        const Point<int> from(qx[i], qy[i]), to(qx[j], qy[j]);
        const int s = std::min(from.y, to.y) >> 4;
        const int e = std::max(from.y, to.y) >> 4;
        if (s == e || e <= u0 || s >= u1) continue;
        if (from.x != to.x || s > u0 || e < u1 || found == 2) return false;
        // Only its column and winding count.
        if (!Rasterizer::SetUpEdge(from, to, above, below, found == 0 ? left : right)) return false;
        ++found;
    }
    if (found != 2 || left.windingDirection + right.windingDirection != 0) return false;
    if (right.xSub < left.xSub) std::swap(left, right);
    // The outer figure's winding between its two edges.
    const int winding = left.windingDirection;

    Edge sides[2];
    if (!Rasterizer::SetUpEdge(p[2], p[3], above, below, sides[0]) ||
        !Rasterizer::SetUpEdge(p[6], p[7], above, below, sides[1]))
        return false;
    // Each crossing line with the inner side it meets. Between the two, row
    // by row, the inner figure adds the winding of the one on the left; that
    // must be the outer figure's, and lie between its edges, so that every
    // sample the crossing covers is covered anyway. A line moves one way
    // only, so its first and last rows bound all the others.
    static const int crossings[4][3] = {{1, 2, 0}, {3, 4, 0}, {5, 6, 1}, {7, 0, 1}};
    for (const int* c : crossings) {
        const Edge& side = sides[c[2]];
        Edge line;
        if (!Rasterizer::SetUpEdge(p[c[0]], p[c[1]], top, bottom, line)) continue;
        if (line.windingDirection + side.windingDirection != 0) return false;
        const int rows = std::min(line.ySubEnd, bottom) - line.ySubStart;
        if (rows <= 0) continue;
        for (const int x : {line.xSub, Rasterizer::ColumnAfter(line, rows - 1)}) {
            if (x == side.xSub) continue;
            const bool lineFirst = x < side.xSub;
            const int added = lineFirst ? line.windingDirection : side.windingDirection;
            if (added != winding || std::min(x, side.xSub) < left.xSub || std::max(x, side.xSub) > right.xSub)
                return false;
        }
    }

    const auto send = [&](const std::shared_ptr<GeometrySink>& head) {
        head->SetFillRule(FillRule::Winding);
        // The plain rectangle, the way round the inner figure runs.
        head->BeginFigure(Point<float>(a[7].x, a[0].y));
        head->LineTo(Point<float>(a[2].x, a[0].y));
        head->LineTo(Point<float>(a[2].x, a[4].y));
        head->LineTo(Point<float>(a[7].x, a[4].y));
        head->EndFigureClose();
        // The outer figure, less the points inside a straight run along a
        // column or a row: pieces of a run down one column add up, row by
        // row, to a single edge from its first point to its last, and a run
        // along a row gives no edge at all. A point where a column turns
        // back stays, so that the figure keeps its top and bottom rows.
        head->BeginFigure(outer.points[0]);
        std::size_t kept = 0;
        for (std::size_t i = 1; i < outerCount; ++i) {
            if (i + 1 < outerCount) {
                const std::size_t n = i + 1;
                const bool column =
                    qx[kept] == qx[i] && qx[i] == qx[n] &&
                    ((qy[kept] <= qy[i] && qy[i] <= qy[n]) || (qy[kept] >= qy[i] && qy[i] >= qy[n]));
                const bool row = qy[kept] == qy[i] && qy[i] == qy[n];
                if (column || row) continue;
            }
            head->LineTo(outer.points[i]);
            kept = i;
        }
        head->EndFigureClose();
    };
    RasterizeWithinReach(transform, clip, adjustRectangles, sink, send);
    return true;
}

}  // namespace Graphics
