#include "TargetTestSupport.h"

#include "bitmap/SysMemBitmap.h"
#include "sw/SwBasicSubTarget.h"

#include <cmath>
#include <limits>

using namespace Graphics;
using namespace TargetTest;

namespace {

LayerParameters Bounds(float l, float t, float r, float b) {
    LayerParameters p;
    p.bounds = Rect<float>(l, t, r, b);
    return p;
}

void ExpectMatrixNear(const Matrix& actual, const Matrix& expected, float tolerance) {
    const float a[6] = {actual.m11, actual.m12, actual.m21, actual.m22, actual.dx, actual.dy};
    const float e[6] = {expected.m11, expected.m12, expected.m21, expected.m22, expected.dx, expected.dy};
    for (int i = 0; i < 6; ++i) EXPECT_NEAR(a[i], e[i], tolerance) << i;
}

Matrix Rotation(double degrees, float dx, float dy, float scale = 1.0f) {
    const double a = degrees * M_PI / 180.0;
    const float c = static_cast<float>(std::cos(a)) * scale, s = static_cast<float>(std::sin(a)) * scale;
    return Matrix(c, s, -s, c, dx, dy);
}

std::shared_ptr<SysMemBitmap> Plane(const Size<int>& size, unsigned int argb) {
    auto plane = std::make_shared<SysMemBitmap>(size, PixelFormat::ARGB8p, 96.0f, 96.0f);
    plane->ColorFill(nullptr, Color(argb));
    return plane;
}

// A sub-target standing in for an open layer, placed the way a layer is:
// on its parent's rectangle moved by the parent's offset, under the parent's
// inner transform.
class FakeLayer : public SwSubTarget {
public:
    FakeLayer(const Rect<int>& rectangle, const LayerParameters& parameters, const Matrix& matrix)
        : SwSubTarget(rectangle, parameters, matrix, 96.0f, 96.0f) {}
    static std::shared_ptr<FakeLayer> OpenOn(SwSubTarget& parent, const LayerParameters& parameters) {
        const Rect<int> r = parent.GetRectangle();
        const Point<int> o = parent.GetOffset();
        auto layer = std::make_shared<FakeLayer>(Rect<int>(r.left + o.x, r.top + o.y, r.right + o.x, r.bottom + o.y),
                                                 parameters, parent.InnerTransform());
        parent.*(&FakeLayer::child) = layer;  // the open layer of the parent
        return layer;
    }
    void BeginLayer(const LayerParameters& parameters) override {
        if (child)
            child->BeginLayer(parameters);
        else
            ++begins;
    }
    void InitLayer(std::shared_ptr<BitmapBase> bitmap) override { color = std::move(bitmap); }
    int begins = 0;
};

}  // namespace

