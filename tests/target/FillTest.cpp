#include "FillTestSupport.h"

#include "Graphics/Gradient.h"
#include "sw/SwBasicSubTarget.h"
#include "sw/SwBlend.h"
#include "sw/SwSoftMask.h"

#include <cmath>
#include <limits>

using namespace Graphics;
using FillTest::Canvas;
using FillTest::ExpectPicture;
using FillTest::Solid;
using TargetTest::ExpectFailure;

namespace {

const unsigned int kRed = 0xFFFF0000u;
// Color(1, 0, 0, 0.5): alpha 127, premultiplied by 128 into 0x7F7F0000.
const unsigned int kHalfRedPremultiplied = 0x7F7F0000u;

Color HalfRed() { return Color(1.0f, 0.0f, 0.0f, 0.5f); }

std::shared_ptr<Geometry> Triangle(Point<float> a, Point<float> b, Point<float> c) {
    auto g = std::make_shared<Geometry>();
    g->BeginFigure(a);
    g->LineTo(b);
    g->LineTo(c);
    g->EndFigureClose();
    return g;
}

std::shared_ptr<Geometry> RectangleGeometry(const Rect<float>& r) {
    auto g = std::make_shared<Geometry>();
    g->Rectangle(r);
    return g;
}

}  // namespace

TEST(Fill, SolidOverOpaqueTranslucentAndEmptyTargets) {
    // Opaque paint replaces whatever is there: the target is scaled by 255 - 255.
    for (unsigned int backdrop : {0x00000000u, 0xFFFFFFFFu, 0x80008000u, 0x01010101u}) {
        Canvas canvas(3, 1, PixelFormat::ARGB8p, backdrop);
        canvas.target.FillRectangle(Rect<float>(1, 0, 2, 1), Solid(kRed));
        ExpectPicture(canvas, {backdrop, kRed, backdrop});
    }

    // Translucent paint: empty target takes the word as it is; otherwise
    // target scaled by 255 - 127 = 128, plus the word.
    struct Case {
        unsigned int backdrop, expected;
    } cases[] = {
        {0x00000000u, kHalfRedPremultiplied},
        {0x00FFFFFFu, kHalfRedPremultiplied},  // alpha 0: overwritten, not blended
        {0xFFFFFFFFu, 0x7F7F7F7Fu + kHalfRedPremultiplied},
        {0x80008000u, 0x40004000u + kHalfRedPremultiplied},
        {0xFF204060u, 0x7F102030u + kHalfRedPremultiplied},
    };
    for (const Case& c : cases) {
        Canvas canvas(2, 2, PixelFormat::ARGB8p, c.backdrop);
        canvas.target.FillRectangle(Rect<float>(0, 0, 1, 1), Solid(HalfRed()));
        ExpectPicture(canvas, {c.expected, c.backdrop, c.backdrop, c.backdrop});
    }

    // The brush's opacity enters the paint: 0.5 of opaque red is the same word.
    Canvas canvas(1, 1, PixelFormat::ARGB8p, 0xFFFFFFFFu);
    auto brush = Solid(kRed);
    brush->SetOpacity(0.5f);
    canvas.target.FillRectangle(Rect<float>(0, 0, 1, 1), brush);
    EXPECT_EQ(canvas.At(0, 0), 0xFEFE7F7Fu);
}

TEST(Fill, XRGB8TargetsTakePartLikeAnyOther) {
    // The top byte is not forced to 255: it evolves like an alpha.
    Canvas opaque(2, 1, PixelFormat::XRGB8, 0xFFFFFFFFu);
    opaque.target.FillRectangle(Rect<float>(0, 0, 1, 1), Solid(HalfRed()));
    opaque.target.FillRectangle(Rect<float>(1, 0, 2, 1), Solid(0xFF0000FFu));
    ExpectPicture(opaque, {0xFEFE7F7Fu, 0xFF0000FFu});

    // A top byte of 0 means "empty": the word is stored as it is.
    Canvas zeroTop(1, 1, PixelFormat::XRGB8, 0x00FFFFFFu);
    zeroTop.target.FillRectangle(Rect<float>(0, 0, 1, 1), Solid(HalfRed()));
    EXPECT_EQ(zeroTop.At(0, 0), kHalfRedPremultiplied);

    // Through EndPaint the pixels stay in the caller's bitmap.
    Canvas kept(1, 1, PixelFormat::XRGB8, 0xFF000000u);
    kept.target.FillRectangle(Rect<float>(0, 0, 1, 1), Solid(0xFF123456u));
    kept.target.EndPaint();
    EXPECT_EQ(kept.At(0, 0), 0xFF123456u);
}

