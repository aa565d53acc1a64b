#include "FillTestSupport.h"

#include "Graphics/Gradient.h"

#include <limits>

using namespace Graphics;
using FillTest::Canvas;
using FillTest::ExpectPicture;
using FillTest::Solid;

namespace {

// A 3 by 2 ARGB8p picture with opaque, translucent and empty pixels.
const unsigned int kPicture[6] = {0xFF102030u, 0x80400000u, 0x00000000u,
                                  0xFFFFFFFFu, 0x20101010u, 0xFF00FF00u};

std::shared_ptr<Bitmap> Picture(PixelFormat::Enum format = PixelFormat::ARGB8p) {
    auto bitmap = std::make_shared<Bitmap>(Size<int>(3, 2), format, 96.0f, 96.0f);
    LockedData lock = bitmap->Lock(nullptr, LockMode::ReadWrite);
    for (int y = 0; y < 2; ++y)
        std::memcpy(static_cast<unsigned char*>(lock.data) + lock.stride * y, kPicture + 3 * y, 12);
    bitmap->Unlock();
    return bitmap;
}

// The picture placed at (dx, dy) on an empty target of the given size.
std::vector<unsigned int> Placed(int width, int height, int dx, int dy) {
    std::vector<unsigned int> v(static_cast<std::size_t>(width * height), 0);
    for (int y = 0; y < 2; ++y)
        for (int x = 0; x < 3; ++x) v[static_cast<std::size_t>((y + dy) * width + x + dx)] = kPicture[3 * y + x];
    return v;
}

}  // namespace

TEST(DrawBitmap, AtTheIdentityCopiesExactly) {
    for (bool adjust : {true, false}) {
        SCOPED_TRACE(adjust);
        {
            Canvas canvas(5, 4);
            canvas.target.SetStrokeAdjustment(adjust);
            canvas.target.DrawBitmap(Picture(), 1.0f);
            ExpectPicture(canvas, Placed(5, 4, 0, 0));
            EXPECT_TRUE(canvas.target.GetTransform().IsIdentity());
        }
        {
            // A whole-pixel translation moves the copy.
            Canvas canvas(5, 4);
            canvas.target.SetStrokeAdjustment(adjust);
            canvas.target.TranslateTransform(2, 1);
            canvas.target.DrawBitmap(Picture(), 1.0f);
            ExpectPicture(canvas, Placed(5, 4, 2, 1));
            EXPECT_EQ(canvas.target.GetTransform(), Matrix(1, 0, 0, 1, 2, 1));
        }
    }

    // Half a pixel off the grid: with stroke adjustment the rasterizer fills
    // whole pixels, and nearest sampling still hits one source pixel each.
    {
        Canvas canvas(5, 4);
        canvas.target.TranslateTransform(0.5f, 1.5f);
        canvas.target.DrawBitmap(Picture(), 1.0f);
        ExpectPicture(canvas, Placed(5, 4, 0, 1));
    }
    // Without it the edges are soft.
    {
        Canvas canvas(5, 4);
        canvas.target.SetStrokeAdjustment(false);
        canvas.target.TranslateTransform(0.5f, 1.0f);
        canvas.target.DrawBitmap(Picture(), 1.0f);
        // Pixel 0 is half covered and samples source pixel 0: 0xFF102030
        // scaled by 128. Further right the centres fall on source pixels.
        EXPECT_EQ(canvas.At(0, 1), 0x7F081018u);
        EXPECT_EQ(canvas.At(1, 1), kPicture[1]);
        EXPECT_EQ(canvas.At(2, 1), kPicture[2]);
        // Pixel 3 is half covered by the last source column.
        EXPECT_EQ(canvas.At(3, 2), 0x7F007F00u);
    }

    // Cut by the target's edges.
    {
        Canvas canvas(2, 1);
        canvas.target.TranslateTransform(-1, 0);
        canvas.target.DrawBitmap(Picture(), 1.0f);
        ExpectPicture(canvas, {kPicture[1], kPicture[2]});
    }

    // Over an opaque target the picture composites: the translucent pixel
    // 0x80400000 leaves 255 - 128 = 127 of white, the empty one nothing.
    {
        Canvas canvas(3, 1, PixelFormat::ARGB8p, 0xFFFFFFFFu);
        canvas.target.DrawBitmap(Picture(), 1.0f);
        ExpectPicture(canvas, {0xFF102030u, 0x7E7E7E7Eu + 0x80400000u, 0xFFFFFFFFu});
    }

    // An XRGB8 source is opaque whatever its top byte says.
    {
        auto source = std::make_shared<Bitmap>(Size<int>(1, 1), PixelFormat::XRGB8, 96.0f, 96.0f);
        TargetTest::FillBytes(*source, 0);
        LockedData lock = source->Lock(nullptr, LockMode::ReadWrite);
        const unsigned int word = 0x00123456u;
        std::memcpy(lock.data, &word, 4);
        source->Unlock();
        Canvas canvas(2, 1);
        canvas.target.DrawBitmap(source, 1.0f);
        ExpectPicture(canvas, {0xFF123456u, 0});
    }

    // Nearest neighbour under a scale of 2: each pixel becomes a 2 by 2 block.
    {
        Canvas canvas(6, 4);
        canvas.target.ScaleTransform(2, 2);
        canvas.target.DrawBitmap(Picture(), 1.0f);
        for (int y = 0; y < 4; ++y)
            for (int x = 0; x < 6; ++x) EXPECT_EQ(canvas.At(x, y), kPicture[3 * (y / 2) + x / 2]) << x << "," << y;
    }
}