TEST(SwSubTarget, PlacementOfARectangle) {
    // Floor of left and top, ceiling of right and bottom, cut to the target;
    // the matrix loses the rectangle's corner. No overlap, touching an edge
    // included, gives (0, 0, 0, 0) and the matrix as it was.
    const Size<int> size(100, 50);
    const float inf = std::numeric_limits<float>::infinity();
    const Matrix m2(2, 0, 0, 2, 3, 4), quarter(0, 1, -1, 0, 50, 0);
    const struct {
        Rect<float> rect;
        Matrix matrix;
        Rect<int> rectangle;
        Matrix placed;
    } cases[] = {
        {Rect<float>(10.5f, 5.2f, 20.1f, 30.9f), Matrix(), Rect<int>(10, 5, 21, 31), Matrix(1, 0, 0, 1, -10, -5)},
        {Rect<float>(10, 10, 20, 20), m2, Rect<int>(23, 24, 43, 44), Matrix(2, 0, 0, 2, -20, -20)},
        {Rect<float>(-10, -10, 10, 10), m2, Rect<int>(0, 0, 23, 24), m2},
        {Rect<float>(90.5f, 40.5f, 300, 300), Matrix(), Rect<int>(90, 40, 100, 50), Matrix(1, 0, 0, 1, -90, -40)},
        {Rect<float>(-5.5f, -3, 120, 60.5f), Matrix(), Rect<int>(0, 0, 100, 50), Matrix()},
        {Rect<float>(200, 0, 300, 10), Matrix(), Rect<int>(), Matrix()},
        {Rect<float>(100, 0, 110, 10), Matrix(), Rect<int>(), Matrix()},
        {Rect<float>(-10, 0, 0, 10), Matrix(), Rect<int>(), Matrix()},
        {Rect<float>(0, -10, 10, 0), Matrix(), Rect<int>(), Matrix()},
        {Rect<float>(0, 50, 10, 60), Matrix(), Rect<int>(), Matrix()},
        {Rect<float>(60, 0, 70, 10), Matrix(2, 0, 0, 2, 0.25f, -3), Rect<int>(), Matrix(2, 0, 0, 2, 0.25f, -3)},
        // A quarter turn swaps the extents; the bound of the corners counts.
        {Rect<float>(0, 0, 10, 20), quarter, Rect<int>(30, 0, 50, 10), Matrix(0, 1, -1, 0, 20, 0)},
        {Rect<float>(0, 0, 10, 20), Matrix(0, 1, -1, 0, 0, 0), Rect<int>(), Matrix(0, 1, -1, 0, 0, 0)},
        // Extreme values stay defined.
        {Rect<float>(-inf, -1e30f, inf, 1e30f), Matrix(), Rect<int>(0, 0, 100, 50), Matrix()},
        {Rect<float>(std::nanf(""), 0, 10, 10), Matrix(), Rect<int>(0, 0, 10, 10), Matrix()},
    };
    for (const auto& c : cases) {
        const AxisAlignedPlacement p = ComputeAxisAlignedPlacement(size, c.rect, c.matrix);
        EXPECT_EQ(p.rectangle, c.rectangle) << c.rect.left << "," << c.rect.top;
        EXPECT_EQ(p.matrix, c.placed) << c.rect.left << "," << c.rect.top;
    }

    // A 100 x 50 target whose pixels start at (5, 7) of the root: bounds
    // (10, 10, 30, 20) under (2, 0, 0, 2, 1, 1) cover (21, 21, 61, 41) of it.
    // User space maps to its pixels through the placement, and to the
    // root's once its place is added back.
    SwBasicSubTarget target(Rect<int>(5, 7, 105, 57), Bounds(10, 10, 30, 20), Matrix(2, 0, 0, 2, 1, 1), 96.0f, 48.0f);
    EXPECT_EQ(target.GetOffset(), Point<int>(5, 7));
    EXPECT_EQ(target.GetRectangle(), Rect<int>(21, 21, 61, 41));
    EXPECT_EQ(target.GetTargetSize(), Size<int>(40, 20));
    EXPECT_EQ(target.CurrentState().clipping->GetSize(), Size<int>(40, 20));
    EXPECT_EQ(target.CurrentState().clipping->GetDpiY(), 48.0f);
    EXPECT_EQ(target.InnerTransform(), Matrix(2, 0, 0, 2, -20, -20));
    EXPECT_EQ(target.GetTransform(), Matrix(2, 0, 0, 2, 6, 8));

    // Under a rotated placement the caller's transform reads back as set,
    // and fills see the state's transform followed by the placement.
    const Matrix placement = Rotation(30, 60, 10, 1.5f);
    SwBasicSubTarget turned(Rect<int>(3, 4, 203, 154), Bounds(0, 0, 50, 40), placement, 96.0f, 96.0f);
    ExpectMatrixNear(turned.GetTransform(),
                     Matrix(placement.m11, placement.m12, placement.m21, placement.m22, placement.dx + 3,
                            placement.dy + 4),
                     1e-4f);
    for (const Matrix& m : {Matrix(1, 0, 0, 1, 7.5f, -3), Rotation(-75, 12, 40, 0.8f), Matrix(3, 0.5f, -1, 2, 100, 200)}) {
        turned.SetTransform(m);
        ExpectMatrixNear(turned.GetTransform(), m, 2e-4f);
        EXPECT_EQ(turned.InnerTransform(),
                  Matrix::Multiply(turned.CurrentState().transform, turned.GetAxisAlignedTransform()));
    }
    // With an identity placement the state's transform comes back as it is,
    // without a product that would turn inf * 0 into NaN.
    SwBasicSubTarget root(Rect<int>(0, 0, 8, 8), Bounds(0, 0, 8, 8), Matrix(), 96.0f, 96.0f);
    root.SetTransform(Matrix(0.5f, 0.25f, -0.25f, 0.5f, 3, 4));
    EXPECT_EQ(root.CurrentState().transform, Matrix(0.5f, 0.25f, -0.25f, 0.5f, 3, 4));
    root.CurrentState().transform = Matrix(1, inf, 0, 1, 0, 0);
    EXPECT_EQ(root.InnerTransform().m11, 1.0f);
    SwBasicSubTarget moved(Rect<int>(0, 0, 8, 8), Bounds(1, 1, 8, 8), Matrix(), 96.0f, 96.0f);
    moved.CurrentState().transform = Matrix(1, inf, 0, 1, 0, 0);
    EXPECT_TRUE(std::isnan(moved.InnerTransform().m11));
}

