#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <memory>
#include <vector>

#include "Graphics/Bitmap.h"
#include "Graphics/Brush.h"
#include "Graphics/RenderTarget.h"
#include "bitmap/SolidColorBitmapSource.h"
#include "bitmap/SwBitmapCache.h"
#include "sw/SwBitmapColorSource.h"
#include "sw/SwBitmapSampler.h"
#include "sw/SwColorSource.h"

using namespace Graphics;

namespace {

// A public 4 x 3 A8 bitmap whose pixel (x, y) holds 16 * y + x + 1.
std::shared_ptr<Bitmap> MakeGrid() {
    auto bitmap = std::make_shared<Bitmap>(Size<int>(4, 3), PixelFormat::A8, 96.0f, 96.0f);
    unsigned char pixels[12];
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 4; ++x) pixels[4 * y + x] = static_cast<unsigned char>(16 * y + x + 1);
    bitmap->CopyFromMemory(nullptr, pixels, 4, 4);
    return bitmap;
}

uint32_t A8(int v) { return static_cast<uint32_t>(v) * 0x01010101u; }

std::vector<uint32_t> Fill(SwColorSource& source, int x0, int x1, int y) {
    std::vector<uint32_t> row(static_cast<size_t>(x1 - x0) + 1, 0xDEADBEEFu);
    source.FillSpan(x0, x1, y, reinterpret_cast<unsigned char*>(row.data()));
    EXPECT_EQ(row.back(), 0xDEADBEEFu);
    row.pop_back();
    return row;
}

}  // namespace

TEST(SwBitmapColorSourceTest, FactoryMakesBitmapSources) {
    auto brush = std::make_shared<BitmapBrush>(MakeGrid());
    // Identity brush and placement: surface pixel (x, y) is source pixel
    // (x, y) exactly, in every interpolation mode.
    for (auto mode : {InterpolationMode::Nearest, InterpolationMode::Linear, InterpolationMode::HighQuality}) {
        brush->SetInterpolationMode(mode);
        auto source = SwColorSource::CreateFromBrush(brush, Rect<float>(0, 0, 4, 3), Matrix());
        ASSERT_NE(dynamic_cast<SwBitmapColorSource*>(source.get()), nullptr);
        for (int y = 0; y < 3; ++y)
            EXPECT_EQ(Fill(*source, 0, 4, y),
                      (std::vector<uint32_t>{A8(16 * y + 1), A8(16 * y + 2), A8(16 * y + 3), A8(16 * y + 4)}));
    }

    // A sub-surface whose pixel (0, 0) lies at (2, 1) of brush space.
    brush->SetInterpolationMode(InterpolationMode::Nearest);
    auto placed = SwColorSource::CreateFromBrush(brush, Rect<float>(), Matrix(1, 0, 0, 1, 2, 1));
    EXPECT_EQ(Fill(*placed, 0, 2, 0), (std::vector<uint32_t>{A8(19), A8(20)}));
    EXPECT_EQ(Fill(*placed, -2, 0, 1), (std::vector<uint32_t>{A8(33), A8(34)}));
}

