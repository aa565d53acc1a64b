// RasterizeGeometry builds its stages itself for the common cases; it must
// send exactly what the general chain of MakeRasterizationChain sends, for
// every transform and for paths that reach beyond the strip limits.

#include "Graphics/Geometry.h"
#include "Graphics/Rasterizer.h"
#include "core/FpuState.h"
#include "raster/Rasterizer.h"

#include "RasterRecordingSink.h"

#include <gtest/gtest.h>

#include <memory>
#include <random>

using namespace Graphics;
using RasterTest::RecordingRasterSink;

namespace {

void ExpectSame(const RecordingRasterSink& a, const RecordingRasterSink& b, int round) {
    ASSERT_EQ(a.calls, b.calls) << "round " << round;
    ASSERT_EQ(a.rects.size(), b.rects.size()) << "round " << round;
    for (std::size_t i = 0; i < a.rects.size(); ++i) EXPECT_EQ(a.rects[i], b.rects[i]) << "round " << round;
    ASSERT_EQ(a.rows.size(), b.rows.size()) << "round " << round;
    for (std::size_t i = 0; i < a.rows.size(); ++i) {
        EXPECT_EQ(a.rows[i].y, b.rows[i].y) << "round " << round;
        EXPECT_EQ(a.rows[i].nodes, b.rows[i].nodes) << "round " << round;
    }
}

}  // namespace

TEST(RasterizeGeometry, SameAsGeneralChainOnRandomPaths) {
    std::mt19937 rng(20261121);
    std::uniform_real_distribution<float> coord(-20.0f, 120.0f);
    std::uniform_real_distribution<float> unit(-1.5f, 1.5f);
    std::uniform_int_distribution<int> pick(0, 9);
    const Rect<float> clip(0.0f, 0.0f, 100.0f, 90.0f);

    for (int round = 0; round < 600; ++round) {
        std::shared_ptr<Geometry> geometry = std::make_shared<Geometry>();
        const int kind = pick(rng);
        const float far = (kind == 0) ? 40000.0f : (kind == 1 ? -50000.0f : 0.0f);
        if (kind < 4) {
            // Rectangles, some of them far out on one axis or the other.
            const float l = coord(rng), t = coord(rng);
            Rect<float> r(l, t, l + coord(rng) * 0.5f + 1.0f, t + coord(rng) * 0.5f + 1.0f);
            if (round % 2) r.right += far; else r.bottom += far;
            geometry->Rectangle(r);
        } else {
            geometry->BeginFigure(Point<float>(coord(rng), coord(rng)));
            const int n = 3 + pick(rng);
            for (int i = 0; i < n; ++i) {
                if (pick(rng) < 3)
                    geometry->CurveTo(Point<float>(coord(rng), coord(rng)), Point<float>(coord(rng), coord(rng)),
                                      Point<float>(coord(rng), coord(rng)));
                else
                    geometry->LineTo(Point<float>(coord(rng), coord(rng)));
            }
            geometry->EndFigureClose();
            if (pick(rng) < 5) geometry->SetFillRule(FillRule::EvenOdd);
        }
        Matrix m;
        switch (round % 4) {
            case 0: break;
            case 1: m = Matrix(1.0f, 0.0f, 0.0f, 1.0f, unit(rng) * 7.0f, unit(rng) * 7.0f); break;
            case 2: m = Matrix(unit(rng), unit(rng), unit(rng), unit(rng), coord(rng), coord(rng)); break;
            default: m = Matrix(unit(rng) * 600.0f, 0.0f, 0.0f, unit(rng) * 600.0f, 10.0f, 10.0f); break;
        }
        const bool adjust = (round % 3) == 0;

        auto fast = std::make_shared<RecordingRasterSink>();
        RasterizeGeometry(geometry, m, clip, adjust, fast);

        auto general = std::make_shared<RecordingRasterSink>();
        {
            FpuState fpuState;
            auto rasterizer = std::make_shared<Rasterizer>(clip, 0.25f, adjust, general);
            const std::shared_ptr<GeometrySink> head = MakeRasterizationChain(*geometry, m, rasterizer);
            rasterizer->BeginGeometry();
            geometry->SendToSink(head);
            rasterizer->EndGeometry();
        }
        ExpectSame(*fast, *general, round);
        if (HasFatalFailure()) return;
    }
}

namespace {

// Rasterizes a second geometry from inside its first row, and may keep the
// buffers it is handed, as a sink that misbehaves might.
class NestingSink : public RecordingRasterSink {
public:
    void AddCoverage(int y, std::shared_ptr<CoverageBuffer> buffer) override {
        if (nest) {
            nest = false;
            auto inner = std::make_shared<RecordingRasterSink>();
            auto box = std::make_shared<Geometry>();
            box->Rectangle(Rect<float>(1.5f, 0.25f, 4.0f, 3.0f));
            RasterizeGeometry(box, Matrix(), Rect<float>(0, 0, 8, 8), false, inner);
            innerRows = inner->rows;
        }
        if (keep) kept.push_back(buffer);
        RecordingRasterSink::AddCoverage(y, std::move(buffer));
    }
    bool nest = false;
    bool keep = false;
    std::vector<RasterTest::CoverageRow> innerRows;
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
    auto box = std::make_shared<Geometry>();
    box->Rectangle(Rect<float>(1.5f, 0.25f, 4.0f, 3.0f));
    auto boxAlone = std::make_shared<RecordingRasterSink>();
    RasterizeGeometry(box, Matrix(), clip, false, boxAlone);

    auto nesting = std::make_shared<NestingSink>();
    nesting->nest = true;
    nesting->keep = true;
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
