// Shape drawing compared with Cairo and AGG, in the way 2D engines are
// usually compared: a 512 x 600 ARGB8p canvas, shapes of 8 to 256 pixels
// placed from a fixed seed, translucent paint, source-over.
//
// All three engines paint into the same pixels: the canvas memory of one
// ARGB8p Bitmap, which our BitmapRenderTarget paints directly, Cairo reaches
// through cairo_image_surface_create_for_data (ARGB32 is premultiplied BGRA
// in memory, the same layout) and AGG through a rendering_buffer with
// pixfmt_bgra32_pre.
//
// Tests:
//   Fill    axis-aligned rectangles on whole pixels (RectA), unaligned ones
//           (RectU), rotated ones (RectRot), rounded rectangles, triangles,
//           random polygons of 10, 20 and 40 vertices under Winding (NZ)
//           and EvenOdd (EO);
//   Stroke  width 2, miter joins, butt caps: RectU, RoundRect, Poly10/20/40;
//   Paint   the rectangle tests and the Winding polygon tests again with a
//           linear gradient, a radial gradient (three translucent stops,
//           padded) and a generated 256 x 256 picture scaled onto each shape
//           with nearest and with bilinear sampling.
//
// The shapes of one test and size are generated once (positions, colours,
// angles, vertices) and then drawn by every engine in the same order. What
// each engine does per call:
//   ours   FillGeometry / StrokeGeometry of a Geometry built once per shape,
//          with a brush built once per shape (solid, gradient or bitmap
//          brush with its transform); the paint cycle stays open across
//          calls (BeginPaint before the timed runs, EndPaint after).
//          Stroke adjustment stays on only for RectA, where it changes
//          nothing; elsewhere it would move the shapes onto the pixel grid
//          and we would no longer draw what the others draw.
//   Cairo  the path rebuilt from the recorded points (move_to, line_to,
//          curve_to) and cairo_fill or cairo_stroke; solid colours set with
//          cairo_set_source_rgba, other paints from a cairo_pattern_t built
//          once per shape. Tolerance 0.25, as our flattening.
//   AGG    the path rebuilt into one reused path_storage, through conv_curve
//          (and one reused conv_stroke for strokes) into
//          rasterizer_scanline_aa; render_scanlines_aa_solid for solid
//          colours, span_gradient (over a 256-entry premultiplied ramp) or
//          span_image_filter_rgba_nn / _bilinear with a
//          span_interpolator_linear for the others.
//
// Timing: the calls of one run cycle through the shape list from its start;
// a run has at least 64 calls and lasts at least a millisecond; the best of
// several runs counts, reported as calls per millisecond. Google Benchmark's
// own "Time" column is that best time per call.
//
// Options (environment, or --quick on the command line):
//   GRAPHICS_BENCH_QUICK=1      the same as --quick; use this one through
//                               ./scripts/bench, which hands its arguments to
//                               every benchmark program
//   GRAPHICS_BENCH_SIZES=8,64   only these shape sizes (default 8 to 256)
//   GRAPHICS_BENCH_REPEATS=N    timed runs per case after the first (default 7)
//   GRAPHICS_BENCH_SAVE=dir     writes every engine's picture of each test
//                               and size as dir/<test>_<size>_<engine>.png
//                               (the first 40 shapes on white)
//   --quick                     sizes 16, 64 and 256 and 3 runs per case
// Google Benchmark's own flags (--benchmark_filter=...) work as usual; the
// summary table at the end lists what ran.

#include <Graphics/Graphics.h>

#include <agg_conv_curve.h>
#include <agg_conv_stroke.h>
#include <agg_image_accessors.h>
#include <agg_path_storage.h>
#include <agg_pixfmt_rgba.h>
#include <agg_rasterizer_scanline_aa.h>
#include <agg_renderer_base.h>
#include <agg_renderer_scanline.h>
#include <agg_rendering_buffer.h>
#include <agg_scanline_u.h>
#include <agg_span_allocator.h>
#include <agg_span_gradient.h>
#include <agg_span_image_filter_rgba.h>
#include <agg_span_interpolator_linear.h>
#include <agg_trans_affine.h>
#include <benchmark/benchmark.h>
#include <cairo.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

using namespace Graphics;

