#pragma once

#include "Graphics/Geometry.h"

#include <memory>

namespace Graphics {

// Maps every point through a matrix and passes the stream on.
class Transformer : public GeometrySink {
public:
    Transformer(const Matrix& matrix, std::shared_ptr<GeometrySink> next);

    // The one mapping of path points: the products and sums in exactly this
    // order, so that every stage that maps points agrees to the bit.
    static Point<float> Map(const Matrix& m, const Point<float>& p) {
        return Point<float>(m.m21 * p.y + m.m11 * p.x + m.dx, m.m22 * p.y + m.m12 * p.x + m.dy);
    }

    void SetFillRule(FillRule::Enum rule) override;
    void BeginFigure(const Point<float>& point) override;
    void EndFigure() override;
    void EndFigureClose() override;
    void LineTo(const Point<float>& point) override;
    void CurveTo(const Point<float>& control1, const Point<float>& control2, const Point<float>& end) override;

private:
    Matrix matrix;
    std::shared_ptr<GeometrySink> next;
};

}  // namespace Graphics