TEST(DrawBitmap, NothingToDraw) {
    Canvas canvas(3, 2, PixelFormat::ARGB8p, 0xFF0000FFu);
    const float nan = std::numeric_limits<float>::quiet_NaN();
    canvas.target.DrawBitmap(nullptr, 1.0f);
    canvas.target.DrawBitmap(Picture(), 0.0f);
    canvas.target.DrawBitmap(Picture(), -1.0f);
    canvas.target.DrawBitmap(Picture(), nan);
    // Entirely off the target.
    canvas.target.TranslateTransform(3, 0);
    canvas.target.DrawBitmap(Picture(), 1.0f);
    canvas.target.SetTransform(Matrix());
    // A bitmap without pixels.
    canvas.target.DrawBitmap(std::make_shared<Bitmap>(Size<int>(0, 0), PixelFormat::ARGB8p, 96.0f, 96.0f), 1.0f);
    ExpectPicture(canvas, std::vector<unsigned int>(6, 0xFF0000FFu));
    EXPECT_TRUE(canvas.target.GetTransform().IsIdentity());

    // Singular and NaN transforms don't crash and are kept.
    for (const Matrix& m : {Matrix(0, 0, 0, 0, 1, 1), Matrix(nan, 0, 0, 1, 0, 0), Matrix(1e30f, 0, 0, 1e30f, 0, 0)}) {
        canvas.target.SetTransform(m);
        const Matrix before = canvas.target.GetTransform();
        canvas.target.DrawBitmap(Picture(), 1.0f);
        const Matrix after = canvas.target.GetTransform();
        EXPECT_EQ(std::memcmp(&before, &after, sizeof after), 0);
    }
}

