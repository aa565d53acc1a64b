#include "TargetTestSupport.h"
#include "sw/SwBasicSubTarget.h"
#include "sw/SwBlend.h"
#include "sw/SwSoftMask.h"
#include <algorithm>
#include <limits>

using namespace Graphics;
using namespace TargetTest;

namespace {
const unsigned int kRed = 0xFFFF0000u;
// Color(1, 0, 0, 0.5): alpha 127, premultiplied by 128 into 0x7F7F0000.
const Color kHalfRedColor(1.0f, 0.0f, 0.0f, 0.5f);
const unsigned int kHalfRed = 0x7F7F0000u;
const PixelFormat::Enum ARGB8p = PixelFormat::ARGB8p, XRGB8 = PixelFormat::XRGB8;

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

TEST(Fill, SolidPaintOverOpaqueTranslucentAndEmptyTargets) {
    // The target scaled by 255 - alpha, plus the premultiplied paint; a target of alpha 0
    // takes the paint as it is. XRGB8's top byte evolves like an alpha.
    const struct {
        PixelFormat::Enum format;
        unsigned int backdrop;
        Color paint;
        float opacity;
        unsigned int expected;
    } cases[] = {
        {ARGB8p, 0x00000000u, Color(kRed), 1, kRed},
        {ARGB8p, 0x80008000u, Color(kRed), 1, kRed},
        {ARGB8p, 0x00000000u, kHalfRedColor, 1, kHalfRed},
        {ARGB8p, 0x00FFFFFFu, kHalfRedColor, 1, kHalfRed},
        {ARGB8p, 0xFFFFFFFFu, kHalfRedColor, 1, 0x7F7F7F7Fu + kHalfRed},
        {ARGB8p, 0x80008000u, kHalfRedColor, 1, 0x40004000u + kHalfRed},
        {ARGB8p, 0xFFFFFFFFu, Color(kRed), 0.5f, 0xFEFE7F7Fu},  // the brush's opacity enters the paint
        {XRGB8, 0xFFFFFFFFu, kHalfRedColor, 1, 0xFEFE7F7Fu},
        {XRGB8, 0x00FFFFFFu, kHalfRedColor, 1, kHalfRed},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << std::hex << c.backdrop << " " << c.expected);
        Canvas canvas(2, 1, c.format, c.backdrop);
        auto brush = Solid(c.paint);
        brush->SetOpacity(c.opacity);
        canvas.target.FillRectangle(Rect<float>(0, 0, 1, 1), brush);
        ExpectPicture(canvas, {c.expected, c.backdrop});
        // The pixels stay in the caller's bitmap through EndPaint.
        canvas.target.EndPaint();
        ExpectPicture(canvas, {c.expected, c.backdrop});
    }
}