namespace {

constexpr int kWidth = 512;
constexpr int kHeight = 600;
constexpr int kShapeCount = 256;  // shapes generated per test and size
constexpr long kMinCalls = 64;    // calls per timed run, at least
constexpr double kMinRunSeconds = 1e-3;
constexpr int kSaveCount = 40;  // shapes in a saved picture
constexpr int kPictureSize = 256;
constexpr unsigned int kBackground = 0xFFFFFFFFu;
constexpr float kStrokeWidth = 2.0f;
constexpr float kPi = 3.14159265358979f;

// ---------------------------------------------------------------------------
// Test description

enum class Op { Fill, Stroke };
enum class Kind { RectA, RectU, RectRot, RoundRect, Triangle, Poly10, Poly20, Poly40 };
enum class Paint { Solid, Linear, Radial, BitmapNearest, BitmapLinear };
enum Engine { kOurs = 0, kCairo = 1, kAgg = 2, kEngineCount = 3 };

const char* const kEngineNames[kEngineCount] = {"Ours", "Cairo", "AGG"};

struct TestDef {
    std::string name;
    Op op;
    Kind kind;
    FillRule::Enum rule;
    Paint paint;
};

const char* KindName(Kind kind) {
    switch (kind) {
        case Kind::RectA: return "RectA";
        case Kind::RectU: return "RectU";
        case Kind::RectRot: return "RectRot";
        case Kind::RoundRect: return "RoundRect";
        case Kind::Triangle: return "Triangle";
        case Kind::Poly10: return "Poly10";
        case Kind::Poly20: return "Poly20";
        case Kind::Poly40: return "Poly40";
    }
    return "?";
}

const char* PaintName(Paint paint) {
    switch (paint) {
        case Paint::Solid: return "Solid";
        case Paint::Linear: return "Linear";
        case Paint::Radial: return "Radial";
        case Paint::BitmapNearest: return "BitmapNN";
        case Paint::BitmapLinear: return "BitmapBI";
    }
    return "?";
}

bool IsPolygon(Kind kind) { return kind == Kind::Poly10 || kind == Kind::Poly20 || kind == Kind::Poly40; }

int PolygonVertices(Kind kind) { return kind == Kind::Poly10 ? 10 : kind == Kind::Poly20 ? 20 : 40; }

std::vector<TestDef> MakeTests() {
    std::vector<TestDef> tests;
    auto add = [&](Op op, Kind kind, FillRule::Enum rule, Paint paint) {
        std::string name = op == Op::Fill ? "Fill" : "Stroke";
        name += KindName(kind);
        if (op == Op::Fill && IsPolygon(kind)) name += rule == FillRule::Winding ? "NZ" : "EO";
        name += "/";
        name += PaintName(paint);
        tests.push_back(TestDef{name, op, kind, rule, paint});
    };
    for (Kind kind : {Kind::RectA, Kind::RectU, Kind::RectRot, Kind::RoundRect, Kind::Triangle})
        add(Op::Fill, kind, FillRule::Winding, Paint::Solid);
    for (Kind kind : {Kind::Poly10, Kind::Poly20, Kind::Poly40}) {
        add(Op::Fill, kind, FillRule::Winding, Paint::Solid);
        add(Op::Fill, kind, FillRule::EvenOdd, Paint::Solid);
    }
    for (Kind kind : {Kind::RectU, Kind::RoundRect, Kind::Poly10, Kind::Poly20, Kind::Poly40})
        add(Op::Stroke, kind, FillRule::Winding, Paint::Solid);
    for (Paint paint : {Paint::Linear, Paint::Radial, Paint::BitmapNearest, Paint::BitmapLinear})
        for (Kind kind : {Kind::RectA, Kind::RectU, Kind::RectRot, Kind::Poly10, Kind::Poly20, Kind::Poly40})
            add(Op::Fill, kind, FillRule::Winding, paint);
    return tests;
}

// ---------------------------------------------------------------------------
// Matrices. Ours act on row vectors and compose first-to-last, like AGG's
// trans_affine; Cairo's matrices have the same six numbers in another order.

Matrix Translation(float x, float y) { return Matrix(1.0f, 0.0f, 0.0f, 1.0f, x, y); }
Matrix Scaling(float s) { return Matrix(s, 0.0f, 0.0f, s, 0.0f, 0.0f); }
Matrix Rotation(float a) { return Matrix(std::cos(a), std::sin(a), -std::sin(a), std::cos(a), 0.0f, 0.0f); }
Matrix Then(const Matrix& first, const Matrix& second) { return Matrix::Multiply(first, second); }

cairo_matrix_t ToCairo(const Matrix& m) {
    cairo_matrix_t c;
    cairo_matrix_init(&c, m.m11, m.m12, m.m21, m.m22, m.dx, m.dy);
    return c;
}

agg::trans_affine ToAgg(const Matrix& m) { return agg::trans_affine(m.m11, m.m12, m.m21, m.m22, m.dx, m.dy); }

// ---------------------------------------------------------------------------
// Paths as recorded from our geometries, replayed by the other engines.

struct PathOp {
    enum Type { Move, Line, Cubic, Close } type;
    float x[3];
    float y[3];
};

class PathRecorder : public GeometrySink {
public:
    void SetFillRule(FillRule::Enum) override {}
    void BeginFigure(const Point<float>& p) override { ops.push_back(PathOp{PathOp::Move, {p.x}, {p.y}}); }
    void EndFigure() override {}
    void EndFigureClose() override { ops.push_back(PathOp{PathOp::Close, {}, {}}); }
    void LineTo(const Point<float>& p) override { ops.push_back(PathOp{PathOp::Line, {p.x}, {p.y}}); }
    void CurveTo(const Point<float>& a, const Point<float>& b, const Point<float>& c) override {
        ops.push_back(PathOp{PathOp::Cubic, {a.x, b.x, c.x}, {a.y, b.y, c.y}});
    }

