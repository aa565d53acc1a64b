// The scan converter against a frozen copy of its earlier, straightforward
// form: for many random paths, both must make exactly the same sink calls in
// the same order, every coverage node included.

#include "Graphics/Rasterizer.h"
#include "raster/Rasterizer.h"

#include "ReferenceRasterizer.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <random>
#include <vector>

using namespace Graphics;

namespace {

const float kNaN = std::numeric_limits<float>::quiet_NaN();
const float kInf = std::numeric_limits<float>::infinity();

using Log = std::vector<int64_t>;

int64_t Bits(float f) {
    uint32_t u;
    std::memcpy(&u, &f, sizeof u);
    return u;
}

// Every call as a tag followed by its arguments, each coverage row as all
// of its nodes.
void LogRow(Log& log, int y, const CoverageBuffer::Span* s) {
    log.push_back(1);
    log.push_back(y);
    for (; s; s = s->next) {
        log.push_back(s->x);
        log.push_back(s->coverage);
    }
    log.push_back(-999);
}

void LogRow(Log& log, int y, const RefRaster::RefCoverageBuffer::Span* s) {
    log.push_back(1);
    log.push_back(y);
    for (; s; s = s->next) {
        log.push_back(s->x);
        log.push_back(s->coverage);
    }
    log.push_back(-999);
}

void LogRect(Log& log, int l, int t, int r, int b) { log.insert(log.end(), {2, l, t, r, b}); }

void LogTrapezoid(Log& log, float a, float b, float c, float d, float e, float f, float g, float h) {
    log.insert(log.end(), {3, Bits(a), Bits(b), Bits(c), Bits(d), Bits(e), Bits(f), Bits(g), Bits(h)});
}

class NewSink : public RasterizationSink {
public:
    explicit NewSink(bool trapezoids_) : trapezoids(trapezoids_) {}
    void AddCoverage(int y, std::shared_ptr<CoverageBuffer> buffer) override { LogRow(log, y, buffer->GetHead()); }
    void AddRectangle(int l, int t, int r, int b) override { LogRect(log, l, t, r, b); }
    bool CanAcceptTrapezoids() const override { return trapezoids; }
    void AddTrapezoid(float a, float b, float c, float d, float e, float f, float g, float h) override {
        LogTrapezoid(log, a, b, c, d, e, f, g, h);
    }
    bool trapezoids;
    Log log;
};

class OldSink : public RefRaster::RefSink {
public:
    explicit OldSink(bool trapezoids_) : trapezoids(trapezoids_) {}
    void AddCoverage(int y, std::shared_ptr<RefRaster::RefCoverageBuffer> buffer) override {
        LogRow(log, y, buffer->GetHead());
    }
    void AddRectangle(int l, int t, int r, int b) override { LogRect(log, l, t, r, b); }
    bool CanAcceptTrapezoids() const override { return trapezoids; }
    void AddTrapezoid(float a, float b, float c, float d, float e, float f, float g, float h) override {
        LogTrapezoid(log, a, b, c, d, e, f, g, h);
    }
    bool trapezoids;
    Log log;
};

// Runs both on one geometry with every combination of the two flags.
void Compare(const std::shared_ptr<Geometry>& geometry, const Matrix& matrix, const Rect<float>& clip, int round,
             bool visible = false) {
    for (int flags = 0; flags < 4; ++flags) {
        const bool adjust = flags & 1, trapezoids = (flags & 2) != 0;
        auto fresh = std::make_shared<NewSink>(trapezoids);
        auto frozen = std::make_shared<OldSink>(trapezoids);
        RasterizeGeometry(geometry, matrix, clip, adjust, fresh);
        RefRaster::RefRasterizeGeometry(geometry, matrix, clip, adjust, frozen);
        ASSERT_EQ(fresh->log, frozen->log) << "round " << round << " flags " << flags;
        if (visible) {
            EXPECT_GE(fresh->log.size(), 5u) << round;
        }
    }
}

std::shared_ptr<Geometry> RandomGeometry(std::mt19937& random, int round, float scale, float hugeChance) {
    std::uniform_real_distribution<float> unit(0.0f, 1.0f);
    const bool grid = round % 5 == 0;  // axis-aligned and whole-sample points
    auto coordinate = [&](bool line) -> float {
        const float u = unit(random);
        if (u < hugeChance * 0.2f) return kNaN;
        if (u < hugeChance * 0.4f) return unit(random) < 0.5f ? kInf : -kInf;
        if (u < hugeChance) return (unit(random) - 0.5f) * (line ? 2e7f : 2e3f);
        const float v = (unit(random) - 0.25f) * scale;
        return grid ? static_cast<float>(static_cast<int>(v * 8)) / 8 : v;
    };
    auto geometry = std::make_shared<Geometry>();
    geometry->SetFillRule(round % 2 ? FillRule::EvenOdd : FillRule::Winding);
    const int figures = 1 + static_cast<int>(unit(random) * 4);
    for (int f = 0; f < figures; ++f) {
        Point<float> last(coordinate(true), coordinate(true));
        geometry->BeginFigure(last);
        const int segments = 1 + static_cast<int>(unit(random) * (round % 7 == 0 ? 60 : 12));
        for (int s = 0; s < segments; ++s) {
            const float u = unit(random);
            if (u < 0.25f) {
                geometry->CurveTo(Point<float>(coordinate(false), coordinate(false)),
                                  Point<float>(coordinate(false), coordinate(false)),
                                  last = Point<float>(coordinate(false), coordinate(false)));
            } else if (u < 0.5f) {
                // Horizontal or vertical runs, the common case of strokes.
                if (unit(random) < 0.5f)
                    last.x = coordinate(true);
                else
                    last.y = coordinate(true);
                geometry->LineTo(last);
            } else {
                geometry->LineTo(last = Point<float>(coordinate(true), coordinate(true)));
            }
        }
        if (unit(random) < 0.7f)
            geometry->EndFigureClose();
        else
            geometry->EndFigure();
    }
    return geometry;
}

}  // namespace

