// RasterizeGeometry builds its stages itself for the common cases; it must
// send exactly what the general chain of MakeRasterizationChain sends.

#include "Graphics/Geometry.h"
#include "Graphics/Rasterizer.h"
#include "geometry/StripClipper.h"
#include "geometry/Transformer.h"
#include "raster/Rasterizer.h"

#include "RasterRecordingSink.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <memory>
#include <random>

using namespace Graphics;
using namespace RasterTest;

namespace {

const float kNaN = std::numeric_limits<float>::quiet_NaN();
const float kInf = std::numeric_limits<float>::infinity();

void ExpectSame(const RecordingRasterSink& a, const RecordingRasterSink& b, int round) {
    SCOPED_TRACE(::testing::Message() << "round " << round);
    ASSERT_EQ(a.calls, b.calls);
    EXPECT_EQ(a.rects, b.rects);
    ASSERT_EQ(a.rows.size(), b.rows.size());
    for (std::size_t i = 0; i < a.rows.size(); ++i) {
        EXPECT_EQ(a.rows[i].y, b.rows[i].y);
        EXPECT_EQ(a.rows[i].nodes, b.rows[i].nodes);
    }
    ASSERT_EQ(a.traps.size(), b.traps.size());
    for (std::size_t i = 0; i < a.traps.size(); ++i)
        EXPECT_EQ(std::memcmp(&a.traps[i], &b.traps[i], sizeof(Trapezoid)), 0);
}

std::shared_ptr<Geometry> Rectangle(const Rect<float>& r) {
    auto geometry = std::make_shared<Geometry>();
    geometry->Rectangle(r);
    return geometry;
}

}  // namespace

TEST(RasterizeGeometry, ChainOfStages) {
    // The rasterizer alone within the limits and untransformed (a left side
    // exactly at the limit included); a right side at the limit takes a
    // clipper in x, a bottom one in y; a transform comes first.
    auto rasterizer = std::make_shared<Rasterizer>(Rect<float>(0, 0, 10, 10), 0.25f, false, nullptr);
    auto chain = [&](const Rect<float>& r, const Matrix& m) {
        return MakeRasterizationChain(*Rectangle(r), m, rasterizer);
    };
    EXPECT_EQ(chain(Rect<float>(0, 0, 10, 10), Matrix()), rasterizer);
    EXPECT_EQ(chain(Rect<float>(-32535.0f, -32535.0f, 0, 0), Matrix()), rasterizer);
    auto inX = std::dynamic_pointer_cast<StripClipper>(chain(Rect<float>(0, 0, 32535.0f, 10), Matrix()));
    auto inY = std::dynamic_pointer_cast<StripClipper>(chain(Rect<float>(0, 0, 10, 32535.0f), Matrix()));
    ASSERT_TRUE(inX && inY);
    EXPECT_EQ(inX->GetPointRegion(Point<float>(40000, 0)), 2);
    EXPECT_EQ(inX->GetPointRegion(Point<float>(0, 40000)), 1);
    EXPECT_EQ(inY->GetPointRegion(Point<float>(0, 40000)), 2);
    EXPECT_TRUE(std::dynamic_pointer_cast<Transformer>(chain(Rect<float>(0, 0, 1, 1), Matrix(1, 0, 0, 1, 0.5f, 0))));

    // The transform maps the points; the fill rule travels with the geometry.
    auto sink = std::make_shared<RecordingRasterSink>();
    RasterizeGeometry(Rectangle(Rect<float>(0, 0, 1, 1)), Matrix(2, 0, 0, 1, 1, 1), Rect<float>(0, 0, 8, 8), false,
                      sink);
    EXPECT_EQ(sink->RowNumbers(), std::vector<int>{1});
    EXPECT_EQ(sink->Inner(1), (std::vector<Node>{{1, 64}, {3, 0}}));
    auto evenOdd = Rectangle(Rect<float>(0, 0, 2, 1));
    evenOdd->Rectangle(Rect<float>(1, 0, 3, 1));
    evenOdd->SetFillRule(FillRule::EvenOdd);
    auto eo = std::make_shared<RecordingRasterSink>();
    RasterizeGeometry(evenOdd, Matrix(), Rect<float>(0, 0, 8, 8), false, eo);
    EXPECT_EQ(eo->Dense(0, 0, 4), (std::vector<int>{64, 0, 64, 0}));
}