    std::vector<PathOp> ops;
};

void CairoPath(cairo_t* cr, const std::vector<PathOp>& ops) {
    for (const PathOp& op : ops) {
        switch (op.type) {
            case PathOp::Move: cairo_move_to(cr, op.x[0], op.y[0]); break;
            case PathOp::Line: cairo_line_to(cr, op.x[0], op.y[0]); break;
            case PathOp::Cubic:
                cairo_curve_to(cr, op.x[0], op.y[0], op.x[1], op.y[1], op.x[2], op.y[2]);
                break;
            case PathOp::Close: cairo_close_path(cr); break;
        }
    }
}

void AggPath(agg::path_storage& path, const std::vector<PathOp>& ops) {
    path.remove_all();
    for (const PathOp& op : ops) {
        switch (op.type) {
            case PathOp::Move: path.move_to(op.x[0], op.y[0]); break;
            case PathOp::Line: path.line_to(op.x[0], op.y[0]); break;
            case PathOp::Cubic: path.curve4(op.x[0], op.y[0], op.x[1], op.y[1], op.x[2], op.y[2]); break;
            case PathOp::Close: path.close_polygon(); break;
        }
    }
}

// ---------------------------------------------------------------------------
// The canvas and the shared paint resources.

using AggPixFmt = agg::pixfmt_bgra32_pre;
using AggRenBase = agg::renderer_base<AggPixFmt>;
using AggInterpolator = agg::span_interpolator_linear<>;
using AggImageAccessor = agg::image_accessor_clone<AggPixFmt>;

// Straight ARGB stops of both gradients.
const GradientStop kStops[3] = {GradientStop(0.0f, 0xE0FF3030u), GradientStop(0.5f, 0x9030C030u),
                                GradientStop(1.0f, 0xE03030FFu)};

agg::rgba8 AggPremultiplied(unsigned int argb) {
    return agg::rgba8((argb >> 16) & 255, (argb >> 8) & 255, argb & 255, argb >> 24).premultiply();
}

// The colour function of AGG's span_gradient: 256 entries interpolated
// between the straight stops and premultiplied afterwards, as the other two
// engines do (AGG's own gradient_lut would interpolate whatever it is given,
// and premultiplied stops would give other in-between colours).
struct AggRamp {
    agg::rgba8 colors[256];

    AggRamp() {
        for (int i = 0; i < 256; ++i) {
            const float t = i / 255.0f;
            int k = 0;
            while (k < 1 && t > kStops[k + 1].offset) ++k;
            const float f = (t - kStops[k].offset) / (kStops[k + 1].offset - kStops[k].offset);
            unsigned int argb = 0;
            for (int shift = 0; shift < 32; shift += 8) {
                const float a = static_cast<float>((kStops[k].color >> shift) & 255);
                const float b = static_cast<float>((kStops[k + 1].color >> shift) & 255);
                argb |= static_cast<unsigned int>(a + (b - a) * f + 0.5f) << shift;
            }
            colors[i] = AggPremultiplied(argb);
        }
    }
    static unsigned size() { return 256; }
    const agg::rgba8& operator[](unsigned i) const { return colors[i]; }
};

struct Canvas {
    std::shared_ptr<Bitmap> bitmap;
    uint32_t* pixels = nullptr;
    int stride = 0;
    std::unique_ptr<BitmapRenderTarget> target;
    cairo_surface_t* surface = nullptr;

    agg::rendering_buffer buffer;
    AggPixFmt pixfmt;
    AggRenBase renderer;
    agg::rasterizer_scanline_aa<> rasterizer;
    agg::scanline_u8 scanline;
    agg::span_allocator<agg::rgba8> spans;
    agg::path_storage path;
    agg::conv_curve<agg::path_storage> curve;
    agg::conv_stroke<agg::conv_curve<agg::path_storage>> stroke;
    AggRamp ramp;

    // The picture of the bitmap paints, in all three forms over one memory.
    std::vector<uint32_t> picturePixels;
    std::shared_ptr<Bitmap> picture;
    cairo_surface_t* pictureSurface = nullptr;
    agg::rendering_buffer pictureBuffer;
    AggPixFmt picturePixfmt;