TEST(RasterizerEquivalence, RandomPaths) {
    std::mt19937 random(8642);
    std::uniform_real_distribution<float> unit(0.0f, 1.0f);
    for (int round = 0; round < 1500; ++round) {
        const float scale = round % 3 == 0 ? 300.0f : 40.0f;
        const float hugeChance = round % 4 == 3 ? 0.1f : 0.0f;
        const std::shared_ptr<Geometry> geometry = RandomGeometry(random, round, scale, hugeChance);
        Matrix matrix;
        if (round % 6 == 1) matrix = Matrix(1.5f, 0.5f, -0.5f, 1.5f, 3.25f, -2.5f);
        if (round % 6 == 2) matrix = Matrix(unit(random) * 100, 0, 0, unit(random) * 100, 0, 0);
        if (round % 6 == 3) matrix = Matrix(unit(random) * 1e3f, 0, 0, unit(random) * 1e3f, -5, 7);
        if (round % 6 == 4) matrix = Matrix(-1, 0, 0, 1, scale, 0.375f);
        Rect<float> clip(0, 0, scale * 0.6f, scale * 0.6f);
        if (round % 8 == 5) clip = Rect<float>(3.3f, 2.7f, 9.1f, 30.2f);
        if (round % 8 == 6) clip = Rect<float>(-1e6f, -1e6f, 1e6f, 1e6f);
        if (round % 8 == 7) clip = Rect<float>(-7.5f, -3.25f, 5.0f, 4.0f);
        Compare(geometry, matrix, clip, round);
        if (HasFatalFailure()) return;
    }
}

