#include "sw/SwSubTarget.h"

#include "Graphics/Geometry.h"
#include "core/Failure.h"
#include "sw/SwColorSource.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <utility>

namespace Graphics {

namespace {

// Truncation to int that stays defined for values beyond the int range:
// they saturate, and NaN counts as far left/above.
int _TruncateToInt(float v) {
    if (!(v >= -2147483648.0f)) return INT_MIN;
    if (v >= 2147483648.0f) return INT_MAX;
    return static_cast<int>(v);
}

}  // namespace

AxisAlignedPlacement ComputeAxisAlignedPlacement(const Size<int>& size, const Rect<float>& rect,
                                                 const Matrix& matrix) {
    const Rect<float> r = matrix.TransformRect(rect);
    const int left = _TruncateToInt(std::floor(r.left));
    const int top = _TruncateToInt(std::floor(r.top));
    const int right = _TruncateToInt(std::ceil(r.right));
    const int bottom = _TruncateToInt(std::ceil(r.bottom));

    AxisAlignedPlacement placement;
    if (left < size.width && top < size.height && right > 0 && bottom > 0) {
        placement.rectangle = Rect<int>(std::max(left, 0), std::max(top, 0), std::min(right, size.width),
                                        std::min(bottom, size.height));
    }
    placement.matrix = matrix;
    placement.matrix.dx -= static_cast<float>(placement.rectangle.left);
    placement.matrix.dy -= static_cast<float>(placement.rectangle.top);
    return placement;
}

SwSubTarget::State::State(const Size<int>& size, float dpiX, float dpiY)
    : clipping(std::make_shared<SwClipping>(size, dpiX, dpiY)) {}

SwSubTarget::State::State(const State& other)
    : transform(other.transform),
      blendMode(other.blendMode),
      interpolationMode(other.interpolationMode),
      strokeAdjustment(other.strokeAdjustment),
      shapeMask(other.shapeMask),
      opacityMask(other.opacityMask),
      clipping(other.clipping ? other.clipping->Clone() : nullptr) {}

SwSubTarget::State& SwSubTarget::State::operator=(const State& other) {
    if (this != &other) {
        transform = other.transform;
        blendMode = other.blendMode;
        interpolationMode = other.interpolationMode;
        strokeAdjustment = other.strokeAdjustment;
        shapeMask = other.shapeMask;
        opacityMask = other.opacityMask;
        clipping = other.clipping ? other.clipping->Clone() : nullptr;
    }
    return *this;
}

SwSubTarget::SwSubTarget(const Rect<int>& r, const LayerParameters& parameters, const Matrix& matrix, float x,
                         float y)
    : dpiX(x),
      dpiY(y),
      originalRect(parameters.bounds),
      offset(r.left, r.top),
      isolated(parameters.isolated),
      knockout(parameters.knockout) {
    const AxisAlignedPlacement placement =
        ComputeAxisAlignedPlacement(Size<int>(r.Width(), r.Height()), parameters.bounds, matrix);
    rectangle = placement.rectangle;
    axisTransform = placement.matrix;
    // Worked out once: SetTransform needs it for every snapped fill.
    axisLinearInverse = Matrix(axisTransform.m11, axisTransform.m12, axisTransform.m21, axisTransform.m22, 0.0f, 0.0f)
                            .Inverse();
    transform = matrix;
    InitSubTarget();
}

SwSubTarget::~SwSubTarget() = default;

void SwSubTarget::InitSubTarget() {
    // A target without pixels takes every call without effect. The placement
    // never yields an inverted rectangle from ordered bounds; testing for a
    // positive extent also keeps inverted bounds from asking for planes of
    // negative size.
    needPaint = rectangle.Width() > 0 && rectangle.Height() > 0;
    states.push_back(State(Size<int>(rectangle.Width(), rectangle.Height()), dpiX, dpiY));
}

Size<int> SwSubTarget::GetTargetSize() const { return Size<int>(rectangle.Width(), rectangle.Height()); }

void SwSubTarget::PushState() {
    if (child) {
        child->PushState();
        return;
    }
    State copy(states.back());
    states.push_back(std::move(copy));
}

void SwSubTarget::PopState() {
    if (child) {
        child->PopState();
        return;
    }
    // Keeping the stack balanced is the caller's business; the initial state
    // is kept all the same, so that an extra pop can't leave the target
    // without a state.
    if (states.size() > 1) states.pop_back();
}

BlendMode::Enum SwSubTarget::GetBlendMode() const {
    return child ? child->GetBlendMode() : states.back().blendMode;
}

void SwSubTarget::SetBlendMode(BlendMode::Enum mode) {
    if (child)
        child->SetBlendMode(mode);
    else
        states.back().blendMode = mode;
}

InterpolationMode::Enum SwSubTarget::GetInterpolationMode() const {
    return child ? child->GetInterpolationMode() : states.back().interpolationMode;
}

void SwSubTarget::SetInterpolationMode(InterpolationMode::Enum mode) {
    if (child)
        child->SetInterpolationMode(mode);
    else
        states.back().interpolationMode = mode;
}

bool SwSubTarget::GetStrokeAdjustment() const {
    return child ? child->GetStrokeAdjustment() : states.back().strokeAdjustment;
}

void SwSubTarget::SetStrokeAdjustment(bool adjust) {
    if (child)
        child->SetStrokeAdjustment(adjust);
    else
        states.back().strokeAdjustment = adjust;
}

void SwSubTarget::EndLayer() {
    // Only the deepest open layer ends.
    if (child && child->InLayer()) {
        child->EndLayer();
        return;
    }
    if (needPaint && child && child->needPaint) {
        // Merging a layer's result into this target is a fill with the
        // layer's planes as the paint, which the compositor can't do yet.
        GRAPHICS_FAIL("Not implemented");
    }
    child.reset();
}

bool SwSubTarget::InLayer() { return child != nullptr; }

void SwSubTarget::Clear(const Color& value) {
    if (child) {
        child->Clear(value);
        return;
    }
    // The whole plane takes the colour: neither transform, clip, masks nor
    // blend mode play a part.
    if (needPaint && color) color->ColorFill(nullptr, value);
}

void SwSubTarget::SetOpacityMask(std::shared_ptr<Brush>, SoftMaskType::Enum) { GRAPHICS_FAIL("Not implemented"); }

void SwSubTarget::SetShapeMask(std::shared_ptr<Brush>, SoftMaskType::Enum) { GRAPHICS_FAIL("Not implemented"); }

void SwSubTarget::ClipGeometry(std::shared_ptr<Geometry>) { GRAPHICS_FAIL("Not implemented"); }

void SwSubTarget::FillGeometry(std::shared_ptr<Geometry> geometry, std::shared_ptr<Brush> brush) {
    if (child) {
        child->FillGeometry(std::move(geometry), std::move(brush));
        return;
    }
    if (!needPaint || !geometry) return;

    const Matrix t = InnerTransform();
    const Rect<float> b = geometry->GetBound(t);
    const float w = static_cast<float>(rectangle.Width());
    const float h = static_cast<float>(rectangle.Height());
    // A fill that can't touch the target stops before any paint is made. An
    // empty geometry bounds the all-zero rectangle and stops here too.
    if (b.left >= w || b.top >= h || b.right <= 0.0f || b.bottom <= 0.0f) return;

    // Written so that a NaN side falls back to the target's edge.
    const Rect<float> r(b.left > 0.0f ? b.left : 0.0f, b.top > 0.0f ? b.top : 0.0f, b.right < w ? b.right : w,
                        b.bottom < h ? b.bottom : h);
    // The source is asked for this target's pixels but thinks in the root's.
    const Matrix placement(1.0f, 0.0f, 0.0f, 1.0f, static_cast<float>(rectangle.left + offset.x),
                           static_cast<float>(rectangle.top + offset.y));
    std::shared_ptr<SwColorSource> source = SwColorSource::CreateFromBrush(std::move(brush), r, placement);
    InnerFillGeometry(std::move(geometry), std::move(source), t);
}

void SwSubTarget::InnerFillGeometry(std::shared_ptr<Geometry> geometry, std::shared_ptr<SwColorSource>,
                                    const Matrix& matrix) {
    if (!geometry || geometry->IsEmpty()) return;

    const Rect<float> b = geometry->GetBound(matrix);
    const float w = static_cast<float>(rectangle.Width());
    const float h = static_cast<float>(rectangle.Height());
    Rect<float> cut;
    // Comparisons with NaN fail, so a NaN bound counts as missing the target.
    if (b.left < w && b.top < h && b.right > 0.0f && b.bottom > 0.0f)
        cut = Rect<float>(std::max(b.left, 0.0f), std::max(b.top, 0.0f), std::min(b.right, w),
                          std::min(b.bottom, h));

    if (shapeRect.Width() == 0.0f || shapeRect.Height() == 0.0f) {
        shapeRect = cut;
    } else {
        shapeRect = Rect<float>(std::min(shapeRect.left, cut.left), std::min(shapeRect.top, cut.top),
                                std::max(shapeRect.right, cut.right), std::max(shapeRect.bottom, cut.bottom));
    }
}

std::shared_ptr<BitmapBase> SwSubTarget::GetResult() { return color; }

std::shared_ptr<BitmapBase> SwSubTarget::GetColor() { return color; }

std::shared_ptr<BitmapBase> SwSubTarget::GetShape() { return nullptr; }

float SwSubTarget::GetOpacity() const { return 1.0f; }

Matrix SwSubTarget::InnerTransform() const {
    const Matrix& t = states.back().transform;
    if (axisTransform.IsIdentity()) return t;
    return Matrix::Multiply(t, axisTransform);
}

// The transform that the caller sees maps user space to the root's pixels.
// On the deepest target D it is D's state transform followed by A: the linear
// part of D's axisTransform, moved by D's place among the root's pixels.
namespace {

Matrix _RootPlacement(const Matrix& axis, const Point<int>& offset, const Rect<int>& rectangle) {
    return Matrix(axis.m11, axis.m12, axis.m21, axis.m22,
                  axis.dx + static_cast<float>(offset.x) + static_cast<float>(rectangle.left),
                  axis.dy + static_cast<float>(offset.y) + static_cast<float>(rectangle.top));
}

}  // namespace

Matrix SwSubTarget::GetTransform() const {
    const SwSubTarget* d = this;
    while (d->child) d = d->child.get();
    const Matrix a = _RootPlacement(d->axisTransform, d->offset, d->rectangle);
    return Matrix::Multiply(d->states.back().transform, a);
}

void SwSubTarget::SetTransform(const Matrix& m) {
    SwSubTarget* d = this;
    while (d->child) d = d->child.get();
    const Matrix a = _RootPlacement(d->axisTransform, d->offset, d->rectangle);
    // S followed by A gives m: S = (m with A's translation taken away)
    // followed by the inverse of A's linear part.
    const Matrix shifted(m.m11, m.m12, m.m21, m.m22, m.dx - a.dx, m.dy - a.dy);
    d->states.back().transform = Matrix::Multiply(shifted, d->axisLinearInverse);
}

void SwSubTarget::PreEvent() {
    if (child) {
        child->PreEvent();
        return;
    }
    if (!needPaint) return;
    // Clips hold no rendered mask yet that would be worth keeping from one
    // fill to the next: the state's clip is what the fill uses.
    clipping = states.back().clipping;
}

}  // namespace Graphics
