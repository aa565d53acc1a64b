// An opaque image drawn one pixel to one pixel, on whole pixels, is composed
// straight from the image's own rows; these pin the words that come out, and
// an image drawn onto itself, where that reading has to give way to a copy.
#include "TargetTestSupport.h"

using namespace Graphics;
using namespace TargetTest;

namespace {
// A canvas holding a pattern of opaque words.
std::unique_ptr<Canvas> Image(int width, int height, unsigned int seed) {
    auto c = std::make_unique<Canvas>(width, height);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            c->Set(x, y, 0xFF000000u | ((x * 37u + seed) & 255u) << 16 | ((y * 53u + seed) & 255u) << 8 | ((x * y) & 255u));
    return c;
}
}  // namespace

TEST(ImageAtUnitScale, FillShowsTheImageWordForWord) {
    auto image = Image(40, 20, 11);
    for (const InterpolationMode::Enum mode : {InterpolationMode::Nearest, InterpolationMode::Linear}) {
        Canvas canvas(32, 12, PixelFormat::ARGB8p, 0xFF202020u);
        auto brush = std::make_shared<BitmapBrush>(image->bitmap);
        brush->SetInterpolationMode(mode);
        brush->SetTransform(Matrix(1, 0, 0, 1, -3, -2));
        canvas.target.FillRectangle(Rect<float>(1, 1, 31, 11), brush);
        for (int y = 0; y < 12; ++y)
            for (int x = 0; x < 32; ++x) {
                const bool inside = x >= 1 && x < 31 && y >= 1 && y < 11;
                ASSERT_EQ(canvas.At(x, y), inside ? image->At(x + 3, y + 2) : 0xFF202020u) << x << "," << y << " " << mode;
            }
    }
}

// Each row's source words are read before the row is written, also when
// they are the very pixels being painted, shifted along the row.
TEST(ImageAtUnitScale, ImageDrawnOntoItselfReadsEachRowBeforeWritingIt) {
    auto canvas = Image(32, 4, 5);
    const std::vector<unsigned int> before = canvas->Words();
    auto brush = std::make_shared<BitmapBrush>(canvas->bitmap);
    brush->SetTransform(Matrix(1, 0, 0, 1, 3, 0));
    canvas->target.FillRectangle(Rect<float>(4, 0, 32, 4), brush);
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 32; ++x) ASSERT_EQ(canvas->At(x, y), before[y * 32 + x - (x >= 4 ? 3 : 0)]) << x << "," << y;
}

// The same for a scaled image, whose rows a rectangle may gather ahead of
// composing them: here each row reads the row just painted above it, so
// row y shows row 0 with its columns halved y times.
TEST(ImageAtUnitScale, ScaledImageDrawnOntoItselfReadsEachRowAfterTheRowAbove) {
    auto canvas = Image(32, 6, 9);
    const std::vector<unsigned int> before = canvas->Words();
    auto brush = std::make_shared<BitmapBrush>(canvas->bitmap);
    brush->SetInterpolationMode(InterpolationMode::Nearest);
    brush->SetTransform(Matrix(2, 0, 0, 1, 0, 1));
    canvas->target.FillRectangle(Rect<float>(0, 1, 32, 6), brush);
    for (int y = 0; y < 6; ++y)
        for (int x = 0; x < 32; ++x) ASSERT_EQ(canvas->At(x, y), before[x >> y]) << x << "," << y;
}