    Canvas() : pixfmt(buffer), renderer(pixfmt), curve(path), stroke(curve), picturePixfmt(pictureBuffer) {
        bitmap = std::make_shared<Bitmap>(Size<int>(kWidth, kHeight), PixelFormat::ARGB8p, 96.0f, 96.0f);
        // A read-write lock keeps the bitmap's caches; the pointer stays valid
        // for the life of the bitmap.
        LockedData locked = bitmap->Lock(nullptr, LockMode::ReadWrite);
        pixels = static_cast<uint32_t*>(locked.data);
        stride = locked.stride;
        bitmap->Unlock();
        target = std::make_unique<BitmapRenderTarget>(bitmap);
        surface = cairo_image_surface_create_for_data(reinterpret_cast<unsigned char*>(pixels), CAIRO_FORMAT_ARGB32,
                                                      kWidth, kHeight, stride);
        buffer.attach(reinterpret_cast<agg::int8u*>(pixels), kWidth, kHeight, stride);
        renderer.reset_clipping(true);

        stroke.width(kStrokeWidth);
        stroke.line_join(agg::miter_join);
        stroke.line_cap(agg::butt_cap);
        stroke.miter_limit(10.0);

        MakePicture();
    }

    ~Canvas() {
        cairo_surface_destroy(pictureSurface);
        cairo_surface_destroy(surface);
    }

    // Opaque bands of colour crossed by a checker and a ring: enough detail
    // to see both the sampling and the placement.
    void MakePicture() {
        picturePixels.resize(static_cast<size_t>(kPictureSize) * kPictureSize);
        for (int y = 0; y < kPictureSize; ++y) {
            for (int x = 0; x < kPictureSize; ++x) {
                unsigned r = static_cast<unsigned>(x), g = static_cast<unsigned>(y), b = 255u - (x + y) / 2;
                if (((x >> 5) ^ (y >> 5)) & 1) {
                    r /= 2;
                    g /= 2;
                    b /= 2;
                }
                const float dx = x - 127.5f, dy = y - 127.5f;
                const float d = std::sqrt(dx * dx + dy * dy);
                if (d > 80.0f && d < 96.0f) r = g = b = 255u;
                picturePixels[static_cast<size_t>(y) * kPictureSize + x] = 0xFF000000u | (r << 16) | (g << 8) | b;
            }
        }
        picture = std::make_shared<Bitmap>(Size<int>(kPictureSize, kPictureSize), PixelFormat::ARGB8p, 96.0f, 96.0f);
        picture->CopyFromMemory(nullptr, picturePixels.data(), kPictureSize * 4, kPictureSize * 4);
        pictureSurface =
            cairo_image_surface_create_for_data(reinterpret_cast<unsigned char*>(picturePixels.data()),
                                                CAIRO_FORMAT_ARGB32, kPictureSize, kPictureSize, kPictureSize * 4);
        pictureBuffer.attach(reinterpret_cast<agg::int8u*>(picturePixels.data()), kPictureSize, kPictureSize,
                             kPictureSize * 4);
    }

    void Clear() {
        for (int y = 0; y < kHeight; ++y) {
            char* bytes = reinterpret_cast<char*>(pixels) + static_cast<long>(y) * stride;
            uint32_t* row = reinterpret_cast<uint32_t*>(bytes);
            std::fill(row, row + kWidth, kBackground);
        }
    }
};

Canvas* g_Canvas = nullptr;

// ---------------------------------------------------------------------------
// The shapes of one test and size.

struct ShapeItem {
    Matrix frame;  // the shape's square [0, size]^2 to the canvas; paints live there
    unsigned int argb = 0;
    std::vector<PathOp> path;
    std::shared_ptr<Geometry> geometry;
    std::shared_ptr<Brush> brush;
    cairo_pattern_t* pattern = nullptr;
    agg::rgba8 aggColor;
    agg::trans_affine aggPaintInverse;  // canvas to the paint's own space
};

struct ShapeSet {
    std::vector<ShapeItem> items;

