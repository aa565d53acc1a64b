#include "bitmap/SysMemBitmap.h"
#include "sw/SwBasicSubTarget.h"
#include "sw/SwSubTarget.h"
#include "TargetTestSupport.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>

using namespace Graphics;
using TargetTest::ExpectFailure;

namespace {

LayerParameters Bounds(float l, float t, float r, float b) {
    LayerParameters p;
    p.bounds = Rect<float>(l, t, r, b);
    return p;
}

void ExpectMatrixNear(const Matrix& actual, const Matrix& expected, float tolerance) {
    EXPECT_NEAR(actual.m11, expected.m11, tolerance);
    EXPECT_NEAR(actual.m12, expected.m12, tolerance);
    EXPECT_NEAR(actual.m21, expected.m21, tolerance);
    EXPECT_NEAR(actual.m22, expected.m22, tolerance);
    EXPECT_NEAR(actual.dx, expected.dx, tolerance);
    EXPECT_NEAR(actual.dy, expected.dy, tolerance);
}

Matrix Rotation(double degrees, float dx, float dy, float scale = 1.0f) {
    const double a = degrees * M_PI / 180.0;
    const float c = static_cast<float>(std::cos(a)) * scale, s = static_cast<float>(std::sin(a)) * scale;
    return Matrix(c, s, -s, c, dx, dy);
}

// A sub-target standing in for an open layer, placed the way a layer is:
// on its parent's rectangle moved by the parent's offset, under the parent's
// inner transform.
class FakeLayer : public SwSubTarget {
public:
    FakeLayer(const Rect<int>& rectangle, const LayerParameters& parameters, const Matrix& matrix)
        : SwSubTarget(rectangle, parameters, matrix, 96.0f, 96.0f) {}

    static std::shared_ptr<FakeLayer> OpenOn(const std::shared_ptr<SwSubTarget>& parent,
                                             const LayerParameters& parameters) {
        Rect<int> r = parent->GetRectangle();
        const Point<int> o = parent->GetOffset();
        r = Rect<int>(r.left + o.x, r.top + o.y, r.right + o.x, r.bottom + o.y);
        return std::make_shared<FakeLayer>(r, parameters, parent->InnerTransform());
    }

    void BeginLayer(const LayerParameters& parameters) override {
        if (child)
            child->BeginLayer(parameters);
        else
            ++begins;
    }
    void InitLayer(std::shared_ptr<BitmapBase> bitmap) override { color = std::move(bitmap); }

    // Attaches the given target as the open layer of the deepest target.
    static void Attach(SwSubTarget& parent, std::shared_ptr<SwSubTarget> layer) {
        static_cast<FakeLayer&>(parent).child = std::move(layer);
    }

    int begins = 0;
};

}  // namespace

