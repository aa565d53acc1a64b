#pragma once

#include "Graphics/Bitmap.h"
#include "Graphics/ImplementationHolder.h"
#include "Graphics/Memory.h"
#include "Graphics/Types.h"

#include <memory>

namespace Graphics {

class Brush;
class Geometry;

// The interface that every back end implements. The order of the virtual
// operations is fixed: back ends are written against it.
class RenderTargetBase {
public:
    virtual ~RenderTargetBase();
    virtual PixelFormat::Enum GetPixelFormat() const = 0;
    virtual Size<int> GetSize() const = 0;
    virtual float GetDpiX() const = 0;
    virtual float GetDpiY() const = 0;
    virtual Matrix GetTransform() const = 0;
    virtual void SetTransform(const Matrix& transform) = 0;
    virtual BlendMode::Enum GetBlendMode() const = 0;
    virtual void SetBlendMode(BlendMode::Enum mode) = 0;
    virtual InterpolationMode::Enum GetInterpolationMode() const = 0;
    virtual void SetInterpolationMode(InterpolationMode::Enum mode) = 0;
    virtual bool GetStrokeAdjustment() const = 0;
    virtual void SetStrokeAdjustment(bool adjust) = 0;
    virtual void BeginPaint() = 0;
    virtual bool EndPaint() = 0;
    virtual void Flush() = 0;
    virtual void PushState() = 0;
    virtual void PopState() = 0;
    virtual void BeginLayer(const LayerParameters& parameters) = 0;
    virtual void EndLayer() = 0;
    virtual void Clear(const Color& color) = 0;
    virtual void SetOpacityMask(std::shared_ptr<Brush> brush, SoftMaskType::Enum type) = 0;
    virtual void SetShapeMask(std::shared_ptr<Brush> brush, SoftMaskType::Enum type) = 0;
    virtual void ClipGeometry(std::shared_ptr<Geometry> geometry) = 0;
    virtual void FillGeometry(std::shared_ptr<Geometry> geometry, std::shared_ptr<Brush> brush) = 0;
    virtual void FillTextGeometry(std::shared_ptr<Geometry> geometry, std::shared_ptr<Brush> brush) = 0;

    // Prepend a transform to the current one (the argument acts first). A
    // neutral argument returns without touching the transform at all.
    void MultiplyTransform(const Matrix& matrix);
    void TranslateTransform(float tx, float ty);
    void ScaleTransform(float sx, float sy);
    // Radians. Angles of a full turn and more are reduced; negative ones are not.
    void RotateTransform(float angle);
};

// The public drawing object. It keeps nothing but its implementation.
class RenderTarget : public GraphicsBase, public ImplementationHolder<RenderTargetBase> {
public:
    explicit RenderTarget(std::shared_ptr<RenderTargetBase> implementation);
    virtual ~RenderTarget();

    PixelFormat::Enum GetPixelFormat() const;
    Size<int> GetSize() const;
    Matrix GetTransform() const;
    void SetTransform(const Matrix& transform);
    BlendMode::Enum GetBlendMode() const;
    void SetBlendMode(BlendMode::Enum mode);
    InterpolationMode::Enum GetInterpolationMode() const;
    void SetInterpolationMode(InterpolationMode::Enum mode);
    bool GetStrokeAdjustment() const;
    void SetStrokeAdjustment(bool adjust);

    void BeginPaint();
    bool EndPaint();
    void Flush();
    void PushState();
    void PopState();
    void BeginLayer(const LayerParameters& parameters);
    void EndLayer();
    void Clear(const Color& color);
    // 0xAARRGGBB, not premultiplied.
    void Clear(unsigned int argb);
    void SetOpacityMask(std::shared_ptr<Brush> brush, SoftMaskType::Enum type);
    void SetShapeMask(std::shared_ptr<Brush> brush, SoftMaskType::Enum type);

    // Transform helpers. Each prepends its matrix to the current transform and
    // always sets the result, even for a neutral argument.
    void MultiplyTransform(const Matrix& matrix);
    void TranslateTransform(float tx, float ty);
    void ScaleTransform(float sx, float sy);
    // Scales about the point c, which stays where it is.
    void ScaleTransform(float sx, float sy, const Point<float>& c);
    // Radians. Angles of a full turn and more are reduced; negative ones are not.
    void RotateTransform(float angle);
    // Rotates about the point c, which stays where it is.
    void RotateTransform(float angle, const Point<float>& c);
    void ReflectXTransform();
    void ReflectYTransform();
};

// A render target on a bitmap, always through the software back end. It keeps
// the bitmap alive for as long as it lives.
class BitmapRenderTarget : public RenderTarget {
public:
    explicit BitmapRenderTarget(std::shared_ptr<Bitmap> bitmap);
    ~BitmapRenderTarget() override;

    const std::shared_ptr<Bitmap>& GetBitmap() const { return bitmap; }

private:
    std::shared_ptr<Bitmap> bitmap;
};

}  // namespace Graphics
