#include "Graphics/RenderTarget.h"
#include "target/Rotation.h"

namespace Graphics {

RenderTarget::RenderTarget(std::shared_ptr<RenderTargetBase> implementation)
    : ImplementationHolder<RenderTargetBase>(std::move(implementation)) {}

RenderTarget::~RenderTarget() = default;

PixelFormat::Enum RenderTarget::GetPixelFormat() const { return m_Implementation->GetPixelFormat(); }
Size<int> RenderTarget::GetSize() const { return m_Implementation->GetSize(); }
Matrix RenderTarget::GetTransform() const { return m_Implementation->GetTransform(); }
void RenderTarget::SetTransform(const Matrix& transform) { m_Implementation->SetTransform(transform); }
BlendMode::Enum RenderTarget::GetBlendMode() const { return m_Implementation->GetBlendMode(); }
void RenderTarget::SetBlendMode(BlendMode::Enum mode) { m_Implementation->SetBlendMode(mode); }
InterpolationMode::Enum RenderTarget::GetInterpolationMode() const {
    return m_Implementation->GetInterpolationMode();
}
void RenderTarget::SetInterpolationMode(InterpolationMode::Enum mode) {
    m_Implementation->SetInterpolationMode(mode);
}
bool RenderTarget::GetStrokeAdjustment() const { return m_Implementation->GetStrokeAdjustment(); }
void RenderTarget::SetStrokeAdjustment(bool adjust) { m_Implementation->SetStrokeAdjustment(adjust); }

void RenderTarget::BeginPaint() { m_Implementation->BeginPaint(); }
bool RenderTarget::EndPaint() { return m_Implementation->EndPaint(); }
void RenderTarget::Flush() { m_Implementation->Flush(); }
void RenderTarget::PushState() { m_Implementation->PushState(); }
void RenderTarget::PopState() { m_Implementation->PopState(); }
void RenderTarget::BeginLayer(const LayerParameters& parameters) { m_Implementation->BeginLayer(parameters); }
void RenderTarget::EndLayer() { m_Implementation->EndLayer(); }
void RenderTarget::Clear(const Color& color) { m_Implementation->Clear(color); }
void RenderTarget::Clear(unsigned int argb) { m_Implementation->Clear(Color(argb)); }

void RenderTarget::SetOpacityMask(std::shared_ptr<Brush> brush, SoftMaskType::Enum type) {
    m_Implementation->SetOpacityMask(std::move(brush), type);
}

void RenderTarget::SetShapeMask(std::shared_ptr<Brush> brush, SoftMaskType::Enum type) {
    m_Implementation->SetShapeMask(std::move(brush), type);
}

// The facade's helpers set the transform in every case, neutral arguments
// included; only the back-end helpers take the short cut.

void RenderTarget::MultiplyTransform(const Matrix& matrix) {
    m_Implementation->SetTransform(Matrix::Multiply(matrix, m_Implementation->GetTransform()));
}

void RenderTarget::TranslateTransform(float tx, float ty) {
    MultiplyTransform(Matrix(1.0f, 0.0f, 0.0f, 1.0f, tx, ty));
}

void RenderTarget::ScaleTransform(float sx, float sy) {
    MultiplyTransform(Matrix(sx, 0.0f, 0.0f, sy, 0.0f, 0.0f));
}

void RenderTarget::ScaleTransform(float sx, float sy, const Point<float>& c) {
    MultiplyTransform(Matrix(sx, 0.0f, 0.0f, sy, (1.0f - sx) * c.x, (1.0f - sy) * c.y));
}

void RenderTarget::RotateTransform(float angle) {
    float s, c;
    ComputeRotation(angle, s, c);
    MultiplyTransform(Matrix(c, s, -s, c, 0.0f, 0.0f));
}

void RenderTarget::RotateTransform(float angle, const Point<float>& center) {
    float s, c;
    ComputeRotation(angle, s, c);
    MultiplyTransform(Matrix(c, s, -s, c, s * center.y + center.x * (1.0f - c),
                             (1.0f - c) * center.y - s * center.x));
}

void RenderTarget::ReflectXTransform() { MultiplyTransform(Matrix(-1.0f, 0.0f, 0.0f, 1.0f, 0.0f, 0.0f)); }

void RenderTarget::ReflectYTransform() { MultiplyTransform(Matrix(1.0f, 0.0f, 0.0f, -1.0f, 0.0f, 0.0f)); }

}  // namespace Graphics
