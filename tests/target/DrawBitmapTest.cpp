#include "TargetTestSupport.h"
#include "Graphics/Gradient.h"
#include <limits>

using namespace Graphics;
using namespace TargetTest;

namespace {
// A 3 by 2 ARGB8p picture with opaque, translucent and empty pixels.
const unsigned int kPicture[6] = {0xFF102030u, 0x80400000u, 0x00000000u, 0xFFFFFFFFu, 0x20101010u, 0xFF00FF00u};

std::shared_ptr<Bitmap> Picture() {
    auto bitmap = std::make_shared<Bitmap>(Size<int>(3, 2), PixelFormat::ARGB8p, 96.0f, 96.0f);
    bitmap->CopyFromMemory(nullptr, kPicture, 12, 12);
    return bitmap;
}
// The picture placed at (dx, dy) on an empty target, cut at its edges.
std::vector<unsigned int> Placed(int width, int height, int dx, int dy) {
    std::vector<unsigned int> v(static_cast<std::size_t>(width * height), 0);
    for (int y = 0; y < 2; ++y)
        for (int x = 0; x < 3; ++x)
            if (x + dx >= 0 && x + dx < width && y + dy >= 0 && y + dy < height)
                v[static_cast<std::size_t>((y + dy) * width + x + dx)] = kPicture[3 * y + x];
    return v;
}
}  // namespace

TEST(DrawBitmap, CopiesPlacesAndComposites) {
    // At whole-pixel translations the picture is copied exactly. Half a pixel
    // off, stroke adjustment fills whole pixels and nearest sampling hits one source pixel each.
    const struct {
        bool adjust;
        float dx, dy;
        int x, y;
    } cases[] = {{true, 2, 1, 2, 1}, {false, 2, 1, 2, 1}, {true, 0.5f, 1.5f, 0, 1}, {true, -1, 0, -1, 0}};
    for (const auto& c : cases) {
        Canvas canvas(5, 4);
        canvas.target.SetStrokeAdjustment(c.adjust);
        canvas.target.TranslateTransform(c.dx, c.dy);
        canvas.target.DrawBitmap(Picture(), 1.0f);
        EXPECT_EQ(canvas.Words(), Placed(5, 4, c.x, c.y)) << c.adjust << " " << c.dx << " " << c.dy;
        EXPECT_EQ(canvas.target.GetTransform(), Matrix(1, 0, 0, 1, c.dx, c.dy));
    }
    // Without the adjustment the edges are soft: pixel 0 is half covered, 0xFF102030
    // scaled by 128; further in the centres fall on source pixels; pixel 3 is half the last column.
    Canvas soft(5, 4);
    soft.target.SetStrokeAdjustment(false);
    soft.target.TranslateTransform(0.5f, 1.0f);
    soft.target.DrawBitmap(Picture(), 1.0f);
    EXPECT_EQ(soft.At(0, 1), 0x7F081018u);
    EXPECT_EQ(soft.At(1, 1), kPicture[1]);
    EXPECT_EQ(soft.At(2, 1), kPicture[2]);
    EXPECT_EQ(soft.At(3, 2), 0x7F007F00u);
    // Over white: the translucent pixel leaves 255 - 128 = 127 of white, the empty one all of it.
    Canvas white(3, 1, PixelFormat::ARGB8p, 0xFFFFFFFFu);
    white.target.DrawBitmap(Picture(), 1.0f);
    ExpectPicture(white, {0xFF102030u, 0x7E7E7E7Eu + 0x80400000u, 0xFFFFFFFFu});
    // The opacity scales the picture: 0.5 weighs 128, as the soft edge.
    Canvas half(1, 1);
    half.target.DrawBitmap(Picture(), 0.5f);
    EXPECT_EQ(half.At(0, 0), 0x7F081018u);
    // An XRGB8 source is opaque whatever its top byte says.
    auto xrgb = std::make_shared<Bitmap>(Size<int>(1, 1), PixelFormat::XRGB8, 96.0f, 96.0f);
    const unsigned int word = 0x00123456u;
    xrgb->CopyFromMemory(nullptr, &word, 4, 4);
    Canvas opaque(2, 1);
    opaque.target.DrawBitmap(xrgb, 1.0f);
    ExpectPicture(opaque, {0xFF123456u, 0});
}

