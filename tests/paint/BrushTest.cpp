#include <gtest/gtest.h>

#include "Graphics/Brush.h"
#include "Graphics/Graphics.h"

using namespace Graphics;

namespace {

void ExpectIdentity(const Matrix& m) {
    EXPECT_EQ(m.m11, 1.0f);
    EXPECT_EQ(m.m12, 0.0f);
    EXPECT_EQ(m.m21, 0.0f);
    EXPECT_EQ(m.m22, 1.0f);
    EXPECT_EQ(m.dx, 0.0f);
    EXPECT_EQ(m.dy, 0.0f);
}

}  // namespace

TEST(BrushTest, NewBrushesHaveIdentityTransformAndFullOpacity) {
    SolidBrush solid(0xFF112233u);
    GradientBrush gradient(std::make_shared<LinearGradient>(Color(0xFF000000u), Color(0xFFFFFFFFu),
                                                            Point<float>(0, 0), Point<float>(1, 0)));
    PatternBrush pattern(nullptr);
    BitmapBrush bitmap(nullptr);
    const Brush* brushes[] = {&solid, &gradient, &pattern, &bitmap};
    for (const Brush* b : brushes) {
        ExpectIdentity(b->GetTransform());
        EXPECT_EQ(b->GetOpacity(), 1.0f);
    }
}

TEST(BrushTest, TypeNumbers) {
    EXPECT_EQ(SolidBrush(Color()).GetType(), 0);
    EXPECT_EQ(BitmapBrush(nullptr).GetType(), 1);
    EXPECT_EQ(PatternBrush(nullptr).GetType(), 2);
    EXPECT_EQ(GradientBrush(nullptr).GetType(), 3);

    const GradientStop stops[] = {GradientStop(0.0f, 0xFF000000u)};
    EXPECT_EQ(LinearGradient(stops, 1, Point<float>(), Point<float>()).GetType(), 0);
    EXPECT_EQ(RadialGradient(stops, 1, Point<float>(), 1.0f).GetType(), 1);
    EXPECT_EQ(TriMeshGradient(nullptr, 0).GetType(), 2);
}

TEST(BrushTest, TransformAndOpacityAreStoredAsGiven) {
    SolidBrush brush(0xFF000000u);
    brush.SetTransform(Matrix(2, 0.5f, -1, 3, 10, -20));
    EXPECT_EQ(brush.GetTransform(), Matrix(2, 0.5f, -1, 3, 10, -20));
    // No clamp on setting: out-of-range opacities are kept.
    brush.SetOpacity(2.5f);
    EXPECT_EQ(brush.GetOpacity(), 2.5f);
    brush.SetOpacity(-0.25f);
    EXPECT_EQ(brush.GetOpacity(), -0.25f);
}

TEST(BrushTest, SolidBrushColour) {
    // An unsigned int goes through Color(unsigned int): each byte over 255.
    SolidBrush brush(0x80FF0033u);
    EXPECT_EQ(brush.GetColor().a, 128.0f / 255.0f);
    EXPECT_EQ(brush.GetColor().r, 1.0f);
    EXPECT_EQ(brush.GetColor().g, 0.0f);
    EXPECT_EQ(brush.GetColor().b, 51.0f / 255.0f);
    EXPECT_EQ(brush.GetColor().ToARGB(), 0x80FF0033u);

    brush.SetColor(Color(0.25f, 0.5f, 0.75f, 1.0f));
    EXPECT_EQ(brush.GetColor().r, 0.25f);
    EXPECT_EQ(brush.GetColor().g, 0.5f);
    EXPECT_EQ(brush.GetColor().b, 0.75f);
    EXPECT_EQ(brush.GetColor().a, 1.0f);

    brush.SetColor(0x01020304u);
    EXPECT_EQ(brush.GetColor().ToARGB(), 0x01020304u);

    SolidBrush fromColor(Color(1.0f, 0.0f, 0.0f, 0.5f));
    EXPECT_EQ(fromColor.GetColor().a, 0.5f);
}

TEST(BrushTest, BitmapBrushDefaultsAndSetters) {
    auto bitmap = std::make_shared<Bitmap>(Size<int>(2, 2), PixelFormat::ARGB8p, 96.0f, 96.0f);
    BitmapBrush brush(bitmap);
    EXPECT_EQ(brush.GetBitmap(), bitmap);
    EXPECT_EQ(brush.GetInterpolationMode(), InterpolationMode::Linear);
    EXPECT_EQ(brush.GetExtendModeX(), ExtendMode::Clamp);
    EXPECT_EQ(brush.GetExtendModeY(), ExtendMode::Clamp);
    ExpectIdentity(brush.GetTransform());
    EXPECT_EQ(brush.GetOpacity(), 1.0f);

    brush.SetInterpolationMode(InterpolationMode::HighQuality);
    brush.SetExtendModeX(ExtendMode::Wrap);
    brush.SetExtendModeY(ExtendMode::Mirror);
    EXPECT_EQ(brush.GetInterpolationMode(), InterpolationMode::HighQuality);
    EXPECT_EQ(brush.GetExtendModeX(), ExtendMode::Wrap);
    EXPECT_EQ(brush.GetExtendModeY(), ExtendMode::Mirror);

    brush.SetBitmap(nullptr);
    EXPECT_EQ(brush.GetBitmap(), nullptr);
    EXPECT_EQ(bitmap.use_count(), 1);
}

TEST(BrushTest, GradientAndPatternBrushesHoldTheirObjects) {
    auto linear = std::make_shared<LinearGradient>(Color(0xFF000000u), Color(0xFFFFFFFFu), Point<float>(0, 0),
                                                   Point<float>(1, 0));
    GradientBrush brush(linear);
    EXPECT_EQ(brush.GetGradient(), linear);
    auto radial = std::make_shared<RadialGradient>(Color(0xFF000000u), Color(0xFFFFFFFFu), Point<float>(0, 0), 5.0f);
    brush.SetGradient(radial);
    EXPECT_EQ(brush.GetGradient(), radial);
    EXPECT_EQ(brush.GetGradient()->GetType(), 1);
    EXPECT_EQ(linear.use_count(), 1);

    PatternBrush pattern(nullptr);
    EXPECT_EQ(pattern.GetPattern(), nullptr);
    pattern.SetPattern(nullptr);
    EXPECT_EQ(pattern.GetPattern(), nullptr);
}

TEST(BrushTest, HeldThroughBasePointers) {
    // Brushes and gradients are released through their base classes.
    std::shared_ptr<Brush> brush = std::make_shared<SolidBrush>(0xFF00FF00u);
    EXPECT_EQ(brush->GetType(), 0);
    std::unique_ptr<Gradient> gradient(new LinearGradient(nullptr, 0, Point<float>(), Point<float>()));
    EXPECT_EQ(gradient->GetType(), 0);
    std::unique_ptr<Brush> raw(new GradientBrush(std::shared_ptr<Gradient>(std::move(gradient))));
    EXPECT_EQ(raw->GetType(), 3);
}
