// The strip clipper, and the chain of stages before the rasterizer:
// RasterizeGeometry builds its own for the common cases and must send exactly
// what the general chain of MakeRasterizationChain sends.

#include "Graphics/Geometry.h"
#include "Graphics/Rasterizer.h"
#include "geometry/StripClipper.h"
#include "geometry/Transformer.h"
#include "raster/Rasterizer.h"

#include "RasterRecordingSink.h"

#include <gtest/gtest.h>

#include <limits>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <vector>

using namespace Graphics;
using namespace RasterTest;

namespace {


const StripOrientation::Enum V = StripOrientation::Vertical, H = StripOrientation::Horizontal;

using Events = std::vector<std::string>;

std::string P(float x, float y) {
    std::ostringstream os;
    os.precision(9);
    os << x << " " << y;
    return os.str();
}

// The events a sink receives, as text; the points of figures as well.
class TextSink : public GeometrySink {
public:
    void SetFillRule(FillRule::Enum rule) override { events.push_back("R " + std::to_string(int(rule))); }
    void BeginFigure(const Point<float>& p) override { events.push_back("B " + P(p.x, p.y)); points.push_back(p); }
    void EndFigure() override { events.push_back("E"); }
    void EndFigureClose() override { events.push_back("C"); }
    void LineTo(const Point<float>& p) override { events.push_back("L " + P(p.x, p.y)); points.push_back(p); }
    void CurveTo(const Point<float>&, const Point<float>&, const Point<float>&) override { events.push_back("Q"); }

    Events events;
    Polygon points;
};

Events Clip(StripOrientation::Enum orientation, const Polygon& figure, bool close = true) {
    auto sink = std::make_shared<TextSink>();
    StripClipper clipper(orientation, 0, 10, 0.25f, sink);
    Polyline(clipper, figure, close);
    return sink->events;
}

// The winding number of the closed polygon around (x, y).
int Winding(const Polygon& poly, double x, double y) {
    int winding = 0;
    for (std::size_t k = 0; k < poly.size(); ++k) {
        const Point<float> &a = poly[k], &b = poly[(k + 1) % poly.size()];
        const double cross = (double(b.x) - a.x) * (y - a.y) - (x - a.x) * (double(b.y) - a.y);
        if (a.y <= y && b.y > y && cross > 0) ++winding;
        if (a.y > y && b.y <= y && cross < 0) --winding;
    }
    return winding;
}

bool Same(const RecordingRasterSink& a, const RecordingRasterSink& b) {
    return a.calls == b.calls && a.rects == b.rects && a.rows == b.rows && a.traps == b.traps;
}

std::shared_ptr<Geometry> Rectangle(const Rect<float>& r) {
    auto geometry = std::make_shared<Geometry>();
    geometry->Rectangle(r);
    return geometry;
}

// Rasterizes an 8 by 8 pixel clip of the geometry.
std::shared_ptr<RecordingRasterSink> Draw(std::shared_ptr<Geometry> geometry,
                                          std::shared_ptr<RecordingRasterSink> sink = nullptr) {
    if (!sink) sink = std::make_shared<RecordingRasterSink>();
    RasterizeGeometry(std::move(geometry), Matrix(), Rect<float>(0, 0, 8, 8), false, sink);
    return sink;
}

// Rasterizes a second geometry from inside its first row, and keeps the
// buffers it is handed, as a sink that misbehaves might.
class NestingSink : public RecordingRasterSink {
public:
    void AddCoverage(int y, std::shared_ptr<CoverageBuffer> buffer) override {
        if (nest) nest = false, innerRows = Draw(Rectangle(Rect<float>(1.5f, 0.25f, 4.0f, 3.0f)))->rows;
        kept.push_back(buffer);
        RecordingRasterSink::AddCoverage(y, std::move(buffer));
    }
    bool nest = true;
    std::vector<CoverageRow> innerRows;
    std::vector<std::shared_ptr<CoverageBuffer>> kept;
};

}  // namespace

