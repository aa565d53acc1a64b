#include "TargetTestSupport.h"
#include "bitmap/SysMemBitmap.h"
#include "sw/SwBasicSubTarget.h"
#include <cmath>
#include <limits>

using namespace Graphics;
using namespace TargetTest;

namespace {
LayerParameters Bounds(float l, float t, float r, float b) { return LayerParameters{Rect<float>(l, t, r, b)}; }
void ExpectMatrixNear(const Matrix& a, const Matrix& e, float tolerance) {
    const float x[12] = {a.m11, a.m12, a.m21, a.m22, a.dx, a.dy, e.m11, e.m12, e.m21, e.m22, e.dx, e.dy};
    for (int i = 0; i < 6; ++i) EXPECT_NEAR(x[i], x[i + 6], tolerance) << i;
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
// An open layer, placed as one is: on the parent's rectangle moved by its offset, under its inner transform.
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
    void BeginLayer(const LayerParameters& parameters) override { child ? child->BeginLayer(parameters) : void(++begins); }
    void InitLayer(std::shared_ptr<BitmapBase> bitmap) override { color = std::move(bitmap); }
    int begins = 0;
};
}  // namespace

TEST(SwSubTarget, PlacementOfARectangle) {
    // Floor of left and top, ceiling of right and bottom, cut to the target; the matrix
    // loses the corner. No overlap, touching included, gives (0, 0, 0, 0) and the matrix as it was.
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
        {Rect<float>(100, 0, 110, 10), Matrix(), Rect<int>(), Matrix()},
        {Rect<float>(60, 0, 70, 10), Matrix(2, 0, 0, 2, 0.25f, -3), Rect<int>(), Matrix(2, 0, 0, 2, 0.25f, -3)},
        // A quarter turn swaps the extents; the bound of the corners counts.
        {Rect<float>(0, 0, 10, 20), quarter, Rect<int>(30, 0, 50, 10), Matrix(0, 1, -1, 0, 20, 0)},
        // Extreme values stay defined.
        {Rect<float>(-inf, -1e30f, inf, 1e30f), Matrix(), Rect<int>(0, 0, 100, 50), Matrix()},
        {Rect<float>(std::nanf(""), 0, 10, 10), Matrix(), Rect<int>(0, 0, 10, 10), Matrix()},
    };
    for (const auto& c : cases) {
        const AxisAlignedPlacement p = ComputeAxisAlignedPlacement(size, c.rect, c.matrix);
        EXPECT_EQ(p.rectangle, c.rectangle) << c.rect.left << "," << c.rect.top;
        EXPECT_EQ(p.matrix, c.placed) << c.rect.left << "," << c.rect.top;
    }
    // Pixels at (5, 7) of the root: bounds (10, 10, 30, 20) under (2, 0, 0, 2, 1, 1) cover
    // (21, 21, 61, 41); user space maps to the root's pixels once the place is added back.
    SwBasicSubTarget target(Rect<int>(5, 7, 105, 57), Bounds(10, 10, 30, 20), Matrix(2, 0, 0, 2, 1, 1), 96.0f, 48.0f);
    EXPECT_EQ(target.GetRectangle(), Rect<int>(21, 21, 61, 41));
    EXPECT_EQ(target.CurrentState().clipping->GetSize(), Size<int>(40, 20));
    EXPECT_EQ(target.InnerTransform(), Matrix(2, 0, 0, 2, -20, -20));
    EXPECT_EQ(target.GetTransform(), Matrix(2, 0, 0, 2, 6, 8));
    // Under a rotated placement the caller's transform reads back as set,
    // and fills see the state's transform followed by the placement.
    SwBasicSubTarget turned(Rect<int>(3, 4, 203, 154), Bounds(0, 0, 50, 40), Rotation(30, 60, 10, 1.5f), 96, 96);
    for (const Matrix& m : {Rotation(-75, 12, 40, 0.8f), Matrix(3, 0.5f, -1, 2, 100, 200)}) {
        turned.SetTransform(m);
        ExpectMatrixNear(turned.GetTransform(), m, 2e-4f);
        EXPECT_EQ(turned.InnerTransform(),
                  Matrix::Multiply(turned.CurrentState().transform, turned.GetAxisAlignedTransform()));
    }
    // With an identity placement the state's transform comes back as it is,
    // without a product that would turn inf * 0 into NaN.
    for (float left : {0.0f, 1.0f}) {
        SwBasicSubTarget root(Rect<int>(0, 0, 8, 8), Bounds(left, left, 8, 8), Matrix(), 96.0f, 96.0f);
        root.CurrentState().transform = Matrix(1, inf, 0, 1, 0, 0);
        EXPECT_EQ(std::isnan(root.InnerTransform().m11), left != 0);
    }
}

