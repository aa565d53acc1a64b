#include "Graphics/RenderTarget.h"
#include "target/Rotation.h"

namespace Graphics {

RenderTargetBase::~RenderTargetBase() = default;

// The helpers below skip SetTransform for a neutral argument, so that a back
// end does not see a state change (and, on the batching back ends, a flush)
// for nothing.

void RenderTargetBase::MultiplyTransform(const Matrix& matrix) {
    if (matrix.IsIdentity()) return;
    SetTransform(Matrix::Multiply(matrix, GetTransform()));
}

void RenderTargetBase::TranslateTransform(float tx, float ty) {
    if (tx == 0.0f && ty == 0.0f) return;
    SetTransform(Matrix::Multiply(Matrix(1.0f, 0.0f, 0.0f, 1.0f, tx, ty), GetTransform()));
}

void RenderTargetBase::ScaleTransform(float sx, float sy) {
    if (sx == 1.0f && sy == 1.0f) return;
    SetTransform(Matrix::Multiply(Matrix(sx, 0.0f, 0.0f, sy, 0.0f, 0.0f), GetTransform()));
}

void RenderTargetBase::RotateTransform(float angle) {
    float s, c;
    ComputeRotation(angle, s, c);
    if (c == 1.0f && s == 0.0f) return;
    SetTransform(Matrix::Multiply(Matrix(c, s, -s, c, 0.0f, 0.0f), GetTransform()));
}

}  // namespace Graphics
