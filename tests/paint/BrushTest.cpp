#include <gtest/gtest.h>

#include "Graphics/Brush.h"
#include "Graphics/Graphics.h"

using namespace Graphics;

TEST(BrushTest, TypesDefaultsAndColours) {
    // The back ends dispatch on the type numbers; every brush starts with
    // the identity and full opacity.
    SolidBrush solid(0x80FF0033u);
    BitmapBrush bitmap(nullptr);
    PatternBrush pattern(nullptr);
    GradientBrush gradient(nullptr);
    const Brush* brushes[] = {&solid, &bitmap, &pattern, &gradient};
    for (int type = 0; type < 4; ++type) {
        EXPECT_EQ(brushes[type]->GetType(), type);
        EXPECT_TRUE(brushes[type]->GetTransform().IsIdentity());
        EXPECT_EQ(brushes[type]->GetOpacity(), 1.0f);
    }
    const GradientStop stop(0.0f, 0xFF000000u);
    EXPECT_EQ(LinearGradient(&stop, 1, Point<float>(), Point<float>()).GetType(), 0);
    EXPECT_EQ(RadialGradient(&stop, 1, Point<float>(), 1.0f).GetType(), 1);
    EXPECT_EQ(TriMeshGradient(nullptr, 0).GetType(), 2);

    // A word goes through Color(unsigned int): each byte over 255.
    EXPECT_EQ(solid.GetColor().a, 128.0f / 255.0f);
    EXPECT_EQ(solid.GetColor().b, 51.0f / 255.0f);
    EXPECT_EQ(solid.GetColor().ToARGB(), 0x80FF0033u);
    solid.SetColor(0x01020304u);
    EXPECT_EQ(solid.GetColor().ToARGB(), 0x01020304u);

    // Bitmaps are drawn linearly and clamped unless told otherwise.
    EXPECT_EQ(bitmap.GetInterpolationMode(), InterpolationMode::Linear);
    EXPECT_EQ(bitmap.GetExtendModeX(), ExtendMode::Clamp);
    EXPECT_EQ(bitmap.GetExtendModeY(), ExtendMode::Clamp);

    // Brushes and gradients are released through their base classes (the
    // sanitizers see a destructor that is not virtual).
    std::unique_ptr<Brush> held(new GradientBrush(std::shared_ptr<Gradient>(new RadialGradient(&stop, 1, {}, 1))));
    EXPECT_EQ(held->GetType(), 3);
}
