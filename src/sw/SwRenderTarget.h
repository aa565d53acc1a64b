#pragma once

#include "Graphics/RenderTarget.h"
#include "sw/SwSubTarget.h"
#include "sw/SwSurface.h"

namespace Graphics {

// The software back end. Outside a paint cycle the mirror fields hold the
// drawing state; during one the root sub-target does, and the mirrors follow.
class SwRenderTarget : public RenderTargetBase {
public:
    explicit SwRenderTarget(std::shared_ptr<SwSurface> surface);
    ~SwRenderTarget() override;

    PixelFormat::Enum GetPixelFormat() const override;
    Size<int> GetSize() const override;
    float GetDpiX() const override;
    float GetDpiY() const override;
    Matrix GetTransform() const override;
    void SetTransform(const Matrix& matrix) override;
    BlendMode::Enum GetBlendMode() const override;
    void SetBlendMode(BlendMode::Enum mode) override;
    InterpolationMode::Enum GetInterpolationMode() const override;
    void SetInterpolationMode(InterpolationMode::Enum mode) override;
    bool GetStrokeAdjustment() const override;
    void SetStrokeAdjustment(bool adjust) override;
    void BeginPaint() override;
    bool EndPaint() override;
    void Flush() override;
    void PushState() override;
    void PopState() override;
    void BeginLayer(const LayerParameters& parameters) override;
    void EndLayer() override;
    void Clear(const Color& value) override;
    void SetOpacityMask(std::shared_ptr<Brush> brush, SoftMaskType::Enum type) override;
    void SetShapeMask(std::shared_ptr<Brush> brush, SoftMaskType::Enum type) override;
    void ClipGeometry(std::shared_ptr<Geometry> geometry) override;
    void FillGeometry(std::shared_ptr<Geometry> geometry, std::shared_ptr<Brush> brush) override;
    void FillTextGeometry(std::shared_ptr<Geometry> geometry, std::shared_ptr<Brush> brush) override;

    // Brings what was painted so far to the surface's destination without
    // ending the cycle.
    void Present();

    const std::shared_ptr<SwSubTarget>& GetSubTarget() const { return subTarget; }
    const std::shared_ptr<SwSurface>& GetSurface() const { return surface; }
    const std::shared_ptr<BitmapBase>& GetBitmap() const { return bitmap; }

private:
    Matrix transform;
    BlendMode::Enum blendMode = BlendMode::Normal;
    InterpolationMode::Enum interpolationMode = InterpolationMode::Nearest;
    bool strokeAdjustment = true;
    std::shared_ptr<SwSubTarget> subTarget;
    std::shared_ptr<SwSurface> surface;
    std::shared_ptr<BitmapBase> bitmap;
};

}  // namespace Graphics