TEST(SwSubTarget, NullTargetsAndClear) {
    // Without pixels a target takes every call without effect.
    auto plane = Plane(Size<int>(4, 4), 0xFF123456u);
    const std::pair<Rect<int>, Rect<float>> cases[] = {
        {Rect<int>(0, 0, 0, 4), Rect<float>(0, 0, 4, 4)},  // no width
        {Rect<int>(0, 0, 4, 4), Rect<float>(5, 5, 9, 9)},  // bounds outside
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
    EXPECT_EQ(ReadWord(*plane, 3, 3), 0xFF123456u);
    // With pixels, Clear takes the whole plane whatever the transform and blend mode, premultiplied.
    SwBasicSubTarget target(Rect<int>(0, 0, 4, 4), Bounds(0, 0, 4, 4), Matrix(), 96, 96);
    target.InitLayer(plane);
    target.SetTransform(Matrix(0.1f, 0, 0, 0.1f, 2, 2));
    target.SetBlendMode(BlendMode::Multiply);
    target.Clear(Color(0x80FFFFFFu));
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 4; ++x) EXPECT_EQ(ReadWord(*plane, x, y), 0x80808080u);
}

TEST(SwSubTarget, StateStack) {
    SwBasicSubTarget target(Rect<int>(0, 0, 10, 10), Bounds(0, 0, 10, 10), Matrix(), 96.0f, 96.0f);
    auto mask = std::make_shared<SwSoftMask>();
    target.CurrentState().shapeMask = mask;
    target.SetBlendMode(BlendMode::ColorBurn);
    target.SetStrokeAdjustment(false);
    target.SetTransform(Matrix(2, 0, 0, 2, 1, 1));
    auto clip = target.CurrentState().clipping;
    auto expectFirst = [&] {
        EXPECT_EQ(target.GetBlendMode(), BlendMode::ColorBurn);
        EXPECT_FALSE(target.GetStrokeAdjustment());
        EXPECT_EQ(target.GetTransform(), Matrix(2, 0, 0, 2, 1, 1));
    };
    // The copy has the same values, shares the mask and owns a new clip.
    target.PushState();
    EXPECT_EQ(target.GetStateCount(), 2u);
    expectFirst();
    EXPECT_EQ(target.CurrentState().shapeMask, mask);
    target.SetBlendMode(BlendMode::Difference);
    target.SetStrokeAdjustment(true);
    target.SetTransform(Matrix());
    target.CurrentState().opacityMask = std::make_shared<SwSoftMask>();
    target.PreEvent();
    EXPECT_NE(target.GetClipping(), clip);
    target.PopState();
    expectFirst();
    EXPECT_FALSE(target.CurrentState().opacityMask);
    target.PreEvent();
    EXPECT_EQ(target.GetClipping(), clip);
    target.PopState();  // the initial state is never popped
    EXPECT_EQ(target.GetStateCount(), 1u);
}

TEST(SwSubTarget, ChainOfLayers) {
    auto root = std::make_shared<SwBasicSubTarget>(Rect<int>(0, 0, 200, 100), Bounds(0, 0, 200, 100), Matrix(), 96, 96);
    const Matrix user = Rotation(30, 50, 20, 1.5f);
    root->SetTransform(user);
    const Matrix before = root->GetTransform();
    // Opening a layer keeps what GetTransform gives; the state is now the layer's, the root's stays.
    auto layer = FakeLayer::OpenOn(*root, Bounds(10, 10, 60, 40));
    ASSERT_TRUE(layer->IsNeedPaint());
    ExpectMatrixNear(root->GetTransform(), before, 1e-4f);
    root->SetBlendMode(BlendMode::Exclusion);
    EXPECT_EQ(layer->GetBlendMode(), BlendMode::Exclusion);
    EXPECT_EQ(root->CurrentState().blendMode, BlendMode::Normal);
    root->PushState();
    EXPECT_EQ(layer->GetStateCount(), 2u);
    EXPECT_EQ(root->GetStateCount(), 1u);
    root->PopState();
    // A nested layer sits on the layer's rectangle moved by its offset; the transform acts on the deepest.
    auto nested = FakeLayer::OpenOn(*layer, Bounds(20, 15, 40, 30));
    ASSERT_TRUE(nested->IsNeedPaint());
    EXPECT_EQ(nested->GetOffset(), Point<int>(layer->GetRectangle().left, layer->GetRectangle().top));
    ExpectMatrixNear(root->GetTransform(), before, 1e-4f);
    const Matrix m = Rotation(-10, 33, 44, 2.0f);
    root->SetTransform(m);
    ExpectMatrixNear(root->GetTransform(), m, 2e-4f);
    EXPECT_TRUE(layer->CurrentState().transform.IsIdentity());
    EXPECT_EQ(root->CurrentState().transform, user);
    // Clear and BeginLayer reach the deepest target only.
    auto plane = Plane(nested->GetTargetSize(), 0);
    nested->InitLayer(plane);
    root->Clear(Color(0xFF00FF00u));
    EXPECT_EQ(ReadWord(*plane, 0, 0), 0xFF00FF00u);
    root->BeginLayer(Bounds(0, 0, 1, 1));
    EXPECT_EQ(nested->begins, 1);
    EXPECT_EQ(layer->begins, 0);
    // EndLayer ends only the deepest layer; one without pixels is released, merging pixels is not there yet.
    auto empty = FakeLayer::OpenOn(*nested, Bounds(500, 500, 600, 600));
    EXPECT_FALSE(empty->IsNeedPaint());
    root->EndLayer();
    EXPECT_FALSE(nested->InLayer());
    EXPECT_TRUE(layer->InLayer());
    EXPECT_GRAPHICS_FAILURE(root->EndLayer(), "EndLayer", "Not implemented");
}
