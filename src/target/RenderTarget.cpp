#include "Graphics/RenderTarget.h"

#include "Graphics/Brush.h"
#include "Graphics/Geometry.h"
#include "Graphics/Gradient.h"
#include "geometry/GeometryAccess.h"
#include "geometry/Widener.h"
#include "target/Rotation.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <utility>

namespace Graphics {

namespace {

// Whole numbers of the pixel snap. Values beyond the int range saturate and
// NaN gives 0, so that the arithmetic below stays defined; 64 bits leave room
// for the one-pixel steps at the ends of the range.
long long _ToInt(float v) {
    if (v != v) return 0;
    if (v <= static_cast<float>(INT_MIN)) return INT_MIN;
    if (v >= static_cast<float>(INT_MAX)) return INT_MAX;
    return static_cast<long long>(static_cast<int>(v));
}

// A whole-pixel rectangle of about the same size as r: never thinner than
// one pixel, and as wide and as tall as r rounded up, wherever r stands.
Rect<float> _AdjustRect(const Rect<float>& r) {
    long long left = _ToInt(std::floor(r.left));
    long long top = _ToInt(std::floor(r.top));
    long long right = _ToInt(std::ceil(r.right));
    long long bottom = _ToInt(std::ceil(r.bottom));
    long long width = _ToInt(std::ceil(r.right - r.left));
    long long height = _ToInt(std::ceil(r.bottom - r.top));

    if (width < 1) {
        if (left == right) ++right;
        width = 1;
    }
    if (height < 1) {
        if (top == bottom) ++bottom;
        height = 1;
    }
    // One pixel too many: give up the side with more slack.
    if (right - left >= width + 1) {
        if (r.left - static_cast<float>(left) > static_cast<float>(right) - r.right)
            ++left;
        else
            --right;
    }
    if (bottom - top >= height + 1) {
        if (r.top - static_cast<float>(top) > static_cast<float>(bottom) - r.bottom)
            ++top;
        else
            --bottom;
    }
    return Rect<float>(static_cast<float>(left), static_cast<float>(top), static_cast<float>(right),
                       static_cast<float>(bottom));
}

// Under the identity, a rectangle already on whole pixels and made the way
// _RectangleGeometry makes it would only be replaced by its own copy.
bool _IsSnappedAlready(const Geometry& geometry, const Matrix& m, const Rect<float>& r, const Rect<float>& snapped) {
    return m.IsIdentity() && snapped.left == r.left && snapped.top == r.top && snapped.right == r.right &&
           snapped.bottom == r.bottom && GeometryAccess::GetShape(geometry).IsRectangleOf(r);
}

std::shared_ptr<Geometry> _RectangleGeometry(const Rect<float>& rect) {
    std::shared_ptr<Geometry> geometry = std::make_shared<Geometry>();
    geometry->Rectangle(rect);
    return geometry;
}

bool _IsEmpty(const std::shared_ptr<Geometry>& geometry) { return !geometry || geometry->IsEmpty(); }

bool _IsFlat(const Rect<float>& rect) { return rect.left == rect.right || rect.top == rect.bottom; }

// The outline geometry of a stroke, kept on the thread for the next stroke
// with its storage: a stroke then builds its outline without allocating.
// Taken out while a stroke uses it, so a stroke inside a fill gets its own,
// and kept only where nothing else holds it after the fill and it stayed
// small.
thread_local std::shared_ptr<Geometry> t_SpareOutline;

std::shared_ptr<Geometry> _TakeOutline() {
    std::shared_ptr<Geometry> outline = std::move(t_SpareOutline);
    if (outline && GeometryAccess::Reset(*outline)) return outline;
    return std::make_shared<Geometry>();
}

void _KeepOutline(std::shared_ptr<Geometry> outline) {
    constexpr std::size_t kMostPoints = 4096;
    if (outline.use_count() == 1 && GeometryAccess::GetShape(*outline).CountPoints() <= kMostPoints)
        t_SpareOutline = std::move(outline);
}

// Puts a transform back when the command ends, also when a fill fails, so
// that a failure leaves the caller's transform as it was.
class _TransformRestore {
public:
    _TransformRestore(RenderTargetBase& t, const Matrix& m) : target(t), matrix(m) {}
    ~_TransformRestore() { target.SetTransform(matrix); }
    _TransformRestore(const _TransformRestore&) = delete;
    _TransformRestore& operator=(const _TransformRestore&) = delete;

private:
    RenderTargetBase& target;
    Matrix matrix;
};

}  // namespace

float PixelOffset(float v) {
    const float f = v - std::trunc(v);
    if (f >= 0.5f) return f - 1.0f;
    if (f <= -0.5f) return f + 1.0f;
    return f;
}

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

// Rectangles that stay axis-aligned are snapped to whole pixels and painted
// under the identity; the brush keeps its own space, which does not depend
// on the target's transform.
void RenderTarget::FillGeometry(std::shared_ptr<Geometry> geometry, std::shared_ptr<Brush> brush) {
    if (_IsEmpty(geometry)) return;
    if (m_Implementation->GetStrokeAdjustment()) {
        const Matrix m = m_Implementation->GetTransform();
        Rect<float> r;
        if (geometry->IsRectangle(m, &r)) {
            const Rect<float> a = _AdjustRect(r);
            if (_IsSnappedAlready(*geometry, m, r, a)) {
                m_Implementation->FillGeometry(std::move(geometry), std::move(brush));
                return;
            }
            std::shared_ptr<Geometry> snapped = _RectangleGeometry(a);
            _TransformRestore restore(*m_Implementation, m);
            m_Implementation->SetTransform(Matrix::Identity());
            m_Implementation->FillGeometry(std::move(snapped), std::move(brush));
            return;
        }
    }
    m_Implementation->FillGeometry(std::move(geometry), std::move(brush));
}

void RenderTarget::FillTextGeometry(std::shared_ptr<Geometry> geometry, std::shared_ptr<Brush> brush) {
    if (_IsEmpty(geometry)) return;
    m_Implementation->FillTextGeometry(std::move(geometry), std::move(brush));
}

void RenderTarget::FillRectangle(const Rect<float>& rect, std::shared_ptr<Brush> brush) {
    FillGeometry(_RectangleGeometry(rect), std::move(brush));
}

void RenderTarget::FillEllipse(const Rect<float>& rect, std::shared_ptr<Brush> brush) {
    if (_IsFlat(rect)) return;
    std::shared_ptr<Geometry> geometry = std::make_shared<Geometry>();
    geometry->Ellipse(rect);
    FillGeometry(std::move(geometry), std::move(brush));
}

void RenderTarget::FillCircle(const Point<float>& center, float radius, std::shared_ptr<Brush> brush) {
    FillEllipse(Rect<float>(center.x - radius, center.y - radius, center.x + radius, center.y + radius),
                std::move(brush));
}

void RenderTarget::FillRoundRectangle(const Rect<float>& rect, float rx, float ry, std::shared_ptr<Brush> brush) {
    if (_IsFlat(rect)) return;
    std::shared_ptr<Geometry> geometry = std::make_shared<Geometry>();
    geometry->RoundRectangle(rect, rx, ry);
    FillGeometry(std::move(geometry), std::move(brush));
}

// A rectangular clip is snapped with the same function as a rectangular
// fill, so that the two fit each other exactly.
void RenderTarget::ClipGeometry(std::shared_ptr<Geometry> geometry) {
    if (_IsEmpty(geometry)) return;
    if (m_Implementation->GetStrokeAdjustment()) {
        const Matrix m = m_Implementation->GetTransform();
        Rect<float> r;
        if (geometry->IsRectangle(m, &r)) {
            std::shared_ptr<Geometry> snapped = _RectangleGeometry(_AdjustRect(r));
            _TransformRestore restore(*m_Implementation, m);
            m_Implementation->SetTransform(Matrix::Identity());
            m_Implementation->ClipGeometry(std::move(snapped));
            return;
        }
    }
    m_Implementation->ClipGeometry(std::move(geometry));
}

// An empty rectangle leaves the clip alone rather than clipping everything
// away.
void RenderTarget::ClipRectangle(const Rect<float>& rect) {
    if (_IsFlat(rect)) return;
    ClipGeometry(_RectangleGeometry(rect));
}

void RenderTarget::ClipEllipse(const Rect<float>& rect) {
    if (_IsFlat(rect)) return;
    std::shared_ptr<Geometry> geometry = std::make_shared<Geometry>();
    geometry->Ellipse(rect);
    ClipGeometry(std::move(geometry));
}

void RenderTarget::ClipRoundRectangle(const Rect<float>& rect, float rx, float ry) {
    if (_IsFlat(rect)) return;
    std::shared_ptr<Geometry> geometry = std::make_shared<Geometry>();
    geometry->RoundRectangle(rect, rx, ry);
    ClipGeometry(std::move(geometry));
}

void RenderTarget::StrokeGeometry(std::shared_ptr<Geometry> geometry, std::shared_ptr<Brush> brush, float width,
                                  const StrokeParameters& parameters) {
    if (_IsEmpty(geometry)) return;
    const Matrix m = m_Implementation->GetTransform();
    // The target's pixels and a margin: curves far outside need no sides.
    const Size<int> size = m_Implementation->GetSize();
    const Rect<float> visible(-1.0f, -1.0f, static_cast<float>(size.width) + 1.0f,
                              static_cast<float>(size.height) + 1.0f);

    if (width == 0.0f) {
        // A hairline is one device line of constant thickness: widen in
        // pixels, after the transform, and fill under the identity.
        std::shared_ptr<Geometry> device = std::make_shared<Geometry>();
        geometry->Transform(m, device);
        std::shared_ptr<Geometry> outline = std::make_shared<Geometry>();
        WidenWithin(*device, 0.75f, parameters, 0.25f, Matrix::Identity(), visible, outline);
        _TransformRestore restore(*m_Implementation, m);
        m_Implementation->SetTransform(Matrix::Identity());
        FillGeometry(std::move(outline), std::move(brush));
        return;
    }

    // A quarter pixel in user units; the stroke is never thinner than two
    // of them.
    const float d = std::fabs(m.m11 * m.m22 - m.m12 * m.m21);
    const float tolerance = 0.25f / std::sqrt(d);
    const float w = std::max(tolerance + tolerance, width);
    std::shared_ptr<Geometry> outline = _TakeOutline();
    WidenWithin(*geometry, w, parameters, tolerance, m, visible, outline);
    FillGeometry(outline, std::move(brush));
    _KeepOutline(std::move(outline));
}

void RenderTarget::StrokeRectangle(const Rect<float>& rect, std::shared_ptr<Brush> brush, float width,
                                   const StrokeParameters& parameters) {
    if (_IsFlat(rect)) return;
    Rect<float> placed = rect;
    if (m_Implementation->GetStrokeAdjustment()) {
        const Matrix m = m_Implementation->GetTransform();
        if ((m.m12 == 0.0f && m.m21 == 0.0f) || (m.m11 == 0.0f && m.m22 == 0.0f)) {
            // Each side runs through the middle of a pixel row or column.
            Rect<float> r = m.TransformRect(rect);
            r.left = std::floor(r.left) + 0.5f;
            r.top = std::floor(r.top) + 0.5f;
            r.right = std::floor(r.right) + 0.5f;
            r.bottom = std::floor(r.bottom) + 0.5f;
            placed = m.Inverse().TransformRect(r);
        }
    }
    StrokeGeometry(_RectangleGeometry(placed), std::move(brush), width, parameters);
}

void RenderTarget::StrokeEllipse(const Rect<float>& rect, std::shared_ptr<Brush> brush, float width,
                                 const StrokeParameters& parameters) {
    if (_IsFlat(rect)) return;
    std::shared_ptr<Geometry> geometry = std::make_shared<Geometry>();
    geometry->Ellipse(rect);
    StrokeGeometry(std::move(geometry), std::move(brush), width, parameters);
}

void RenderTarget::StrokeCircle(const Point<float>& center, float radius, std::shared_ptr<Brush> brush, float width,
                                const StrokeParameters& parameters) {
    StrokeEllipse(Rect<float>(center.x - radius, center.y - radius, center.x + radius, center.y + radius),
                  std::move(brush), width, parameters);
}

void RenderTarget::StrokeRoundRectangle(const Rect<float>& rect, float rx, float ry, std::shared_ptr<Brush> brush,
                                        float width, const StrokeParameters& parameters) {
    if (_IsFlat(rect)) return;
    std::shared_ptr<Geometry> geometry = std::make_shared<Geometry>();
    geometry->RoundRectangle(rect, rx, ry);
    StrokeGeometry(std::move(geometry), std::move(brush), width, parameters);
}

void RenderTarget::StrokeLine(const Point<float>& from, const Point<float>& to, std::shared_ptr<Brush> brush,
                              float width, const StrokeParameters& parameters) {
    std::shared_ptr<Geometry> geometry = std::make_shared<Geometry>();
    geometry->BeginFigure(from);
    geometry->LineTo(to);
    geometry->EndFigure();
    StrokeGeometry(std::move(geometry), std::move(brush), width, parameters);
}

void RenderTarget::DrawBitmap(std::shared_ptr<BitmapSource> source, float opacity) {
    if (!source || !(opacity > 0.0f)) return;
    std::shared_ptr<BitmapBrush> brush = std::make_shared<BitmapBrush>(source);
    brush->SetExtendModeX(ExtendMode::Clamp);
    brush->SetExtendModeY(ExtendMode::Clamp);
    brush->SetOpacity(opacity);
    brush->SetInterpolationMode(m_Implementation->GetInterpolationMode());

    const Size<int> size = source->GetSize();
    // A source without pixels has nothing to show.
    if (size.width <= 0 || size.height <= 0) return;
    const Rect<float> bounds(0.0f, 0.0f, static_cast<float>(size.width), static_cast<float>(size.height));
    const Matrix m = m_Implementation->GetTransform();

    if (m_Implementation->GetStrokeAdjustment()) {
        std::shared_ptr<Geometry> geometry = _RectangleGeometry(bounds);
        Rect<float> d;
        if (geometry->IsRectangle(m, &d)) {
            // Fit the picture to the rectangle that the rasterizer will
            // fill, and bypass the facade's snap, which could stretch it by a
            // pixel.
            const Rect<float> r = m.TransformRect(bounds);
            const float sx = (d.right - d.left) / (r.right - r.left);
            const float sy = (d.bottom - d.top) / (r.bottom - r.top);
            const float tx = d.left - r.left * sx;
            const float ty = d.top - r.top * sy;
            brush->SetTransform(Matrix::Multiply(Matrix(sx, 0.0f, 0.0f, sy, tx, ty), m));
            _TransformRestore restore(*m_Implementation, m);
            m_Implementation->SetTransform(Matrix::Identity());
            m_Implementation->FillGeometry(_RectangleGeometry(d), std::move(brush));
            return;
        }
    }
    brush->SetTransform(m);
    FillRectangle(bounds, std::move(brush));
}

void RenderTarget::DrawGradient(std::shared_ptr<Gradient> gradient, float opacity) {
    if (!gradient || !(opacity > 0.0f)) return;
    const Matrix m = m_Implementation->GetTransform();
    std::shared_ptr<GradientBrush> brush = std::make_shared<GradientBrush>(std::move(gradient));
    brush->SetTransform(m);
    brush->SetOpacity(opacity);
    const Size<int> size = m_Implementation->GetSize();
    _TransformRestore restore(*m_Implementation, m);
    m_Implementation->SetTransform(Matrix::Identity());
    FillRectangle(Rect<float>(0.0f, 0.0f, static_cast<float>(size.width), static_cast<float>(size.height)),
                  std::move(brush));
}

void RenderTarget::InvertRectangle(const Rect<float>& rect) {
    const BlendMode::Enum saved = m_Implementation->GetBlendMode();
    m_Implementation->SetBlendMode(BlendMode::Difference);
    try {
        FillRectangle(rect, std::make_shared<SolidBrush>(0xFFFFFFFFu));
    } catch (...) {
        m_Implementation->SetBlendMode(saved);
        throw;
    }
    m_Implementation->SetBlendMode(saved);
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
