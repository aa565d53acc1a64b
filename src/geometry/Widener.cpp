#include "geometry/Widener.h"

#include "Graphics/Exception.h"
#include "geometry/Dasher.h"
#include "geometry/GeometryAccess.h"
#include "geometry/Pen.h"

#include <utility>

namespace Graphics {

Widener::Widener(float tolerance, float width, const StrokeParameters& parameters,
                 std::shared_ptr<GeometrySink> sink)
    : pen(tolerance, width, parameters.cap, parameters.join, parameters.miterLimit, std::move(sink)),
      // The pen lives as long as the widener, and so does the dasher that
      // holds on to it.
      head(std::shared_ptr<GeometrySink>(), &pen) {
    if (!parameters.dashes.empty()) {
        try {
            head = std::make_shared<Dasher>(tolerance, parameters.dashes, parameters.dashOffset, head);
        } catch (const Exception&) {
            // Already logged; the stroke stays solid.
        }
    }
}

Widener::~Widener() {}

void Widener::SetFillRule(FillRule::Enum rule) { head->SetFillRule(rule); }

void Widener::BeginFigure(const Point<float>& point) { head->BeginFigure(point); }

void Widener::EndFigure() { head->EndFigure(); }

void Widener::EndFigureClose() { head->EndFigureClose(); }

void Widener::LineTo(const Point<float>& point) { head->LineTo(point); }

void Widener::CurveTo(const Point<float>& control1, const Point<float>& control2, const Point<float>& end) {
    head->CurveTo(control1, control2, end);
}

void WidenWithin(const Geometry& geometry, float width, const StrokeParameters& parameters, float tolerance,
                 const Matrix& toDevice, const Rect<float>& visible, std::shared_ptr<GeometrySink> sink) {
    if (!sink || geometry.IsEmpty()) return;
    Widener widener(tolerance, width, parameters, std::move(sink));
    widener.SetVisible(toDevice, visible);
    GeometryAccess::GetShape(geometry).SendToSink(std::shared_ptr<GeometrySink>(std::shared_ptr<GeometrySink>(), &widener));
}

}  // namespace Graphics