TEST(StripClipper, FiguresWorkedByHand) {
    struct Case { const char* name; StripOrientation::Enum orientation; Polygon figure; bool close; Events events; };
    // Nothing goes out before a second point; the start returns with the close.
    const Case cases[] = {
        {"vertex beyond the high bound", V, {{2, 0}, {14, 4}, {2, 8}}, true,
         {"B " + P(10, 8.0f / 3.0f), "L " + P(10, 16.0f / 3.0f), "L " + P(2, 8), "L " + P(2, 0), "C"}},
        {"wholly beyond, low, open", V, {{-20, 0}, {-30, 0}, {-30, 5}}, false, {"C"}},
        {"open figure is closed", V, {{1, 1}, {3, 1}, {3, 3}}, false,
         {"B " + P(3, 1), "L " + P(3, 3), "L " + P(1, 1), "C"}},
        {"vertex on the bound", V, {{5, 5}, {10, 5}, {5, 8}}, true,
         {"B " + P(10, 5), "L " + P(5, 8), "L " + P(5, 5), "C"}},
        {"starts beyond, enters on the way", V, {{-10, 0}, {10, 20}, {-10, 20}}, true,
         {"B " + P(0, 10), "L " + P(10, 20), "L " + P(0, 20), "C"}},
        {"across the strip", H, {{0, -10}, {20, 30}, {-20, 30}}, true,
         {"B " + P(5, 0), "L " + P(10, 10), "L " + P(-10, 10), "L " + P(-5, 0), "C"}},
        {"excursion beyond", H, {{0, 5}, {4, 25}, {8, 15}, {8, 5}}, true,
         {"B " + P(1, 10), "L " + P(8, 10), "L " + P(8, 5), "L " + P(0, 5), "C"}},
    };
    for (const Case& c : cases) EXPECT_EQ(Clip(c.orientation, c.figure, c.close), c.events) << c.name;
    // A point on a bound, or NaN, is inside; infinities are beyond.
    const StripClipper v(V, 0, 10, 0.25f, nullptr);
    const float xs[] = {-0.5f, 0, 10, 10.001f, kNaN, kInf, -kInf};
    const int regions[] = {0, 1, 1, 2, 1, 2, 0};
    for (int i = 0; i < 7; ++i) EXPECT_EQ(v.GetPointRegion(Point<float>(xs[i], 100)), regions[i]) << xs[i];
    // The fill rule passes; curves are flattened; one wholly beyond leaves the join along the bound.
    auto curves = std::make_shared<TextSink>();
    StripClipper curveClipper(V, 0, 10, 0.25f, curves);
    curveClipper.SetFillRule(FillRule::EvenOdd);
    curveClipper.BeginFigure({1, 1}); curveClipper.CurveTo({9, 1}, {9, 9}, {1, 9});
    const std::size_t afterInside = curves->events.size();
    curveClipper.LineTo({20, 9}); curveClipper.CurveTo({40, 0}, {40, 20}, {20, 20}); curveClipper.EndFigureClose();
    ASSERT_GT(afterInside, 5u);
    EXPECT_TRUE(curves->events[0] == "R 1" && curves->events[afterInside - 1] == "L " + P(1, 9));
    EXPECT_EQ(Events(curves->events.begin() + afterInside, curves->events.end()),
              (Events{"L " + P(10, 9), "L " + P(10, 10), "L " + P(1, 1), "C"}));
    // Infinities and non-numbers: toward infinity y is not a number.
    const Events odd = Clip(V, {{5, 5}, {kInf, 5}, {kNaN, 7}, {5, kInf}, {-kInf, 1}});
    EXPECT_TRUE(odd.front().substr(0, 5) == "B 10 " && odd.back() == "C");
}