TEST(SwSubTarget, NullTargetsAndClear) {
    // Without pixels a target takes every call without effect.
    auto plane = Plane(Size<int>(4, 4), 0xFF123456u);
    const std::pair<Rect<int>, Rect<float>> cases[] = {
        {Rect<int>(0, 0, 0, 4), Rect<float>(0, 0, 4, 4)},  // no width
        {Rect<int>(0, 0, 4, 0), Rect<float>(0, 0, 4, 4)},  // no height
        {Rect<int>(0, 0, 4, 4), Rect<float>(5, 5, 9, 9)},  // bounds outside
        {Rect<int>(0, 0, 4, 4), Rect<float>(1, 1, 1, 3)},  // empty bounds
        {Rect<int>(0, 0, 4, 4), Rect<float>(3, 3, 1, 1)},  // inverted bounds
    };
    for (const auto& c : cases) {
        SwBasicSubTarget target(c.first, Bounds(c.second.left, c.second.top, c.second.right, c.second.bottom),
                                Matrix(), 96.0f, 96.0f);
        EXPECT_FALSE(target.IsNeedPaint()) << c.second.left;
        target.InitLayer(plane);
        target.Clear(Color(0xFFFFFFFFu));
        target.PreEvent();
        EXPECT_FALSE(target.GetClipping());
        target.EndLayer();
    }
    EXPECT_EQ(ReadWord(*plane, 0, 0), 0xFF123456u);
    EXPECT_EQ(ReadWord(*plane, 3, 3), 0xFF123456u);

    // With pixels, Clear takes the whole plane whatever the transform and
    // blend mode, premultiplied; PreEvent takes up the state's clip.
    SwBasicSubTarget target(Rect<int>(0, 0, 4, 4), Bounds(0, 0, 4, 4), Matrix(), 96.0f, 96.0f);
    target.InitLayer(plane);
    target.SetTransform(Matrix(0.1f, 0, 0, 0.1f, 2, 2));
    target.SetBlendMode(BlendMode::Multiply);
    target.Clear(Color(0x80FFFFFFu));
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 4; ++x) EXPECT_EQ(ReadWord(*plane, x, y), 0x80808080u);
    target.PreEvent();
    EXPECT_EQ(target.GetClipping(), target.CurrentState().clipping);
}

