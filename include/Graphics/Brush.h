#pragma once

#include <memory>
#include <utility>

#include "Graphics/Bitmap.h"
#include "Graphics/Gradient.h"
#include "Graphics/Memory.h"
#include "Graphics/Types.h"

namespace Graphics {

// The contents of a pattern are not part of this library: it is only held.
class Pattern;

// What colour each point of a painted shape gets. Brushes hold description
// only; every back end reads them and builds its own paint source.
class Brush : public GraphicsBase {
public:
    Brush() = default;
    virtual ~Brush();

    // 0 SolidBrush, 1 BitmapBrush, 2 PatternBrush, 3 GradientBrush.
    virtual int GetType() const = 0;

    // Maps brush space to the space in which the target's pixels are placed.
    void SetTransform(const Matrix& transform) { m_Transform = transform; }
    const Matrix& GetTransform() const { return m_Transform; }

    // Multiplied into the paint; not clamped.
    void SetOpacity(float opacity) { m_Opacity = opacity; }
    float GetOpacity() const { return m_Opacity; }

private:
    Matrix m_Transform;
    float m_Opacity = 1.0f;
};

class SolidBrush : public Brush {
public:
    explicit SolidBrush(unsigned int argb);
    explicit SolidBrush(const Color& color);

    int GetType() const override;

    void SetColor(unsigned int argb) { m_Color = Color(argb); }
    void SetColor(const Color& color) { m_Color = color; }
    const Color& GetColor() const { return m_Color; }

private:
    Color m_Color;
};

class BitmapBrush : public Brush {
public:
    explicit BitmapBrush(std::shared_ptr<BitmapSource> bitmap);

    int GetType() const override;

    void SetBitmap(std::shared_ptr<BitmapSource> bitmap) { m_Bitmap = std::move(bitmap); }
    std::shared_ptr<BitmapSource> GetBitmap() const { return m_Bitmap; }

    void SetInterpolationMode(InterpolationMode::Enum mode) { m_InterpolationMode = mode; }
    InterpolationMode::Enum GetInterpolationMode() const { return m_InterpolationMode; }

    void SetExtendModeX(ExtendMode::Enum mode) { m_ExtendModeX = mode; }
    ExtendMode::Enum GetExtendModeX() const { return m_ExtendModeX; }
    void SetExtendModeY(ExtendMode::Enum mode) { m_ExtendModeY = mode; }
    ExtendMode::Enum GetExtendModeY() const { return m_ExtendModeY; }

private:
    std::shared_ptr<BitmapSource> m_Bitmap;
    InterpolationMode::Enum m_InterpolationMode = InterpolationMode::Linear;
    ExtendMode::Enum m_ExtendModeX = ExtendMode::Clamp;
    ExtendMode::Enum m_ExtendModeY = ExtendMode::Clamp;
};

class PatternBrush : public Brush {
public:
    explicit PatternBrush(std::shared_ptr<Pattern> pattern);

    int GetType() const override;

    void SetPattern(std::shared_ptr<Pattern> pattern) { m_Pattern = std::move(pattern); }
    std::shared_ptr<Pattern> GetPattern() const { return m_Pattern; }

private:
    std::shared_ptr<Pattern> m_Pattern;
};

class GradientBrush : public Brush {
public:
    explicit GradientBrush(std::shared_ptr<Gradient> gradient);

    int GetType() const override;

    void SetGradient(std::shared_ptr<Gradient> gradient) { m_Gradient = std::move(gradient); }
    std::shared_ptr<Gradient> GetGradient() const { return m_Gradient; }

private:
    std::shared_ptr<Gradient> m_Gradient;
};

}  // namespace Graphics