TEST(SwPlacement, ComputeAxisAlignedPlacement) {
    const Size<int> size(100, 50);

    // Inside: floor of left and top, ceiling of right and bottom.
    AxisAlignedPlacement p = ComputeAxisAlignedPlacement(size, Rect<float>(10.5f, 5.2f, 20.1f, 30.9f), Matrix());
    EXPECT_EQ(p.rectangle, Rect<int>(10, 5, 21, 31));
    EXPECT_EQ(p.matrix, Matrix(1, 0, 0, 1, -10, -5));

    // Under a matrix; the matrix loses the rectangle's corner.
    p = ComputeAxisAlignedPlacement(size, Rect<float>(10, 10, 20, 20), Matrix(2, 0, 0, 2, 3, 4));
    EXPECT_EQ(p.rectangle, Rect<int>(23, 24, 43, 44));
    EXPECT_EQ(p.matrix, Matrix(2, 0, 0, 2, -20, -20));

    // Partial overlap is cut to the target.
    p = ComputeAxisAlignedPlacement(size, Rect<float>(-10, -10, 10, 10), Matrix(2, 0, 0, 2, 3, 4));
    EXPECT_EQ(p.rectangle, Rect<int>(0, 0, 23, 24));
    EXPECT_EQ(p.matrix, Matrix(2, 0, 0, 2, 3, 4));
    p = ComputeAxisAlignedPlacement(size, Rect<float>(90.5f, 40.5f, 300, 300), Matrix());
    EXPECT_EQ(p.rectangle, Rect<int>(90, 40, 100, 50));
    EXPECT_EQ(p.matrix, Matrix(1, 0, 0, 1, -90, -40));
    p = ComputeAxisAlignedPlacement(size, Rect<float>(-5.5f, -3, 120, 60.5f), Matrix());
    EXPECT_EQ(p.rectangle, Rect<int>(0, 0, 100, 50));

    // No overlap, including rectangles that only touch an edge.
    const Rect<float> misses[] = {Rect<float>(200, 0, 300, 10), Rect<float>(100, 0, 110, 10),
                                  Rect<float>(-10, 0, 0, 10),   Rect<float>(0, -10, 10, 0),
                                  Rect<float>(0, 50, 10, 60),   Rect<float>(-30, -30, -20, -20)};
    for (const Rect<float>& r : misses) {
        p = ComputeAxisAlignedPlacement(size, r, Matrix());
        EXPECT_EQ(p.rectangle, Rect<int>(0, 0, 0, 0)) << r.left << "," << r.top;
        EXPECT_TRUE(p.matrix.IsIdentity());
    }
    p = ComputeAxisAlignedPlacement(size, Rect<float>(60, 0, 70, 10), Matrix(2, 0, 0, 2, 0.25f, -3));
    EXPECT_EQ(p.rectangle, Rect<int>(0, 0, 0, 0));
    EXPECT_EQ(p.matrix, Matrix(2, 0, 0, 2, 0.25f, -3));

    // A quarter turn swaps the extents; the bound of the corners counts.
    p = ComputeAxisAlignedPlacement(size, Rect<float>(0, 0, 10, 20), Matrix(0, 1, -1, 0, 50, 0));
    EXPECT_EQ(p.rectangle, Rect<int>(30, 0, 50, 10));
    EXPECT_EQ(p.matrix, Matrix(0, 1, -1, 0, 20, 0));
    p = ComputeAxisAlignedPlacement(size, Rect<float>(0, 0, 10, 20), Matrix(0, 1, -1, 0, 0, 0));
    EXPECT_EQ(p.rectangle, Rect<int>(0, 0, 0, 0));

    // Extreme values stay defined.
    const float inf = std::numeric_limits<float>::infinity();
    p = ComputeAxisAlignedPlacement(size, Rect<float>(-inf, -1e30f, inf, 1e30f), Matrix());
    EXPECT_EQ(p.rectangle, Rect<int>(0, 0, 100, 50));
    p = ComputeAxisAlignedPlacement(size, Rect<float>(std::nanf(""), 0, 10, 10), Matrix());
    EXPECT_EQ(p.rectangle, Rect<int>(0, 0, 10, 10));
}

