#include "Graphics/Geometry.h"

#include "geometry/Shape.h"
#include "geometry/Transformer.h"
#include "geometry/Widener.h"

#include <algorithm>

namespace Graphics {

namespace {

// The Bezier circle constant, 0x3F0D6289.
const float _Kappa = 0.5522848f;

}  // namespace

Geometry::Geometry() : shape(std::make_shared<Shape>()) {}

Geometry::~Geometry() {}

void Geometry::SetFillRule(FillRule::Enum rule) { shape->SetFillRule(rule); }

FillRule::Enum Geometry::GetFillRule() const { return shape->GetFillRule(); }

bool Geometry::IsEmpty() const { return shape->GetFigures().empty(); }

bool Geometry::IsEqual(std::shared_ptr<Geometry> other) const {
    if (!other) return false;
    return shape->IsEqual(other->shape);
}

bool Geometry::IsRectangle(const Matrix& matrix, Rect<float>* rect) const { return shape->IsRectangle(matrix, rect); }

bool Geometry::GetLastPoint(Point<float>* point) const { return shape->GetLastPoint(point); }

Rect<float> Geometry::GetBound(const Matrix& matrix) const { return matrix.TransformRect(shape->GetBound()); }

void Geometry::BeginFigure(const Point<float>& point) { shape->BeginFigure(point); }

void Geometry::EndFigure() { shape->EndFigure(); }

void Geometry::EndFigureClose() { shape->EndFigureClose(); }

void Geometry::LineTo(const Point<float>& point) {
    if (!shape->HasActiveFigure()) {
        Point<float> start(0.0f, 0.0f);
        shape->GetLastPoint(&start);
        shape->BeginFigure(start);
    }
    shape->LineTo(point);
}

void Geometry::CurveTo(const Point<float>& control1, const Point<float>& control2, const Point<float>& end) {
    if (!shape->HasActiveFigure()) {
        Point<float> start(0.0f, 0.0f);
        shape->GetLastPoint(&start);
        shape->BeginFigure(start);
    }
    shape->CurveTo(control1, control2, end);
}

void Geometry::CurveTo(const Point<float>& control, const Point<float>& end) {
    Point<float> current = control;
    GetLastPoint(&current);
    CurveTo(current, control, end);
}

void Geometry::Rectangle(const Rect<float>& r) {
    BeginFigure(Point<float>(r.left, r.top));
    LineTo(Point<float>(r.right, r.top));
    LineTo(Point<float>(r.right, r.bottom));
    LineTo(Point<float>(r.left, r.bottom));
    EndFigureClose();
}

void Geometry::Ellipse(const Rect<float>& r) {
    if (r.left == r.right || r.top == r.bottom) return;
    const float rx = (r.right - r.left) * 0.5f;
    const float ry = (r.bottom - r.top) * 0.5f;
    const float cx = r.left + rx;
    const float cy = r.top + ry;
    const float kx = rx * _Kappa;
    const float ky = ry * _Kappa;
    const float L = cx - rx;
    const float R = cx + rx;
    const float T = cy - ry;
    const float B = cy + ry;
    BeginFigure(Point<float>(cx, B));
    CurveTo(Point<float>(cx - kx, B), Point<float>(L, cy + ky), Point<float>(L, cy));
    CurveTo(Point<float>(L, cy - ky), Point<float>(cx - kx, T), Point<float>(cx, T));
    CurveTo(Point<float>(cx + kx, T), Point<float>(R, cy - ky), Point<float>(R, cy));
    CurveTo(Point<float>(R, cy + ky), Point<float>(cx + kx, B), Point<float>(cx, B));
    EndFigureClose();
}

void Geometry::RoundRectangle(const Rect<float>& r, float radiusX, float radiusY) {
    if (r.left == r.right || r.top == r.bottom) return;
    const float a = std::min((r.right - r.left) * 0.5f, radiusX);
    const float b = std::min((r.bottom - r.top) * 0.5f, radiusY);
    const float x1 = r.left + a;
    const float x2 = r.right - a;
    const float y1 = r.top + b;
    const float y2 = r.bottom - b;
    const float kx = a * _Kappa;
    const float ky = b * _Kappa;
    BeginFigure(Point<float>(x2, r.top));
    CurveTo(Point<float>(x2 + kx, r.top), Point<float>(r.right, y1 - ky), Point<float>(r.right, y1));
    LineTo(Point<float>(r.right, y2));
    CurveTo(Point<float>(r.right, y2 + ky), Point<float>(x2 + kx, r.bottom), Point<float>(x2, r.bottom));
    LineTo(Point<float>(x1, r.bottom));
    CurveTo(Point<float>(x1 - kx, r.bottom), Point<float>(r.left, y2 + ky), Point<float>(r.left, y2));
    LineTo(Point<float>(r.left, y1));
    CurveTo(Point<float>(r.left, y1 - ky), Point<float>(x1 - kx, r.top), Point<float>(x1, r.top));
    LineTo(Point<float>(x2, r.top));
    EndFigureClose();
}

void Geometry::SendToSink(std::shared_ptr<GeometrySink> sink) const {
    if (!sink || IsEmpty()) return;
    shape->SendToSink(sink);
}

void Geometry::Transform(const Matrix& matrix, std::shared_ptr<GeometrySink> sink) const {
    if (!sink || IsEmpty()) return;
    if (!matrix.IsIdentity()) sink = std::make_shared<Transformer>(matrix, sink);
    shape->SendToSink(sink);
}

void Geometry::Widen(float width, const StrokeParameters& parameters, float tolerance,
                     std::shared_ptr<GeometrySink> sink) const {
    if (!sink || IsEmpty()) return;
    // Lives for the call only; nothing keeps the widener after it.
    Widener widener(tolerance, width, parameters, std::move(sink));
    shape->SendToSink(std::shared_ptr<GeometrySink>(std::shared_ptr<GeometrySink>(), &widener));
}

}  // namespace Graphics
