#include "sw/SwRenderTarget.h"

#include "core/Failure.h"
#include "sw/SwBasicSubTarget.h"

namespace Graphics {

SwRenderTarget::SwRenderTarget(std::shared_ptr<SwSurface> s) : surface(std::move(s)) {}

SwRenderTarget::~SwRenderTarget() = default;

PixelFormat::Enum SwRenderTarget::GetPixelFormat() const { return surface->GetPixelFormat(); }
Size<int> SwRenderTarget::GetSize() const { return surface->GetSize(); }
float SwRenderTarget::GetDpiX() const { return surface->GetDpiX(); }
float SwRenderTarget::GetDpiY() const { return surface->GetDpiY(); }

Matrix SwRenderTarget::GetTransform() const { return subTarget ? subTarget->GetTransform() : transform; }

void SwRenderTarget::SetTransform(const Matrix& matrix) {
    if (subTarget) subTarget->SetTransform(matrix);
    transform = matrix;
}

BlendMode::Enum SwRenderTarget::GetBlendMode() const {
    return subTarget ? subTarget->GetBlendMode() : blendMode;
}

void SwRenderTarget::SetBlendMode(BlendMode::Enum mode) {
    if (subTarget) subTarget->SetBlendMode(mode);
    blendMode = mode;
}

InterpolationMode::Enum SwRenderTarget::GetInterpolationMode() const {
    return subTarget ? subTarget->GetInterpolationMode() : interpolationMode;
}

void SwRenderTarget::SetInterpolationMode(InterpolationMode::Enum mode) {
    if (subTarget) subTarget->SetInterpolationMode(mode);
    interpolationMode = mode;
}

bool SwRenderTarget::GetStrokeAdjustment() const {
    return subTarget ? subTarget->GetStrokeAdjustment() : strokeAdjustment;
}

void SwRenderTarget::SetStrokeAdjustment(bool adjust) {
    if (subTarget) subTarget->SetStrokeAdjustment(adjust);
    strokeAdjustment = adjust;
}

void SwRenderTarget::BeginPaint() {
    const Size<int> size = surface->GetSize();
    bitmap = surface->BeginPaint();
    if (!bitmap || !SwSurface::IsSupportedFormat(bitmap->GetPixelFormat())) {
        subTarget.reset();
        GRAPHICS_FAIL("Unsuported pixel format");
    }

    LayerParameters parameters;
    parameters.bounds = Rect<float>(0.0f, 0.0f, static_cast<float>(size.width), static_cast<float>(size.height));
    parameters.opacity = 1.0f;
    parameters.isolated = false;
    parameters.knockout = false;
    subTarget = std::make_shared<SwBasicSubTarget>(Rect<int>(0, 0, size.width, size.height), parameters,
                                                   Matrix::Identity(), bitmap->GetDpiX(), bitmap->GetDpiY());

    // Values set before the cycle are in force during it.
    subTarget->SetBlendMode(blendMode);
    subTarget->SetTransform(transform);
    subTarget->SetInterpolationMode(interpolationMode);
    subTarget->SetStrokeAdjustment(strokeAdjustment);

    subTarget->InitLayer(bitmap);
}

bool SwRenderTarget::EndPaint() {
    surface->EndPaint();
    surface->Present();
    // Open layers are dropped with their content.
    subTarget.reset();
    // The settings of one cycle don't reach the next.
    blendMode = BlendMode::Normal;
    transform = Matrix::Identity();
    interpolationMode = InterpolationMode::Nearest;
    strokeAdjustment = true;
    return true;
}

void SwRenderTarget::Flush() { surface->Present(); }

void SwRenderTarget::Present() {
    surface->EndPaint();
    surface->Present();
}

void SwRenderTarget::PushState() {
    if (subTarget) subTarget->PushState();
}

void SwRenderTarget::PopState() {
    if (!subTarget) return;
    subTarget->PopState();
    blendMode = subTarget->GetBlendMode();
    transform = subTarget->GetTransform();
    interpolationMode = subTarget->GetInterpolationMode();
    strokeAdjustment = subTarget->GetStrokeAdjustment();
}

// The drawing calls below need an open cycle; that is the caller's
// precondition, and it is not reported. Outside a cycle they do nothing.

void SwRenderTarget::BeginLayer(const LayerParameters& parameters) {
    if (!subTarget) return;
    subTarget->BeginLayer(parameters);
}

void SwRenderTarget::EndLayer() {
    if (!subTarget) return;
    subTarget->EndLayer();
}

void SwRenderTarget::Clear(const Color& value) {
    if (!subTarget) return;
    subTarget->Clear(value);
}

void SwRenderTarget::SetOpacityMask(std::shared_ptr<Brush> brush, SoftMaskType::Enum type) {
    if (!subTarget) return;
    subTarget->SetOpacityMask(std::move(brush), type);
}

void SwRenderTarget::SetShapeMask(std::shared_ptr<Brush> brush, SoftMaskType::Enum type) {
    if (!subTarget) return;
    subTarget->SetShapeMask(std::move(brush), type);
}

void SwRenderTarget::ClipGeometry(std::shared_ptr<Geometry> geometry) {
    if (!subTarget) return;
    subTarget->ClipGeometry(std::move(geometry));
}

void SwRenderTarget::FillGeometry(std::shared_ptr<Geometry> geometry, std::shared_ptr<Brush> brush) {
    if (!subTarget) return;
    subTarget->PreEvent();
    subTarget->FillGeometry(std::move(geometry), std::move(brush));
}

void SwRenderTarget::FillTextGeometry(std::shared_ptr<Geometry> geometry, std::shared_ptr<Brush> brush) {
    if (!subTarget) return;
    subTarget->PreEvent();
    // Text is never snapped to whole pixels.
    const bool saved = subTarget->GetStrokeAdjustment();
    subTarget->SetStrokeAdjustment(false);
    try {
        subTarget->FillGeometry(std::move(geometry), std::move(brush));
    } catch (...) {
        subTarget->SetStrokeAdjustment(saved);
        throw;
    }
    subTarget->SetStrokeAdjustment(saved);
}

}  // namespace Graphics