TEST(SwSubTarget, ConstructionAndPlacement) {
    // Rectangle (5, 7)-(105, 57): a 100 x 50 target whose own pixels start
    // at (5, 7) of the root. Bounds (10, 10, 30, 20) under (2, 0, 0, 2, 1, 1)
    // cover (21, 21, 61, 41) of it.
    LayerParameters params = Bounds(10, 10, 30, 20);
    params.isolated = true;
    const Matrix m(2, 0, 0, 2, 1, 1);
    SwBasicSubTarget target(Rect<int>(5, 7, 105, 57), params, m, 96.0f, 48.0f);
    EXPECT_EQ(target.GetOffset(), Point<int>(5, 7));
    EXPECT_EQ(target.GetRectangle(), Rect<int>(21, 21, 61, 41));
    EXPECT_EQ(target.GetTargetSize(), Size<int>(40, 20));
    EXPECT_EQ(target.GetOriginalRect(), Rect<float>(10, 10, 30, 20));
    EXPECT_EQ(target.GetAxisAlignedTransform(), Matrix(2, 0, 0, 2, -20, -20));
    EXPECT_TRUE(target.IsNeedPaint());
    EXPECT_EQ(target.GetStateCount(), 1u);
    EXPECT_EQ(target.CurrentState().clipping->GetSize(), Size<int>(40, 20));
    EXPECT_EQ(target.CurrentState().clipping->GetDpiY(), 48.0f);
    EXPECT_TRUE(target.CurrentState().transform.IsIdentity());
    EXPECT_EQ(target.CurrentState().blendMode, BlendMode::Normal);
    EXPECT_EQ(target.CurrentState().interpolationMode, InterpolationMode::Nearest);
    EXPECT_TRUE(target.CurrentState().strokeAdjustment);
    EXPECT_FALSE(target.CurrentState().shapeMask);
    EXPECT_FALSE(target.CurrentState().opacityMask);

    // The user space maps to this target's pixels through the placement, and
    // to the root's pixels once the target's place is added back.
    EXPECT_EQ(target.InnerTransform(), Matrix(2, 0, 0, 2, -20, -20));
    EXPECT_EQ(target.GetTransform(), Matrix(2, 0, 0, 2, 6, 8));

    EXPECT_FALSE(target.InLayer());
    EXPECT_FALSE(target.GetShape());
    EXPECT_EQ(target.GetOpacity(), 1.0f);
    EXPECT_EQ(target.GetShapeRect(), Rect<float>());
    auto plane = std::make_shared<SysMemBitmap>(Size<int>(40, 20), PixelFormat::ARGB8p, 96.0f, 96.0f);
    target.InitLayer(plane);
    EXPECT_EQ(target.GetColor(), plane);
    EXPECT_EQ(target.GetResult(), plane);
}

TEST(SwSubTarget, TransformRoundTripUnderRotation) {
    const Matrix placement = Rotation(30, 60, 10, 1.5f);
    SwBasicSubTarget target(Rect<int>(3, 4, 203, 154), Bounds(0, 0, 50, 40), placement, 96.0f, 96.0f);
    ASSERT_TRUE(target.IsNeedPaint());
    const Rect<int> r = target.GetRectangle();
    EXPECT_EQ(target.GetAxisAlignedTransform().dx, placement.dx - static_cast<float>(r.left));

    // At first the caller's transform is the placement, moved by the offset.
    ExpectMatrixNear(target.GetTransform(), Matrix(placement.m11, placement.m12, placement.m21, placement.m22,
                                                   placement.dx + 3, placement.dy + 4),
                     1e-4f);

    const Matrix ms[] = {Matrix(), Matrix(1, 0, 0, 1, 7.5f, -3), Rotation(-75, 12, 40, 0.8f),
                         Matrix(3, 0.5f, -1, 2, 100, 200)};
    for (const Matrix& m : ms) {
        target.SetTransform(m);
        ExpectMatrixNear(target.GetTransform(), m, 2e-4f);
        // Fills see the state's transform followed by the placement.
        ExpectMatrixNear(target.InnerTransform(),
                         Matrix::Multiply(target.CurrentState().transform, target.GetAxisAlignedTransform()),
                         0.0f);
    }

    // The same on a target at the origin with an identity placement: exact.
    SwBasicSubTarget root(Rect<int>(0, 0, 20, 10), Bounds(0, 0, 20, 10), Matrix(), 96.0f, 96.0f);
    EXPECT_TRUE(root.GetAxisAlignedTransform().IsIdentity());
    const Matrix m(0.5f, 0.25f, -0.25f, 0.5f, 3, 4);
    root.SetTransform(m);
    EXPECT_EQ(root.GetTransform(), m);
    EXPECT_EQ(root.CurrentState().transform, m);
}

