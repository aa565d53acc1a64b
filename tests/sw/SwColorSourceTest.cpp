#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "Graphics/Brush.h"
#include "LogCapture.h"
#include "sw/SwBitmapColorSource.h"
#include "sw/SwColorSource.h"
#include "sw/SwSolidColorSource.h"

using namespace Graphics;

namespace {

// A row of words with a guard value around the written part.
std::vector<uint32_t> Fill(SwColorSource& source, int x0, int x1, int size, int offset) {
    std::vector<uint32_t> row(static_cast<size_t>(size), 0xDEADBEEFu);
    source.FillSpan(x0, x1, 3, reinterpret_cast<unsigned char*>(row.data() + offset));
    return row;
}

uint32_t SolidWord(const Color& color, float opacity) {
    auto brush = std::make_shared<SolidBrush>(color);
    brush->SetOpacity(opacity);
    return SwSolidColorSource(brush).GetColor();
}

class UnknownBrush : public Brush {
public:
    int GetType() const override { return 7; }
};

}  // namespace

TEST(SwColorSourceTest, SolidPremultipliesWithOpacity) {
    // Opaque at full opacity: the colour exactly.
    EXPECT_EQ(SolidWord(Color(0xFF336699u), 1.0f), 0xFF336699u);
    EXPECT_EQ(SolidWord(Color(0xFF000000u), 1.0f), 0xFF000000u);

    // Alpha 0.5 times opacity 0.5: 0.25 * 255 = 63.75 gives alpha 63; the
    // channels 255, 127, 63 are scaled by 64: 63, 31, 15.
    EXPECT_EQ(SolidWord(Color(1.0f, 0.5f, 0.25f, 0.5f), 0.5f), 0x3F3F1F0Fu);

    // Alpha 0x80 at full opacity scales by 129: 0xFF -> 0x80, 0x80 -> 0x40, 0x40 -> 0x20.
    EXPECT_EQ(SolidWord(Color(0x80FF8040u), 1.0f), 0x80804020u);

    // Opaque white at 0.3: 0.3 * 255 = 76.5 gives alpha 76, scale by 77: (255 * 77) >> 8 = 76.
    EXPECT_EQ(SolidWord(Color(0xFFFFFFFFu), 0.3f), 0x4C4C4C4Cu);

    // Opacity 0, or a transparent colour: transparent black.
    EXPECT_EQ(SolidWord(Color(0xFFFFFFFFu), 0.0f), 0u);
    EXPECT_EQ(SolidWord(Color(0x00FFFFFFu), 1.0f), 0u);

    // Alpha 1 scales by 2: 0xFF -> 1, 0x7F -> 0.
    EXPECT_EQ(SolidWord(Color(0x01FF7FFFu), 1.0f), 0x01010001u);

    // No clamp on opacity: 0.5 * 2 is opaque again and the channels stay.
    EXPECT_EQ(SolidWord(Color(1.0f, 0.5f, 0.25f, 0.5f), 2.0f), 0xFFFF7F3Fu);

    // The brush is read once: later changes do not reach the source.
    auto brush = std::make_shared<SolidBrush>(0xFF0000FFu);
    SwSolidColorSource source(brush);
    brush->SetColor(0xFFFF0000u);
    brush->SetOpacity(0.0f);
    EXPECT_EQ(source.GetColor(), 0xFF0000FFu);

    EXPECT_EQ(SwSolidColorSource(nullptr).GetColor(), 0u);
}

TEST(SwColorSourceTest, SolidFillSpan) {
    auto brush = std::make_shared<SolidBrush>(Color(0x80FF8040u));
    SwSolidColorSource source(brush);

    // Four words from x0 = 2 to the exclusive x1 = 6; the guards stay.
    auto row = Fill(source, 2, 6, 6, 1);
    EXPECT_EQ(row, (std::vector<uint32_t>{0xDEADBEEFu, 0x80804020u, 0x80804020u, 0x80804020u, 0x80804020u,
                                          0xDEADBEEFu}));

    // In memory: blue, green, red, alpha.
    unsigned char bytes[4] = {0, 0, 0, 0};
    source.FillSpan(0, 1, 0, bytes);
    EXPECT_EQ(bytes[0], 0x20);
    EXPECT_EQ(bytes[1], 0x40);
    EXPECT_EQ(bytes[2], 0x80);
    EXPECT_EQ(bytes[3], 0x80);

    // Empty and inverted spans write nothing.
    EXPECT_EQ(Fill(source, 5, 5, 2, 0), (std::vector<uint32_t>{0xDEADBEEFu, 0xDEADBEEFu}));
    EXPECT_EQ(Fill(source, 7, 5, 2, 0), (std::vector<uint32_t>{0xDEADBEEFu, 0xDEADBEEFu}));

    // Negative coordinates are surface positions like any other.
    EXPECT_EQ(Fill(source, -2, 1, 3, 0), (std::vector<uint32_t>(3, 0x80804020u)));

    // An unaligned destination is written byte-exactly.
    unsigned char odd[9] = {0};
    source.FillSpan(10, 12, 0, odd + 1);
    EXPECT_EQ(odd[0], 0);
    EXPECT_EQ(odd[1], 0x20);
    EXPECT_EQ(odd[4], 0x80);
    EXPECT_EQ(odd[5], 0x20);
    EXPECT_EQ(odd[8], 0x80);
}