TEST(Fill, PixelSnapUnderStrokeAdjustment) {
    // A tiny rectangle inside a pixel becomes that whole pixel.
    {
        Canvas canvas(2, 2);
        canvas.target.FillRectangle(Rect<float>(0.2f, 0.2f, 0.4f, 0.4f), Solid(kRed));
        ExpectPicture(canvas, {kRed, 0, 0, 0});
    }
    // (0.5, 0, 2.5, 1): L = 0, R = 3, w = 2; the slacks are equal, so the
    // right side gives way.
    {
        Canvas canvas(4, 1);
        canvas.target.FillRectangle(Rect<float>(0.5f, 0, 2.5f, 1), Solid(kRed));
        ExpectPicture(canvas, {kRed, kRed, 0, 0});
    }
    // More slack on the left: (0.75, 0, 2.5, 1) has left slack 0.75 against
    // 0.5, so the left side moves in.
    {
        Canvas canvas(4, 1);
        canvas.target.FillRectangle(Rect<float>(0.75f, 0, 2.5f, 1), Solid(kRed));
        ExpectPicture(canvas, {0, kRed, kRed, 0});
    }
    // Vertically alike: (0, 1.6, 1, 2.2) is 0.6 tall and touches rows 1
    // and 2; the top slack 0.6 is not above the bottom slack 0.8, so the
    // bottom gives way and row 1 is painted.
    {
        Canvas canvas(1, 4);
        canvas.target.FillRectangle(Rect<float>(0, 1.6f, 1, 2.2f), Solid(kRed));
        ExpectPicture(canvas, {0, kRed, 0, 0});
    }
    // A rectangle of zero width is widened to one pixel, whose rows the fill
    // keeps: FillRectangle does not test its rectangle.
    {
        Canvas canvas(3, 4);
        canvas.target.FillRectangle(Rect<float>(1, 1, 1, 3), Solid(kRed));
        ExpectPicture(canvas, {0, 0, 0, 0, kRed, 0, 0, kRed, 0, 0, 0, 0});
    }
    // The snap works in pixels: under a scale of 2 the rectangle
    // (0.25, 0, 1.25, 0.5) is (0.5, 0, 2.5, 1) on the target.
    {
        Canvas canvas(4, 1);
        canvas.target.ScaleTransform(2, 2);
        const Matrix before = canvas.target.GetTransform();
        canvas.target.FillRectangle(Rect<float>(0.25f, 0, 1.25f, 0.5f), Solid(kRed));
        ExpectPicture(canvas, {kRed, kRed, 0, 0});
        // The transform is back after the fill under the identity.
        EXPECT_EQ(canvas.target.GetTransform(), before);
    }
    // A quarter turn keeps the axes: still snapped. (0, 0, 2, 1) lands on
    // (0.5, 0.5, 1.5, 2.5), which snaps to column 0, rows 0 and 1.
    {
        Canvas canvas(2, 4);
        canvas.target.SetTransform(Matrix(0, 1, -1, 0, 1.5f, 0.5f));
        canvas.target.FillRectangle(Rect<float>(0, 0, 2, 1), Solid(kRed));
        ExpectPicture(canvas, {kRed, 0, kRed, 0, 0, 0, 0, 0});
        EXPECT_EQ(canvas.target.GetTransform(), Matrix(0, 1, -1, 0, 1.5f, 0.5f));
    }
}

