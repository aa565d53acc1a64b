#pragma once

#include "Graphics/Bitmap.h"
#include "Graphics/Types.h"
#include "sw/SwClipping.h"
#include "sw/SwSoftMask.h"

#include <deque>
#include <memory>

namespace Graphics {

class Brush;
class Geometry;
class SwColorSource;

// Where a rectangle given in user space lands in a target of the given size:
// the whole pixels that it covers, cut to the target, and the matrix from user
// space to those pixels (the given matrix moved by the rectangle's corner).
// A rectangle that misses the target gives (0, 0, 0, 0).
struct AxisAlignedPlacement {
    Rect<int> rectangle;
    Matrix matrix;
};

AxisAlignedPlacement ComputeAxisAlignedPlacement(const Size<int>& size, const Rect<float>& rect,
                                                 const Matrix& matrix);

// One paint destination of the software back end: the root, which paints on
// the surface's bitmap, or an open layer, which paints on planes of its own.
// Each has at most one child, the open layer, and forwards the drawing state
// and the drawing calls to it. It owns the state stack.
class SwSubTarget {
public:
    struct State {
        State(const Size<int>& size, float dpiX, float dpiY);
        // Shares the masks, which are immutable, and copies the clip deeply.
        State(const State& other);
        State& operator=(const State& other);

        Matrix transform;  // relative to the target's axisTransform
        BlendMode::Enum blendMode = BlendMode::Normal;
        InterpolationMode::Enum interpolationMode = InterpolationMode::Nearest;
        bool strokeAdjustment = true;
        std::shared_ptr<SwSoftMask> shapeMask;
        std::shared_ptr<SwSoftMask> opacityMask;
        std::shared_ptr<SwClipping> clipping;  // always set
    };

    virtual ~SwSubTarget();
    virtual Size<int> GetTargetSize() const;
    virtual void PushState();
    virtual void PopState();
    virtual BlendMode::Enum GetBlendMode() const;
    virtual void SetBlendMode(BlendMode::Enum mode);
    virtual InterpolationMode::Enum GetInterpolationMode() const;
    virtual void SetInterpolationMode(InterpolationMode::Enum mode);
    virtual bool GetStrokeAdjustment() const;
    virtual void SetStrokeAdjustment(bool adjust);
    virtual void BeginLayer(const LayerParameters& parameters) = 0;
    virtual void EndLayer();
    virtual bool InLayer();
    virtual void Clear(const Color& value);
    virtual void SetOpacityMask(std::shared_ptr<Brush> brush, SoftMaskType::Enum type);
    virtual void SetShapeMask(std::shared_ptr<Brush> brush, SoftMaskType::Enum type);
    virtual void ClipGeometry(std::shared_ptr<Geometry> geometry);
    virtual void FillGeometry(std::shared_ptr<Geometry> geometry, std::shared_ptr<Brush> brush);
    virtual std::shared_ptr<BitmapBase> GetResult();
    virtual std::shared_ptr<BitmapBase> GetColor();
    virtual std::shared_ptr<BitmapBase> GetShape();
    virtual void InitLayer(std::shared_ptr<BitmapBase> bitmap) = 0;
    virtual void InnerFillGeometry(std::shared_ptr<Geometry> geometry, std::shared_ptr<SwColorSource> source,
                                   const Matrix& matrix);
    virtual float GetOpacity() const;

    const Matrix& GetAxisAlignedTransform() const { return axisTransform; }
    const Rect<float>& GetOriginalRect() const { return originalRect; }
    // User space to the root's pixels, whatever layers are open.
    Matrix GetTransform() const;
    void SetTransform(const Matrix& matrix);
    State& CurrentState() { return states.back(); }
    const State& CurrentState() const { return states.back(); }
    bool IsNeedPaint() const { return needPaint; }
    // User space to this target's pixels; what fills use.
    Matrix InnerTransform() const;
    const Rect<int>& GetRectangle() const { return rectangle; }
    const Rect<float>& GetShapeRect() const { return shapeRect; }
    // Brings the active clip up to date before a fill.
    void PreEvent();

    const Point<int>& GetOffset() const { return offset; }
    const std::shared_ptr<SwClipping>& GetClipping() const { return clipping; }
    std::size_t GetStateCount() const { return states.size(); }

protected:
    // The rectangle is the part of the parent's pixels that the target may
    // cover; the parameters' bounds, under the matrix, narrow it.
    SwSubTarget(const Rect<int>& rectangle, const LayerParameters& parameters, const Matrix& matrix, float dpiX,
                float dpiY);

    void InitSubTarget();

    std::shared_ptr<SwSubTarget> child;
    std::shared_ptr<SwSoftMask> layerMask;
    std::shared_ptr<BitmapBase> baseBitmap;
    std::shared_ptr<BitmapBase> color;
    float dpiX;
    float dpiY;
    Rect<float> shapeRect;
    Rect<float> originalRect;
    Point<int> offset;
    bool isolated;
    bool knockout;
    bool needPaint = false;
    std::deque<State> states;
    Rect<int> rectangle;
    Matrix axisTransform;
    // The inverse of axisTransform's linear part.
    Matrix axisLinearInverse;
    Matrix transform;
    std::shared_ptr<SwClipping> clipping;

private:
    SwSubTarget(const SwSubTarget&) = delete;
    SwSubTarget& operator=(const SwSubTarget&) = delete;
};

}  // namespace Graphics
