#include "Graphics/RenderTarget.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>

using namespace Graphics;

namespace {

// A back end that only keeps the transform and counts how often it is set.
class RecordingTarget : public RenderTargetBase {
public:
    PixelFormat::Enum GetPixelFormat() const override { return PixelFormat::ARGB8p; }
    Size<int> GetSize() const override { return Size<int>(10, 10); }
    float GetDpiX() const override { return 96.0f; }
    float GetDpiY() const override { return 96.0f; }
    Matrix GetTransform() const override { return transform; }
    void SetTransform(const Matrix& m) override {
        transform = m;
        ++setCount;
    }
    BlendMode::Enum GetBlendMode() const override { return blendMode; }
    void SetBlendMode(BlendMode::Enum m) override { blendMode = m; }
    InterpolationMode::Enum GetInterpolationMode() const override { return InterpolationMode::Nearest; }
    void SetInterpolationMode(InterpolationMode::Enum) override {}
    bool GetStrokeAdjustment() const override { return true; }
    void SetStrokeAdjustment(bool) override {}
    void BeginPaint() override {}
    bool EndPaint() override { return true; }
    void Flush() override {}
    void PushState() override {}
    void PopState() override {}
    void BeginLayer(const LayerParameters&) override {}
    void EndLayer() override {}
    void Clear(const Color& c) override { cleared = c; }
    void SetOpacityMask(std::shared_ptr<Brush>, SoftMaskType::Enum) override {}
    void SetShapeMask(std::shared_ptr<Brush>, SoftMaskType::Enum) override {}
    void ClipGeometry(std::shared_ptr<Geometry>) override {}
    void FillGeometry(std::shared_ptr<Geometry>, std::shared_ptr<Brush>) override {}
    void FillTextGeometry(std::shared_ptr<Geometry>, std::shared_ptr<Brush>) override {}

    Matrix transform;
    BlendMode::Enum blendMode = BlendMode::Normal;
    Color cleared;
    int setCount = 0;
};

void ExpectMatrixEq(const Matrix& actual, const Matrix& expected) {
    EXPECT_EQ(actual.m11, expected.m11);
    EXPECT_EQ(actual.m12, expected.m12);
    EXPECT_EQ(actual.m21, expected.m21);
    EXPECT_EQ(actual.m22, expected.m22);
    EXPECT_EQ(actual.dx, expected.dx);
    EXPECT_EQ(actual.dy, expected.dy);
}

}  // namespace

TEST(RenderTargetTransform, FacadeSetsTheTransformEvenForNeutralArguments) {
    auto impl = std::make_shared<RecordingTarget>();
    RenderTarget target(impl);

    target.MultiplyTransform(Matrix());
    target.TranslateTransform(0.0f, 0.0f);
    target.ScaleTransform(1.0f, 1.0f);
    target.ScaleTransform(1.0f, 1.0f, Point<float>(3.0f, 4.0f));
    target.RotateTransform(0.0f);
    target.RotateTransform(0.0f, Point<float>(3.0f, 4.0f));
    EXPECT_EQ(impl->setCount, 6);
    EXPECT_TRUE(impl->transform.IsIdentity());

    // A full turn reduces to an angle of exactly 0, and still sets.
    target.RotateTransform(6.2831855f);
    EXPECT_EQ(impl->setCount, 7);
    EXPECT_TRUE(impl->transform.IsIdentity());
}

TEST(RenderTargetTransform, BaseHelpersSkipNeutralArguments) {
    RecordingTarget impl;
    impl.MultiplyTransform(Matrix());
    impl.TranslateTransform(0.0f, 0.0f);
    impl.ScaleTransform(1.0f, 1.0f);
    impl.RotateTransform(0.0f);
    impl.RotateTransform(6.2831855f);  // reduces to exactly 0
    EXPECT_EQ(impl.setCount, 0);

    impl.TranslateTransform(0.0f, 1.0f);
    impl.ScaleTransform(1.0f, 2.0f);
    impl.MultiplyTransform(Matrix(1, 0, 0, 1, 0, 0.5f));
    EXPECT_EQ(impl.setCount, 3);

    // A near-zero angle whose cosine rounds to 1 still has a sine: not neutral.
    impl.RotateTransform(1e-6f);
    EXPECT_EQ(impl.setCount, 4);
}