// Random polygons clipped in y, then x: inside, the winding is the input's.
TEST(StripClipper, KeepsTheWindingInsideTheStrip) {
    std::mt19937 random(7);
    std::uniform_real_distribution<float> coordinate(-20.0f, 36.0f);
    for (int round = 0; round < 40; ++round) {
        Polygon polygon;
        for (int i = 0; i < 12; ++i) polygon.push_back(Point<float>(coordinate(random), coordinate(random)));
        auto recorder = std::make_shared<TextSink>();
        auto inX = std::make_shared<StripClipper>(V, 4, 12, 0.25f, recorder);
        StripClipper inY(H, 12, 4, 0.25f, inX);
        Polyline(inY, polygon);
        ASSERT_EQ(recorder->events.back(), "C");
        for (const Point<float>& p : recorder->points)  // y within a rounding of the second cut
            EXPECT_TRUE(p.x >= 4 && p.x <= 12 && p.y >= 3.999f && p.y <= 12.001f) << p.x << ", " << p.y;
        for (int j = 0; j < 40; ++j)
            for (int i = 0; i < 40; ++i) {
                const double x = 4 + (i + 0.313) * 0.2, y = 4 + (j + 0.571) * 0.2;
                EXPECT_EQ(Winding(recorder->points, x, y), Winding(polygon, x, y)) << round << " at " << x << ", " << y;
            }
    }
}

TEST(RasterizeGeometry, ChainOfStages) {
    // A left side exactly at the limit needs no clipper; a right side at it
    // takes one in x, a bottom one in y; a transform comes first.
    auto rasterizer = std::make_shared<Rasterizer>(Rect<float>(0, 0, 10, 10), 0.25f, false, nullptr);
    auto chain = [&](const Rect<float>& r, const Matrix& m) {
        return MakeRasterizationChain(*Rectangle(r), m, rasterizer);
    };
    EXPECT_EQ(chain(Rect<float>(0, 0, 10, 10), Matrix()), rasterizer);
    EXPECT_EQ(chain(Rect<float>(-32535.0f, -32535.0f, 0, 0), Matrix()), rasterizer);
    auto inX = std::dynamic_pointer_cast<StripClipper>(chain(Rect<float>(0, 0, 32535.0f, 10), Matrix()));
    auto inY = std::dynamic_pointer_cast<StripClipper>(chain(Rect<float>(0, 0, 10, 32535.0f), Matrix()));
    ASSERT_TRUE(inX && inY);
    EXPECT_TRUE(inX->GetPointRegion({40000, 0}) == 2 && inX->GetPointRegion({0, 40000}) == 1);
    EXPECT_EQ(inY->GetPointRegion({0, 40000}), 2);
    EXPECT_TRUE(std::dynamic_pointer_cast<Transformer>(chain(Rect<float>(0, 0, 1, 1), Matrix(1, 0, 0, 1, 0.5f, 0))));
}