TEST(Fill, RectanglesSnapToWholePixelsUnderStrokeAdjustment) {
    const std::vector<unsigned int> k0110 = {0, kRed, kRed, 0}, k1100 = {kRed, kRed, 0, 0};
    const struct {
        int width, height;
        Matrix transform;
        Rect<float> rect;
        std::vector<unsigned int> expected;
    } cases[] = {
        // A tiny rectangle inside a pixel becomes that whole pixel.
        {2, 2, Matrix(), Rect<float>(0.2f, 0.2f, 0.4f, 0.4f), {kRed, 0, 0, 0}},
        // (0.5, 0, 2.5, 1): floor 0, ceiling 3 for a width of 2; equal slacks: the right gives way.
        {4, 1, Matrix(), Rect<float>(0.5f, 0, 2.5f, 1), k1100},
        // Left slack 0.75 against 0.5: the left side moves in.
        {4, 1, Matrix(), Rect<float>(0.75f, 0, 2.5f, 1), k0110},
        // Rows 1 and 2; the top slack 0.6 is not above the bottom's 0.8, so the bottom gives way.
        {1, 4, Matrix(), Rect<float>(0, 1.6f, 1, 2.2f), {0, kRed, 0, 0}},
        // Zero width is widened to one pixel.
        {3, 4, Matrix(), Rect<float>(1, 1, 1, 3), {0, 0, 0, 0, kRed, 0, 0, kRed, 0, 0, 0, 0}},
        // The snap works in pixels: under a scale of 2 this is (0.5, 0, 2.5, 1).
        {4, 1, Matrix(2, 0, 0, 2, 0, 0), Rect<float>(0.25f, 0, 1.25f, 0.5f), k1100},
        // A quarter turn keeps the axes: (0.5, 0.5, 1.5, 2.5), column 0 and rows 0 and 1.
        {2, 4, Matrix(0, 1, -1, 0, 1.5f, 0.5f), Rect<float>(0, 0, 2, 1), {kRed, 0, kRed, 0, 0, 0, 0, 0}},
    };
    for (const auto& c : cases) {
        Canvas canvas(c.width, c.height);
        canvas.target.SetTransform(c.transform);
        canvas.target.FillRectangle(c.rect, Solid(kRed));
        EXPECT_EQ(canvas.Words(), c.expected) << c.rect.left << " " << c.rect.top << " " << c.rect.right;
        EXPECT_EQ(canvas.target.GetTransform(), c.transform);  // back after the fill under the identity
    }
    // Without adjustment edges are anti-aliased: half a pixel is coverage 127, the paint scaled
    // by 128; a quarter cut off is 191: 0xBF of red, 64 of white kept. Coverage and translucency multiply.
    Canvas soft(4, 1), white(1, 2, ARGB8p, 0xFFFFFFFFu), both(1, 1);
    for (Canvas* c : {&soft, &white, &both}) c->target.SetStrokeAdjustment(false);
    soft.target.FillRectangle(Rect<float>(0.5f, 0, 2.5f, 1), Solid(kRed));
    ExpectPicture(soft, {0x7F7F0000u, kRed, 0x7F7F0000u, 0});
    white.target.FillRectangle(Rect<float>(0, 0.25f, 1, 2), Solid(kRed));
    ExpectPicture(white, {0x3F3F3F3Fu + 0xBFBF0000u, kRed});
    both.target.FillRectangle(Rect<float>(0, 0, 0.5f, 1), Solid(kHalfRedColor));
    EXPECT_EQ(both.At(0, 0), 0x3F3F0000u);
    // Under a rotation that is not a quarter turn nothing is snapped.
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
    EXPECT_GT(std::count_if(pictures[0].begin(), pictures[0].end(), [](unsigned w) { return w != 0 && w != kRed; }), 4);
    // Text is never snapped and leaves the adjustment as it was; a later fill snaps again.
    for (bool adjust : {true, false}) {
        Canvas canvas(4, 1);
        canvas.target.SetStrokeAdjustment(adjust);
        canvas.target.FillTextGeometry(RectangleGeometry(Rect<float>(0.5f, 0, 2.5f, 1)), Solid(kRed));
        EXPECT_EQ(canvas.target.GetStrokeAdjustment(), adjust);
        canvas.target.FillRectangle(Rect<float>(2.5f, 0, 3.5f, 1), Solid(0xFF00FF00u));
        ExpectPicture(canvas, adjust ? std::vector<unsigned int>{0x7F7F0000u, kRed, 0xFF00FF00u, 0}
                                     : std::vector<unsigned int>{0x7F7F0000u, kRed, 0x3F3F0000u + 0x7F007F00u,
                                                                 0x7F007F00u});
    }
    // The signed distance to the nearest whole number, as the snap uses it.
    const std::pair<float, float> offsets[] = {
        {2.25f, 0.25f}, {2.75f, -0.25f}, {2.5f, -0.5f}, {-2.5f, 0.5f}, {-2.75f, 0.25f}, {0.49999997f, 0.49999997f}};
    for (const auto& o : offsets) EXPECT_EQ(PixelOffset(o.first), o.second) << o.first;
}

TEST(Fill, EveryBlendModeThroughARealFill) {
    // Opaque over opaque: the blend function's colour (worked by hand in the
    // blend tests) with alpha 255; Multiply here: 8192 / 255, 30720 / 255, 14336 / 255.
    const unsigned int backdrop = 0xFF80C040u, source = 0xFF40A0E0u;
    for (int mode = BlendMode::Normal; mode <= BlendMode::Luminosity; ++mode) {
        Canvas canvas(2, 1, ARGB8p, backdrop);
        canvas.target.SetBlendMode(BlendMode::Enum(mode));
        canvas.target.FillRectangle(Rect<float>(0, 0, 1, 1), Solid(source));
        unsigned int expected = 0xFF000000u;
        SwBlend::GetBlendFunc(BlendMode::Enum(mode))(reinterpret_cast<const unsigned char*>(&backdrop),
                                                     reinterpret_cast<const unsigned char*>(&source),
                                                     reinterpret_cast<unsigned char*>(&expected));
        ExpectPicture(canvas, {mode == BlendMode::Multiply ? 0xFF207838u : expected, backdrop});
        EXPECT_TRUE(mode == BlendMode::Normal || canvas.At(0, 0) != source) << mode;
    }
    // Translucent source in Multiply: it unpremultiplies to (254, 0, 0); white
    // times that, scaled by 128, is 127 in red, and the target scaled by
    // 256 - 127 gives 128 each. On an empty target there is nothing to blend with.
    Canvas opaque(1, 1, ARGB8p, 0xFFFFFFFFu), empty(1, 1);
    for (Canvas* c : {&opaque, &empty}) {
        c->target.SetBlendMode(BlendMode::Multiply);
        c->target.FillRectangle(Rect<float>(0, 0, 1, 1), Solid(kHalfRedColor));
    }
    EXPECT_EQ(opaque.At(0, 0), 0xFFFF8080u);
    EXPECT_EQ(empty.At(0, 0), kHalfRed);
}

