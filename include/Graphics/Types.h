#pragma once

#include <vector>

namespace Graphics {

template <typename T>
struct Point {
    T x = T();
    T y = T();

    Point() = default;
    Point(T x_, T y_) : x(x_), y(y_) {}

    bool operator==(const Point& o) const { return x == o.x && y == o.y; }
    bool operator!=(const Point& o) const { return !(*this == o); }
};

template <typename T>
struct Size {
    T width = T();
    T height = T();

    Size() = default;
    Size(T w, T h) : width(w), height(h) {}

    bool operator==(const Size& o) const { return width == o.width && height == o.height; }
    bool operator!=(const Size& o) const { return !(*this == o); }
};

// Two corners, never origin and size. In pixel space (int) the right and the
// bottom edges are exclusive.
template <typename T>
struct Rect {
    T left = T();
    T top = T();
    T right = T();
    T bottom = T();

    Rect() = default;
    Rect(T l, T t, T r, T b) : left(l), top(t), right(r), bottom(b) {}

    T Width() const { return right - left; }
    T Height() const { return bottom - top; }
    bool IsEmpty() const { return !(left < right) || !(top < bottom); }

    bool operator==(const Rect& o) const {
        return left == o.left && top == o.top && right == o.right && bottom == o.bottom;
    }
    bool operator!=(const Rect& o) const { return !(*this == o); }
};

// Six floats acting on a row vector:
//   x' = x * m11 + y * m21 + dx,   y' = x * m12 + y * m22 + dy
struct Matrix {
    float m11 = 1.0f, m12 = 0.0f, m21 = 0.0f, m22 = 1.0f, dx = 0.0f, dy = 0.0f;

    Matrix() = default;
    Matrix(float a11, float a12, float a21, float a22, float adx, float ady)
        : m11(a11), m12(a12), m21(a21), m22(a22), dx(adx), dy(ady) {}

    static Matrix Identity() { return Matrix(); }

    // Exact comparison with (1, 0, 0, 1, 0, 0); there is no tolerance.
    bool IsIdentity() const {
        return m11 == 1.0f && m12 == 0.0f && m21 == 0.0f && m22 == 1.0f && dx == 0.0f && dy == 0.0f;
    }

    // The product of a followed by b: a is applied to the point first.
    static Matrix Multiply(const Matrix& a, const Matrix& b);

    // Plain inverse with the reciprocal determinant; a singular matrix gives
    // infinities, which callers live with.
    Matrix Inverse() const;

    Point<float> Transform(const Point<float>& p) const {
        return Point<float>(p.x * m11 + p.y * m21 + dx, p.x * m12 + p.y * m22 + dy);
    }

    // Bounding box of the transformed rectangle. The identity returns the
    // rectangle bit for bit, even when it is inverted.
    Rect<float> TransformRect(const Rect<float>& rect) const;

    bool operator==(const Matrix& o) const {
        return m11 == o.m11 && m12 == o.m12 && m21 == o.m21 && m22 == o.m22 && dx == o.dx && dy == o.dy;
    }
    bool operator!=(const Matrix& o) const { return !(*this == o); }
};

// Four floats, red, green, blue, alpha, nominally 0 to 1, not premultiplied.
struct Color {
    float r = 0.0f, g = 0.0f, b = 0.0f, a = 0.0f;

    Color() = default;
    Color(float red, float green, float blue, float alpha) : r(red), g(green), b(blue), a(alpha) {}
    // 0xAARRGGBB, each byte divided by 255.
    explicit Color(unsigned int argb);

    // Channels times 255, truncated toward zero, no rounding and no clamp.
    unsigned int ToARGB() const;  // 0xAARRGGBB
    unsigned int ToABGR() const;  // 0xAABBGGRR, red in the low byte
};

// The enumerations of the interface sit on int, so that any number a
// caller casts in (read from a file, passed from another language) is a
// value of the type, and the checks that refuse numbers out of range are
// well defined.
struct BlendMode {
    enum Enum : int {
        Normal = 0,
        Multiply = 1,
        Screen = 2,
        Overlay = 3,
        Darken = 4,
        Lighten = 5,
        ColorBurn = 6,
        ColorDodge = 7,
        HardLight = 8,
        SoftLight = 9,
        Difference = 10,
        Exclusion = 11,
        Hue = 12,
        Saturation = 13,
        Color = 14,
        Luminosity = 15
    };
};

struct InterpolationMode {
    enum Enum : int { Nearest = 0, Linear = 1, HighQuality = 2 };
};

struct ExtendMode {
    enum Enum : int { Clamp = 0, Wrap = 1, Mirror = 2 };
};

struct SoftMaskType {
    enum Enum : int { Alpha = 0, InverseAlpha = 1, Luminosity = 2, InverseLuminosity = 3 };
};

struct FillRule {
    enum Enum : int { Winding = 0, EvenOdd = 1 };
};

struct LineCap {
    enum Enum : int { Butt = 0, Round = 1, Square = 2 };
};

struct LineJoin {
    enum Enum : int { Miter = 0, Round = 1, Bevel = 2 };
};

struct RuntimeMode {
    enum Enum : int { Hardware = 0, Software = 1, Print = 2 };
};

struct LayerParameters {
    Rect<float> bounds;      // in the user space of the current transform
    float opacity = 1.0f;    // applied when the layer is merged into its parent
    bool isolated = false;   // starts from a transparent backdrop
    bool knockout = false;   // elements replace earlier elements of the group
};

struct StrokeParameters {
    LineJoin::Enum join = LineJoin::Miter;
    LineCap::Enum cap = LineCap::Butt;
    float miterLimit = 10.0f;
    std::vector<float> dashes;  // empty: a solid line, no dash stage at all
    float dashOffset = 0.0f;
};

struct RuntimeParameters {
    RuntimeMode::Enum mode = RuntimeMode::Hardware;
    bool highQualityDownsampling = true;
};

}  // namespace Graphics
