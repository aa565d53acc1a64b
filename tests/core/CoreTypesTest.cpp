#include "Graphics/Types.h"

#include <gtest/gtest.h>
#include <cmath>

using namespace Graphics;

TEST(Color, WordsInAndTruncatedWordsOut) {
    const Color c(0x80FF0033u);
    EXPECT_EQ(c.b, 51.0f / 255.0f);
    EXPECT_EQ(c.a, 128.0f / 255.0f);
    // Truncated, not rounded (127.5 gives 127), and not clamped: colour bytes
    // are masked, alpha loses its upper bits; NaN gives 0, -1 gives 0x01.
    const struct {
        Color color;
        unsigned int argb, abgr;
    } cases[] = {
        {Color(1, 0, 0, 0.5f), 0x7FFF0000u, 0x7F0000FFu},
        {Color(2, 0, 0, 2), 0xFEFE0000u, 0xFE0000FEu},
        {Color(NAN, INFINITY, -1.0f, NAN), 0x00000001u, 0x00010000u},
    };
    for (const auto& k : cases) {
        EXPECT_EQ(k.color.ToARGB(), k.argb) << std::hex << k.argb;
        EXPECT_EQ(k.color.ToABGR(), k.abgr) << std::hex << k.abgr;
    }
    // Every byte comes back as it was or one step lower.
    for (unsigned int b = 0; b < 256; ++b) {
        const unsigned int back = Color(0xFF000000u | b << 16 | b).ToARGB();
        EXPECT_TRUE((back & 0xFF) == b || (back & 0xFF) + 1 == b) << b;
        EXPECT_EQ(back >> 16 & 0xFF, back & 0xFF) << b;
    }
}

TEST(Matrix, ProductInverseAndRectangles) {
    // The first operand acts first.
    const Matrix translate(1, 0, 0, 1, 10, 20), scale(2, 0, 0, 3, 0, 0);
    EXPECT_EQ(Matrix::Multiply(translate, scale), Matrix(2, 0, 0, 3, 20, 60));
    EXPECT_EQ(Matrix::Multiply(Matrix(1, 2, 3, 4, 5, 6), Matrix(7, 8, 9, 10, 11, 12)),
              Matrix(25, 28, 57, 64, 100, 112));
    EXPECT_EQ(Matrix(2, 0, 0, 3, 20, 60).Transform(Point<float>(1, 1)), Point<float>(22, 63));
    EXPECT_FALSE(Matrix(1, 0, 0, 1, 0, 1e-30f).IsIdentity());
    const Matrix m(2, 1, -1, 3, 4, -5), id = Matrix::Multiply(m, m.Inverse());
    const float got[6] = {id.m11, id.m12, id.m21, id.m22, id.dx, id.dy}, want[6] = {1, 0, 0, 1, 0, 0};
    for (int i = 0; i < 6; ++i) EXPECT_NEAR(got[i], want[i], 1e-5) << i;
    EXPECT_FALSE(std::isfinite(Matrix(1, 2, 2, 4, 0, 0).Inverse().m11));  // singular
    // The identity hands an inverted rectangle back as it is; others order
    // the bound of the four corners.
    const Rect<float> inverted(10, 20, 0, 5);
    EXPECT_EQ(Matrix().TransformRect(inverted), inverted);
    EXPECT_EQ(Matrix(1, 0, 0, 1, 1, 1).TransformRect(inverted), Rect<float>(1, 6, 11, 21));
    EXPECT_EQ(Matrix(0, 1, -1, 0, 0, 0).TransformRect(Rect<float>(0, 0, 40, 10)), Rect<float>(-10, 0, 0, 40));
}