TEST(RenderTargetTransform, ProductsPrependTheArgument) {
    // Current transform K: translate by (10, 0). The argument M acts first,
    // so scaling by 2 then moving by 10 gives dx 10, not 20.
    for (int variant = 0; variant < 2; ++variant) {
        auto impl = std::make_shared<RecordingTarget>();
        impl->transform = Matrix(1, 0, 0, 1, 10, 0);
        if (variant == 0) {
            RenderTarget target(impl);
            target.ScaleTransform(2.0f, 3.0f);
        } else {
            impl->ScaleTransform(2.0f, 3.0f);
        }
        ExpectMatrixEq(impl->transform, Matrix(2, 0, 0, 3, 10, 0));
    }

    auto impl = std::make_shared<RecordingTarget>();
    RenderTarget target(impl);
    impl->transform = Matrix(2, 0, 0, 2, 0, 0);
    target.TranslateTransform(3.0f, -4.0f);
    ExpectMatrixEq(impl->transform, Matrix(2, 0, 0, 2, 6, -8));

    impl->transform = Matrix(1, 0, 0, 1, 5, 7);
    target.ReflectXTransform();
    ExpectMatrixEq(impl->transform, Matrix(-1, 0, 0, 1, 5, 7));
    target.ReflectYTransform();
    ExpectMatrixEq(impl->transform, Matrix(-1, 0, 0, -1, 5, 7));

    impl->transform = Matrix(1, 0, 0, 1, 1, 1);
    target.MultiplyTransform(Matrix(0, 1, -1, 0, 2, 0));
    ExpectMatrixEq(impl->transform, Matrix(0, 1, -1, 0, 3, 1));

    RecordingTarget base;
    base.transform = Matrix(2, 0, 0, 2, 0, 0);
    base.TranslateTransform(3.0f, -4.0f);
    ExpectMatrixEq(base.transform, Matrix(2, 0, 0, 2, 6, -8));
    base.MultiplyTransform(Matrix(0, 1, -1, 0, 0, 0));
    ExpectMatrixEq(base.transform, Matrix(0, 2, -2, 0, 6, -8));
}

TEST(RenderTargetTransform, RotationAngleReduction) {
    const double fullTurn = static_cast<double>(6.2831855f);

    // 7.0 is at least a full turn: it turns by fmod(7.0, float 2 pi).
    for (int variant = 0; variant < 2; ++variant) {
        auto impl = std::make_shared<RecordingTarget>();
        if (variant == 0)
            RenderTarget(impl).RotateTransform(7.0f);
        else
            impl->RotateTransform(7.0f);
        const double a = std::fmod(7.0, fullTurn);
        const float s = static_cast<float>(std::sin(a)), c = static_cast<float>(std::cos(a));
        ExpectMatrixEq(impl->transform, Matrix(c, s, -s, c, 0, 0));
        EXPECT_NEAR(impl->transform.m12, std::sin(7.0 - 2.0 * M_PI), 1e-6);
        // The reduction is visible in the last bits: the unreduced sine differs.
        EXPECT_NE(impl->transform.m12, static_cast<float>(std::sin(7.0)));
    }

    // Negative angles go to sin and cos as they are.
    for (int variant = 0; variant < 2; ++variant) {
        auto impl = std::make_shared<RecordingTarget>();
        if (variant == 0)
            RenderTarget(impl).RotateTransform(-7.0f);
        else
            impl->RotateTransform(-7.0f);
        const float s = static_cast<float>(std::sin(-7.0)), c = static_cast<float>(std::cos(-7.0));
        ExpectMatrixEq(impl->transform, Matrix(c, s, -s, c, 0, 0));
    }

    // A quarter turn: (1, 0) goes to about (0, 1).
    auto impl = std::make_shared<RecordingTarget>();
    RenderTarget(impl).RotateTransform(static_cast<float>(M_PI / 2));
    const Point<float> p = impl->transform.Transform(Point<float>(1, 0));
    EXPECT_NEAR(p.x, 0.0f, 1e-6f);
    EXPECT_NEAR(p.y, 1.0f, 1e-6f);
}

