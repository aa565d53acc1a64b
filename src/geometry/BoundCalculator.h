#pragma once

#include "Graphics/Geometry.h"

#include <algorithm>

namespace Graphics {

// Running bound of every point it is given, control points of curves
// included: the bound of the control polygon, not the tight bound of the
// curves.
class BoundCalculator : public GeometrySink {
public:
    void SetFillRule(FillRule::Enum) override {}
    void BeginFigure(const Point<float>& point) override { Add(point); }
    void EndFigure() override {}
    void EndFigureClose() override {}
    void LineTo(const Point<float>& point) override { Add(point); }
    void CurveTo(const Point<float>& control1, const Point<float>& control2, const Point<float>& end) override;

    bool IsEmpty() const { return empty; }
    // All zero until the first point.
    const Rect<float>& GetBound() const { return bound; }

private:
    void Add(const Point<float>& point) {
        if (empty) {
            bound = Rect<float>(point.x, point.y, point.x, point.y);
            empty = false;
            return;
        }
        bound.left = std::min(bound.left, point.x);
        bound.top = std::min(bound.top, point.y);
        bound.right = std::max(bound.right, point.x);
        bound.bottom = std::max(bound.bottom, point.y);
    }

    bool empty = true;
    Rect<float> bound;
};

}  // namespace Graphics