TEST(Fill, WithoutStrokeAdjustmentEdgesAreAntiAliased) {
    // Half a pixel is 32 samples of 64: coverage 127, the paint scaled by 128.
    Canvas canvas(4, 1);
    canvas.target.SetStrokeAdjustment(false);
    canvas.target.FillRectangle(Rect<float>(0.5f, 0, 2.5f, 1), Solid(kRed));
    ExpectPicture(canvas, {0x7F7F0000u, kRed, 0x7F7F0000u, 0});

    // A quarter of a row cut off at the top: 48 samples, coverage 191,
    // scale by 192 gives 0xBF. Over white the target keeps 255 - 191 = 64.
    Canvas white(1, 2, PixelFormat::ARGB8p, 0xFFFFFFFFu);
    white.target.SetStrokeAdjustment(false);
    white.target.FillRectangle(Rect<float>(0, 0.25f, 1, 2), Solid(kRed));
    ExpectPicture(white, {0x3F3F3F3Fu + 0xBFBF0000u, kRed});

    // Coverage and translucency multiply: half of the half-red word.
    Canvas both(1, 1);
    both.target.SetStrokeAdjustment(false);
    both.target.FillRectangle(Rect<float>(0, 0, 0.5f, 1), Solid(HalfRed()));
    EXPECT_EQ(both.At(0, 0), 0x3F3F0000u);

    // Under a rotation that is not a multiple of a quarter turn nothing is
    // snapped: stroke adjustment makes no difference.
    std::vector<unsigned int> pictures[2];
    for (int adjust = 0; adjust < 2; ++adjust) {
        Canvas c(8, 8);
        c.target.SetStrokeAdjustment(adjust != 0);
        c.target.TranslateTransform(4, 1);
        c.target.RotateTransform(0.5f);
        c.target.FillRectangle(Rect<float>(0, 0, 3, 4), Solid(kRed));
        pictures[adjust] = c.Words();
    }
    EXPECT_EQ(pictures[0], pictures[1]);
    int partial = 0;
    for (unsigned int w : pictures[0])
        if (w != 0 && w != kRed) ++partial;
    EXPECT_GT(partial, 4);
}

TEST(Fill, EveryBlendModeThroughARealFill) {
    // Backdrop (128, 192, 64), source (64, 160, 224), both opaque: the result
    // is the blend function's colour with alpha 255.
    const unsigned int backdrop = 0xFF80C040u;
    const unsigned int source = 0xFF40A0E0u;
    struct Case {
        BlendMode::Enum mode;
        unsigned int expected;
    } cases[] = {
        {BlendMode::Normal, 0xFF40A0E0u},
        {BlendMode::Multiply, 0xFF207838u},    // 8192/255, 30720/255, 14336/255
        {BlendMode::Screen, 0xFFA0E8E8u},      // sums less the products
        {BlendMode::Overlay, 0xFF41D170u},     // cb 128 and 192 screen, 64 multiplies
        {BlendMode::Darken, 0xFF40A040u},
        {BlendMode::Lighten, 0xFF80C0E0u},
        {BlendMode::ColorBurn, 0xFF009B26u},   // q = 506 -> 0, 100, 217
        {BlendMode::ColorDodge, 0xFFAAFFFFu},  // 170, 515 -> 255, 526 -> 255
        {BlendMode::HardLight, 0xFF40D1D1u},
        {BlendMode::SoftLight, 0xFF61C76Fu},   // 128 - 31; D(192) = 221; D(64) = 127
        {BlendMode::Difference, 0xFF4020A0u},
        {BlendMode::Exclusion, 0xFF8070B0u},
    };
    for (const Case& c : cases) {
        Canvas canvas(2, 1, PixelFormat::ARGB8p, backdrop);
        canvas.target.SetBlendMode(c.mode);
        canvas.target.FillRectangle(Rect<float>(0, 0, 1, 1), Solid(source));
        ExpectPicture(canvas, {c.expected, backdrop});
        EXPECT_EQ(canvas.target.GetBlendMode(), c.mode);
    }

    // The non-separable modes: the pixel is what the blend function makes of
    // the two colours.
    for (BlendMode::Enum mode : {BlendMode::Hue, BlendMode::Saturation, BlendMode::Color, BlendMode::Luminosity}) {
        Canvas canvas(1, 1, PixelFormat::ARGB8p, backdrop);
        canvas.target.SetBlendMode(mode);
        canvas.target.FillRectangle(Rect<float>(0, 0, 1, 1), Solid(source));
        unsigned int expected = 0xFF000000u;
        SwBlend::GetBlendFunc(mode)(reinterpret_cast<const unsigned char*>(&backdrop),
                                    reinterpret_cast<const unsigned char*>(&source),
                                    reinterpret_cast<unsigned char*>(&expected));
        EXPECT_EQ(canvas.At(0, 0), expected) << mode;
        EXPECT_NE(canvas.At(0, 0), source) << mode;
    }

    // Translucent source on an opaque target in Multiply: the source
    // unpremultiplies to (254, 0, 0); white times it is (254, 0, 0), scaled
    // by 128 to 127 in red; the target scaled by 256 - 127 gives 128 each.
    {
        Canvas canvas(1, 1, PixelFormat::ARGB8p, 0xFFFFFFFFu);
        canvas.target.SetBlendMode(BlendMode::Multiply);
        canvas.target.FillRectangle(Rect<float>(0, 0, 1, 1), Solid(HalfRed()));
        EXPECT_EQ(canvas.At(0, 0), 0xFFFF8080u);
    }
    // On an empty target the blend has nothing to act on.
    {
        Canvas canvas(1, 1);
        canvas.target.SetBlendMode(BlendMode::Multiply);
        canvas.target.FillRectangle(Rect<float>(0, 0, 1, 1), Solid(HalfRed()));
        EXPECT_EQ(canvas.At(0, 0), kHalfRedPremultiplied);
    }
}