    ShapeSet() = default;
    ShapeSet(const ShapeSet&) = delete;
    ShapeSet& operator=(const ShapeSet&) = delete;
    ~ShapeSet() {
        for (ShapeItem& item : items)
            if (item.pattern) cairo_pattern_destroy(item.pattern);
    }
};

std::shared_ptr<ShapeSet> MakeShapes(const TestDef& test, int size) {
    auto set = std::make_shared<ShapeSet>();
    std::mt19937 random(20240601u + static_cast<unsigned>(test.kind) * 7919u + static_cast<unsigned>(size));
    const float s = static_cast<float>(size);
    std::uniform_real_distribution<float> placeX(0.0f, static_cast<float>(kWidth - size));
    std::uniform_real_distribution<float> placeY(0.0f, static_cast<float>(kHeight - size));
    std::uniform_int_distribution<int> wholeX(0, kWidth - size);
    std::uniform_int_distribution<int> wholeY(0, kHeight - size);
    std::uniform_real_distribution<float> local(0.0f, s);
    std::uniform_real_distribution<float> angle(0.0f, 2.0f * kPi);
    std::uniform_real_distribution<float> radius(0.05f * s, 0.3f * s);
    std::uniform_int_distribution<unsigned> channel(0, 255);
    std::uniform_int_distribution<unsigned> alpha(0x40, 0xE0);

    set->items.resize(kShapeCount);
    for (ShapeItem& item : set->items) {
        item.argb = (alpha(random) << 24) | (channel(random) << 16) | (channel(random) << 8) | channel(random);
        item.geometry = std::make_shared<Geometry>();
        Geometry& g = *item.geometry;
        g.SetFillRule(test.rule);
        if (test.kind == Kind::RectA) {
            const float x = static_cast<float>(wholeX(random)), y = static_cast<float>(wholeY(random));
            item.frame = Translation(x, y);
            g.Rectangle(Rect<float>(x, y, x + s, y + s));
        } else if (test.kind == Kind::RectU) {
            const float x = placeX(random), y = placeY(random);
            item.frame = Translation(x, y);
            g.Rectangle(Rect<float>(x, y, x + s, y + s));
        } else if (test.kind == Kind::RectRot) {
            const float x = placeX(random), y = placeY(random), a = angle(random);
            // About the square's centre.
            item.frame = Then(Then(Translation(-0.5f * s, -0.5f * s), Rotation(a)),
                              Translation(x + 0.5f * s, y + 0.5f * s));
            g.BeginFigure(item.frame.Transform(Point<float>(0.0f, 0.0f)));
            g.LineTo(item.frame.Transform(Point<float>(s, 0.0f)));
            g.LineTo(item.frame.Transform(Point<float>(s, s)));
            g.LineTo(item.frame.Transform(Point<float>(0.0f, s)));
            g.EndFigureClose();
        } else if (test.kind == Kind::RoundRect) {
            const float x = placeX(random), y = placeY(random), r = radius(random);
            item.frame = Translation(x, y);
            g.RoundRectangle(Rect<float>(x, y, x + s, y + s), r, r);
        } else {
            const float x = placeX(random), y = placeY(random);
            item.frame = Translation(x, y);
            const int n = test.kind == Kind::Triangle ? 3 : PolygonVertices(test.kind);
            for (int i = 0; i < n; ++i) {
                const Point<float> p(x + local(random), y + local(random));
                if (i == 0)
                    g.BeginFigure(p);
                else
                    g.LineTo(p);
            }
            g.EndFigureClose();
        }
        auto recorder = std::make_shared<PathRecorder>();
        g.SendToSink(recorder);
        item.path = std::move(recorder->ops);

        // The paint of the shape in the three engines' terms. Paint space is
        // the shape's square for the gradients and the picture's pixels for
        // the bitmaps; Cairo and AGG want the inverse (canvas to paint).
        Matrix paintToCanvas = item.frame;
        agg::trans_affine aggPaint;  // AGG's own gradient space to the shape's square
        switch (test.paint) {
            case Paint::Solid: {
                item.brush = std::make_shared<SolidBrush>(item.argb);
                item.aggColor = AggPremultiplied(item.argb);
                break;
            }
            case Paint::Linear: {
                auto gradient =
                    std::make_shared<LinearGradient>(kStops, 3, Point<float>(0.0f, 0.0f), Point<float>(s, s));
                gradient->SetExtendStart(true);
                gradient->SetExtendEnd(true);
                item.brush = std::make_shared<GradientBrush>(gradient);
                item.pattern = cairo_pattern_create_linear(0.0, 0.0, s, s);
                // gradient_x runs along x from 0 to 100: turn it onto the diagonal.
                aggPaint = agg::trans_affine_scaling(s * std::sqrt(2.0) / 100.0) * agg::trans_affine_rotation(kPi / 4);
                break;
            }
            case Paint::Radial: {
                auto gradient =
                    std::make_shared<RadialGradient>(kStops, 3, Point<float>(0.5f * s, 0.5f * s), 0.5f * s);
                gradient->SetExtendStart(true);
                gradient->SetExtendEnd(true);
                item.brush = std::make_shared<GradientBrush>(gradient);
                item.pattern = cairo_pattern_create_radial(0.5 * s, 0.5 * s, 0.0, 0.5 * s, 0.5 * s, 0.5 * s);
                aggPaint = agg::trans_affine_scaling(0.005 * s) * agg::trans_affine_translation(0.5 * s, 0.5 * s);
                break;
            }
            case Paint::BitmapNearest:
            case Paint::BitmapLinear: {
                const bool nearest = test.paint == Paint::BitmapNearest;
                paintToCanvas = Then(Scaling(s / kPictureSize), item.frame);
                auto brush = std::make_shared<BitmapBrush>(g_Canvas->picture);
                brush->SetInterpolationMode(nearest ? InterpolationMode::Nearest : InterpolationMode::Linear);
                item.brush = brush;
                item.pattern = cairo_pattern_create_for_surface(g_Canvas->pictureSurface);
                cairo_pattern_set_filter(item.pattern, nearest ? CAIRO_FILTER_NEAREST : CAIRO_FILTER_BILINEAR);
                break;
            }
        }
        item.brush->SetTransform(paintToCanvas);
        if (item.pattern) {
            if (test.paint == Paint::Linear || test.paint == Paint::Radial)
                for (const GradientStop& st : kStops)
                    cairo_pattern_add_color_stop_rgba(item.pattern, st.offset, ((st.color >> 16) & 255) / 255.0,
                                                      ((st.color >> 8) & 255) / 255.0, (st.color & 255) / 255.0,
                                                      (st.color >> 24) / 255.0);
            cairo_pattern_set_extend(item.pattern, CAIRO_EXTEND_PAD);
            cairo_matrix_t m = ToCairo(paintToCanvas);
            cairo_matrix_invert(&m);
            cairo_pattern_set_matrix(item.pattern, &m);
        }
        item.aggPaintInverse = aggPaint * ToAgg(paintToCanvas);
        item.aggPaintInverse.invert();
    }
    return set;
}

// ---------------------------------------------------------------------------
// Timing

struct Rate {
    double callsPerMs = 0.0;
    double secondsPerCall = 0.0;
};

int g_Repeats = 7;

// draw(k) makes call k of a run; finish() ends a run (flushes).
template <class Draw, class Finish>
Rate Measure(Draw&& draw, Finish&& finish) {
    using Clock = std::chrono::steady_clock;
    auto run = [&](long calls) {
        const auto start = Clock::now();
        for (long k = 0; k < calls; ++k) draw(k);
        finish();
        return std::chrono::duration<double>(Clock::now() - start).count();
    };
    long calls = kMinCalls;
    double best = run(calls);
    while (best < kMinRunSeconds) {
        const double scale = best > 0.0 ? 1.25 * kMinRunSeconds / best : 2.0;
        calls = std::max(calls + 1, static_cast<long>(std::ceil(calls * std::min(scale, 16.0))));
        best = run(calls);
    }
    for (int r = 0; r < g_Repeats; ++r) best = std::min(best, run(calls));
    Rate rate;
    rate.secondsPerCall = best / calls;
    rate.callsPerMs = calls / (best * 1e3);
    return rate;
}

// ---------------------------------------------------------------------------
// The engines. Each draws call k of a run with Draw(k) and a whole run of n
// calls through Measure.

const ShapeItem& Pick(const ShapeSet& set, long k) { return set.items[static_cast<size_t>(k % kShapeCount)]; }

struct OursEngine {
    const TestDef& test;
    const ShapeSet& set;
    RenderTarget& target;
    StrokeParameters stroke;