TEST(RenderTargetTransform, ScaleAndRotateAboutACentreKeepTheCentre) {
    auto impl = std::make_shared<RecordingTarget>();
    RenderTarget target(impl);

    target.ScaleTransform(3.0f, 0.5f, Point<float>(10.0f, 20.0f));
    ExpectMatrixEq(impl->transform, Matrix(3, 0, 0, 0.5f, -20, 10));
    Point<float> p = impl->transform.Transform(Point<float>(10, 20));
    EXPECT_EQ(p.x, 10.0f);
    EXPECT_EQ(p.y, 20.0f);
    p = impl->transform.Transform(Point<float>(11, 22));
    EXPECT_EQ(p.x, 13.0f);
    EXPECT_EQ(p.y, 21.0f);

    const float angles[] = {0.3f, 1.0f, -2.5f, 7.0f};
    for (float angle : angles) {
        impl->transform = Matrix();
        const Point<float> c(30.0f, -12.0f);
        target.RotateTransform(angle, c);
        p = impl->transform.Transform(c);
        EXPECT_NEAR(p.x, c.x, 1e-4f) << angle;
        EXPECT_NEAR(p.y, c.y, 1e-4f) << angle;
        // A point at distance 10 stays at distance 10 from the centre.
        const Point<float> q = impl->transform.Transform(Point<float>(c.x + 10.0f, c.y));
        EXPECT_NEAR(std::hypot(q.x - c.x, q.y - c.y), 10.0, 1e-4) << angle;
        const double turned = angle >= 6.2831855f ? std::fmod(angle, static_cast<double>(6.2831855f)) : angle;
        EXPECT_NEAR(q.x - c.x, 10.0 * std::cos(turned), 1e-4) << angle;
        EXPECT_NEAR(q.y - c.y, 10.0 * std::sin(turned), 1e-4) << angle;
    }

    // The centre is given in the user space of the current transform.
    impl->transform = Matrix(2, 0, 0, 2, 100, 0);
    target.RotateTransform(1.0f, Point<float>(5.0f, 5.0f));
    p = impl->transform.Transform(Point<float>(5, 5));
    EXPECT_NEAR(p.x, 110.0f, 1e-4f);
    EXPECT_NEAR(p.y, 10.0f, 1e-4f);
}

TEST(RenderTargetTransform, FacadeForwards) {
    auto impl = std::make_shared<RecordingTarget>();
    RenderTarget target(impl);
    EXPECT_EQ(target.GetImplementation(), impl);
    EXPECT_EQ(target.GetPixelFormat(), PixelFormat::ARGB8p);
    EXPECT_EQ(target.GetSize(), Size<int>(10, 10));
    target.SetBlendMode(BlendMode::Luminosity);
    EXPECT_EQ(impl->blendMode, BlendMode::Luminosity);
    EXPECT_EQ(target.GetBlendMode(), BlendMode::Luminosity);

    target.Clear(0x80FF4000u);
    EXPECT_EQ(impl->cleared.r, 1.0f);
    EXPECT_EQ(impl->cleared.g, 64 / 255.0f);
    EXPECT_EQ(impl->cleared.b, 0.0f);
    EXPECT_EQ(impl->cleared.a, 128 / 255.0f);
}
