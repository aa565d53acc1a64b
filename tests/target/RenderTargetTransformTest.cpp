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
    BlendMode::Enum GetBlendMode() const override { return BlendMode::Normal; }
    void SetBlendMode(BlendMode::Enum) override {}
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
    Color cleared;
    int setCount = 0;
};

// Rotation by the helpers: sine and cosine in double, narrowed.
Matrix Turn(double angle) {
    const float s = static_cast<float>(std::sin(angle)), c = static_cast<float>(std::cos(angle));
    return Matrix(c, s, -s, c, 0, 0);
}

}  // namespace

TEST(RenderTargetTransform, OnlyTheBackEndHelpersSkipNeutralArguments) {
    // The facade sets the transform in every case; a full turn reduces to
    // an angle of exactly 0.
    auto impl = std::make_shared<RecordingTarget>();
    RenderTarget target(impl);
    target.MultiplyTransform(Matrix());
    target.TranslateTransform(0.0f, 0.0f);
    target.ScaleTransform(1.0f, 1.0f);
    target.ScaleTransform(1.0f, 1.0f, Point<float>(3.0f, 4.0f));
    target.RotateTransform(0.0f);
    target.RotateTransform(0.0f, Point<float>(3.0f, 4.0f));
    target.RotateTransform(6.2831855f);
    EXPECT_EQ(impl->setCount, 7);
    EXPECT_TRUE(impl->transform.IsIdentity());

    RecordingTarget base;
    base.MultiplyTransform(Matrix());
    base.TranslateTransform(0.0f, 0.0f);
    base.ScaleTransform(1.0f, 1.0f);
    base.RotateTransform(0.0f);
    base.RotateTransform(6.2831855f);
    EXPECT_EQ(base.setCount, 0);
    base.TranslateTransform(0.0f, 1.0f);
    base.ScaleTransform(1.0f, 2.0f);
    base.MultiplyTransform(Matrix(1, 0, 0, 1, 0, 0.5f));
    // A tiny angle whose cosine rounds to 1 still has a sine.
    base.RotateTransform(1e-6f);
    EXPECT_EQ(base.setCount, 4);

    // The facade's Clear of a word reads it as Color(unsigned int).
    target.Clear(0x80FF4000u);
    EXPECT_EQ(impl->cleared.r, 1.0f);
    EXPECT_EQ(impl->cleared.g, 64 / 255.0f);
    EXPECT_EQ(impl->cleared.a, 128 / 255.0f);
}

TEST(RenderTargetTransform, ProductsPrependTheArgument) {
    // The argument acts first: scaling after a move by 10 keeps dx at 10.
    auto impl = std::make_shared<RecordingTarget>();
    RenderTarget target(impl);
    RecordingTarget base;
    impl->transform = base.transform = Matrix(1, 0, 0, 1, 10, 0);
    target.ScaleTransform(2.0f, 3.0f);
    base.ScaleTransform(2.0f, 3.0f);
    EXPECT_EQ(impl->transform, Matrix(2, 0, 0, 3, 10, 0));
    EXPECT_EQ(base.transform, Matrix(2, 0, 0, 3, 10, 0));
    base.SetTransform(Matrix(2, 0, 0, 2, 0, 0));
    base.TranslateTransform(3.0f, -4.0f);
    EXPECT_EQ(base.transform, Matrix(2, 0, 0, 2, 6, -8));
    base.MultiplyTransform(Matrix(0, 1, -1, 0, 0, 0));
    EXPECT_EQ(base.transform, Matrix(0, 2, -2, 0, 6, -8));

    impl->transform = Matrix(2, 0, 0, 2, 0, 0);
    target.TranslateTransform(3.0f, -4.0f);
    EXPECT_EQ(impl->transform, Matrix(2, 0, 0, 2, 6, -8));
    impl->transform = Matrix(1, 0, 0, 1, 5, 7);
    target.ReflectXTransform();
    EXPECT_EQ(impl->transform, Matrix(-1, 0, 0, 1, 5, 7));
    target.ReflectYTransform();
    EXPECT_EQ(impl->transform, Matrix(-1, 0, 0, -1, 5, 7));
    impl->transform = Matrix(1, 0, 0, 1, 1, 1);
    target.MultiplyTransform(Matrix(0, 1, -1, 0, 2, 0));
    EXPECT_EQ(impl->transform, Matrix(0, 1, -1, 0, 3, 1));
}

TEST(RenderTargetTransform, RotationsAndCentres) {
    // From a full turn on the angle is reduced by fmod with the float value
    // of 2 pi, visible in the last bits; negative angles go in as they are.
    const double fullTurn = static_cast<double>(6.2831855f);
    for (int facade = 0; facade < 2; ++facade) {
        auto impl = std::make_shared<RecordingTarget>();
        RenderTarget target(impl);
        for (float angle : {7.0f, -7.0f, static_cast<float>(M_PI / 2)}) {
            impl->transform = Matrix();
            if (facade)
                target.RotateTransform(angle);
            else
                impl->RotateTransform(angle);
            EXPECT_EQ(impl->transform, Turn(angle >= fullTurn ? std::fmod(double(angle), fullTurn) : angle)) << angle;
        }
    }
    EXPECT_NE(Turn(std::fmod(7.0, fullTurn)).m12, Turn(7.0).m12);  // the reduction shows

    // Scaling and turning about a centre keep the centre, given in the user
    // space of the current transform.
    auto impl = std::make_shared<RecordingTarget>();
    RenderTarget target(impl);
    target.ScaleTransform(3.0f, 0.5f, Point<float>(10.0f, 20.0f));
    EXPECT_EQ(impl->transform, Matrix(3, 0, 0, 0.5f, -20, 10));
    EXPECT_EQ(impl->transform.Transform(Point<float>(11, 22)), Point<float>(13, 21));
    for (float angle : {0.3f, 1.0f, -2.5f, 7.0f}) {
        impl->transform = Matrix();
        const Point<float> c(30.0f, -12.0f);
        target.RotateTransform(angle, c);
        const Point<float> p = impl->transform.Transform(c);
        const Point<float> q = impl->transform.Transform(Point<float>(c.x + 10.0f, c.y));
        const double turned = angle >= fullTurn ? std::fmod(angle, fullTurn) : angle;
        EXPECT_NEAR(p.x, c.x, 1e-4f) << angle;
        EXPECT_NEAR(p.y, c.y, 1e-4f) << angle;
        EXPECT_NEAR(q.x - c.x, 10.0 * std::cos(turned), 1e-4) << angle;
        EXPECT_NEAR(q.y - c.y, 10.0 * std::sin(turned), 1e-4) << angle;
    }
    impl->transform = Matrix(2, 0, 0, 2, 100, 0);
    target.RotateTransform(1.0f, Point<float>(5.0f, 5.0f));
    const Point<float> p = impl->transform.Transform(Point<float>(5, 5));
    EXPECT_NEAR(p.x, 110.0f, 1e-4f);
    EXPECT_NEAR(p.y, 10.0f, 1e-4f);
}