    OursEngine(const TestDef& t, const ShapeSet& s) : test(t), set(s), target(*g_Canvas->target) {
        stroke.join = LineJoin::Miter;
        stroke.cap = LineCap::Butt;
        stroke.miterLimit = 10.0f;
    }
    void Begin() {
        target.SetStrokeAdjustment(test.op == Op::Fill && test.kind == Kind::RectA);
        target.SetInterpolationMode(test.paint == Paint::BitmapNearest ? InterpolationMode::Nearest
                                                                       : InterpolationMode::Linear);
        target.BeginPaint();
    }
    void Draw(long k) {
        const ShapeItem& item = Pick(set, k);
        if (test.op == Op::Fill)
            target.FillGeometry(item.geometry, item.brush);
        else
            target.StrokeGeometry(item.geometry, item.brush, kStrokeWidth, stroke);
    }
    void Finish() {}
    void End() { target.EndPaint(); }
};

struct CairoEngine {
    const TestDef& test;
    const ShapeSet& set;
    cairo_t* cr = nullptr;

    CairoEngine(const TestDef& t, const ShapeSet& s) : test(t), set(s) {}
    void Begin() {
        cairo_surface_mark_dirty(g_Canvas->surface);
        cr = cairo_create(g_Canvas->surface);
        cairo_set_operator(cr, CAIRO_OPERATOR_OVER);
        cairo_set_tolerance(cr, 0.25);
        cairo_set_fill_rule(cr, test.rule == FillRule::EvenOdd ? CAIRO_FILL_RULE_EVEN_ODD : CAIRO_FILL_RULE_WINDING);
        cairo_set_line_width(cr, kStrokeWidth);
        cairo_set_line_join(cr, CAIRO_LINE_JOIN_MITER);
        cairo_set_line_cap(cr, CAIRO_LINE_CAP_BUTT);
        cairo_set_miter_limit(cr, 10.0);
    }
    void Draw(long k) {
        const ShapeItem& item = Pick(set, k);
        if (item.pattern)
            cairo_set_source(cr, item.pattern);
        else
            cairo_set_source_rgba(cr, ((item.argb >> 16) & 255) / 255.0, ((item.argb >> 8) & 255) / 255.0,
                                  (item.argb & 255) / 255.0, (item.argb >> 24) / 255.0);
        CairoPath(cr, item.path);
        if (test.op == Op::Fill)
            cairo_fill(cr);
        else
            cairo_stroke(cr);
    }
    void Finish() { cairo_surface_flush(g_Canvas->surface); }
    void End() {
        cairo_destroy(cr);
        cr = nullptr;
        cairo_surface_flush(g_Canvas->surface);
    }
};

struct AggEngine {
    const TestDef& test;
    const ShapeSet& set;
    Canvas& c;

