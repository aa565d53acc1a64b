#pragma once

#include "Graphics/Bitmap.h"
#include "Graphics/ImplementationHolder.h"
#include "Graphics/Memory.h"
#include "Graphics/Types.h"

#include <memory>

namespace Graphics {

class Brush;
class Geometry;
class Gradient;

// The signed distance from v to the nearest whole number, for programs that
// place things on the pixel grid: v's fraction (v minus v truncated toward
// zero), brought into (-0.5, 0.5) by one step where it lies outside.
float PixelOffset(float v);

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

    // Drawing commands. A brush's own transform maps its space to the
    // target's pixels and is not touched by the target's transform. Null and
    // empty geometries draw nothing; a null brush is the caller's fault.
    //
    // With stroke adjustment on, a geometry that is one axis-aligned
    // rectangle under the transform is snapped to whole pixels first: it
    // never gets thinner than a pixel and keeps its size rounded up.
    void FillGeometry(std::shared_ptr<Geometry> geometry, std::shared_ptr<Brush> brush);
    // Never snapped to pixels.
    void FillTextGeometry(std::shared_ptr<Geometry> geometry, std::shared_ptr<Brush> brush);
    void FillRectangle(const Rect<float>& rect, std::shared_ptr<Brush> brush);
    // These draw nothing for a rectangle of zero width or height.
    void FillEllipse(const Rect<float>& rect, std::shared_ptr<Brush> brush);
    void FillCircle(const Point<float>& center, float radius, std::shared_ptr<Brush> brush);
    void FillRoundRectangle(const Rect<float>& rect, float rx, float ry, std::shared_ptr<Brush> brush);

    // Intersect the clip, snapped like a fill. An empty rectangle leaves the
    // clip as it is.
    void ClipGeometry(std::shared_ptr<Geometry> geometry);
    void ClipRectangle(const Rect<float>& rect);
    void ClipEllipse(const Rect<float>& rect);
    void ClipRoundRectangle(const Rect<float>& rect, float rx, float ry);

    // Strokes of the given width in user space, never thinner than half a
    // pixel. A width of exactly 0 is a hairline: a device line 0.75 pixels
    // wide whatever the transform.
    void StrokeGeometry(std::shared_ptr<Geometry> geometry, std::shared_ptr<Brush> brush, float width,
                        const StrokeParameters& parameters);
    // With stroke adjustment on, under a transform that keeps the axes, the
    // sides run through the middle of pixel rows and columns.
    void StrokeRectangle(const Rect<float>& rect, std::shared_ptr<Brush> brush, float width,
                         const StrokeParameters& parameters);
    void StrokeEllipse(const Rect<float>& rect, std::shared_ptr<Brush> brush, float width,
                       const StrokeParameters& parameters);
    void StrokeCircle(const Point<float>& center, float radius, std::shared_ptr<Brush> brush, float width,
                      const StrokeParameters& parameters);
    void StrokeRoundRectangle(const Rect<float>& rect, float rx, float ry, std::shared_ptr<Brush> brush,
                              float width, const StrokeParameters& parameters);
    void StrokeLine(const Point<float>& from, const Point<float>& to, std::shared_ptr<Brush> brush, float width,
                    const StrokeParameters& parameters);

    // The source with its top left corner at the user space origin, one
    // source pixel to one unit, in the current interpolation mode. Nothing
    // for a null source or an opacity not above 0.
    void DrawBitmap(std::shared_ptr<BitmapSource> source, float opacity);
    // The gradient over the whole target, within the clip. Nothing for a
    // null gradient or an opacity not above 0.
    void DrawGradient(std::shared_ptr<Gradient> gradient, float opacity);
    // Inverts the colours under the rectangle (a white fill in the
    // Difference mode).
    void InvertRectangle(const Rect<float>& rect);

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