TEST(SwSubTarget, StateStack) {
    SwBasicSubTarget target(Rect<int>(0, 0, 10, 10), Bounds(0, 0, 10, 10), Matrix(), 96.0f, 96.0f);
    auto mask = std::make_shared<SwSoftMask>();
    target.CurrentState().shapeMask = mask;
    target.SetBlendMode(BlendMode::ColorBurn);
    target.SetInterpolationMode(InterpolationMode::Linear);
    target.SetStrokeAdjustment(false);
    target.SetTransform(Matrix(2, 0, 0, 2, 1, 1));
    auto clip = target.CurrentState().clipping;

    // The copy has the same values, shares the mask and owns a new clip.
    target.PushState();
    EXPECT_EQ(target.GetStateCount(), 2u);
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
    EXPECT_EQ(target.GetBlendMode(), BlendMode::ColorBurn);
    EXPECT_EQ(target.GetInterpolationMode(), InterpolationMode::Linear);
    EXPECT_FALSE(target.GetStrokeAdjustment());
    EXPECT_EQ(target.GetTransform(), Matrix(2, 0, 0, 2, 1, 1));
    EXPECT_FALSE(target.CurrentState().opacityMask);
    EXPECT_EQ(target.CurrentState().clipping, clip);
    target.PreEvent();
    EXPECT_EQ(target.GetClipping(), clip);
    target.PopState();  // the initial state is never popped
    EXPECT_EQ(target.GetStateCount(), 1u);

    // Copies made by assignment are deep as well.
    SwSubTarget::State copy(Size<int>(1, 1), 96.0f, 96.0f);
    copy = target.CurrentState();
    EXPECT_EQ(copy.shapeMask, mask);
    EXPECT_NE(copy.clipping, clip);
    EXPECT_EQ(copy.blendMode, BlendMode::ColorBurn);
}

TEST(SwSubTarget, ChainOfLayers) {
    auto root = std::make_shared<SwBasicSubTarget>(Rect<int>(0, 0, 200, 100), Bounds(0, 0, 200, 100), Matrix(),
                                                   96.0f, 96.0f);
    const Matrix user = Rotation(30, 50, 20, 1.5f);
    root->SetTransform(user);
    const Matrix before = root->GetTransform();

    // Opening a layer does not change what GetTransform gives; the state is
    // now the layer's and the root's own stays as it was.
    auto layer = FakeLayer::OpenOn(*root, Bounds(10, 10, 60, 40));
    ASSERT_TRUE(layer->IsNeedPaint());
    EXPECT_TRUE(root->InLayer());
    ExpectMatrixNear(root->GetTransform(), before, 1e-4f);
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

    // A nested layer sits on the layer's rectangle moved by its offset;
    // setting the transform acts on the deepest target and reads back.
    auto nested = FakeLayer::OpenOn(*layer, Bounds(20, 15, 40, 30));
    ASSERT_TRUE(nested->IsNeedPaint());
    EXPECT_EQ(nested->GetOffset(), Point<int>(layer->GetRectangle().left, layer->GetRectangle().top));
    ExpectMatrixNear(root->GetTransform(), before, 1e-4f);
    const Matrix m = Rotation(-10, 33, 44, 2.0f);
    root->SetTransform(m);
    ExpectMatrixNear(root->GetTransform(), m, 2e-4f);
    ExpectMatrixNear(layer->GetTransform(), m, 2e-4f);
    EXPECT_FALSE(nested->CurrentState().transform.IsIdentity());
    EXPECT_TRUE(layer->CurrentState().transform.IsIdentity());
    EXPECT_EQ(root->CurrentState().transform, user);

    // Clear, PreEvent and BeginLayer reach the deepest target only.
    auto plane = Plane(nested->GetTargetSize(), 0);
    nested->InitLayer(plane);
    root->Clear(Color(0xFF00FF00u));
    EXPECT_EQ(ReadWord(*plane, 0, 0), 0xFF00FF00u);
    root->PreEvent();
    EXPECT_EQ(nested->GetClipping(), nested->CurrentState().clipping);
    EXPECT_FALSE(root->GetClipping());
    EXPECT_FALSE(layer->GetClipping());
    root->BeginLayer(Bounds(0, 0, 1, 1));
    EXPECT_EQ(nested->begins, 1);
    EXPECT_EQ(layer->begins, 0);

    // EndLayer ends only the deepest layer. A layer without pixels merges
    // nothing and is released; merging pixels is not there yet.
    auto empty = FakeLayer::OpenOn(*nested, Bounds(500, 500, 600, 600));
    EXPECT_FALSE(empty->IsNeedPaint());
    root->EndLayer();
    EXPECT_FALSE(nested->InLayer());
    EXPECT_TRUE(layer->InLayer());
    EXPECT_GRAPHICS_FAILURE(root->EndLayer(), "EndLayer", "Not implemented");
}
