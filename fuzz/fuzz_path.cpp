// Builds a path from arbitrary bytes (any float, NaN and infinities included),
// then runs it through the geometry queries and the rasterizer under an
// arbitrary transform and clip. Nothing may crash, hang or read out of
// bounds, and every coverage value must stay within 0..64.

#include "Graphics/Geometry.h"
#include "Graphics/Rasterizer.h"
#include "FuzzInput.h"

#include <cstdint>
#include <cstdlib>
#include <memory>

using namespace Graphics;
using FuzzInput::Reader;

namespace {

class CheckingSink : public RasterizationSink {
public:
    void AddCoverage(int, std::shared_ptr<CoverageBuffer> buffer) override {
        int guard = 0;
        for (const CoverageBuffer::Span* s = buffer->GetHead(); s->next; s = s->next) {
            if (s->coverage < 0 || s->coverage > 64) std::abort();
            if (s->next->x < s->x) std::abort();
            if (++guard > 10000000) std::abort();
        }
    }
    void AddRectangle(int, int, int, int) override {}
    bool CanAcceptTrapezoids() const override { return trapezoids; }
    void AddTrapezoid(float, float, float, float, float, float, float, float) override {}
    bool trapezoids = false;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Reader in(data, size);
    auto geometry = std::make_shared<Geometry>();
    geometry->SetFillRule(in.Byte() & 1 ? FillRule::EvenOdd : FillRule::Winding);
    int curves = 0;
    for (int op = 0; op < 64 && !in.Empty(); ++op) {
        switch (in.Byte() % 9) {
            case 0: geometry->BeginFigure(in.P()); break;
            case 1:
            case 2: geometry->LineTo(in.P()); break;
            case 3:
                // Curves cost more to flatten; a handful is enough to explore.
                if (++curves > 4) break;
                {
                    const Point<float> a = in.P(), b = in.P();
                    geometry->CurveTo(a, b, in.P());
                }
                break;
            case 4: geometry->EndFigure(); break;
            case 5: geometry->EndFigureClose(); break;
            case 6: {
                const Point<float> a = in.P(), b = in.P();
                geometry->Rectangle(Rect<float>(a.x, a.y, b.x, b.y));
                break;
            }
            case 7: {
                if (++curves > 4) break;
                const Point<float> a = in.P(), b = in.P();
                geometry->Ellipse(Rect<float>(a.x, a.y, b.x, b.y));
                break;
            }
            case 8: {
                if (++curves > 4) break;
                const Point<float> a = in.P(), b = in.P(), r = in.P();
                geometry->RoundRectangle(Rect<float>(a.x, a.y, b.x, b.y), r.x, r.y);
                break;
            }
        }
    }

    // One value at a time: argument evaluation order differs between compilers.
    float v[6];
    for (float& f : v) f = in.Float();
    const Matrix m(v[0], v[1], v[2], v[3], v[4], v[5]);
    Rect<float> r;
    geometry->IsRectangle(m, &r);
    geometry->GetBound(m);
    auto copy = std::make_shared<Geometry>();
    geometry->Transform(m, copy);
    geometry->IsEqual(copy);

    const float clipWidth = static_cast<float>(in.Byte()) * 4;
    const Rect<float> clip(0, 0, clipWidth, static_cast<float>(in.Byte()) * 4);
    auto sink = std::make_shared<CheckingSink>();
    sink->trapezoids = in.Byte() & 1;
    RasterizeGeometry(geometry, m, clip, in.Byte() & 1, sink);
    return 0;
}