// Random paths, some with huge, infinite or NaN coordinates, under random
// transforms and both fill rules: RasterizeGeometry sends exactly what the
// general chain sends, its output keeps its invariants, and where the
// rasterizer may take its shortcuts for stationary edges, the coverage equals
// that of a run that cannot (a moving sliver far right of the clip keeps
// every sample row apart without changing the coverage left of it).
TEST(RasterizeGeometry, RandomPathsAgreeWithTheGeneralChain) {
    std::mt19937 rng(20261121);
    std::uniform_real_distribution<float> coord(-20.0f, 120.0f);
    std::uniform_real_distribution<float> unit(-1.5f, 1.5f);
    std::uniform_int_distribution<int> pick(0, 9);
    std::uniform_real_distribution<float> chance(0.0f, 1.0f);
    const Rect<float> clip(0.0f, 0.0f, 100.0f, 90.0f);

    for (int round = 0; round < 500; ++round) {
        const bool wild = round % 3 == 2;
        // Curves stay within 1e3 so that the flattener stays quick.
        auto value = [&](bool line) -> float {
            const float u = wild ? chance(rng) : 1.0f;
            if (u < 0.03f) return kNaN;
            if (u < 0.06f) return pick(rng) < 5 ? kInf : -kInf;
            if (u < 0.15f) return unit(rng) * (line ? 1e7f : 1e3f);
            return coord(rng);
        };
        auto geometry = std::make_shared<Geometry>();
        const int kind = pick(rng);
        if (kind < 4) {
            // Rectangles, the first of them far out on one axis at times.
            float far = kind == 0 ? 40000.0f : (kind == 1 ? -50000.0f : 0.0f);
            for (int n = 1 + pick(rng) / 4; n > 0; --n, far = 0) {
                const float l = coord(rng), t = coord(rng);
                Rect<float> r(l, t, l + coord(rng) * 0.5f + 1.0f, t + coord(rng) * 0.5f + 1.0f);
                (round % 2 ? r.right : r.bottom) += far;
                geometry->Rectangle(r);
            }
        } else {
            for (int f = 1 + pick(rng) / 7; f > 0; --f) {
                geometry->BeginFigure(Point<float>(value(true), value(true)));
                for (int i = 3 + pick(rng); i > 0; --i) {
                    if (pick(rng) < 3)
                        geometry->CurveTo(Point<float>(value(false), value(false)),
                                          Point<float>(value(false), value(false)),
                                          Point<float>(value(false), value(false)));
                    else
                        geometry->LineTo(Point<float>(value(true), value(true)));
                }
                if (pick(rng) < 7) geometry->EndFigureClose(); else geometry->EndFigure();
            }
            if (pick(rng) < 5) geometry->SetFillRule(FillRule::EvenOdd);
        }
        Matrix m;
        switch (round % 4) {
            case 0: break;
            case 1: m = Matrix(1.0f, 0.0f, 0.0f, 1.0f, unit(rng) * 7.0f, unit(rng) * 7.0f); break;
            case 2: m = Matrix(unit(rng), unit(rng), unit(rng), unit(rng), coord(rng), coord(rng)); break;
            default:
                m = wild ? Matrix(value(false), value(false), value(false), value(false), 0, 0)
                         : Matrix(unit(rng) * 600.0f, 0.0f, 0.0f, unit(rng) * 600.0f, 10.0f, 10.0f);
                break;
        }
        const bool adjust = round % 3 == 0;
        const bool trapezoids = round % 2 == 1;

        auto fast = std::make_shared<RecordingRasterSink>(trapezoids);
        RasterizeGeometry(geometry, m, clip, adjust, fast);
        auto general = std::make_shared<RecordingRasterSink>(trapezoids);
        auto sliver = std::make_shared<RecordingRasterSink>();
        for (const auto& sink : {general, sliver}) {
            auto rasterizer = std::make_shared<Rasterizer>(clip, 0.25f, adjust && sink == general, sink);
            rasterizer->BeginGeometry();
            geometry->SendToSink(MakeRasterizationChain(*geometry, m, rasterizer));
            if (sink == sliver) {
                rasterizer->BeginFigure(Point<float>(30000, -10));
                rasterizer->LineTo(Point<float>(30001, 100));
                rasterizer->LineTo(Point<float>(30002, 100));
                rasterizer->LineTo(Point<float>(30001, -10));
                rasterizer->EndFigureClose();
            }
            rasterizer->EndGeometry();
        }
        ExpectSame(*fast, *general, round);
        if (HasFatalFailure()) return;
        for (int y = 0; y < 90 && !adjust && !trapezoids; ++y)
            ASSERT_EQ(fast->Dense(y, 0, 100), sliver->Dense(y, 0, 100)) << round << " " << y;
        EXPECT_TRUE(adjust || fast->rects.empty());
        for (const CoverageRow& row : fast->rows) {
            ASSERT_TRUE(row.y >= 0 && row.y < 90) << round;
            ASSERT_GE(row.nodes.size(), 2u);
            EXPECT_EQ(row.nodes.front(), Node(kMin, 0));
            EXPECT_EQ(row.nodes.back(), Node(kMax, 0));
            for (std::size_t i = 0; i + 1 < row.nodes.size(); ++i) {
                ASSERT_LT(row.nodes[i].first, row.nodes[i + 1].first) << round;
                ASSERT_TRUE(row.nodes[i].second >= 0 && row.nodes[i].second <= 64) << round;
            }
        }
        for (const Trapezoid& t : fast->traps) EXPECT_TRUE(t.top >= 0 && t.top < t.bottom && t.bottom <= 90) << round;
    }
}