TEST(Fill, FillsThatMissTheTargetDoNothingAndMakeNoPaint) {
    // A pattern brush can't be painted with yet: a fill that makes its
    // colour source fails, so one that stops early must not ask for it.
    auto pattern = std::make_shared<PatternBrush>(nullptr);
    Canvas canvas(4, 3, PixelFormat::ARGB8p, 0xFF0000FFu);
    canvas.target.SetStrokeAdjustment(false);
    const Rect<float> outside[] = {
        Rect<float>(-5, 0, 0, 3),    // ends exactly at x = 0
        Rect<float>(4, 0, 9, 3),     // starts exactly at x = W
        Rect<float>(0, -3, 4, 0),    // ends at y = 0
        Rect<float>(0, 3, 4, 7),     // starts at y = H
        Rect<float>(100, 100, 200, 200),
    };
    for (const Rect<float>& r : outside) {
        canvas.target.FillRectangle(r, pattern);
        canvas.target.FillEllipse(r, pattern);
    }
    canvas.target.SetStrokeAdjustment(true);
    canvas.target.FillRectangle(Rect<float>(-5, 0, -1, 3), pattern);
    ExpectPicture(canvas, std::vector<unsigned int>(12, 0xFF0000FFu));
    EXPECT_EQ(canvas.Sw()->GetSubTarget()->GetShapeRect(), Rect<float>());

    // One that touches the target does ask, and the failure passes through.
    ExpectFailure([&] { canvas.target.FillRectangle(Rect<float>(0, 0, 1, 1), pattern); }, "CreateFromBrush",
                  "Not implemented");
    // The target stays usable.
    canvas.target.FillRectangle(Rect<float>(0, 0, 1, 1), Solid(kRed));
    EXPECT_EQ(canvas.At(0, 0), kRed);

    // Null and empty geometries draw nothing.
    canvas.target.FillGeometry(nullptr, pattern);
    canvas.target.FillGeometry(std::make_shared<Geometry>(), pattern);
    canvas.target.FillTextGeometry(nullptr, pattern);
    canvas.target.FillTextGeometry(std::make_shared<Geometry>(), pattern);
    // Flat ellipses and round rectangles draw nothing.
    canvas.target.FillEllipse(Rect<float>(1, 1, 1, 3), pattern);
    canvas.target.FillEllipse(Rect<float>(1, 1, 3, 1), pattern);
    canvas.target.FillRoundRectangle(Rect<float>(1, 1, 1, 3), 1, 1, pattern);
    canvas.target.FillCircle(Point<float>(2, 2), 0, pattern);
}

