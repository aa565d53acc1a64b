#pragma once

#include "Graphics/Geometry.h"
#include "geometry/BoundCalculator.h"

#include <memory>
#include <vector>

namespace Graphics {

class Figure;

// The figure list behind a Geometry. Lines and curves outside a figure are
// ignored; only finished figures are kept, sent and compared.
class Shape : public GeometrySink {
public:
    Shape();
    ~Shape() override;

    void SetFillRule(FillRule::Enum rule) override;
    // Ends an open figure (as open) before it starts the new one.
    void BeginFigure(const Point<float>& point) override;
    void EndFigure() override;
    void EndFigureClose() override;
    void LineTo(const Point<float>& point) override;
    void CurveTo(const Point<float>& control1, const Point<float>& control2, const Point<float>& end) override;

    FillRule::Enum GetFillRule() const { return fillRule; }
    // Bound of every point seen, the open figure's included.
    Rect<float> GetBound() const;
    bool HasActiveFigure() const { return activeFigure != nullptr; }
    const std::vector<std::shared_ptr<Figure>>& GetFigures() const { return figures; }

    bool GetLastPoint(Point<float>* point) const;
    bool IsRectangle(const Matrix& matrix, Rect<float>* rect) const;
    // True when the shape is exactly what Geometry::Rectangle(rect) makes:
    // one closed figure of three lines from the top left corner through
    // the top right, under the Winding rule.
    bool IsRectangleOf(const Rect<float>& rect) const;
    bool IsEqual(const std::shared_ptr<Shape>& other) const;
    // The fill rule, then the finished figures in order.
    void SendToSink(const std::shared_ptr<GeometrySink>& sink) const;

    // Empty again, as a new shape is. The storage of up to eight figures is
    // kept for the figures begun next, each where nothing else holds it any
    // more.
    void Reset();
    // The points the figures hold, the open one's included.
    std::size_t CountPoints() const;

private:
    FillRule::Enum fillRule = FillRule::Winding;
    std::shared_ptr<Figure> activeFigure;
    std::vector<std::shared_ptr<Figure>> figures;
    std::vector<std::shared_ptr<Figure>> spareFigures;  // from Reset
    BoundCalculator boundCalculator;
};

}  // namespace Graphics