namespace {

// Rasterizes a second geometry from inside its first row, and keeps the
// buffers it is handed, as a sink that misbehaves might.
class NestingSink : public RecordingRasterSink {
public:
    void AddCoverage(int y, std::shared_ptr<CoverageBuffer> buffer) override {
        if (nest) {
            nest = false;
            auto inner = std::make_shared<RecordingRasterSink>();
            RasterizeGeometry(Rectangle(Rect<float>(1.5f, 0.25f, 4.0f, 3.0f)), Matrix(), Rect<float>(0, 0, 8, 8), false,
                              inner);
            innerRows = inner->rows;
        }
        kept.push_back(buffer);
        RecordingRasterSink::AddCoverage(y, std::move(buffer));
    }
    bool nest = true;
    std::vector<CoverageRow> innerRows;
    std::vector<std::shared_ptr<CoverageBuffer>> kept;
};

}  // namespace

// Rasterizers on one thread hand their lists and coverage buffer on to the
// next; one that runs inside another's sink, or after a sink kept the
// buffer, must work on its own and still give the same rows.
TEST(RasterizeGeometry, ReusedStorageStaysPrivateToEachDraw) {
    auto shape = std::make_shared<Geometry>();
    shape->BeginFigure(Point<float>(0.5f, 0.5f));
    shape->LineTo(Point<float>(7.25f, 1.0f));
    shape->LineTo(Point<float>(3.0f, 6.75f));
    shape->EndFigureClose();
    const Rect<float> clip(0, 0, 8, 8);

    auto plain = std::make_shared<RecordingRasterSink>();
    RasterizeGeometry(shape, Matrix(), clip, false, plain);
    auto boxAlone = std::make_shared<RecordingRasterSink>();
    RasterizeGeometry(Rectangle(Rect<float>(1.5f, 0.25f, 4.0f, 3.0f)), Matrix(), clip, false, boxAlone);

    auto nesting = std::make_shared<NestingSink>();
    RasterizeGeometry(shape, Matrix(), clip, false, nesting);
    ExpectSame(*plain, *nesting, 0);
    ASSERT_EQ(boxAlone->rows.size(), nesting->innerRows.size());
    for (std::size_t i = 0; i < boxAlone->rows.size(); ++i)
        EXPECT_EQ(boxAlone->rows[i].nodes, nesting->innerRows[i].nodes);

    // A draw after the sink kept the buffer makes its own.
    auto after = std::make_shared<RecordingRasterSink>();
    RasterizeGeometry(shape, Matrix(), clip, false, after);
    ExpectSame(*plain, *after, 1);
    ASSERT_FALSE(nesting->kept.empty());
    EXPECT_EQ(static_cast<long>(nesting->kept.size()), nesting->kept.front().use_count());
}
