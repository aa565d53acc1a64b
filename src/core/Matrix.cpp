#include "Graphics/Types.h"

#include <algorithm>

namespace Graphics {

Matrix Matrix::Multiply(const Matrix& a, const Matrix& b) {
    return Matrix(a.m11 * b.m11 + a.m12 * b.m21, a.m11 * b.m12 + a.m12 * b.m22,
                  a.m21 * b.m11 + a.m22 * b.m21, a.m21 * b.m12 + a.m22 * b.m22,
                  a.dx * b.m11 + a.dy * b.m21 + b.dx, a.dx * b.m12 + a.dy * b.m22 + b.dy);
}

Matrix Matrix::Inverse() const {
    const float r = 1.0f / (m11 * m22 - m12 * m21);
    const float i11 = m22 * r;
    const float i12 = -m12 * r;
    const float i21 = -m21 * r;
    const float i22 = m11 * r;
    return Matrix(i11, i12, i21, i22, -(dx * i11 + dy * i21), -(dx * i12 + dy * i22));
}

Rect<float> Matrix::TransformRect(const Rect<float>& rect) const {
    if (IsIdentity()) return rect;
    const Point<float> p[4] = {
        Transform(Point<float>(rect.left, rect.top)),
        Transform(Point<float>(rect.right, rect.top)),
        Transform(Point<float>(rect.right, rect.bottom)),
        Transform(Point<float>(rect.left, rect.bottom)),
    };
    Rect<float> r(p[0].x, p[0].y, p[0].x, p[0].y);
    for (int i = 1; i < 4; ++i) {
        r.left = std::min(r.left, p[i].x);
        r.top = std::min(r.top, p[i].y);
        r.right = std::max(r.right, p[i].x);
        r.bottom = std::max(r.bottom, p[i].y);
    }
    return r;
}

}  // namespace Graphics
