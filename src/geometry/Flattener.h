#pragma once

#include "Graphics/Geometry.h"
#include "geometry/BezierFlattener.h"

#include <memory>

namespace Graphics {

// A stage that passes the stream on with every curve replaced by lines (see
// BezierFlattener for what the tolerance means). For callers that want only
// lines; the library's own stages run the stepper themselves.
class Flattener : public GeometrySink {
public:
    Flattener(float tolerance, std::shared_ptr<GeometrySink> next);

    void SetFillRule(FillRule::Enum rule) override;
    void BeginFigure(const Point<float>& point) override;
    void EndFigure() override;
    void EndFigureClose() override;
    void LineTo(const Point<float>& point) override;
    void CurveTo(const Point<float>& control1, const Point<float>& control2, const Point<float>& end) override;

private:
    float tolerance;
    Point<float> lastPoint;
    std::shared_ptr<GeometrySink> next;
};

}  // namespace Graphics
