#pragma once

#include "Graphics/Geometry.h"

#include <memory>

namespace Graphics {

struct StripOrientation {
    enum Enum {
        Vertical = 0,   // the bounds apply to x
        Horizontal = 1  // the bounds apply to y
    };
};

// Cuts a filled path down to the strip between two values of one coordinate,
// so that the fixed-point arithmetic behind it never sees far coordinates.
// Every figure is treated as closed (an open one is closed here), so the
// clipped path encloses the same area inside the strip as the input, for
// either fill rule; what lay beyond a bound becomes a run along it.
//
// A figure that never enters the strip passes on no BeginFigure, only its
// EndFigureClose: the next stage must accept a lone close.
class StripClipper : public GeometrySink {
public:
    // a and b become the low and high bound, in either order. Curves are
    // flattened with the tolerance given.
    StripClipper(StripOrientation::Enum orientation, float a, float b, float tolerance,
                 std::shared_ptr<GeometrySink> sink);

    void SetFillRule(FillRule::Enum rule) override;
    void BeginFigure(const Point<float>& point) override;
    void EndFigure() override;
    void EndFigureClose() override;
    void LineTo(const Point<float>& point) override;
    void CurveTo(const Point<float>& control1, const Point<float>& control2, const Point<float>& end) override;

    // 0 below the low bound, 1 inside (a point on a bound, or not a number,
    // is inside), 2 above the high bound.
    int GetPointRegion(const Point<float>& point) const;
    // The point where the segment from a to b meets the bound of the region:
    // the low bound for region 0, the high bound otherwise.
    Point<float> GetIntersection(const Point<float>& a, const Point<float>& b, int region) const;
    // Passes one point on, beginning the figure with the first.
    void DoPoint(const Point<float>& point);
    // The clipping step for a new point; the caller updates the last point.
    void AcceptPoint(const Point<float>& point);

private:
    float tolerance;
    StripOrientation::Enum orientation;
    float lowBound;
    float highBound;
    std::shared_ptr<GeometrySink> sink;
    bool figureStarted;
    Point<float> startPoint;
    Point<float> lastPoint;
    int region;
};

}  // namespace Graphics