TEST(SwSubTarget, InnerTransformSkipsAnIdentityPlacement) {
    // With an identity placement the state's transform comes back as it is,
    // without passing through a product (which would turn inf * 0 into NaN).
    const float inf = std::numeric_limits<float>::infinity();
    SwBasicSubTarget root(Rect<int>(0, 0, 8, 8), Bounds(0, 0, 8, 8), Matrix(), 96.0f, 96.0f);
    root.CurrentState().transform = Matrix(1, inf, 0, 1, 0, 0);
    const Matrix inner = root.InnerTransform();
    EXPECT_EQ(inner.m11, 1.0f);
    EXPECT_EQ(inner.m12, inf);

    SwBasicSubTarget moved(Rect<int>(0, 0, 8, 8), Bounds(1, 1, 8, 8), Matrix(), 96.0f, 96.0f);
    EXPECT_EQ(moved.GetAxisAlignedTransform(), Matrix(1, 0, 0, 1, -1, -1));
    moved.CurrentState().transform = Matrix(1, inf, 0, 1, 0, 0);
    EXPECT_TRUE(std::isnan(moved.InnerTransform().m11));
}

TEST(SwSubTarget, NullTargets) {
    auto plane = std::make_shared<SysMemBitmap>(Size<int>(4, 4), PixelFormat::ARGB8p, 96.0f, 96.0f);
    plane->ColorFill(nullptr, Color(0xFF123456u));

    const struct {
        Rect<int> rectangle;
        Rect<float> bounds;
    } cases[] = {
        {Rect<int>(0, 0, 0, 4), Rect<float>(0, 0, 4, 4)},   // no width
        {Rect<int>(0, 0, 4, 0), Rect<float>(0, 0, 4, 4)},   // no height
        {Rect<int>(0, 0, 4, 4), Rect<float>(5, 5, 9, 9)},   // bounds outside
        {Rect<int>(0, 0, 4, 4), Rect<float>(1, 1, 1, 3)},   // empty bounds
        {Rect<int>(0, 0, 4, 4), Rect<float>(3, 3, 1, 1)},   // inverted bounds
    };
    for (const auto& c : cases) {
        LayerParameters p;
        p.bounds = c.bounds;
        SwBasicSubTarget target(c.rectangle, p, Matrix(), 96.0f, 96.0f);
        EXPECT_FALSE(target.IsNeedPaint()) << c.bounds.left;
        EXPECT_EQ(target.GetStateCount(), 1u);
        target.InitLayer(plane);
        target.Clear(Color(0xFFFFFFFFu));
        EXPECT_EQ(TargetTest::ReadWord(*plane, 0, 0), 0xFF123456u);
        EXPECT_EQ(TargetTest::ReadWord(*plane, 3, 3), 0xFF123456u);
        target.PreEvent();
        EXPECT_FALSE(target.GetClipping());
        target.EndLayer();
    }

    // A target with pixels clears the whole plane, whatever the transform and
    // the blend mode.
    SwBasicSubTarget target(Rect<int>(0, 0, 4, 4), Bounds(0, 0, 4, 4), Matrix(), 96.0f, 96.0f);
    target.InitLayer(plane);
    target.SetTransform(Matrix(0.1f, 0, 0, 0.1f, 2, 2));
    target.SetBlendMode(BlendMode::Multiply);
    target.Clear(Color(0x80FFFFFFu));
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 4; ++x) EXPECT_EQ(TargetTest::ReadWord(*plane, x, y), 0x80808080u);

    target.PreEvent();
    EXPECT_EQ(target.GetClipping(), target.CurrentState().clipping);
}

