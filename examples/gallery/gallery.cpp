// The gallery: renders every scene into <out>/gallery/*.png and writes
// <out>/index.html, a page that shows them with captions. Uses only the
// public headers.

#include <Graphics/Graphics.h>
#include <Graphics/Brush.h>
#include <Graphics/Gradient.h>
#include <Graphics/Rasterizer.h>
#include <Graphics/RenderTarget.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <functional>
#include <iostream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

using namespace Graphics;

namespace {

struct Entry {
    std::string section;
    std::string file;
    std::string caption;
    int displayWidth;  // 0: natural size
};

std::string g_Out;
std::vector<Entry> g_Entries;

std::wstring Wide(const std::string& s) { return std::wstring(s.begin(), s.end()); }

// Saves a bitmap for the page. The PNG writer reads premultiplied words, so
// anything else is first converted to ARGB8p.
void Show(const std::string& section, const std::string& name, std::shared_ptr<Bitmap> bitmap,
          const std::string& caption, int displayWidth = 0) {
    std::shared_ptr<Bitmap> shown = bitmap;
    if (bitmap->GetPixelFormat() != PixelFormat::ARGB8p) {
        shown = std::make_shared<Bitmap>(bitmap->GetSize(), PixelFormat::ARGB8p, bitmap->GetDpiX(), bitmap->GetDpiY());
        shown->CopyFromBitmap(nullptr, bitmap, nullptr);
    }
    const std::string file = "gallery/" + name + ".png";
    shown->SaveToFile(Wide(g_Out + "/" + file));
    g_Entries.push_back({section, file, caption, displayWidth});
}

// A colourful test picture in ARGB8p: a hue sweep, a gray ramp, and a
// translucent disc.
std::shared_ptr<Bitmap> MakePicture(int w, int h) {
    auto bitmap = std::make_shared<Bitmap>(Size<int>(w, h), PixelFormat::ARGB8, 96.0f, 96.0f);
    LockedData l = bitmap->Lock(nullptr, LockMode::Write);
    for (int y = 0; y < h; ++y) {
        unsigned int* row = reinterpret_cast<unsigned int*>(static_cast<unsigned char*>(l.data) + l.stride * y);
        for (int x = 0; x < w; ++x) {
            const float hue = 6.0f * x / w;
            const float v = 1.0f - 0.8f * y / h;
            float r = std::fabs(hue - 3.0f) - 1.0f, g = 2.0f - std::fabs(hue - 2.0f), b = 2.0f - std::fabs(hue - 4.0f);
            r = std::fmin(std::fmax(r, 0.0f), 1.0f) * v;
            g = std::fmin(std::fmax(g, 0.0f), 1.0f) * v;
            b = std::fmin(std::fmax(b, 0.0f), 1.0f) * v;
            float a = 1.0f;
            if (y > h * 3 / 4) r = g = b = static_cast<float>(x) / w;  // gray ramp
            const float dx = x - w * 0.7f, dy = y - h * 0.4f;
            const float d = std::sqrt(dx * dx + dy * dy);
            if (d < h * 0.3f) {
                a = 0.25f + 0.75f * d / (h * 0.3f);  // translucent towards the centre
            }
            row[x] = Color(r, g, b, a).ToARGB();
        }
    }
    bitmap->Unlock();
    auto premultiplied = std::make_shared<Bitmap>(Size<int>(w, h), PixelFormat::ARGB8p, 96.0f, 96.0f);
    premultiplied->CopyFromBitmap(nullptr, bitmap, nullptr);
    return premultiplied;
}

void SceneClears() {
    const char* section = "Clears";
    struct Case {
        PixelFormat::Enum format;
        const char* name;
        unsigned int color;
        const char* caption;
    } cases[] = {
        {PixelFormat::ARGB8p, "clear_argb8p", 0xFF2060A0u,
         "ARGB8p: opaque 0xFF2060A0, written straight into the bitmap's pixels."},
        {PixelFormat::ARGB8p, "clear_argb8p_translucent", 0x80FF8000u,
         "ARGB8p: translucent 0x80FF8000, stored premultiplied as 0x80804000."},
        {PixelFormat::XRGB8, "clear_xrgb8", 0xFF40A040u, "XRGB8: 0xFF40A040, the top byte written as 255."},
        {PixelFormat::RGB8, "clear_rgb8", 0xFFC03030u,
         "RGB8: painted through a premultiplied copy that reaches the bitmap at EndPaint."},
    };
    for (const Case& c : cases) {
        auto bitmap = std::make_shared<Bitmap>(Size<int>(160, 100), c.format, 96.0f, 96.0f);
        BitmapRenderTarget target(bitmap);
        target.BeginPaint();
        target.Clear(c.color);
        target.EndPaint();
        Show(section, c.name, bitmap, c.caption);
    }
}

void SceneConversions() {
    const char* section = "One picture through every format";
    auto picture = MakePicture(240, 120);
    Show(section, "convert_source", picture, "The source picture in ARGB8p.");

    unsigned int gray[256];
    for (unsigned int i = 0; i < 256; ++i) gray[i] = 0xFF000000u | (i << 16) | (i << 8) | i;
    const unsigned int duo[2] = {0xFF1B2A49u, 0xFFF2C14Eu};
    struct Case {
        PixelFormat::Enum format;
        const char* name;
        const char* caption;
        std::shared_ptr<Palette> palette;
    } cases[] = {
        {PixelFormat::ARGB8, "convert_argb8", "ARGB8: unpremultiplied and back; alpha kept.", nullptr},
        {PixelFormat::XRGB8, "convert_xrgb8", "XRGB8: unpremultiplied colour, alpha dropped.", nullptr},
        {PixelFormat::RGB8, "convert_rgb8", "RGB8: three bytes a pixel, alpha dropped.", nullptr},
        {PixelFormat::A8, "convert_a8", "A8: alpha only, shown as white with that alpha.", nullptr},
        {PixelFormat::L8, "convert_l8", "L8: gray (77 R + 151 G + 28 B) / 256.", nullptr},
        {PixelFormat::P8, "convert_p8", "P8: the gray level as index into a gray palette.",
         std::make_shared<Palette>(gray, 256)},
        {PixelFormat::A1, "convert_a1", "A1: set wherever alpha is not 0.", nullptr},
        {PixelFormat::L1, "convert_l1", "L1: gray threshold above 128.", nullptr},
        {PixelFormat::P1, "convert_p1", "P1: the same threshold as index into a two-colour palette.",
         std::make_shared<Palette>(duo, 2)},
    };
    for (const Case& c : cases) {
        auto converted = std::make_shared<Bitmap>(picture->GetSize(), c.format, 96.0f, 96.0f);
        converted->CopyFromBitmap(nullptr, picture, nullptr);
        if (c.palette) converted->SetPalette(c.palette);
        Show(section, c.name, converted, c.caption);
    }
}

void SceneFiles() {
    const char* section = "Saved and reloaded";
    auto picture = MakePicture(240, 120);
    const char* types[] = {"png", "jpeg", "bmp", "tiff"};
    for (const char* type : types) {
        const std::string file = g_Out + "/gallery/picture." + type;
        picture->SaveToFile(Wide(file));
        auto loaded = Bitmap::LoadFromFile(Wide(file));
        std::ostringstream caption;
        std::ifstream in(file, std::ios::binary | std::ios::ate);
        caption << "Saved as " << type << " (" << static_cast<long>(in.tellg()) << " bytes) and loaded back as "
                << (loaded->GetPixelFormat() == PixelFormat::ARGB8 ? "ARGB8" : "?") << ", "
                << loaded->GetSize().width << " x " << loaded->GetSize().height << " at " << loaded->GetDpiX()
                << " dpi.";
        Show(section, std::string("file_") + type, loaded, caption.str());
    }
}

// Writes coverage as gray levels into an ARGB8p bitmap: 64 (full) is white.
class CoverageMapSink : public RasterizationSink {
public:
    explicit CoverageMapSink(std::shared_ptr<Bitmap> b) : bitmap(std::move(b)) {}