TEST(DrawGradient, PaintsTheWholeTargetInTheBrushSpaceOfTheTransform) {
    const Color red(1, 0, 0, 1), blue(0, 0, 1, 1);
    // One colour throughout: every pixel, whatever the transform.
    {
        auto green = std::make_shared<LinearGradient>(Color(0, 1, 0, 1), Color(0, 1, 0, 1), Point<float>(0, 0),
                                                      Point<float>(4, 0));
        green->SetExtendStart(true);
        green->SetExtendEnd(true);
        Canvas canvas(5, 3);
        canvas.target.ScaleTransform(0.1f, 0.1f);
        canvas.target.DrawGradient(green, 1.0f);
        ExpectPicture(canvas, std::vector<unsigned int>(15, 0xFF00FF00u));
        EXPECT_EQ(canvas.target.GetTransform(), Matrix(0.1f, 0, 0, 0.1f, 0, 0));
    }

    // The gradient follows the transform: moved right by 8 pixels, each
    // pixel shows what lay 8 to its left; before the start the start colour
    // extends.
    auto ramp = std::make_shared<LinearGradient>(red, blue, Point<float>(0, 0), Point<float>(16, 0));
    ramp->SetExtendStart(true);
    ramp->SetExtendEnd(true);
    Canvas plain(32, 2), moved(32, 2);
    plain.target.DrawGradient(ramp, 1.0f);
    moved.target.TranslateTransform(8, 0);
    moved.target.DrawGradient(ramp, 1.0f);
    for (int x = 0; x < 32; ++x) {
        EXPECT_EQ(plain.At(x, 0), plain.At(x, 1)) << x;
        if (x >= 8)
            EXPECT_EQ(moved.At(x, 0), plain.At(x - 8, 0)) << x;
        else
            EXPECT_EQ(moved.At(x, 0), plain.At(0, 0)) << x;
        EXPECT_EQ(plain.At(x, 0) >> 24, 0xFFu) << x;
    }
    EXPECT_NE(plain.At(0, 0), plain.At(15, 0));
    EXPECT_EQ(plain.At(31, 0), 0xFF0000FFu);
    EXPECT_EQ(plain.At(20, 0), 0xFF0000FFu);

    // Translucent: the gradient's opacity reaches the pixels.
    Canvas half(32, 1);
    half.target.DrawGradient(ramp, 0.5f);
    EXPECT_LT(half.At(31, 0) >> 24, 0x90u);
    EXPECT_GT(half.At(31, 0) >> 24, 0x70u);

    // Nothing for a null gradient or an opacity not above 0.
    Canvas none(4, 1, PixelFormat::ARGB8p, 0xFF123456u);
    none.target.DrawGradient(nullptr, 1.0f);
    none.target.DrawGradient(ramp, 0.0f);
    none.target.DrawGradient(ramp, -0.5f);
    ExpectPicture(none, std::vector<unsigned int>(4, 0xFF123456u));
}

TEST(InvertRectangle, InvertsExactlyAndRestoresTheBlendMode) {
    // Difference with white: 255 - c on each channel of an opaque pixel.
    Canvas canvas(3, 2, PixelFormat::ARGB8p, 0xFF80C040u);
    canvas.Set(1, 0, 0x80400000u);  // translucent
    canvas.Set(2, 0, 0x00000000u);  // empty
    canvas.target.SetBlendMode(BlendMode::Multiply);
    canvas.target.InvertRectangle(Rect<float>(0, 0, 3, 1));
    EXPECT_EQ(canvas.target.GetBlendMode(), BlendMode::Multiply);
    // Translucent backdrop (alpha 128, red 64 unpremultiplied to 127): the
    // blend gives (128, 255, 255); that scaled by 129 plus white scaled by
    // 128, alpha forced to 255.
    ExpectPicture(canvas, {0xFF7F3FBFu, 0xFFBFFFFFu, 0xFFFFFFFFu, 0xFF80C040u, 0xFF80C040u, 0xFF80C040u});

    // Twice is no change on opaque pixels.
    Canvas twice(2, 1, PixelFormat::ARGB8p, 0xFF123456u);
    twice.Set(1, 0, 0xFFFEDCBAu);
    twice.target.InvertRectangle(Rect<float>(0, 0, 2, 1));
    ExpectPicture(twice, {0xFFEDCBA9u, 0xFF012345u});
    twice.target.InvertRectangle(Rect<float>(0, 0, 2, 1));
    ExpectPicture(twice, {0xFF123456u, 0xFFFEDCBAu});

    // The rectangle is snapped like any fill.
    Canvas snapped(2, 2, PixelFormat::ARGB8p, 0xFF000000u);
    snapped.target.InvertRectangle(Rect<float>(0.5f, 0.5f, 1.5f, 1.5f));
    ExpectPicture(snapped, {0xFFFFFFFFu, 0xFF000000u, 0xFF000000u, 0xFF000000u});
    EXPECT_EQ(snapped.target.GetBlendMode(), BlendMode::Normal);
}
