// An opaque image drawn one pixel to one pixel, on whole pixels, is composed
// straight from the image's own rows where a span lies inside it. These
// pin the words that come out, and the case where that reading has to give
// way to a copy: an image drawn onto itself.
#include "Graphics/Graphics.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <vector>

using namespace Graphics;

namespace {

std::vector<uint32_t> Words(Bitmap& bitmap) {
    const Size<int> size = bitmap.GetSize();
    std::vector<uint32_t> words(static_cast<size_t>(size.width) * size.height);
    bitmap.CopyToMemory(nullptr, words.data(), size.width * 4, size.width * 4);
    return words;
}

std::shared_ptr<Bitmap> MakeImage(int width, int height, uint32_t seed) {
    std::vector<uint32_t> words(static_cast<size_t>(width) * height);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            words[static_cast<size_t>(y) * width + x] =
                0xFF000000u | ((x * 37u + seed) & 255u) << 16 | ((y * 53u + seed) & 255u) << 8 | ((x * y) & 255u);
    auto image = std::make_shared<Bitmap>(Size<int>(width, height), PixelFormat::ARGB8p, 96.0f, 96.0f);
    image->CopyFromMemory(nullptr, words.data(), width * 4, width * 4);
    return image;
}

}  // namespace

TEST(ImageAtUnitScale, FillShowsTheImageWordForWord) {
    const auto image = MakeImage(24, 20, 11);
    const std::vector<uint32_t> source = Words(*image);
    for (const InterpolationMode::Enum mode : {InterpolationMode::Nearest, InterpolationMode::Linear}) {
        SCOPED_TRACE(static_cast<int>(mode));
        auto canvas = std::make_shared<Bitmap>(Size<int>(16, 12), PixelFormat::ARGB8p, 96.0f, 96.0f);
        BitmapRenderTarget target(canvas);
        target.BeginPaint();
        target.Clear(0xFF202020u);
        auto brush = std::make_shared<BitmapBrush>(image);
        brush->SetInterpolationMode(mode);
        brush->SetTransform(Matrix(1.0f, 0.0f, 0.0f, 1.0f, -3.0f, -2.0f));
        target.SetStrokeAdjustment(true);
        target.FillRectangle(Rect<float>(1.0f, 1.0f, 15.0f, 11.0f), brush);
        target.EndPaint();
        const std::vector<uint32_t> out = Words(*canvas);
        for (int y = 0; y < 12; ++y)
            for (int x = 0; x < 16; ++x) {
                const bool inside = x >= 1 && x < 15 && y >= 1 && y < 11;
                const uint32_t expected = inside ? source[static_cast<size_t>(y + 2) * 24 + (x + 3)] : 0xFF202020u;
                ASSERT_EQ(out[static_cast<size_t>(y) * 16 + x], expected) << x << ", " << y;
            }
    }
}

// Each row's source words are read before the row is written, also when
// they are the very pixels being painted, shifted along the row.
TEST(ImageAtUnitScale, ImageDrawnOntoItselfReadsEachRowBeforeWritingIt) {
    const auto canvas = MakeImage(32, 4, 5);
    const std::vector<uint32_t> before = Words(*canvas);
    BitmapRenderTarget target(canvas);
    target.BeginPaint();
    auto brush = std::make_shared<BitmapBrush>(canvas);
    brush->SetTransform(Matrix(1.0f, 0.0f, 0.0f, 1.0f, 3.0f, 0.0f));
    target.SetStrokeAdjustment(true);
    target.FillRectangle(Rect<float>(4.0f, 0.0f, 32.0f, 4.0f), brush);
    target.EndPaint();
    const std::vector<uint32_t> after = Words(*canvas);
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 32; ++x) {
            const uint32_t expected = x >= 4 ? before[static_cast<size_t>(y) * 32 + x - 3] : before[y * 32 + x];
            ASSERT_EQ(after[static_cast<size_t>(y) * 32 + x], expected) << x << ", " << y;
        }
}