    void AddCoverage(int y, std::shared_ptr<CoverageBuffer> buffer) override {
        const Size<int> size = bitmap->GetSize();
        if (y < 0 || y >= size.height) return;
        for (const CoverageBuffer::Span* s = buffer->GetHead(); s->next; s = s->next) {
            if (!s->coverage) continue;
            const int x0 = s->x < 0 ? 0 : s->x;
            const int x1 = s->next->x > size.width ? size.width : s->next->x;
            for (int x = x0; x < x1; ++x) Put(x, y, s->coverage);
        }
    }
    void AddRectangle(int left, int top, int right, int bottom) override {
        const Size<int> size = bitmap->GetSize();
        for (int y = top < 0 ? 0 : top; y < bottom && y < size.height; ++y)
            for (int x = left < 0 ? 0 : left; x < right && x < size.width; ++x) Put(x, y, 64);
    }
    bool CanAcceptTrapezoids() const override { return false; }
    void AddTrapezoid(float, float, float, float, float, float, float, float) override {}

private:
    void Put(int x, int y, int coverage) {
        const unsigned int g = static_cast<unsigned int>(coverage >= 64 ? 255 : coverage * 4);
        LockedData l = bitmap->Lock(nullptr, LockMode::ReadWrite);
        unsigned int* row = reinterpret_cast<unsigned int*>(static_cast<unsigned char*>(l.data) + l.stride * y);
        row[x] = 0xFF000000u | (g << 16) | (g << 8) | g;
        bitmap->Unlock();
    }
    std::shared_ptr<Bitmap> bitmap;
};

std::shared_ptr<Bitmap> CoverageMap(std::shared_ptr<Geometry> geometry, const Matrix& transform, int w, int h) {
    auto bitmap = std::make_shared<Bitmap>(Size<int>(w, h), PixelFormat::ARGB8p, 96.0f, 96.0f);
    bitmap->ColorFill(nullptr, Color(0xFF000000u));
    RasterizeGeometry(geometry, transform, Rect<float>(0, 0, static_cast<float>(w), static_cast<float>(h)), false,
                      std::make_shared<CoverageMapSink>(bitmap));
    return bitmap;
}

std::shared_ptr<Geometry> Star(float cx, float cy, float r) {
    auto g = std::make_shared<Geometry>();
    for (int i = 0; i < 5; ++i) {
        const double a = -M_PI / 2 + i * 4 * M_PI / 5;
        const Point<float> p(cx + r * static_cast<float>(std::cos(a)), cy + r * static_cast<float>(std::sin(a)));
        if (i == 0) g->BeginFigure(p); else g->LineTo(p);
    }
    g->EndFigureClose();
    return g;
}

void SceneCoverage() {
    const char* section = "Coverage maps";
    auto winding = Star(24, 24, 21);
    Show(section, "coverage_star_winding", CoverageMap(winding, Matrix(), 48, 48),
         "A pentagram under Winding: the centre is inside. Coverage 0..64 as gray, 8 x 8 samples a pixel.", 240);
    auto evenOdd = Star(24, 24, 21);
    evenOdd->SetFillRule(FillRule::EvenOdd);
    Show(section, "coverage_star_evenodd", CoverageMap(evenOdd, Matrix(), 48, 48),
         "The same pentagram under EvenOdd: the centre is outside.", 240);

    auto curves = std::make_shared<Geometry>();
    curves->BeginFigure(Point<float>(4, 40));
    curves->CurveTo(Point<float>(4, 4), Point<float>(30, 4), Point<float>(30, 24));
    curves->CurveTo(Point<float>(30, 40), Point<float>(44, 44), Point<float>(44, 8));
    curves->LineTo(Point<float>(44, 44));
    curves->EndFigureClose();
    curves->Ellipse(Rect<float>(47, 6, 62.5f, 40));
    Show(section, "coverage_curves", CoverageMap(curves, Matrix(), 64, 48),
         "Cubic curves flattened to a quarter pixel, and an ellipse.", 320);

    auto rounded = std::make_shared<Geometry>();
    rounded->RoundRectangle(Rect<float>(-12, -7, 12, 7), 4, 4);
    const float c = static_cast<float>(std::cos(0.5)), s = static_cast<float>(std::sin(0.5));
    const Matrix rotateScale = Matrix::Multiply(Matrix(1.6f * c, 1.6f * s, -1.2f * s, 1.2f * c, 0, 0),
                                                Matrix(1, 0, 0, 1, 24, 24));
    Show(section, "coverage_transformed", CoverageMap(rounded, rotateScale, 48, 48),
         "A rounded rectangle scaled by (1.6, 1.2) and turned by 0.5 radians before rasterizing.", 240);

    auto rect = std::make_shared<Geometry>();
    rect->Rectangle(Rect<float>(4.5f, 4.25f, 19.5f, 12.75f));
    Show(section, "coverage_rectangle", CoverageMap(rect, Matrix(), 24, 16),
         "A rectangle on half and quarter pixels: its edges are partly covered.", 240);
}

// A paint cycle on a new ARGB8p bitmap cleared to `background`.
std::shared_ptr<Bitmap> Paint(int w, int h, unsigned int background, const std::function<void(RenderTarget&)>& draw) {
    auto bitmap = std::make_shared<Bitmap>(Size<int>(w, h), PixelFormat::ARGB8p, 96.0f, 96.0f);
    BitmapRenderTarget target(bitmap);
    target.BeginPaint();
    target.Clear(background);
    draw(target);
    target.EndPaint();
    return bitmap;
}

std::shared_ptr<SolidBrush> Solid(unsigned int argb) { return std::make_shared<SolidBrush>(argb); }

void SceneFills() {
    const char* section = "Solid fills";
    Show(section, "fill_rules", Paint(320, 160, 0xFFFFFFFFu, [](RenderTarget& t) {
             auto winding = Star(80, 80, 70);
             auto evenOdd = Star(240, 80, 70);
             evenOdd->SetFillRule(FillRule::EvenOdd);
             t.FillGeometry(winding, Solid(0xFF2A6FDBu));
             t.FillGeometry(evenOdd, Solid(0xFFDB2A6Fu));
         }),
         "Anti-aliased pentagrams: Winding (left) and EvenOdd (right).");

    Show(section, "fill_transformed", Paint(320, 200, 0xFFF4F1E8u, [](RenderTarget& t) {
             auto shape = std::make_shared<Geometry>();
             shape->RoundRectangle(Rect<float>(-50, -25, 50, 25), 12, 12);
             for (int i = 0; i < 6; ++i) {
                 t.PushState();
                 t.TranslateTransform(160, 100);
                 t.RotateTransform(0.5236f * i);
                 t.ScaleTransform(1.0f + 0.25f * i, 1.0f - 0.1f * i);
                 t.FillGeometry(shape, Solid(0x40000000u | (0x30u * i << 16) | 0x6090u));
                 t.PopState();
             }
         }),
         "A rounded rectangle under rotation and scale, translucent layers of paint.");

    Show(section, "fill_overlaps", Paint(320, 200, 0xFFFFFFFFu, [](RenderTarget& t) {
             t.FillCircle(Point<float>(120, 80), 60, Solid(0x99FF0000u));
             t.FillCircle(Point<float>(200, 80), 60, Solid(0x9900C000u));
             t.FillCircle(Point<float>(160, 140), 60, Solid(0x990000FFu));
             t.FillEllipse(Rect<float>(20, 150, 300, 190), Solid(0x60000000u));
         }),
         "Translucent circles compositing source-over.");

    Show(section, "fill_snap", Paint(320, 120, 0xFFFFFFFFu, [](RenderTarget& t) {
             for (int on = 0; on < 2; ++on) {
                 t.SetStrokeAdjustment(on == 1);
                 for (int i = 0; i < 10; ++i) {
                     const float x = 10.0f + i * 15.3f + on * 0.0f;
                     const float y = on ? 64.0f : 8.0f;
                     t.FillRectangle(Rect<float>(x, y + 0.3f, x + 0.4f + i * 0.7f, y + 48.6f), Solid(0xFF000000u));
                 }
             }
         }),
         "Rectangles on fractional coordinates: stroke adjustment off (top, soft edges) and on (bottom, snapped "
         "to whole pixels, never thinner than one).");

    // Sixteen blend modes, each a pair of discs over a colourful backdrop.
    const char* names[16] = {"Normal",   "Multiply",   "Screen",    "Overlay",    "Darken",    "Lighten",
                             "ColorBurn", "ColorDodge", "HardLight", "SoftLight",  "Difference", "Exclusion",
                             "Hue",       "Saturation", "Color",     "Luminosity"};
    auto backdrop = MakePicture(96, 96);
    std::string caption = "The sixteen blend modes, left to right, top to bottom: ";
    for (int i = 0; i < 16; ++i) caption += std::string(names[i]) + (i < 15 ? ", " : ".");
    Show(section, "blend_modes", Paint(4 * 104, 4 * 104, 0xFFFFFFFFu, [&](RenderTarget& t) {
             for (int i = 0; i < 16; ++i) {
                 t.PushState();
                 t.TranslateTransform(4.0f + 104.0f * (i % 4), 4.0f + 104.0f * (i / 4));
                 t.DrawBitmap(backdrop, 1.0f);
                 t.SetBlendMode(static_cast<BlendMode::Enum>(i));
                 t.FillCircle(Point<float>(34, 40), 28, Solid(0xFFFFC020u));
                 t.FillCircle(Point<float>(62, 58), 28, Solid(0xC02040E0u));
                 t.PopState();
             }
         }),
         caption);
}

void SceneStrokes() {
    const char* section = "Strokes and dashes";
    Show(section, "stroke_joins_caps", Paint(420, 300, 0xFFFFFFFFu, [](RenderTarget& t) {
             const LineCap::Enum caps[3] = {LineCap::Butt, LineCap::Round, LineCap::Square};
             const LineJoin::Enum joins[3] = {LineJoin::Miter, LineJoin::Round, LineJoin::Bevel};
             auto zigzag = std::make_shared<Geometry>();
             zigzag->BeginFigure(Point<float>(0, 60));
             zigzag->LineTo(Point<float>(30, 0));
             zigzag->LineTo(Point<float>(60, 60));
             zigzag->LineTo(Point<float>(90, 20));
             zigzag->EndFigure();
             for (int j = 0; j < 3; ++j)
                 for (int c = 0; c < 3; ++c) {
                     StrokeParameters p;
                     p.join = joins[j];
                     p.cap = caps[c];
                     t.PushState();
                     t.TranslateTransform(30.0f + 135.0f * c, 20.0f + 95.0f * j);
                     t.StrokeGeometry(zigzag, Solid(0xFF3050A0u), 14.0f, p);
                     t.StrokeGeometry(zigzag, Solid(0xFFFFFFFFu), 0.0f, p);
                     t.PopState();
                 }
         }),
         "Joins (rows: Miter, Round, Bevel) by caps (columns: Butt, Round, Square), with the path as a hairline.");

    Show(section, "stroke_miter_limit", Paint(420, 110, 0xFFFFFFFFu, [](RenderTarget& t) {
             for (int i = 0; i < 7; ++i) {
                 auto v = std::make_shared<Geometry>();
                 const float spread = 4.0f + 6.0f * i;
                 v->BeginFigure(Point<float>(-spread, 80));
                 v->LineTo(Point<float>(0, 10));
                 v->LineTo(Point<float>(spread, 80));
                 v->EndFigure();
                 StrokeParameters p;
                 p.miterLimit = 4.0f;
                 t.PushState();
                 t.TranslateTransform(35.0f + 58.0f * i, 10.0f);
                 t.StrokeGeometry(v, Solid(0xFF208060u), 8.0f, p);
                 t.PopState();
             }
         }),
         "Miter limit 4: the sharper corners fall back to a bevel.");

    Show(section, "stroke_dashes", Paint(420, 240, 0xFFFFFFFFu, [](RenderTarget& t) {
             for (int i = 0; i < 4; ++i) {
                 StrokeParameters p;
                 p.dashes = {24.0f, 8.0f, 4.0f, 8.0f};
                 p.dashOffset = 6.0f * i;
                 p.cap = LineCap::Butt;
                 t.StrokeLine(Point<float>(20, 20.0f + 14 * i), Point<float>(400, 20.0f + 14 * i),
                              Solid(0xFF000000u), 4.0f, p);
             }
             StrokeParameters round;
             round.dashes = {0.0f, 14.0f};
             round.cap = LineCap::Round;
             auto curve = std::make_shared<Geometry>();
             curve->BeginFigure(Point<float>(20, 200));
             curve->CurveTo(Point<float>(100, 60), Point<float>(160, 260), Point<float>(220, 110));
             curve->EndFigure();
             t.StrokeGeometry(curve, Solid(0xFFC03030u), 6.0f, round);
             StrokeParameters closed;
             closed.dashes = {18.0f, 9.0f};
             closed.join = LineJoin::Round;
             t.StrokeRoundRectangle(Rect<float>(250, 100, 400, 220), 20, 20, Solid(0xFF3060C0u), 5.0f, closed);
         }),
         "Dash pattern (24, 8, 4, 8) with offsets 0, 6, 12 and 18 on lines; round dots along a curve; a dashed closed shape.");

    Show(section, "stroke_hairlines", Paint(420, 160, 0xFFFFFFFFu, [](RenderTarget& t) {
             for (int i = 0; i < 5; ++i) {
                 t.PushState();
                 t.TranslateTransform(20.0f + 80.0f * i, 20.0f);
                 t.ScaleTransform(0.5f + i, 0.5f + i);
                 t.StrokeEllipse(Rect<float>(0, 0, 60.0f / (0.5f + i), 120.0f / (0.5f + i)), Solid(0xFF000000u), 0.0f,
                                 StrokeParameters());
                 t.PopState();
             }
         }),
         "Hairlines (width 0) stay one device line thin under scales from 0.5 to 4.5.");

    Show(section, "stroke_adjustment", Paint(420, 110, 0xFFFFFFFFu, [](RenderTarget& t) {
             for (int on = 0; on < 2; ++on) {
                 t.SetStrokeAdjustment(on == 1);
                 for (int i = 0; i < 6; ++i) {
                     const float x = 10.0f + 210.0f * on + i * 33.3f;
                     t.StrokeRectangle(Rect<float>(x, 10.4f + i * 3, x + 28, 90.2f), Solid(0xFF000000u), 1.0f,
                                       StrokeParameters());
                 }
             }
         }),
         "One-pixel rectangles on fractional coordinates: stroke adjustment off (left, blurred) and on (right, "
         "crisp).");
}

void SceneBitmapsAndGradients() {
    const char* section = "Bitmaps and gradients";
    auto photo = MakePicture(64, 48);
    const char* modeNames[3] = {"Nearest", "Linear", "HighQuality"};
    for (int m = 0; m < 3; ++m) {
        Show(section, std::string("bitmap_") + modeNames[m], Paint(240, 200, 0xFFFFFFFFu, [&](RenderTarget& t) {
                 t.SetInterpolationMode(static_cast<InterpolationMode::Enum>(m));
                 t.PushState();
                 t.TranslateTransform(20, 20);
                 t.RotateTransform(0.3f);
                 t.ScaleTransform(2.5f, 2.5f);
                 t.DrawBitmap(photo, 1.0f);
                 t.PopState();
                 t.PushState();
                 t.TranslateTransform(170, 140);
                 t.ScaleTransform(0.8f, 0.8f);
                 t.DrawBitmap(MakePicture(64, 48), 1.0f);
                 t.PopState();
             }),
             std::string("A picture turned and enlarged 2.5 times, and reduced, in ") + modeNames[m] + " mode.");
    }
    const char* extendNames[3] = {"Clamp", "Wrap", "Mirror"};
    for (int e = 0; e < 3; ++e) {
        Show(section, std::string("extend_") + extendNames[e], Paint(240, 160, 0xFFFFFFFFu, [&](RenderTarget& t) {
                 auto brush = std::make_shared<BitmapBrush>(photo);
                 brush->SetExtendModeX(static_cast<ExtendMode::Enum>(e));
                 brush->SetExtendModeY(static_cast<ExtendMode::Enum>(e));
                 brush->SetTransform(Matrix(0.9f, 0.2f, -0.2f, 0.9f, 90, 50));
                 t.FillRectangle(Rect<float>(0, 0, 240, 160), brush);
             }),
             std::string("A bitmap brush over a large rectangle, extend mode ") + extendNames[e] + ".");
    }

    const GradientStop stops[4] = {GradientStop(0.0f, 0xFFE63946u), GradientStop(0.35f, 0xFFF1FAEEu),
                                   GradientStop(0.7f, 0xFF457B9Du), GradientStop(1.0f, 0x001D3557u)};
    Show(section, "gradient_linear", Paint(420, 140, 0xFFFFFFFFu, [&](RenderTarget& t) {
             for (int i = 0; i < 4; ++i) {
                 auto g = std::make_shared<LinearGradient>(stops, 4, Point<float>(25.0f + 105 * i, 30),
                                                           Point<float>(75.0f + 105 * i, 110));
                 g->SetExtendStart(i & 1);
                 g->SetExtendEnd(i & 2);
                 t.FillRectangle(Rect<float>(5.0f + 105 * i, 10, 100.0f + 105 * i, 130),
                                 std::make_shared<GradientBrush>(g));
             }
         }),
         "Linear gradients with four stops, the last transparent; extend flags: none, start, end, both.");
    Show(section, "gradient_radial", Paint(420, 140, 0xFFFFFFFFu, [&](RenderTarget& t) {
             auto inside = std::make_shared<RadialGradient>(stops, 4, Point<float>(60, 60), 5.0f,
                                                            Point<float>(75, 70), 55.0f);
             inside->SetExtendStart(true);
             inside->SetExtendEnd(true);
             t.FillRectangle(Rect<float>(5, 5, 135, 135), std::make_shared<GradientBrush>(inside));
             auto apart = std::make_shared<RadialGradient>(stops, 4, Point<float>(160, 40), 10.0f,
                                                           Point<float>(250, 100), 40.0f);
             apart->SetExtendStart(true);
             apart->SetExtendEnd(true);
             t.FillRectangle(Rect<float>(145, 5, 275, 135), std::make_shared<GradientBrush>(apart));
             auto plain = std::make_shared<RadialGradient>(stops, 4, Point<float>(350, 70), 60.0f);
             t.FillRectangle(Rect<float>(285, 5, 415, 135), std::make_shared<GradientBrush>(plain));
         }),
         "Radial gradients: one circle inside the other, two separate circles (a cone), one centred circle "
         "not extended.");

    Show(section, "invert_rectangle", Paint(240, 120, 0xFFFFFFFFu, [&](RenderTarget& t) {
             t.DrawBitmap(MakePicture(240, 120), 1.0f);
             t.InvertRectangle(Rect<float>(40, 20, 200, 100));
         }),
         "InvertRectangle over a picture.");
}

void WritePage() {
    std::ofstream page(g_Out + "/index.html");
    page << "<!DOCTYPE html>\n<html><head><meta charset=\"utf-8\"><title>Graphics gallery</title>\n"
         << "<style>body{font-family:sans-serif;margin:2em;background:#eee}"
         << "figure{display:inline-block;margin:0.5em;vertical-align:top;max-width:260px}"
         << "img{background:repeating-conic-gradient(#ccc 0 25%,#fff 0 50%) 0 0/16px 16px;"
         << "border:1px solid #999;image-rendering:pixelated}"
         << "figcaption{font-size:0.85em}</style></head><body>\n<h1>Graphics gallery</h1>\n";
    std::string current;
    for (const Entry& e : g_Entries) {
        if (e.section != current) {
            current = e.section;
            page << "<h2>" << current << "</h2>\n";
        }
        page << "<figure><img src=\"" << e.file << "\" alt=\"" << e.file << "\"";
        if (e.displayWidth) page << " width=\"" << e.displayWidth << "\"";
        page << "><figcaption>" << e.caption
             << "</figcaption></figure>\n";
    }
    page << "</body></html>\n";
}

}  // namespace

int main(int argc, char** argv) {
    g_Out = argc > 1 ? argv[1] : "out";
    RuntimeParameters requested, actual;
    requested.mode = RuntimeMode::Software;
    Startup(requested, &actual);
    int status = 0;
    const std::vector<std::pair<const char*, std::function<void()>>> scenes = {
        {"clears", SceneClears},
        {"conversions", SceneConversions},
        {"files", SceneFiles},
        {"coverage", SceneCoverage},
        {"fills", SceneFills},
        {"strokes", SceneStrokes},
        {"bitmaps", SceneBitmapsAndGradients},
    };
    for (const auto& scene : scenes) {
        try {
            scene.second();
        } catch (const Exception& e) {
            std::cerr << "gallery: scene " << scene.first << " failed: " << e.what() << "\n";
            status = 1;
        }
    }
    WritePage();
    Shutdown();
    std::cout << "gallery: " << g_Entries.size() << " pictures in " << g_Out << "/gallery, page " << g_Out
              << "/index.html\n";
    return status;
}