TEST(SwSubTarget, StateStack) {
    SwBasicSubTarget target(Rect<int>(0, 0, 10, 10), Bounds(0, 0, 10, 10), Matrix(), 96.0f, 96.0f);
    auto mask = std::make_shared<SwSoftMask>();
    mask->type = SoftMaskType::Luminosity;
    target.CurrentState().shapeMask = mask;
    target.SetBlendMode(BlendMode::ColorBurn);
    target.SetInterpolationMode(InterpolationMode::Linear);
    target.SetStrokeAdjustment(false);
    target.SetTransform(Matrix(2, 0, 0, 2, 1, 1));
    auto clip = target.CurrentState().clipping;

    target.PushState();
    EXPECT_EQ(target.GetStateCount(), 2u);
    // The copy has the same values, shares the mask and owns a new clip.
    EXPECT_EQ(target.GetBlendMode(), BlendMode::ColorBurn);
    EXPECT_EQ(target.GetInterpolationMode(), InterpolationMode::Linear);
    EXPECT_FALSE(target.GetStrokeAdjustment());
    EXPECT_EQ(target.GetTransform(), Matrix(2, 0, 0, 2, 1, 1));
    EXPECT_EQ(target.CurrentState().shapeMask, mask);
    ASSERT_TRUE(target.CurrentState().clipping);
    EXPECT_NE(target.CurrentState().clipping, clip);
    EXPECT_EQ(target.CurrentState().clipping->GetSize(), Size<int>(10, 10));

    target.SetBlendMode(BlendMode::Difference);
    target.SetInterpolationMode(InterpolationMode::HighQuality);
    target.SetStrokeAdjustment(true);
    target.SetTransform(Matrix());
    target.CurrentState().opacityMask = std::make_shared<SwSoftMask>();
    target.PreEvent();
    EXPECT_NE(target.GetClipping(), clip);

    target.PopState();
    EXPECT_EQ(target.GetStateCount(), 1u);
    EXPECT_EQ(target.GetBlendMode(), BlendMode::ColorBurn);
    EXPECT_EQ(target.GetInterpolationMode(), InterpolationMode::Linear);
    EXPECT_FALSE(target.GetStrokeAdjustment());
    EXPECT_EQ(target.GetTransform(), Matrix(2, 0, 0, 2, 1, 1));
    EXPECT_FALSE(target.CurrentState().opacityMask);
    EXPECT_EQ(target.CurrentState().clipping, clip);
    target.PreEvent();
    EXPECT_EQ(target.GetClipping(), clip);

    // Copies made by assignment are deep as well.
    SwSubTarget::State copy(Size<int>(1, 1), 96.0f, 96.0f);
    copy = target.CurrentState();
    EXPECT_EQ(copy.shapeMask, mask);
    EXPECT_NE(copy.clipping, clip);
    EXPECT_EQ(copy.blendMode, BlendMode::ColorBurn);

    // The initial state is never popped.
    target.PopState();
    EXPECT_EQ(target.GetStateCount(), 1u);
}

