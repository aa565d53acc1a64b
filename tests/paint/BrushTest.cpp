#include <gtest/gtest.h>
#include "Graphics/Brush.h"
#include "Graphics/Graphics.h"

using namespace Graphics;

TEST(BrushTest, TypeNumbersAndColourWords) {
    // The back ends dispatch on the type numbers.
    SolidBrush solid(0x80FF0033u);
    BitmapBrush bitmap(nullptr);
    PatternBrush pattern(nullptr);
    const Brush* brushes[] = {&solid, &bitmap, &pattern};
    for (int type = 0; type < 3; ++type) EXPECT_EQ(brushes[type]->GetType(), type);
    const GradientStop stop(0.0f, 0xFF000000u);
    EXPECT_EQ(LinearGradient(&stop, 1, Point<float>(), Point<float>()).GetType(), 0);
    EXPECT_EQ(RadialGradient(&stop, 1, Point<float>(), 1.0f).GetType(), 1);
    EXPECT_EQ(TriMeshGradient(nullptr, 0).GetType(), 2);
    EXPECT_EQ(solid.GetColor().b, 51.0f / 255.0f);
    solid.SetColor(0x01020304u);
    EXPECT_EQ(solid.GetColor().ToARGB(), 0x01020304u);
    // Released through the base classes: the sanitizers see a destructor that is not virtual.
    std::unique_ptr<Brush> held(new GradientBrush(std::shared_ptr<Gradient>(new RadialGradient(&stop, 1, {}, 1))));
    EXPECT_EQ(held->GetType(), 3);
}
