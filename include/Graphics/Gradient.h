#pragma once

#include <map>
#include <memory>
#include <vector>

#include "Graphics/Memory.h"
#include "Graphics/Types.h"

namespace Graphics {

struct GradientStopLookup;

// One stop of a colour ramp: a colour at an offset along the gradient.
struct GradientStop {
    float offset = 0.0f;
    unsigned int color = 0;  // 0xAARRGGBB, straight (not premultiplied) alpha

    GradientStop() = default;
    GradientStop(float offset_, unsigned int color_) : offset(offset_), color(color_) {}
};

// The ordered stops of a gradient and the colour lookup between them.
//
// Several stops may share one offset; among equal offsets they keep their
// order of insertion. Offsets are not limited to 0..1 and colours are kept
// as given, with straight alpha.
class GradientStopCollection : public GraphicsBase {
public:
    using StopMap = std::multimap<float, unsigned int>;

    GradientStopCollection() = default;

    void InsertStops(const GradientStop* stops, unsigned long count);
    void InsertStop(const GradientStop& stop);
    void InsertStop(float offset, unsigned int argb);
    void InsertStop(float offset, const Color& color);

    // Straight ARGB8 colour at t: 256 steps between two neighbouring stops,
    // interpolated in straight 8-bit ARGB. Above the last stop the result is
    // 0 (transparent black), not the last colour.
    unsigned int GetColor(float t) const;

    // A copy of the stops, for back ends that hand the ramp to a platform.
    StopMap GetStopsCollection() const;

private:
    friend struct GradientStopLookup;

    StopMap m_Stops;
    // The same stops in map order, laid out flat for the per-pixel lookup:
    // m_Spans[i] is m_Offsets[i] - m_Offsets[i - 1] (m_Spans[0] unused).
    std::vector<float> m_Offsets;
    std::vector<unsigned int> m_Colors;
    std::vector<float> m_Spans;
    // A NaN offset leaves the map's order to the tree's shape; the lookup
    // then walks the map itself.
    bool m_HasNaN = false;
};

class Gradient : public GraphicsBase {
public:
    virtual ~Gradient();

    // 0 LinearGradient, 1 RadialGradient, 2 TriMeshGradient.
    virtual int GetType() const = 0;
};

// Shared state of the gradients that run along an axis between two points:
// their stops, the two points and whether the end colours extend beyond.
class LinearGradientBase : public Gradient {
public:
    // Makes a stop at 0.0 of startColor and one at 1.0 of endColor.
    LinearGradientBase(const Color& startColor, const Color& endColor, const Point<float>& start,
                       const Point<float>& end);
    // Inserts the given stops in array order.
    LinearGradientBase(const GradientStop* stops, unsigned long count, const Point<float>& start,
                       const Point<float>& end);

    void SetStartPoint(const Point<float>& point) { m_StartPoint = point; }
    const Point<float>& GetStartPoint() const { return m_StartPoint; }
    void SetEndPoint(const Point<float>& point) { m_EndPoint = point; }
    const Point<float>& GetEndPoint() const { return m_EndPoint; }

    void SetExtendStart(bool extend) { m_ExtendStart = extend; }
    bool IsExtendStart() const { return m_ExtendStart; }
    void SetExtendEnd(bool extend) { m_ExtendEnd = extend; }
    bool IsExtendEnd() const { return m_ExtendEnd; }

    std::shared_ptr<GradientStopCollection> GetGradientStopCollection() const { return m_Stops; }

private:
    std::shared_ptr<GradientStopCollection> m_Stops;
    Point<float> m_StartPoint;
    Point<float> m_EndPoint;
    bool m_ExtendStart = false;
    bool m_ExtendEnd = false;
};

class LinearGradient : public LinearGradientBase {
public:
    LinearGradient(const Color& startColor, const Color& endColor, const Point<float>& start,
                   const Point<float>& end);
    LinearGradient(const GradientStop* stops, unsigned long count, const Point<float>& start,
                   const Point<float>& end);

    int GetType() const override;
};

// Two circles; the start and end points are their centres.
class RadialGradient : public LinearGradientBase {
public:
    // Both circles share the centre; the start radius is 0.
    RadialGradient(const Color& startColor, const Color& endColor, const Point<float>& center, float radius);
    RadialGradient(const GradientStop* stops, unsigned long count, const Point<float>& center, float radius);
    RadialGradient(const Color& startColor, const Color& endColor, const Point<float>& start, float startRadius,
                   const Point<float>& end, float endRadius);
    RadialGradient(const GradientStop* stops, unsigned long count, const Point<float>& start, float startRadius,
                   const Point<float>& end, float endRadius);

    int GetType() const override;

    void SetStartRadius(float radius) { m_StartRadius = radius; }
    float GetStartRadius() const { return m_StartRadius; }
    void SetEndRadius(float radius) { m_EndRadius = radius; }
    float GetEndRadius() const { return m_EndRadius; }

private:
    float m_StartRadius = 0.0f;
    float m_EndRadius = 0.0f;
};

// A triangle strip with a colour at each vertex: every vertex from the third
// on forms a triangle with the two before it.
class TriMeshGradient : public Gradient {
public:
    struct Vertex {
        Point<float> position;
        unsigned int color = 0;  // in the layout of ARGB8

        Vertex() = default;
        Vertex(const Point<float>& position_, unsigned int color_) : position(position_), color(color_) {}
    };

    TriMeshGradient(const Vertex* vertices, unsigned long count);

    int GetType() const override;

    const std::vector<Vertex>& GetVertices() const { return m_Vertices; }

private:
    std::vector<Vertex> m_Vertices;
};

// Premultiplied lookup in the stops of an axial gradient. It shares the
// stops with the gradient, so stops inserted later show up in it.
class GradientSampler : public GraphicsBase {
public:
    explicit GradientSampler(std::shared_ptr<LinearGradientBase> gradient);

    // The stop lookup at t, converted to ARGB8p.
    unsigned int GetColor(float t) const;

private:
    friend struct GradientStopLookup;

    std::shared_ptr<GradientStopCollection> m_Stops;
};

}  // namespace Graphics