TEST(SwBitmapColorSourceTest, BrushSettings) {
    auto grid = MakeGrid();
    auto brush = std::make_shared<BitmapBrush>(grid);
    // Defaults: linear, clamped.
    {
        SwBitmapColorSource source(brush, Matrix());
        ASSERT_NE(source.GetSampler(), nullptr);
        EXPECT_EQ(source.GetSampler()->GetSampling(), SwBitmapSampler::SamplingLinear);
        EXPECT_EQ(Fill(source, -2, 6, 0),
                  (std::vector<uint32_t>{A8(1), A8(1), A8(1), A8(2), A8(3), A8(4), A8(4), A8(4)}));
    }

    // Drawn twice as large, nearest: each source pixel covers two surface pixels.
    brush->SetInterpolationMode(InterpolationMode::Nearest);
    brush->SetTransform(Matrix(2, 0, 0, 2, 0, 0));
    {
        SwBitmapColorSource source(brush, Matrix());
        EXPECT_EQ(Fill(source, 0, 8, 3),
                  (std::vector<uint32_t>{A8(17), A8(17), A8(18), A8(18), A8(19), A8(19), A8(20), A8(20)}));
    }
    // Linear at twice the size. Row 1 reads y = 0.25: rows 0 and 1 at 64.
    // Pixel 4 reads x = 1.75: row 0 (2 * 64 + 3 * 192) >> 8 = 2, row 1
    // (18 * 64 + 19 * 192) >> 8 = 18, then (2 * 192 + 18 * 64) >> 8 = 6.
    // Pixel 5 reads 2.25: rows give 3 and 19, then (3 * 192 + 19 * 64) >> 8 = 7.
    brush->SetInterpolationMode(InterpolationMode::Linear);
    {
        SwBitmapColorSource source(brush, Matrix());
        EXPECT_EQ(Fill(source, 4, 6, 1), (std::vector<uint32_t>{A8(6), A8(7)}));
    }

    // Tiled both ways, moved by one pixel.
    brush->SetInterpolationMode(InterpolationMode::Nearest);
    brush->SetTransform(Matrix(1, 0, 0, 1, 1, 0));
    brush->SetExtendModeX(ExtendMode::Wrap);
    brush->SetExtendModeY(ExtendMode::Mirror);
    {
        SwBitmapColorSource source(brush, Matrix());
        // Surface x reads x - 1; at x = 0, -0.5 truncates to 0.
        EXPECT_EQ(Fill(source, 0, 6, 0), (std::vector<uint32_t>{A8(1), A8(1), A8(2), A8(3), A8(4), A8(1)}));
        // Row 3 mirrors to row 2, row 4 to row 1.
        EXPECT_EQ(Fill(source, 1, 2, 3), (std::vector<uint32_t>{A8(33)}));
        EXPECT_EQ(Fill(source, 1, 2, 4), (std::vector<uint32_t>{A8(17)}));
    }

    // The brush's opacity: 0.5 weighs 128.
    brush->SetOpacity(0.5f);
    brush->SetTransform(Matrix());
    {
        SwBitmapColorSource source(brush, Matrix());
        EXPECT_EQ(source.GetSampler()->GetOpacity(), 128);
        EXPECT_EQ(Fill(source, 3, 4, 2), (std::vector<uint32_t>{A8((36 * 128) >> 8)}));
        // The brush is read once.
        brush->SetOpacity(1.0f);
        brush->SetTransform(Matrix(0, 0, 0, 0, 0, 0));
        EXPECT_EQ(Fill(source, 3, 4, 2), (std::vector<uint32_t>{A8(18)}));
    }
}

TEST(SwBitmapColorSourceTest, PlacedBitmap) {
    // Layers and mesh gradients: clamped, nearest, with the given opacity.
    auto grid = MakeGrid();
    SwBitmapColorSource source(grid, Matrix(1, 0, 0, 1, 3, 4), 1.0f);
    ASSERT_NE(source.GetSampler(), nullptr);
    EXPECT_EQ(source.GetSampler()->GetSampling(), SwBitmapSampler::SamplingNearest);
    EXPECT_EQ(source.GetSampler()->GetMatrix(), Matrix(1, 0, 0, 1, -3, -4));
    EXPECT_EQ(Fill(source, 2, 8, 4), (std::vector<uint32_t>{A8(1), A8(1), A8(2), A8(3), A8(4), A8(4)}));
    EXPECT_EQ(Fill(source, 3, 4, 100), (std::vector<uint32_t>{A8(33)}));

    SwBitmapColorSource faint(grid, Matrix(), 0.25f);  // truncate(63.75) + 1 = 64
    EXPECT_EQ(Fill(faint, 3, 4, 2), (std::vector<uint32_t>{A8((36 * 64) >> 8)}));

    // A source that is not a lockable bitmap is copied into the software
    // cache first.
    auto solid = std::make_shared<SolidColorBitmapSource>(Size<int>(3, 2), PixelFormat::ARGB8, Color(0x80FF8040u));
    EXPECT_FALSE(SwBitmapCache::IsCached(solid));
    SwBitmapColorSource fromSolid(solid, Matrix(), 1.0f);
    EXPECT_TRUE(SwBitmapCache::IsCached(solid));
    EXPECT_EQ(Fill(fromSolid, -1, 4, 1), std::vector<uint32_t>(5, 0x80804020u));
}

