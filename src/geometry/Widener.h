#pragma once

#include "Graphics/Geometry.h"
#include "geometry/Pen.h"

#include <memory>

namespace Graphics {

// The stroke stage: a Pen, with a Dasher in front of it when the stroke is
// dashed. Every event passes straight to the first of the two.
class Widener : public GeometrySink {
public:
    // A dash pattern of zero length gives a solid stroke; its failure has
    // been logged and goes no further.
    Widener(float tolerance, float width, const StrokeParameters& parameters, std::shared_ptr<GeometrySink> sink);
    ~Widener() override;

    void SetFillRule(FillRule::Enum rule) override;
    void BeginFigure(const Point<float>& point) override;
    void EndFigure() override;
    void EndFigureClose() override;
    void LineTo(const Point<float>& point) override;
    void CurveTo(const Point<float>& control1, const Point<float>& control2, const Point<float>& end) override;

    // See Pen::SetVisible.
    void SetVisible(const Matrix& toDevice, const Rect<float>& visible) { pen.SetVisible(toDevice, visible); }

private:
    Pen pen;
    // The pen, or a Dasher in front of it.
    std::shared_ptr<GeometrySink> head;
};

// Geometry::Widen for an outline that will be filled into `visible` after
// `toDevice`: the same pixels there, without the sides of curve chords that
// cannot reach it (see Pen::SetVisible).
void WidenWithin(const Geometry& geometry, float width, const StrokeParameters& parameters, float tolerance,
                 const Matrix& toDevice, const Rect<float>& visible, std::shared_ptr<GeometrySink> sink);

}  // namespace Graphics