TEST(Fill, ShapeRectFollowsTheFillsButNotClear) {
    Canvas canvas(10, 10);
    auto sub = canvas.Sw()->GetSubTarget();
    canvas.target.SetStrokeAdjustment(false);
    canvas.target.FillRectangle(Rect<float>(2.5f, 3, 4, 5), Solid(kRed));
    EXPECT_EQ(sub->GetShapeRect(), Rect<float>(2.5f, 3, 4, 5));
    canvas.target.Clear(Color(0, 0, 0, 0));
    EXPECT_EQ(sub->GetShapeRect(), Rect<float>(2.5f, 3, 4, 5));
    // The bound is cut to the target before the union.
    canvas.target.FillRectangle(Rect<float>(6, -2, 12, 4), Solid(kRed));
    EXPECT_EQ(sub->GetShapeRect(), Rect<float>(2.5f, 0, 10, 5));
}

TEST(Fill, HugeTinyDegenerateAndNaNGeometryStaysSafe) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float inf = std::numeric_limits<float>::infinity();
    for (bool adjust : {true, false}) {
        SCOPED_TRACE(adjust);
        // Huge: everything is covered.
        {
            Canvas canvas(5, 4);
            canvas.target.SetStrokeAdjustment(adjust);
            canvas.target.FillRectangle(Rect<float>(-1e7f, -1e7f, 1e7f, 1e7f), Solid(kRed));
            ExpectPicture(canvas, std::vector<unsigned int>(20, kRed));
        }
        {
            Canvas canvas(5, 4);
            canvas.target.SetStrokeAdjustment(adjust);
            canvas.target.FillGeometry(
                Triangle(Point<float>(-1e7f, -1e7f), Point<float>(1e7f, -1e7f), Point<float>(0, 1e7f)),
                Solid(kRed));
            ExpectPicture(canvas, std::vector<unsigned int>(20, kRed));
        }
        // Far beyond any pixel: nothing.
        {
            Canvas canvas(5, 4);
            canvas.target.SetStrokeAdjustment(adjust);
            canvas.target.FillRectangle(Rect<float>(1e30f, 1e30f, 3e30f, 3e30f), Solid(kRed));
            canvas.target.FillRectangle(Rect<float>(-3e30f, 0, -1e30f, 4), Solid(kRed));
            ExpectPicture(canvas, std::vector<unsigned int>(20, 0));
        }
        // Tiny: with the snap it is a whole pixel; without, too little to
        // leave a mark.
        {
            Canvas canvas(3, 3);
            canvas.target.SetStrokeAdjustment(adjust);
            canvas.target.FillRectangle(Rect<float>(1.5f, 1.5f, 1.5001f, 1.5001f), Solid(kRed));
            std::vector<unsigned int> expected(9, 0);
            if (adjust) expected[4] = kRed;
            ExpectPicture(canvas, expected);
        }
        // Degenerate: a closed line and a point enclose nothing.
        {
            Canvas canvas(3, 3);
            canvas.target.SetStrokeAdjustment(adjust);
            canvas.target.FillGeometry(Triangle(Point<float>(0, 0), Point<float>(3, 3), Point<float>(1, 1)),
                                       Solid(kRed));
            canvas.target.FillGeometry(Triangle(Point<float>(1, 1), Point<float>(1, 1), Point<float>(1, 1)),
                                       Solid(kRed));
            ExpectPicture(canvas, std::vector<unsigned int>(9, 0));
        }
        // NaN and infinity in the points or the transform: no crash, and the
        // target keeps its size of picture.
        {
            Canvas canvas(3, 3);
            canvas.target.SetStrokeAdjustment(adjust);
            canvas.target.FillGeometry(Triangle(Point<float>(nan, 0), Point<float>(3, nan), Point<float>(1, 1)),
                                       Solid(kRed));
            canvas.target.FillGeometry(Triangle(Point<float>(-inf, 0), Point<float>(inf, 1), Point<float>(1, inf)),
                                       Solid(kRed));
            canvas.target.FillRectangle(Rect<float>(nan, nan, nan, nan), Solid(kRed));
            canvas.target.FillRectangle(Rect<float>(-inf, -inf, inf, inf), Solid(kRed));
            canvas.target.FillEllipse(Rect<float>(0, 0, inf, nan), Solid(kRed));
            canvas.target.SetTransform(Matrix(nan, 0, 0, 1, 0, 0));
            canvas.target.FillRectangle(Rect<float>(0, 0, 2, 2), Solid(kRed));
            canvas.target.FillEllipse(Rect<float>(0, 0, 2, 2), Solid(kRed));
            canvas.target.SetTransform(Matrix(0, 0, 0, 0, 1, 1));
            canvas.target.FillRectangle(Rect<float>(0, 0, 2, 2), Solid(kRed));
            canvas.target.FillEllipse(Rect<float>(0, 0, 2, 2), Solid(kRed));
            canvas.target.SetTransform(Matrix(1e30f, 0, 0, 1e30f, 0, 0));
            canvas.target.FillEllipse(Rect<float>(0, 0, 2, 2), Solid(kRed));
            EXPECT_EQ(canvas.Words().size(), 9u);
        }
    }
}

