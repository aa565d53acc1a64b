// Drives a bitmap render target through the public interface from arbitrary
// bytes: transforms (singular and non-finite ones too), settings, state and
// clips, fills and strokes of any geometry with solid, gradient and bitmap
// paints of every pixel format, bitmaps and gradients drawn directly, and
// inverted rectangles. A refused call may throw the library's exception;
// nothing may crash, hang or touch memory it does not own.

#include "Graphics/Graphics.h"
#include "FuzzInput.h"

#include <cstdint>
#include <exception>
#include <memory>
#include <vector>

using namespace Graphics;
using FuzzInput::Reader;

namespace {

Rect<float> ReadRect(Reader& in) {
    const Point<float> a = in.P();
    const Point<float> b = in.P();
    return Rect<float>(a.x, a.y, b.x, b.y);
}

// Mostly near a scaled translation, sometimes anything.
Matrix ReadMatrix(Reader& in) {
    float v[6];
    for (float& f : v) f = in.Float();
    if (in.Byte() < 192) {
        v[0] = 1.0f + v[0] / 64.0f;
        v[3] = 1.0f + v[3] / 64.0f;
        v[1] /= 64.0f;
        v[2] /= 64.0f;
    }
    return Matrix(v[0], v[1], v[2], v[3], v[4], v[5]);
}

std::shared_ptr<Geometry> MakeGeometry(Reader& in) {
    auto geometry = std::make_shared<Geometry>();
    geometry->SetFillRule(in.Byte() & 1 ? FillRule::EvenOdd : FillRule::Winding);
    const int ops = 1 + in.Pick(12);
    int curves = 0;
    for (int op = 0; op < ops; ++op) {
        switch (in.Pick(8)) {
            case 0: geometry->BeginFigure(in.P()); break;
            case 1:
            case 2: geometry->LineTo(in.P()); break;
            case 3: {
                // Curves cost more to flatten and to stroke; a few suffice.
                if (++curves > 3) break;
                const Point<float> a = in.P(), b = in.P();
                geometry->CurveTo(a, b, in.P());
                break;
            }
            case 4: geometry->EndFigureClose(); break;
            case 5: geometry->Rectangle(ReadRect(in)); break;
            case 6: {
                if (++curves > 3) break;
                geometry->Ellipse(ReadRect(in));
                break;
            }
            case 7: {
                if (++curves > 3) break;
                const Rect<float> r = ReadRect(in);
                const float rx = in.Float();
                geometry->RoundRectangle(r, rx, in.Float());
                break;
            }
        }
    }
    if (in.Byte() & 1) geometry->EndFigure();
    return geometry;
}

// A small bitmap of any format, palette included for the indexed ones.
std::shared_ptr<Bitmap> MakeBitmap(Reader& in) {
    const auto format = static_cast<PixelFormat::Enum>(1 + in.Pick(10));
    const int width = in.Pick(6), height = in.Pick(6);
    auto bitmap = std::make_shared<Bitmap>(Size<int>(width, height), format, 96.0f, 96.0f);
    if (PixelFormat::IsIndexed(format)) {
        const int count = in.Pick(5);
        std::vector<unsigned int> colors(static_cast<size_t>(count) + 1);
        for (unsigned int& c : colors) c = in.Word();
        bitmap->SetPalette(std::make_shared<Palette>(colors.data(), static_cast<unsigned long>(count)));
    }
    std::vector<uint8_t> bytes(static_cast<size_t>(width) * height * 4 + 4);
    for (uint8_t& b : bytes) b = in.Byte();
    if (width > 0 && height > 0) bitmap->CopyFromMemory(nullptr, bytes.data(), width * 4, width * 4);
    return bitmap;
}

std::shared_ptr<Gradient> MakeGradient(Reader& in) {
    GradientStop stops[4];
    const int count = in.Pick(5);
    for (int i = 0; i < count; ++i) {
        stops[i].offset = in.Float();
        stops[i].color = in.Word();
    }
    std::shared_ptr<LinearGradientBase> gradient;
    if (in.Byte() & 1) {
        const Point<float> a = in.P();
        gradient = std::make_shared<LinearGradient>(stops, static_cast<unsigned long>(count), a, in.P());
    } else {
        const Point<float> a = in.P();
        const float ra = in.Float();
        const Point<float> b = in.P();
        gradient = std::make_shared<RadialGradient>(stops, static_cast<unsigned long>(count), a, ra, b, in.Float());
    }
    gradient->SetExtendStart(in.Byte() & 1);
    gradient->SetExtendEnd(in.Byte() & 1);
    return gradient;
}

std::shared_ptr<Brush> MakeBrush(Reader& in) {
    std::shared_ptr<Brush> brush;
    switch (in.Pick(3)) {
        case 0: brush = std::make_shared<SolidBrush>(in.Word()); break;
        case 1: brush = std::make_shared<GradientBrush>(MakeGradient(in)); break;
        default: {
            auto bitmapBrush = std::make_shared<BitmapBrush>(MakeBitmap(in));
            bitmapBrush->SetInterpolationMode(static_cast<InterpolationMode::Enum>(in.Pick(3)));
            bitmapBrush->SetExtendModeX(static_cast<ExtendMode::Enum>(in.Pick(3)));
            bitmapBrush->SetExtendModeY(static_cast<ExtendMode::Enum>(in.Pick(3)));
            brush = bitmapBrush;
        }
    }
    if (in.Byte() & 1) brush->SetTransform(ReadMatrix(in));
    if (in.Byte() & 1) brush->SetOpacity(in.Float());
    return brush;
}

StrokeParameters MakeStroke(Reader& in) {
    StrokeParameters stroke;
    stroke.join = static_cast<LineJoin::Enum>(in.Pick(3));
    stroke.cap = static_cast<LineCap::Enum>(in.Pick(3));
    stroke.miterLimit = in.Float();
    const int dashes = in.Pick(5);
    for (int i = 0; i < dashes; ++i) stroke.dashes.push_back(in.Float());
    stroke.dashOffset = in.Float();
    return stroke;
}

void Step(Reader& in, RenderTarget& target) {
    switch (in.Pick(14)) {
        case 0: target.SetTransform(ReadMatrix(in)); break;
        case 1: target.SetBlendMode(static_cast<BlendMode::Enum>(in.Pick(16))); break;
        case 2: target.SetInterpolationMode(static_cast<InterpolationMode::Enum>(in.Pick(3))); break;
        case 3: target.SetStrokeAdjustment(in.Byte() & 1); break;
        case 4: in.Byte() & 1 ? target.PushState() : target.PopState(); break;
        case 5: in.Byte() & 1 ? target.ClipRectangle(ReadRect(in)) : target.ClipGeometry(MakeGeometry(in)); break;
        case 6:
        case 7: {
            auto geometry = MakeGeometry(in);
            target.FillGeometry(geometry, MakeBrush(in));
            break;
        }
        case 8:
        case 9: {
            auto geometry = MakeGeometry(in);
            auto brush = MakeBrush(in);
            const float width = in.Float();
            target.StrokeGeometry(geometry, brush, width, MakeStroke(in));
            break;
        }
        case 10: {
            auto bitmap = MakeBitmap(in);
            target.DrawBitmap(bitmap, in.Float());
            break;
        }
        case 11: {
            auto gradient = MakeGradient(in);
            target.DrawGradient(gradient, in.Float());
            break;
        }
        case 12: target.InvertRectangle(ReadRect(in)); break;
        case 13: target.Clear(in.Word()); break;
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Reader in(data, size);
    const PixelFormat::Enum formats[] = {PixelFormat::ARGB8p, PixelFormat::XRGB8, PixelFormat::ARGB8,
                                         PixelFormat::RGB8, PixelFormat::A8, PixelFormat::L8};
    const auto format = formats[in.Pick(6)];
    auto bitmap = std::make_shared<Bitmap>(Size<int>(1 + in.Pick(40), 1 + in.Pick(30)), format, 96.0f, 96.0f);
    try {
        BitmapRenderTarget target(bitmap);
        target.BeginPaint();
        for (int step = 0; step < 24 && !in.Empty(); ++step) {
            try {
                Step(in, target);
            } catch (const std::exception&) {
                // A refusal; the target must go on working.
            }
        }
        target.EndPaint();
    } catch (const std::exception&) {
    }
    return 0;
}