TEST(Fill, EllipsesCirclesAndRoundRectangles) {
    // The four middle pixels lie wholly inside the circle, the corners partly,
    // less than half. Corners of radius 1 take only the corner pixels of a round rectangle.
    Canvas circle(4, 4), round(4, 4);
    circle.target.FillCircle(Point<float>(2, 2), 2, Solid(kRed));
    round.target.FillRoundRectangle(Rect<float>(0, 0, 4, 4), 1, 1, Solid(kRed));
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 4; ++x) {
            const bool corner = (x == 0 || x == 3) && (y == 0 || y == 3), middle = (x == 1 || x == 2) && (y == 1 || y == 2);
            const unsigned int c = circle.At(x, y), r = round.At(x, y);
            EXPECT_TRUE((!middle || c == kRed) && (!corner || (c != 0 && c >> 24 < 0x80u))) << x << "," << y;
            EXPECT_TRUE(corner ? (r != 0 && r != kRed) : r == kRed) << x << "," << y;
        }
}

TEST(Fill, FillsThatMissMakeNoPaintAndBadGeometryStaysSafe) {
    // A pattern brush can't be painted with: a fill that made its colour
    // source would fail, so one that stops early must not ask for it.
    auto pattern = std::make_shared<PatternBrush>(nullptr);
    Canvas canvas(4, 3, ARGB8p, 0xFF0000FFu);
    auto sub = SwOf(canvas.target)->GetSubTarget();
    canvas.target.SetStrokeAdjustment(false);
    for (const Rect<float>& r : {Rect<float>(-5, 0, 0, 3), Rect<float>(4, 0, 9, 3), Rect<float>(0, 3, 4, 7)}) {
        canvas.target.FillRectangle(r, pattern);  // touching the edges from outside
        canvas.target.FillEllipse(r, pattern);
    }
    canvas.target.SetStrokeAdjustment(true);
    canvas.target.FillRectangle(Rect<float>(-5, 0, -1, 3), pattern);
    for (auto g : {std::shared_ptr<Geometry>(), std::make_shared<Geometry>()}) canvas.target.FillGeometry(g, pattern);
    canvas.target.FillEllipse(Rect<float>(1, 1, 3, 1), pattern);
    canvas.target.FillRoundRectangle(Rect<float>(1, 1, 1, 3), 1, 1, pattern);
    canvas.target.FillCircle(Point<float>(2, 2), 0, pattern);
    ExpectPicture(canvas, std::vector<unsigned int>(12, 0xFF0000FFu));
    EXPECT_EQ(sub->GetShapeRect(), Rect<float>());
    // One that touches asks, and the failure passes through; the target stays usable.
    EXPECT_GRAPHICS_FAILURE(canvas.target.FillRectangle(Rect<float>(0, 0, 1, 1), pattern), "CreateFromBrush",
                            "Not implemented");
    // The shape bound grows with the fills, cut to the target first; Clear leaves it alone.
    canvas.target.SetStrokeAdjustment(false);
    canvas.target.FillRectangle(Rect<float>(1.5f, 1, 2.5f, 2.5f), Solid(kRed));
    EXPECT_EQ(sub->GetShapeRect(), Rect<float>(1.5f, 1, 2.5f, 2.5f));
    canvas.target.Clear(Color(0, 0, 0, 0));
    canvas.target.FillRectangle(Rect<float>(3, -2, 12, 1.5f), Solid(kRed));
    EXPECT_EQ(sub->GetShapeRect(), Rect<float>(1.5f, 0, 4, 2.5f));
    const float nan = std::numeric_limits<float>::quiet_NaN(), inf = std::numeric_limits<float>::infinity();
    for (bool adjust : {true, false}) {
        // Huge covers everything; far beyond any pixel, a closed line or a point cover nothing.
        const std::pair<std::shared_ptr<Geometry>, unsigned int> cases[] = {
            {Triangle(Point<float>(-1e7f, -1e7f), Point<float>(1e7f, -1e7f), Point<float>(0, 1e7f)), kRed},
            {RectangleGeometry(Rect<float>(1e30f, 1e30f, 3e30f, 3e30f)), 0},
            {Triangle(Point<float>(0, 0), Point<float>(3, 3), Point<float>(1, 1)), 0},
            {Triangle(Point<float>(1, 1), Point<float>(1, 1), Point<float>(1, 1)), 0},
        };
        for (const auto& c : cases) {
            Canvas picture(5, 4);
            picture.target.SetStrokeAdjustment(adjust);
            picture.target.FillGeometry(c.first, Solid(kRed));
            EXPECT_EQ(picture.Words(), std::vector<unsigned int>(20, c.second)) << adjust;
        }
        // NaN and infinity in the points or the transform: no crash, the
        // transform comes back, and the target stays usable.
        Canvas odd(3, 3);
        odd.target.SetStrokeAdjustment(adjust);
        odd.target.FillGeometry(Triangle(Point<float>(nan, 0), Point<float>(3, nan), Point<float>(1, 1)), Solid(kRed));
        odd.target.FillGeometry(Triangle(Point<float>(-inf, 0), Point<float>(inf, 1), Point<float>(1, inf)), Solid(kRed));
        odd.target.FillRectangle(Rect<float>(-inf, -inf, inf, nan), Solid(kRed));
        for (const Matrix& m : {Matrix(nan, 0, 0, 1, 0, 0), Matrix(0, 0, 0, 0, 1, 1), Matrix(1e30f, 0, 0, 1e30f, 0, 0)}) {
            odd.target.SetTransform(m);
            const Matrix before = odd.target.GetTransform();
            odd.target.FillRectangle(Rect<float>(0, 0, 2, 2), Solid(kRed));
            odd.target.FillEllipse(Rect<float>(0, 0, 2, 2), Solid(kRed));
            const Matrix after = odd.target.GetTransform();  // NaN is not equal to itself
            EXPECT_EQ(std::memcmp(&before, &after, sizeof after), 0);
        }
        odd.target.SetTransform(Matrix());
        odd.target.Clear(Color(0, 0, 0, 0));
        odd.target.FillRectangle(Rect<float>(1, 1, 2, 2), Solid(kRed));
        ExpectPicture(odd, {0, 0, 0, 0, kRed, 0, 0, 0, 0});
    }
}