TEST(Fill, EllipsesCirclesAndRoundRectangles) {
    {
        Canvas canvas(4, 4);
        canvas.target.FillCircle(Point<float>(2, 2), 2, Solid(kRed));
        // The four middle pixels lie wholly inside, the corners partly.
        for (int y = 1; y < 3; ++y)
            for (int x = 1; x < 3; ++x) EXPECT_EQ(canvas.At(x, y), kRed);
        for (Point<int> p : {Point<int>(0, 0), Point<int>(3, 0), Point<int>(0, 3), Point<int>(3, 3)}) {
            const unsigned int w = canvas.At(p.x, p.y);
            EXPECT_NE(w, 0u);
            EXPECT_LT(w >> 24, 0x80u) << std::hex << w;
        }
    }
    {
        // A round rectangle with corners of radius 1 is full but for its
        // four corner pixels.
        Canvas canvas(5, 4);
        canvas.target.FillRoundRectangle(Rect<float>(0, 0, 4, 4), 1, 1, Solid(kRed));
        for (int y = 0; y < 4; ++y)
            for (int x = 0; x < 4; ++x) {
                const bool corner = (x == 0 || x == 3) && (y == 0 || y == 3);
                const unsigned int w = canvas.At(x, y);
                if (corner)
                    EXPECT_TRUE(w != 0 && w != kRed) << x << "," << y;
                else
                    EXPECT_EQ(w, kRed) << x << "," << y;
            }
        for (int y = 0; y < 4; ++y) EXPECT_EQ(canvas.At(4, y), 0u);
    }
    {
        // The ellipse goes through the transform.
        Canvas plain(8, 4), scaled(8, 4);
        plain.target.FillEllipse(Rect<float>(0, 0, 8, 4), Solid(kRed));
        scaled.target.ScaleTransform(2, 1);
        scaled.target.FillEllipse(Rect<float>(0, 0, 4, 4), Solid(kRed));
        EXPECT_EQ(plain.Words(), scaled.Words());
        EXPECT_EQ(plain.At(4, 2), kRed);
    }
}

TEST(Fill, TextIsNeverSnappedAndKeepsStrokeAdjustment) {
    for (bool adjust : {true, false}) {
        Canvas canvas(4, 1);
        canvas.target.SetStrokeAdjustment(adjust);
        canvas.target.FillTextGeometry(RectangleGeometry(Rect<float>(0.5f, 0, 2.5f, 1)), Solid(kRed));
        ExpectPicture(canvas, {0x7F7F0000u, kRed, 0x7F7F0000u, 0});
        EXPECT_EQ(canvas.target.GetStrokeAdjustment(), adjust);
        // A later fill snaps again when adjustment is on.
        canvas.target.FillRectangle(Rect<float>(2.5f, 0, 3.5f, 1), Solid(0xFF00FF00u));
        if (adjust) {
            ExpectPicture(canvas, {0x7F7F0000u, kRed, 0xFF00FF00u, 0});
        } else {
            // Half green (0x7F007F00) over the half red edge, which keeps
            // 255 - 127 = 128 of itself, and alone on the empty pixel.
            ExpectPicture(canvas, {0x7F7F0000u, kRed, 0x3F3F0000u + 0x7F007F00u, 0x7F007F00u});
        }
    }
}