TEST(RasterizerEquivalence, FixedShapes) {
    const Rect<float> clip(0, 0, 300, 300);
    auto make = [](std::initializer_list<Point<float>> points, FillRule::Enum rule) {
        auto g = std::make_shared<Geometry>();
        g->SetFillRule(rule);
        auto it = points.begin();
        g->BeginFigure(*it);
        for (++it; it != points.end(); ++it) g->LineTo(*it);
        g->EndFigureClose();
        return g;
    };
    int round = 0;
    for (FillRule::Enum rule : {FillRule::Winding, FillRule::EvenOdd}) {
        // Rectangles on and off the sample grid, a hairline, a thin sliver,
        // a stroke-like frame, a star that overlaps itself.
        Compare(make({{10, 10}, {200, 10}, {200, 100}, {10, 100}}, rule), Matrix(), clip, round++, true);
        Compare(make({{10.3f, 10.6f}, {200.1f, 10.6f}, {200.1f, 100.9f}, {10.3f, 100.9f}}, rule), Matrix(), clip,
                round++, true);
        Compare(make({{5, 5}, {5.01f, 5}, {5.01f, 250}, {5, 250}}, rule), Matrix(), clip, round++, true);
        Compare(make({{5, 5}, {250, 6}, {5, 7}}, rule), Matrix(), clip, round++, true);
        auto frame = std::make_shared<Geometry>();
        frame->SetFillRule(rule);
        frame->Rectangle(Rect<float>(20.5f, 20.5f, 120.5f, 90.5f));
        frame->Rectangle(Rect<float>(22.5f, 22.5f, 118.5f, 88.5f));
        Compare(frame, Matrix(), clip, round++, true);
        Compare(make({{150, 10}, {180, 280}, {10, 100}, {290, 100}, {120, 280}}, rule), Matrix(), clip, round++, true);
        auto ellipse = std::make_shared<Geometry>();
        ellipse->SetFillRule(rule);
        ellipse->Ellipse(Rect<float>(0.5f, 30.2f, 255.5f, 200.7f));
        Compare(ellipse, Matrix(), clip, round++, true);
        Compare(ellipse, Matrix(0.8f, 0.6f, -0.6f, 0.8f, 100, -20), clip, round++, true);
    }
}

TEST(RasterizerEquivalence, CoverageBufferDirectly) {
    // Spans in any order, overlapping, empty and reversed, negative and far,
    // over several rows of one buffer.
    std::mt19937 random(97531);
    std::uniform_int_distribution<int> small(-80, 400);
    std::uniform_int_distribution<int> pick(0, 99);
    CoverageBuffer buffer;
    RefRaster::RefCoverageBuffer reference;
    for (int row = 0; row < 3000; ++row) {
        const int spans = pick(random) % 24;
        const bool ordered = row % 2 == 0;
        int x = small(random);
        for (int i = 0; i < spans; ++i) {
            int x0, x1;
            if (ordered) {
                x0 = x + pick(random) % 20;
                x1 = x0 + pick(random) % 40;
                x = x1 + pick(random) % 5;
            } else {
                x0 = small(random);
                x1 = pick(random) < 10 ? x0 - pick(random) % 9 : x0 + pick(random) % 90;
            }
            if (pick(random) == 0) {
                x0 *= 1000;
                x1 *= 1000;
            }
            buffer.InsertSpan(x0, x1);
            reference.InsertSpan(x0, x1);
        }
        Log a, b;
        LogRow(a, row, buffer.GetHead());
        LogRow(b, row, reference.GetHead());
        ASSERT_EQ(a, b) << row;
        // Reading twice gives the same.
        Log c;
        LogRow(c, row, buffer.GetHead());
        ASSERT_EQ(a, c) << row;
        // Spans added after a read go on from what was read.
        if (row % 3 == 0) {
            for (int i = 0; i < 3; ++i) {
                const int x0 = small(random), x1 = x0 + pick(random);
                buffer.InsertSpan(x0, x1);
                reference.InsertSpan(x0, x1);
            }
            Log d, e;
            LogRow(d, row, buffer.GetHead());
            LogRow(e, row, reference.GetHead());
            ASSERT_EQ(d, e) << row;
        }
        buffer.Reset();
        reference.Reset();
    }
}
