#pragma once

#include "Graphics/Memory.h"
#include "Graphics/Types.h"

#include <memory>

namespace Graphics {

// The one event interface of every path algorithm. A path travels as a stream
// of calls:
//
//   SetFillRule                      once, ahead of the figures
//   BeginFigure                      then, per figure,
//   LineTo | CurveTo ...             any number of segments,
//   EndFigure | EndFigureClose       exactly one of these (open or closed).
//
// There is no separate move operation. Stages that receive a malformed order
// ignore what they cannot use; nothing in the geometry stages reports errors.
//
// The order of the virtual operations is part of the interface and must not
// change.
class GeometrySink {
public:
    virtual ~GeometrySink() {}
    virtual void SetFillRule(FillRule::Enum rule) = 0;
    virtual void BeginFigure(const Point<float>& point) = 0;
    virtual void EndFigure() = 0;       // the figure stays open
    virtual void EndFigureClose() = 0;  // the figure is closed back to its start
    virtual void LineTo(const Point<float>& point) = 0;
    // A cubic Bezier segment from the current point: first control point,
    // second control point, end point.
    virtual void CurveTo(const Point<float>& control1, const Point<float>& control2, const Point<float>& end) = 0;
};

// A sink that must see a whole geometry before it can work (scan conversion,
// the sweep). BeginGeometry and EndGeometry bracket the events of one
// geometry.
class TessellationSink : public GeometrySink {
public:
    virtual void BeginGeometry() = 0;
    virtual void EndGeometry() = 0;
};

class Shape;

// The stored path. A Geometry is itself a sink, so any stage can write its
// result into a new one; it can be extended at any time and is never emptied.
// Finished figures are what counts: a figure that was begun but not yet ended
// is neither sent nor compared, though it does widen the bound.
class Geometry : public GraphicsBase, public GeometrySink {
public:
    Geometry();
    ~Geometry() override;

    Geometry(const Geometry&) = delete;
    Geometry& operator=(const Geometry&) = delete;

    void SetFillRule(FillRule::Enum rule) override;
    FillRule::Enum GetFillRule() const;

    // True while no figure has been finished.
    bool IsEmpty() const;
    // Exact comparison of fill rule, bound and every figure. Two empty
    // geometries are equal whatever their fill rules; a null one equals none.
    bool IsEqual(std::shared_ptr<Geometry> other) const;
    // True when the geometry is one figure of three or four lines that is an
    // axis-aligned rectangle once mapped through the matrix (exact float
    // compares); the rectangle is then stored in rect when it is not null.
    bool IsRectangle(const Matrix& matrix, Rect<float>* rect) const;
    // The current point: the last point of the open figure, or of the last
    // finished one (its start when it was closed). False when there is none.
    bool GetLastPoint(Point<float>* point) const;
    // The bound of every point given so far, control points included (not
    // the tight bound of the curves), mapped through the matrix. An empty
    // geometry maps the all-zero rectangle.
    Rect<float> GetBound(const Matrix& matrix) const;

    void BeginFigure(const Point<float>& point) override;
    void EndFigure() override;
    void EndFigureClose() override;
    // Without an open figure, LineTo and CurveTo first begin one at the
    // current point, or at (0, 0) when there is none.
    void LineTo(const Point<float>& point) override;
    void CurveTo(const Point<float>& control1, const Point<float>& control2, const Point<float>& end) override;
    // Shortcut for a quadratic segment: the current point itself serves as the
    // first control point of the cubic (the quadratic is not raised exactly).
    virtual void CurveTo(const Point<float>& control, const Point<float>& end);

    // Each adds one closed figure through the virtual operations above.
    void Rectangle(const Rect<float>& rect);
    // Four curves from the middle of the bottom side, through the left, top
    // and right. Nothing for a rectangle of zero width or height.
    void Ellipse(const Rect<float>& rect);
    // Corner radii are clamped to half the size on each axis. Nothing for a
    // rectangle of zero width or height.
    void RoundRectangle(const Rect<float>& rect, float radiusX, float radiusY);

    // The fill rule, then every finished figure in order. Nothing for a null
    // sink or an empty geometry.
    void SendToSink(std::shared_ptr<GeometrySink> sink) const;
    // The same, with every point mapped through the matrix on the way.
    void Transform(const Matrix& matrix, std::shared_ptr<GeometrySink> sink) const;
    // The outline of the stroke, as closed figures of lines for the Winding
    // rule; curves are flattened at the tolerance, which also sets the
    // fineness of round joins and caps. A non-empty dash pattern cuts the
    // path into dashes first, each with caps of its own. The fill rule is not
    // sent. Nothing for a null sink or an empty geometry.
    void Widen(float width, const StrokeParameters& parameters, float tolerance,
               std::shared_ptr<GeometrySink> sink) const;

private:
    friend struct GeometryAccess;  // the library's own reads of the figures
    std::shared_ptr<Shape> shape;
};

}  // namespace Graphics