TEST(SwColorSourceTest, FactoryMakesSolidSources) {
    auto brush = std::make_shared<SolidBrush>(Color(1.0f, 0.5f, 0.25f, 0.5f));
    brush->SetOpacity(0.5f);
    // Bounds and placement do not matter to a solid colour.
    auto source = SwColorSource::CreateFromBrush(brush, Rect<float>(0, 0, 10, 10), Matrix(1, 0, 0, 1, 5, 5));
    ASSERT_NE(source, nullptr);
    ASSERT_NE(dynamic_cast<SwSolidColorSource*>(source.get()), nullptr);
    EXPECT_EQ(Fill(*source, 0, 2, 2, 0), (std::vector<uint32_t>(2, 0x3F3F1F0Fu)));
}

TEST(SwColorSourceTest, FactoryRefusals) {
    EXPECT_GRAPHICS_FAILURE(
        SwColorSource::CreateFromBrush(std::make_shared<PatternBrush>(nullptr), Rect<float>(), Matrix()),
        "CreateFromBrush", "Not implemented");
    EXPECT_GRAPHICS_FAILURE(SwColorSource::CreateFromBrush(std::make_shared<UnknownBrush>(), Rect<float>(), Matrix()),
                            "CreateFromBrush", "Not implemented");
    EXPECT_GRAPHICS_FAILURE(SwColorSource::CreateFromBrush(nullptr, Rect<float>(), Matrix()), "CreateFromBrush",
                            "Not implemented");
}

TEST(SwColorSourceTest, BitmapSourceMatrix) {
    // Identity brush on a surface at the origin: each surface pixel reads the
    // source pixel with the same numbers, exactly.
    EXPECT_EQ(SwBitmapColorSource::SurfaceToSourceMatrix(Matrix(), Matrix()), Matrix());
    EXPECT_EQ(SwBitmapColorSource::SurfaceToSourceMatrix(Matrix()), Matrix());

    // A bitmap drawn twice as large: A = (2, 0, 0, 2, 1, 1); its inverse
    // (0.5, 0, 0, 0.5, -0.5, -0.5) after the half-pixel shift gives
    // dx = 0.5 * 0.5 - 0.5. Surface pixel 1 reads 0.25: (0.25 + 0.5) * 2 = 1 + 0.5.
    const Matrix scaled = SwBitmapColorSource::SurfaceToSourceMatrix(Matrix(2, 0, 0, 2, 0, 0), Matrix());
    EXPECT_EQ(scaled, Matrix(0.5f, 0, 0, 0.5f, -0.25f, -0.25f));
    EXPECT_EQ(scaled.Transform(Point<float>(1, 1)), Point<float>(0.25f, 0.25f));

    // A sub-surface whose pixel (0, 0) lies at (10, 20) of brush space reads
    // source pixel (10, 20) there.
    EXPECT_EQ(SwBitmapColorSource::SurfaceToSourceMatrix(Matrix(), Matrix(1, 0, 0, 1, 10, 20)),
              Matrix(1, 0, 0, 1, 10, 20));

    // Brush moved by (3, 4) together with placement by (10, 20).
    EXPECT_EQ(SwBitmapColorSource::SurfaceToSourceMatrix(Matrix(1, 0, 0, 1, 3, 4), Matrix(1, 0, 0, 1, 10, 20)),
              Matrix(1, 0, 0, 1, 7, 16));

    // A bitmap placed directly at (3, 4) of the surface: surface pixel (3, 4)
    // is source pixel (0, 0).
    EXPECT_EQ(SwBitmapColorSource::SurfaceToSourceMatrix(Matrix(1, 0, 0, 1, 3, 4)), Matrix(1, 0, 0, 1, -3, -4));

    // A quarter turn: brush (x, y) -> (-y, x). A = (0, 1, -1, 0, -0.5, 0.5),
    // inverse (0, -1, 1, 0, -0.5, -0.5), shifted: dx = 0.5 * 0 + 0.5 * 1 - 0.5 = 0,
    // dy = 0.5 * -1 + 0.5 * 0 - 0.5 = -1. Surface pixel (-1, 0) reads source (0, 0).
    const Matrix turned = SwBitmapColorSource::SurfaceToSourceMatrix(Matrix(0, 1, -1, 0, 0, 0), Matrix());
    EXPECT_EQ(turned, Matrix(0, -1, 1, 0, 0, -1));
    EXPECT_EQ(turned.Transform(Point<float>(-1, 0)), Point<float>(0, 0));
}
