#include "Graphics/Types.h"

#include <gtest/gtest.h>

#include <cmath>

using namespace Graphics;

TEST(Color, FromWordAndBackTruncates) {
    const Color c(0x80FF0000u);
    EXPECT_EQ(c.r, 1.0f);
    EXPECT_EQ(c.g, 0.0f);
    EXPECT_EQ(c.b, 0.0f);
    EXPECT_EQ(c.a, 128.0f / 255.0f);

    // 0.5 * 255 = 127.5 truncates to 127: no rounding term.
    EXPECT_EQ(Color(1.0f, 0.0f, 0.0f, 0.5f).ToARGB(), 0x7FFF0000u);
    EXPECT_EQ(Color(1.0f, 0.0f, 0.0f, 0.5f).ToABGR(), 0x7F0000FFu);
    EXPECT_EQ(Color(0.2f, 0.4f, 0.6f, 1.0f).ToARGB(), 0xFF336699u);
    EXPECT_EQ(Color(0.2f, 0.4f, 0.6f, 1.0f).ToABGR(), 0xFF996633u);

    // Every byte survives the trip or loses exactly one step, never more.
    for (unsigned int b = 0; b < 256; ++b) {
        const unsigned int back = Color(0xFF000000u | b).ToARGB() & 0xFF;
        EXPECT_TRUE(back == b || back + 1 == b) << b;
    }

    // No clamp: colour bytes are masked after truncation, alpha's upper bits
    // fall away with the shift.
    EXPECT_EQ(Color(2.0f, 0.0f, 0.0f, 2.0f).ToARGB(), 0xFEFE0000u);
    // Out-of-range and NaN channels stay defined.
    const unsigned int n = Color(NAN, INFINITY, -1.0f, NAN).ToARGB();
    EXPECT_EQ(n & 0xFF, 0x01u);  // -255 masked to a byte
}

TEST(Matrix, ProductAppliesFirstOperandFirst) {
    const Matrix translate(1, 0, 0, 1, 10, 20);
    const Matrix scale(2, 0, 0, 3, 0, 0);
    const Matrix ts = Matrix::Multiply(translate, scale);
    EXPECT_EQ(ts, Matrix(2, 0, 0, 3, 20, 60));
    const Point<float> p = ts.Transform(Point<float>(1, 1));
    EXPECT_EQ(p, Point<float>(22, 63));
    EXPECT_EQ(Matrix::Multiply(scale, translate), Matrix(2, 0, 0, 3, 10, 20));

    const Matrix general(1, 2, 3, 4, 5, 6);
    const Matrix other(7, 8, 9, 10, 11, 12);
    EXPECT_EQ(Matrix::Multiply(general, other),
              Matrix(1 * 7 + 2 * 9, 1 * 8 + 2 * 10, 3 * 7 + 4 * 9, 3 * 8 + 4 * 10, 5 * 7 + 6 * 9 + 11,
                     5 * 8 + 6 * 10 + 12));

    EXPECT_TRUE(Matrix().IsIdentity());
    EXPECT_FALSE(Matrix(1, 0, 0, 1, 0, -0.0f + 1e-30f).IsIdentity());
}

TEST(Matrix, InverseUndoesAndSingularGivesInfinities) {
    const Matrix m(2, 1, -1, 3, 4, -5);
    const Matrix id = Matrix::Multiply(m, m.Inverse());
    EXPECT_NEAR(id.m11, 1, 1e-6);
    EXPECT_NEAR(id.m12, 0, 1e-6);
    EXPECT_NEAR(id.m21, 0, 1e-6);
    EXPECT_NEAR(id.m22, 1, 1e-6);
    EXPECT_NEAR(id.dx, 0, 1e-5);
    EXPECT_NEAR(id.dy, 0, 1e-5);

    const Matrix singular = Matrix(1, 2, 2, 4, 0, 0).Inverse();
    EXPECT_FALSE(std::isfinite(singular.m11));
}

TEST(Matrix, TransformRect) {
    const Rect<float> inverted(10, 20, 0, 5);
    // The identity gives the rectangle back as it is, still inverted.
    EXPECT_EQ(Matrix().TransformRect(inverted), inverted);
    // Any other matrix orders it.
    EXPECT_EQ(Matrix(1, 0, 0, 1, 1, 1).TransformRect(inverted), Rect<float>(1, 6, 11, 21));

    // A quarter turn swaps width and height.
    const Matrix quarter(0, 1, -1, 0, 0, 0);
    const Rect<float> r = quarter.TransformRect(Rect<float>(0, 0, 40, 10));
    EXPECT_EQ(r, Rect<float>(-10, 0, 0, 40));

    // A rotation of 45 degrees bounds the turned square.
    const float c = std::cos(0.78539816f), s = std::sin(0.78539816f);
    const Rect<float> d = Matrix(c, s, -s, c, 0, 0).TransformRect(Rect<float>(0, 0, 1, 1));
    EXPECT_NEAR(d.left, -s, 1e-6);
    EXPECT_NEAR(d.right, c, 1e-6);
    EXPECT_NEAR(d.top, 0, 1e-6);
    EXPECT_NEAR(d.bottom, s + c, 1e-6);
}

TEST(Enumerations, NumbersAreTheInterface) {
    EXPECT_EQ(BlendMode::Normal, 0);
    EXPECT_EQ(BlendMode::SoftLight, 9);
    EXPECT_EQ(BlendMode::Luminosity, 15);
    EXPECT_EQ(InterpolationMode::HighQuality, 2);
    EXPECT_EQ(ExtendMode::Mirror, 2);
    EXPECT_EQ(SoftMaskType::InverseLuminosity, 3);
    EXPECT_EQ(FillRule::EvenOdd, 1);
    EXPECT_EQ(LineCap::Square, 2);
    EXPECT_EQ(LineJoin::Bevel, 2);
    EXPECT_EQ(RuntimeMode::Print, 2);
}