    AggEngine(const TestDef& t, const ShapeSet& s) : test(t), set(s), c(*g_Canvas) {}
    void Begin() {
        c.rasterizer.reset();
        c.rasterizer.filling_rule(test.rule == FillRule::EvenOdd ? agg::fill_even_odd : agg::fill_non_zero);
    }
    void Draw(long k) {
        const ShapeItem& item = Pick(set, k);
        AggPath(c.path, item.path);
        c.rasterizer.reset();
        if (test.op == Op::Fill)
            c.rasterizer.add_path(c.curve);
        else
            c.rasterizer.add_path(c.stroke);
        switch (test.paint) {
            case Paint::Solid:
                agg::render_scanlines_aa_solid(c.rasterizer, c.scanline, c.renderer, item.aggColor);
                break;
            case Paint::Linear: {
                agg::trans_affine m = item.aggPaintInverse;
                AggInterpolator interpolator(m);
                agg::gradient_x shape;
                agg::span_gradient<agg::rgba8, AggInterpolator, agg::gradient_x, AggRamp> gradient(
                    interpolator, shape, c.ramp, 0.0, 100.0);
                agg::render_scanlines_aa(c.rasterizer, c.scanline, c.renderer, c.spans, gradient);
                break;
            }
            case Paint::Radial: {
                agg::trans_affine m = item.aggPaintInverse;
                AggInterpolator interpolator(m);
                agg::gradient_radial shape;
                agg::span_gradient<agg::rgba8, AggInterpolator, agg::gradient_radial, AggRamp> gradient(
                    interpolator, shape, c.ramp, 0.0, 100.0);
                agg::render_scanlines_aa(c.rasterizer, c.scanline, c.renderer, c.spans, gradient);
                break;
            }
            case Paint::BitmapNearest: {
                agg::trans_affine m = item.aggPaintInverse;
                AggInterpolator interpolator(m);
                AggImageAccessor source(c.picturePixfmt);
                agg::span_image_filter_rgba_nn<AggImageAccessor, AggInterpolator> sampler(source, interpolator);
                agg::render_scanlines_aa(c.rasterizer, c.scanline, c.renderer, c.spans, sampler);
                break;
            }
            case Paint::BitmapLinear: {
                agg::trans_affine m = item.aggPaintInverse;
                AggInterpolator interpolator(m);
                AggImageAccessor source(c.picturePixfmt);
                agg::span_image_filter_rgba_bilinear<AggImageAccessor, AggInterpolator> sampler(source,
                                                                                                 interpolator);
                agg::render_scanlines_aa(c.rasterizer, c.scanline, c.renderer, c.spans, sampler);
                break;
            }
        }
    }
    void Finish() {}
    void End() {}
};

// ---------------------------------------------------------------------------
// Cases, results and the summary table.

std::vector<TestDef> g_Tests;
std::vector<int> g_Sizes;
std::string g_SaveDirectory;
std::map<std::pair<size_t, int>, std::shared_ptr<ShapeSet>> g_ShapeSets;
std::map<std::pair<size_t, int>, Rate> g_Results[kEngineCount];

const ShapeSet& ShapesFor(size_t test, int size) {
    std::shared_ptr<ShapeSet>& set = g_ShapeSets[std::make_pair(test, size)];
    if (!set) set = MakeShapes(g_Tests[test], size);
    return *set;
}

std::string FileName(const TestDef& test, int size, Engine engine) {
    std::string name = test.name;
    std::replace(name.begin(), name.end(), '/', '_');
    return g_SaveDirectory + "/" + name + "_" + std::to_string(size) + "_" + kEngineNames[engine] + ".png";
}

template <class EngineType>
void RunCase(benchmark::State& state, size_t testIndex, int size, Engine engineId) {
    const TestDef& test = g_Tests[testIndex];
    const ShapeSet& set = ShapesFor(testIndex, size);
    EngineType engine(test, set);
    Rate rate;
    std::string failure;
    for (auto _ : state) {
        g_Canvas->Clear();
        engine.Begin();
        try {
            rate = Measure([&](long k) { engine.Draw(k); }, [&]() { engine.Finish(); });
        } catch (const std::exception& e) {
            failure = e.what();
        }
        engine.End();
        state.SetIterationTime(failure.empty() ? rate.secondsPerCall : 0.0);
    }
    if (!failure.empty()) {
        state.SkipWithError(("failed: " + failure).c_str());
        return;
    }
    state.counters["calls/ms"] = rate.callsPerMs;
    g_Results[engineId][std::make_pair(testIndex, size)] = rate;

    if (!g_SaveDirectory.empty()) {
        g_Canvas->Clear();
        engine.Begin();
        for (long k = 0; k < kSaveCount; ++k) engine.Draw(k);
        engine.Finish();
        engine.End();
        cairo_surface_mark_dirty(g_Canvas->surface);
        const std::string file = FileName(test, size, engineId);
        if (cairo_surface_write_to_png(g_Canvas->surface, file.c_str()) != CAIRO_STATUS_SUCCESS)
            std::fprintf(stderr, "could not write %s\n", file.c_str());
    }
}

void Register() {
    for (size_t t = 0; t < g_Tests.size(); ++t) {
        for (int size : g_Sizes) {
            for (int e = 0; e < kEngineCount; ++e) {
                const std::string name = g_Tests[t].name + "/" + std::to_string(size) + "/" + kEngineNames[e];
                benchmark::internal::Benchmark* b = nullptr;
                if (e == kOurs)
                    b = benchmark::RegisterBenchmark(name.c_str(), [t, size](benchmark::State& s) {
                        RunCase<OursEngine>(s, t, size, kOurs);
                    });
                else if (e == kCairo)
                    b = benchmark::RegisterBenchmark(name.c_str(), [t, size](benchmark::State& s) {
                        RunCase<CairoEngine>(s, t, size, kCairo);
                    });
                else
                    b = benchmark::RegisterBenchmark(name.c_str(), [t, size](benchmark::State& s) {
                        RunCase<AggEngine>(s, t, size, kAgg);
                    });
                b->Iterations(1)->UseManualTime()->Unit(benchmark::kMicrosecond);
            }
        }
    }
}

std::string FormatRate(const std::map<std::pair<size_t, int>, Rate>& results, size_t t, int size) {
    auto it = results.find(std::make_pair(t, size));
    if (it == results.end()) return "-";
    char text[32];
    std::snprintf(text, sizeof(text), "%.2f", it->second.callsPerMs);
    return text;
}

std::string FormatRatio(size_t t, int size, Engine other) {
    auto ours = g_Results[kOurs].find(std::make_pair(t, size));
    auto them = g_Results[other].find(std::make_pair(t, size));
    if (ours == g_Results[kOurs].end() || them == g_Results[other].end() || them->second.callsPerMs <= 0.0)
        return "-";
    char text[32];
    std::snprintf(text, sizeof(text), "%.2f", ours->second.callsPerMs / them->second.callsPerMs);
    return text;
}

void PrintTable() {
    std::printf("\n| Test | Size | Ours (calls/ms) | Cairo (calls/ms) | AGG (calls/ms) | Ours/Cairo | Ours/AGG |\n");
    std::printf("|---|---:|---:|---:|---:|---:|---:|\n");
    for (size_t t = 0; t < g_Tests.size(); ++t) {
        for (int size : g_Sizes) {
            const auto key = std::make_pair(t, size);
            bool any = false;
            for (int e = 0; e < kEngineCount; ++e) any = any || g_Results[e].count(key) != 0;
            if (!any) continue;
            std::printf("| %s | %d | %s | %s | %s | %s | %s |\n", g_Tests[t].name.c_str(), size,
                        FormatRate(g_Results[kOurs], t, size).c_str(), FormatRate(g_Results[kCairo], t, size).c_str(),
                        FormatRate(g_Results[kAgg], t, size).c_str(), FormatRatio(t, size, kCairo).c_str(),
                        FormatRatio(t, size, kAgg).c_str());
        }
    }
    std::fflush(stdout);
}

std::vector<int> ParseSizes(const char* text) {
    std::vector<int> sizes;
    const char* p = text;
    while (*p) {
        char* end = nullptr;
        const long v = std::strtol(p, &end, 10);
        if (end == p) {
            ++p;
            continue;
        }
        if (v >= 1 && v <= std::min(kWidth, kHeight)) sizes.push_back(static_cast<int>(v));
        p = end;
    }
    return sizes;
}

}  // namespace

int main(int argc, char** argv) {
    bool quick = false;
    int kept = 1;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--quick") == 0)
            quick = true;
        else
            argv[kept++] = argv[i];
    }
    argc = kept;
    if (const char* q = std::getenv("GRAPHICS_BENCH_QUICK")) quick = quick || (*q && std::strcmp(q, "0") != 0);

    g_Sizes = quick ? std::vector<int>{16, 64, 256} : std::vector<int>{8, 16, 32, 64, 128, 256};
    if (quick) g_Repeats = 3;
    if (const char* sizes = std::getenv("GRAPHICS_BENCH_SIZES")) {
        std::vector<int> parsed = ParseSizes(sizes);
        if (!parsed.empty()) g_Sizes = parsed;
    }
    if (const char* repeats = std::getenv("GRAPHICS_BENCH_REPEATS")) g_Repeats = std::max(1, std::atoi(repeats));
    if (const char* directory = std::getenv("GRAPHICS_BENCH_SAVE")) g_SaveDirectory = directory;

    Canvas canvas;
    g_Canvas = &canvas;
    g_Tests = MakeTests();
    Register();

    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    PrintTable();
    benchmark::Shutdown();
    g_ShapeSets.clear();
    g_Canvas = nullptr;
    return 0;
}