TEST(Fill, RefusedMasksAndBareSubTargets) {
    // Soft masks the pipeline can't apply refuse the fill; the snapped transform comes back.
    Canvas canvas(2, 2);
    auto sub = SwOf(canvas.target)->GetSubTarget();
    canvas.target.PushState();
    sub->CurrentState().shapeMask = std::make_shared<SwSoftMask>();
    EXPECT_GRAPHICS_FAILURE(canvas.target.FillRectangle(Rect<float>(0, 0, 2, 2), Solid(kRed)), "InnerFillGeometry",
                            "Not implemented");
    EXPECT_EQ(sub->GetShapeRect(), Rect<float>());
    EXPECT_TRUE(canvas.target.GetTransform().IsIdentity());
    sub->CurrentState().shapeMask.reset();
    sub->CurrentState().opacityMask = std::make_shared<SwSoftMask>();
    EXPECT_GRAPHICS_FAILURE(canvas.target.FillEllipse(Rect<float>(0, 0, 2, 2), Solid(kRed)), "InnerFillGeometry",
                            "Not implemented");
    ExpectPicture(canvas, {0, 0, 0, 0});
    canvas.target.PopState();
    canvas.target.FillRectangle(Rect<float>(0, 0, 1, 1), Solid(kRed));
    ExpectPicture(canvas, {kRed, 0, 0, 0});
    // Before InitLayer a root has no plane: fills only bound the shape.
    SwBasicSubTarget bare(Rect<int>(0, 0, 4, 4), LayerParameters{Rect<float>(0, 0, 4, 4)}, Matrix(), 96, 96);
    bare.FillGeometry(RectangleGeometry(Rect<float>(0, 0, 2, 2)), Solid(kRed));
    EXPECT_EQ(bare.GetShapeRect(), Rect<float>(0, 0, 2, 2));
}