TEST(SwBitmapColorSourceTest, DegenerateBrushes) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float inf = std::numeric_limits<float>::infinity();
    auto grid = MakeGrid();
    // Singular and non-finite transforms paint something, safely.
    for (const Matrix& transform :
         {Matrix(0, 0, 0, 0, 0, 0), Matrix(1, 2, 2, 4, 0, 0), Matrix(nan, 0, 0, 1, 0, 0), Matrix(inf, 0, 0, inf, 0, 0),
          Matrix(1, 0, 0, 1, inf, -inf), Matrix(1e-30f, 0, 0, 1e-30f, 0, 0), Matrix(1e30f, 0, 0, 1e30f, 0, 0)}) {
        for (auto mode : {InterpolationMode::Nearest, InterpolationMode::Linear, InterpolationMode::HighQuality}) {
            for (auto extend : {ExtendMode::Clamp, ExtendMode::Wrap, ExtendMode::Mirror}) {
                auto brush = std::make_shared<BitmapBrush>(grid);
                brush->SetTransform(transform);
                brush->SetInterpolationMode(mode);
                brush->SetExtendModeX(extend);
                brush->SetExtendModeY(extend);
                auto source = SwColorSource::CreateFromBrush(brush, Rect<float>(), Matrix(1, 0, 0, 1, 7, -3));
                Fill(*source, -5, 5, 2);
                SwBitmapColorSource placed(grid, transform, 1.0f);
                Fill(placed, -5, 5, 2);
            }
        }
    }
    // A singular placement as well.
    auto brush = std::make_shared<BitmapBrush>(grid);
    SwBitmapColorSource flat(brush, Matrix(0, 0, 0, 0, 0, 0));
    Fill(flat, 0, 3, 0);

    // Nothing to paint with: transparent black.
    auto empty =
        std::make_shared<BitmapBrush>(std::make_shared<Bitmap>(Size<int>(0, 0), PixelFormat::ARGB8, 96.0f, 96.0f));
    auto emptySource = SwColorSource::CreateFromBrush(empty, Rect<float>(), Matrix());
    EXPECT_EQ(Fill(*emptySource, 0, 3, 0), std::vector<uint32_t>(3, 0u));
    auto none = std::make_shared<BitmapBrush>(nullptr);
    auto noneSource = SwColorSource::CreateFromBrush(none, Rect<float>(), Matrix());
    EXPECT_EQ(Fill(*noneSource, 0, 3, 0), std::vector<uint32_t>(3, 0u));
    SwBitmapColorSource noBrush(std::shared_ptr<BitmapBrush>{}, Matrix{});
    EXPECT_EQ(noBrush.GetSampler(), nullptr);
    EXPECT_EQ(Fill(noBrush, 0, 3, 0), std::vector<uint32_t>(3, 0u));
    EXPECT_EQ(Fill(noBrush, 3, 3, 0), std::vector<uint32_t>());
    SwBitmapColorSource noBitmap(std::shared_ptr<BitmapSource>{}, Matrix{}, 1.0f);
    EXPECT_EQ(Fill(noBitmap, -1, 1, 0), std::vector<uint32_t>(2, 0u));
}

TEST(SwBitmapColorSourceTest, DrawnThroughARenderTarget) {
    // Opaque source pixels replace whatever lies below them.
    auto target = std::make_shared<Bitmap>(Size<int>(6, 3), PixelFormat::ARGB8p, 96.0f, 96.0f);
    target->ColorFill(nullptr, Color(0x80000000u));
    auto source = std::make_shared<Bitmap>(Size<int>(2, 2), PixelFormat::XRGB8, 96.0f, 96.0f);
    const uint32_t pixels[4] = {0x00102030u, 0x00405060u, 0x00708090u, 0x00A0B0C0u};
    source->CopyFromMemory(nullptr, pixels, 8, 8);

    BitmapRenderTarget rt(target);
    rt.BeginPaint();
    rt.SetTransform(Matrix(1, 0, 0, 1, 3, 1));
    rt.SetInterpolationMode(InterpolationMode::Nearest);
    rt.DrawBitmap(source, 1.0f);
    rt.EndPaint();

    LockedData lock = target->Lock(nullptr, LockMode::Read);
    auto at = [&lock](int x, int y) {
        uint32_t v;
        std::memcpy(&v, static_cast<unsigned char*>(lock.data) + lock.stride * y + 4 * x, 4);
        return v;
    };
    EXPECT_EQ(at(3, 1), 0xFF102030u);
    EXPECT_EQ(at(4, 1), 0xFF405060u);
    EXPECT_EQ(at(3, 2), 0xFF708090u);
    EXPECT_EQ(at(4, 2), 0xFFA0B0C0u);
    // Outside the picture the target is untouched.
    EXPECT_EQ(at(2, 1), 0x80000000u);
    EXPECT_EQ(at(5, 2), 0x80000000u);
    EXPECT_EQ(at(3, 0), 0x80000000u);
    target->Unlock();
}
