#pragma once

#include "Graphics/Geometry.h"

#include <cstdint>
#include <deque>
#include <memory>

namespace Graphics {

// One subpath as plain data. The first point is the start point; a line
// command owns the next point, a curve command the next three (control,
// control, end). Readers skip command values other than the two below.
//
// Both sequences are double-ended because the stroker builds one side of an
// outline from the back to the front.
class Figure {
public:
    enum : std::int32_t { Line = 0, Curve = 1 };

    std::deque<std::int32_t> commands;
    std::deque<Point<float>> points;
    bool closed = false;

    // Reset, then p is the only point.
    void StartAt(const Point<float>& p);
    void Reset();
    void Close() { closed = true; }

    // Nothing when p is exactly the last point.
    void LineTo(const Point<float>& p);
    // Always appended, even when every point coincides.
    void CurveTo(const Point<float>& c1, const Point<float>& c2, const Point<float>& p);
    // Nothing when p is exactly the first point; else p becomes the new start.
    void LineToReverse(const Point<float>& p);
    // Puts a, b, c at the front in that order, with a curve command.
    void CurveToReverse(const Point<float>& a, const Point<float>& b, const Point<float>& c);

    // Appends other: a line to its start (dropped when it coincides), then its
    // segments. An empty figure takes other's start as its own.
    void JoinFigure(const std::shared_ptr<Figure>& other);
    // Puts other, reversed, ahead of this figure. Meant for figures of lines:
    // the point block of a curve keeps its stored order.
    void JoinFigureReverse(const std::shared_ptr<Figure>& other);

    bool GetStartPoint(Point<float>* point) const;
    // A closed figure ends where it started.
    bool GetLastPoint(Point<float>* point) const;

    // Exact compare of everything; NaN compares unequal.
    bool IsEqual(const std::shared_ptr<Figure>& other) const;
    // See Geometry::IsRectangle. The closed flag is not looked at.
    bool IsRectangle(const Matrix& matrix, Rect<float>* rect) const;

    void SendToSink(const std::shared_ptr<GeometrySink>& sink) const;
};

}  // namespace Graphics