TEST(Fill, SoftMasksThatThePipelineCantApplyAreRefused) {
    Canvas canvas(2, 2);
    auto sub = canvas.Sw()->GetSubTarget();
    canvas.target.PushState();
    sub->CurrentState().shapeMask = std::make_shared<SwSoftMask>();
    ExpectFailure([&] { canvas.target.FillRectangle(Rect<float>(0, 0, 2, 2), Solid(kRed)); }, "InnerFillGeometry",
                  "Not implemented");
    ExpectPicture(canvas, {0, 0, 0, 0});
    EXPECT_EQ(sub->GetShapeRect(), Rect<float>());
    // The transform that the snap set aside is back.
    EXPECT_TRUE(canvas.target.GetTransform().IsIdentity());
    sub->CurrentState().shapeMask.reset();
    sub->CurrentState().opacityMask = std::make_shared<SwSoftMask>();
    ExpectFailure([&] { canvas.target.FillEllipse(Rect<float>(0, 0, 2, 2), Solid(kRed)); }, "InnerFillGeometry",
                  "Not implemented");
    canvas.target.PopState();
    // Without masks, fills work again.
    canvas.target.FillRectangle(Rect<float>(0, 0, 1, 1), Solid(kRed));
    ExpectPicture(canvas, {kRed, 0, 0, 0});
}

TEST(Fill, SubTargetFillsAtTheirPlaceAndNullTargetsTakeNothing) {
    // The root before InitLayer has no plane: fills are harmless.
    SwBasicSubTarget bare(Rect<int>(0, 0, 4, 4), LayerParameters{Rect<float>(0, 0, 4, 4)}, Matrix(), 96, 96);
    bare.FillGeometry(RectangleGeometry(Rect<float>(0, 0, 2, 2)), Solid(kRed));
    EXPECT_EQ(bare.GetShapeRect(), Rect<float>(0, 0, 2, 2));
    bare.FillGeometry(nullptr, Solid(kRed));
    bare.InnerFillGeometry(nullptr, nullptr, Matrix());

    // A target without pixels makes no paint at all.
    SwBasicSubTarget empty(Rect<int>(0, 0, 4, 4), LayerParameters{Rect<float>(10, 10, 20, 20)}, Matrix(), 96, 96);
    EXPECT_FALSE(empty.IsNeedPaint());
    empty.FillGeometry(RectangleGeometry(Rect<float>(0, 0, 30, 30)), std::make_shared<PatternBrush>(nullptr));
    EXPECT_EQ(empty.GetShapeRect(), Rect<float>());

    // A root placed by its bounds paints in its own pixels.
    auto plane = std::make_shared<Bitmap>(Size<int>(3, 2), PixelFormat::ARGB8p, 96.0f, 96.0f);
    TargetTest::FillBytes(*plane, 0);
    SwBasicSubTarget placed(Rect<int>(0, 0, 3, 2), LayerParameters{Rect<float>(0, 0, 3, 2)}, Matrix(), 96, 96);
    placed.InitLayer(plane->GetImplementation());
    placed.SetStrokeAdjustment(false);
    placed.FillGeometry(RectangleGeometry(Rect<float>(1, 0, 2, 2)), Solid(kRed));
    EXPECT_EQ(TargetTest::ReadWord(*plane, 0, 0), 0u);
    EXPECT_EQ(TargetTest::ReadWord(*plane, 1, 0), kRed);
    EXPECT_EQ(TargetTest::ReadWord(*plane, 1, 1), kRed);
    EXPECT_EQ(TargetTest::ReadWord(*plane, 2, 1), 0u);
}

TEST(Fill, PixelOffsetIsTheSignedDistanceToTheNearestWholeNumber) {
    EXPECT_EQ(PixelOffset(2.25f), 0.25f);
    EXPECT_EQ(PixelOffset(2.75f), -0.25f);
    EXPECT_EQ(PixelOffset(2.5f), -0.5f);
    EXPECT_EQ(PixelOffset(-2.5f), 0.5f);
    EXPECT_EQ(PixelOffset(-2.25f), -0.25f);
    EXPECT_EQ(PixelOffset(-2.75f), 0.25f);
    EXPECT_EQ(PixelOffset(3.0f), 0.0f);
    EXPECT_EQ(PixelOffset(0.5f), -0.5f);
    EXPECT_EQ(PixelOffset(-0.5f), 0.5f);
    EXPECT_EQ(PixelOffset(0.49999997f), 0.49999997f);
    EXPECT_EQ(PixelOffset(1e20f), 0.0f);
}