TEST(DrawBitmap, NothingToDraw) {
    Canvas canvas(3, 2, PixelFormat::ARGB8p, 0xFF0000FFu);
    const float nan = std::numeric_limits<float>::quiet_NaN();
    canvas.target.DrawBitmap(nullptr, 1.0f);
    for (float opacity : {0.0f, -1.0f, nan}) canvas.target.DrawBitmap(Picture(), opacity);
    canvas.target.DrawBitmap(std::make_shared<Bitmap>(Size<int>(0, 0), PixelFormat::ARGB8p, 96.0f, 96.0f), 1.0f);
    canvas.target.TranslateTransform(3, 0);  // entirely off the target
    canvas.target.DrawBitmap(Picture(), 1.0f);
    ExpectPicture(canvas, std::vector<unsigned int>(6, 0xFF0000FFu));
    // Singular and NaN transforms don't crash and are kept.
    for (const Matrix& m : {Matrix(0, 0, 0, 0, 1, 1), Matrix(nan, 0, 0, 1, 0, 0)}) {
        canvas.target.SetTransform(m);
        const Matrix before = canvas.target.GetTransform();
        canvas.target.DrawBitmap(Picture(), 1.0f);
        const Matrix after = canvas.target.GetTransform();
        EXPECT_EQ(std::memcmp(&before, &after, sizeof after), 0);
    }
}

TEST(DrawGradient, PaintsTheWholeTargetInTheBrushSpaceOfTheTransform) {
    // Moved right by 8 pixels, each pixel shows what lay 8 to its left, and
    // before the start the start colour extends; past the end, the end colour.
    auto ramp = std::make_shared<LinearGradient>(Color(1, 0, 0, 1), Color(0, 0, 1, 1), Point<float>(0, 0),
                                                 Point<float>(16, 0));
    ramp->SetExtendStart(true);
    ramp->SetExtendEnd(true);
    Canvas plain(32, 2), moved(32, 2), half(32, 1), none(4, 1, PixelFormat::ARGB8p, 0xFF123456u);
    plain.target.DrawGradient(ramp, 1.0f);
    moved.target.TranslateTransform(8, 0);
    moved.target.DrawGradient(ramp, 1.0f);
    for (int x = 0; x < 32; ++x) EXPECT_EQ(moved.At(x, 1), plain.At(x >= 8 ? x - 8 : 0, 0)) << x;
    EXPECT_NE(plain.At(0, 0), plain.At(15, 0));
    EXPECT_EQ(plain.At(20, 0), 0xFF0000FFu);
    // The opacity reaches the pixels; nothing for a null gradient or an opacity not above 0.
    half.target.DrawGradient(ramp, 0.5f);
    EXPECT_EQ(half.At(31, 0), 0x7F00007Fu);
    none.target.DrawGradient(nullptr, 1.0f);
    none.target.DrawGradient(ramp, 0.0f);
    ExpectPicture(none, std::vector<unsigned int>(4, 0xFF123456u));
}

TEST(InvertRectangle, InvertsExactlyAndRestoresTheBlendMode) {
    // Difference with white: 255 - c on an opaque pixel. A translucent one (alpha 128, red 64
    // unpremultiplied to 127) blends to (128, 255, 255) scaled by 129 plus white by 128; an empty one turns white.
    Canvas canvas(3, 2, PixelFormat::ARGB8p, 0xFF80C040u);
    canvas.Set(1, 0, 0x80400000u);
    canvas.Set(2, 0, 0x00000000u);
    canvas.target.SetBlendMode(BlendMode::Multiply);
    canvas.target.InvertRectangle(Rect<float>(0, 0, 3, 1));
    EXPECT_EQ(canvas.target.GetBlendMode(), BlendMode::Multiply);
    ExpectPicture(canvas, {0xFF7F3FBFu, 0xFFBFFFFFu, 0xFFFFFFFFu, 0xFF80C040u, 0xFF80C040u, 0xFF80C040u});
    // The rectangle is snapped like any fill: (0.5, 1.5) takes pixel 0 only.
    Canvas twice(2, 1, PixelFormat::ARGB8p, 0xFF123456u);
    twice.target.InvertRectangle(Rect<float>(0.5f, 0, 1.5f, 1));
    ExpectPicture(twice, {0xFFEDCBA9u, 0xFF123456u});
    EXPECT_EQ(twice.target.GetBlendMode(), BlendMode::Normal);
}