TEST(SwSubTarget, ChainOfLayers) {
    auto root = std::make_shared<SwBasicSubTarget>(Rect<int>(0, 0, 200, 100), Bounds(0, 0, 200, 100), Matrix(),
                                                   96.0f, 96.0f);
    const Matrix user = Rotation(30, 50, 20, 1.5f);
    root->SetTransform(user);
    const Matrix before = root->GetTransform();

    // Opening a layer does not change what GetTransform gives.
    auto layer = FakeLayer::OpenOn(root, Bounds(10, 10, 60, 40));
    ASSERT_TRUE(layer->IsNeedPaint());
    EXPECT_EQ(layer->GetOffset(), Point<int>(0, 0));
    FakeLayer::Attach(*root, layer);
    EXPECT_TRUE(root->InLayer());
    ExpectMatrixNear(root->GetTransform(), before, 1e-4f);

    // The state is now the layer's: the root's own stays as it was.
    root->SetBlendMode(BlendMode::Exclusion);
    EXPECT_EQ(layer->GetBlendMode(), BlendMode::Exclusion);
    EXPECT_EQ(root->CurrentState().blendMode, BlendMode::Normal);
    root->PushState();
    EXPECT_EQ(layer->GetStateCount(), 2u);
    EXPECT_EQ(root->GetStateCount(), 1u);
    root->SetInterpolationMode(InterpolationMode::Linear);
    root->SetStrokeAdjustment(false);
    EXPECT_EQ(root->GetInterpolationMode(), InterpolationMode::Linear);
    EXPECT_FALSE(root->GetStrokeAdjustment());
    root->PopState();
    EXPECT_EQ(layer->GetStateCount(), 1u);
    EXPECT_TRUE(root->GetStrokeAdjustment());

    // A nested layer sits on the layer's rectangle moved by its offset.
    auto nested = FakeLayer::OpenOn(layer, Bounds(20, 15, 40, 30));
    ASSERT_TRUE(nested->IsNeedPaint());
    EXPECT_EQ(nested->GetOffset(), Point<int>(layer->GetRectangle().left, layer->GetRectangle().top));
    FakeLayer::Attach(*layer, nested);
    ExpectMatrixNear(root->GetTransform(), before, 1e-4f);

    // Setting the transform acts on the deepest target and reads back.
    const Matrix m = Rotation(-10, 33, 44, 2.0f);
    root->SetTransform(m);
    ExpectMatrixNear(root->GetTransform(), m, 2e-4f);
    ExpectMatrixNear(layer->GetTransform(), m, 2e-4f);
    EXPECT_FALSE(nested->CurrentState().transform.IsIdentity());
    EXPECT_TRUE(layer->CurrentState().transform.IsIdentity());
    ExpectMatrixNear(root->CurrentState().transform, user, 0.0f);

    // Clear and PreEvent reach the deepest target only.
    auto plane = std::make_shared<SysMemBitmap>(nested->GetTargetSize(), PixelFormat::ARGB8p, 96.0f, 96.0f);
    nested->InitLayer(plane);
    root->Clear(Color(0xFF00FF00u));
    EXPECT_EQ(TargetTest::ReadWord(*plane, 0, 0), 0xFF00FF00u);
    root->PreEvent();
    EXPECT_EQ(nested->GetClipping(), nested->CurrentState().clipping);
    EXPECT_FALSE(root->GetClipping());
    EXPECT_FALSE(layer->GetClipping());

    // BeginLayer goes to the deepest open layer.
    root->BeginLayer(Bounds(0, 0, 1, 1));
    EXPECT_EQ(nested->begins, 1);
    EXPECT_EQ(layer->begins, 0);

    // EndLayer ends only the deepest layer. Merging pixels is not available
    // yet; a layer without pixels merges nothing and is released.
    auto empty = FakeLayer::OpenOn(nested, Bounds(500, 500, 600, 600));
    EXPECT_FALSE(empty->IsNeedPaint());
    FakeLayer::Attach(*nested, empty);
    root->EndLayer();
    EXPECT_FALSE(nested->InLayer());
    EXPECT_TRUE(layer->InLayer());
    ExpectFailure([&] { root->EndLayer(); }, "EndLayer", "Not implemented");
}

TEST(SwSubTarget, OperationsOfLaterStagesReportNotImplemented) {
    SwBasicSubTarget target(Rect<int>(0, 0, 4, 4), Bounds(0, 0, 4, 4), Matrix(), 96.0f, 96.0f);
    ExpectFailure([&] { target.BeginLayer(Bounds(0, 0, 2, 2)); }, "BeginLayer", "Not implemented");
    ExpectFailure([&] { target.ClipGeometry(nullptr); }, "ClipGeometry", "Not implemented");
    // Fills of nothing do nothing.
    target.FillGeometry(nullptr, nullptr);
    target.InnerFillGeometry(nullptr, nullptr, Matrix());
    EXPECT_EQ(target.GetShapeRect(), Rect<float>());
    ExpectFailure([&] { target.SetOpacityMask(nullptr, SoftMaskType::Alpha); }, "SetOpacityMask",
                  "Not implemented");
    ExpectFailure([&] { target.SetShapeMask(nullptr, SoftMaskType::InverseAlpha); }, "SetShapeMask",
                  "Not implemented");
    // Without an open layer EndLayer does nothing.
    target.EndLayer();
    EXPECT_FALSE(target.InLayer());
}