// Random paths, some huge, infinite or NaN, under random transforms and both
// fill rules: RasterizeGeometry sends what the general chain sends, keeps its
// invariants, and its coverage equals that of a run whose moving sliver far
// right of the clip stops the shortcuts for stationary edges.
TEST(RasterizeGeometry, RandomPathsAgreeWithTheGeneralChain) {
    std::mt19937 rng(20261121);
    std::uniform_real_distribution<float> coord(-20.0f, 120.0f), unit(-1.5f, 1.5f), chance(0.0f, 1.0f);
    std::uniform_int_distribution<int> pick(0, 9);
    const Rect<float> clip(0.0f, 0.0f, 100.0f, 90.0f);
    for (int round = 0; round < 500; ++round) {
        const bool wild = round % 3 == 2;
        auto value = [&](bool line) -> float {  // curves within 1e3 keep the flattener quick
            const float u = wild ? chance(rng) : 1.0f;
            if (u < 0.03f) return kNaN;
            if (u < 0.06f) return pick(rng) < 5 ? kInf : -kInf;
            if (u < 0.15f) return unit(rng) * (line ? 1e7f : 1e3f);
            return coord(rng);
        };
        auto point = [&](bool line) { return Point<float>(value(line), value(line)); };
        auto geometry = std::make_shared<Geometry>();
        const int kind = pick(rng);
        if (kind < 4) {  // rectangles, the first far out on one axis at times
            float far = kind == 0 ? 40000.0f : (kind == 1 ? -50000.0f : 0.0f);
            for (int n = 1 + pick(rng) / 4; n > 0; --n, far = 0) {
                const float l = coord(rng), t = coord(rng);
                Rect<float> r(l, t, l + coord(rng) * 0.5f + 1.0f, t + coord(rng) * 0.5f + 1.0f);
                (round % 2 ? r.right : r.bottom) += far;
                geometry->Rectangle(r);
            }
        } else {
            for (int f = 1 + pick(rng) / 7; f > 0; --f) {
                geometry->BeginFigure(point(true));
                for (int i = 3 + pick(rng); i > 0; --i) {
                    if (pick(rng) >= 3) { geometry->LineTo(point(true)); continue; }
                    const Point<float> a = point(false), b = point(false);
                    geometry->CurveTo(a, b, point(false));
                }
                if (pick(rng) < 7) geometry->EndFigureClose(); else geometry->EndFigure();
            }
            if (pick(rng) < 5) geometry->SetFillRule(FillRule::EvenOdd);
        }
        Matrix m;
        if (round % 4 == 1) m = Matrix(1.0f, 0.0f, 0.0f, 1.0f, unit(rng) * 7.0f, unit(rng) * 7.0f);
        if (round % 4 == 2) m = Matrix(unit(rng), unit(rng), unit(rng), unit(rng), coord(rng), coord(rng));
        if (round % 4 == 3)
            m = wild ? Matrix(value(false), value(false), value(false), value(false), 0, 0)
                     : Matrix(unit(rng) * 600.0f, 0.0f, 0.0f, unit(rng) * 600.0f, 10.0f, 10.0f);
        const bool adjust = round % 3 == 0, trapezoids = round % 2 == 1;
        auto fast = std::make_shared<RecordingRasterSink>(trapezoids);
        RasterizeGeometry(geometry, m, clip, adjust, fast);
        auto general = std::make_shared<RecordingRasterSink>(trapezoids);
        auto sliver = std::make_shared<RecordingRasterSink>();
        for (const auto& sink : {general, sliver}) {
            auto rasterizer = std::make_shared<Rasterizer>(clip, 0.25f, adjust && sink == general, sink);
            rasterizer->BeginGeometry();
            geometry->SendToSink(MakeRasterizationChain(*geometry, m, rasterizer));
            if (sink == sliver) Polyline(*rasterizer, {{30000, -10}, {30001, 100}, {30002, 100}, {30001, -10}});
            rasterizer->EndGeometry();
        }
        ASSERT_TRUE(Same(*fast, *general)) << "round " << round;
        for (int y = 0; y < 90 && !adjust && !trapezoids; ++y)
            ASSERT_EQ(fast->Dense(y, 0, 100), sliver->Dense(y, 0, 100)) << round << " " << y;
        EXPECT_TRUE(adjust || fast->rects.empty());
        for (const CoverageRow& row : fast->rows) {
            ASSERT_TRUE(row.y >= 0 && row.y < 90 && row.nodes.size() >= 2) << round;
            EXPECT_TRUE(row.nodes.front() == Node(kMin, 0) && row.nodes.back() == Node(kMax, 0));
            for (std::size_t i = 0; i + 1 < row.nodes.size(); ++i)
                ASSERT_TRUE(row.nodes[i].first < row.nodes[i + 1].first && row.nodes[i].second >= 0 &&
                            row.nodes[i].second <= 64) << round;
        }
        for (const Trapezoid& t : fast->traps) EXPECT_TRUE(t.top >= 0 && t.top < t.bottom && t.bottom <= 90) << round;
    }
}

// Rasterizers on one thread hand their lists and coverage buffer on; one run
// inside another's sink, or after a sink kept the buffer, must work alone.
TEST(RasterizeGeometry, ReusedStorageStaysPrivateToEachDraw) {
    auto shape = std::make_shared<Geometry>();
    Polyline(*shape, {{0.5f, 0.5f}, {7.25f, 1.0f}, {3.0f, 6.75f}});
    auto plain = Draw(shape), boxAlone = Draw(Rectangle(Rect<float>(1.5f, 0.25f, 4.0f, 3.0f)));
    auto nesting = std::make_shared<NestingSink>();
    Draw(shape, nesting);
    EXPECT_TRUE(Same(*plain, *nesting) && boxAlone->rows == nesting->innerRows);
    EXPECT_TRUE(Same(*plain, *Draw(shape)));  // a draw after the sink kept the buffer makes its own
    ASSERT_FALSE(nesting->kept.empty());
    EXPECT_EQ(static_cast<long>(nesting->kept.size()), nesting->kept.front().use_count());
}
