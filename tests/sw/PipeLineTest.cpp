#include "sw/SwPipeLine.h"

#include "bitmap/SysMemBitmap.h"
#include "core/CpuInfo.h"
#include "sw/SwBasicCompositeNormalOp.h"
#include "sw/SwBasicCompositeNormalSSE2Op.h"
#include "sw/SwBasicCompositeOp.h"
#include "sw/SwColorSource.h"
#include "sw/SwLayerCompositeNormalOp.h"
#include "sw/SwLayerCompositeOp.h"
#include "sw/SwSourceColorOp.h"
#include "sw/SwSourceShapeOp.h"
#include "sw/SwTargetColorOp.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

using namespace Graphics;

namespace {

// One colour everywhere; remembers what it was asked for.
class TestSource : public SwColorSource {
public:
    explicit TestSource(uint32_t c) : color(c) {}
    void FillSpan(int x0, int x1, int y, unsigned char* destination) override {
        calls.push_back({x0, x1, y});
        for (int x = x0; x < x1; ++x) {
            const uint32_t w = byX ? (color | static_cast<uint32_t>(x)) : color;
            std::memcpy(destination + 4 * (x - x0), &w, 4);
        }
        if (throwing) throw std::runtime_error("source failed");
    }
    struct Call {
        int x0, x1, y;
    };
    uint32_t color;
    bool byX = false;
    bool throwing = false;
    std::vector<Call> calls;
};

// A system-memory bitmap that counts its locks.
class CountingBitmap : public SysMemBitmap {
public:
    CountingBitmap(int w, int h, PixelFormat::Enum f) : SysMemBitmap(Size<int>(w, h), f, 96.0f, 96.0f) {}
    LockedData Lock(const Rect<int>* rect, LockMode::Enum mode) override {
        ++locks;
        lastMode = mode;
        return SysMemBitmap::Lock(rect, mode);
    }
    void Unlock() override { ++unlocks; }
    int locks = 0;
    int unlocks = 0;
    LockMode::Enum lastMode = LockMode::Read;
};

std::shared_ptr<CountingBitmap> MakePlane(int w, int h, PixelFormat::Enum f, uint32_t fill) {
    auto b = std::make_shared<CountingBitmap>(w, h, f);
    const LockedData d = b->SysMemBitmap::Lock(nullptr, LockMode::Write);
    const int bytes = PixelFormat::GetBitsPerPixel(f) / 8;
    for (int y = 0; y < h; ++y) {
        unsigned char* row = static_cast<unsigned char*>(d.data) + y * d.stride;
        for (int x = 0; x < w; ++x) {
            if (bytes == 4)
                std::memcpy(row + 4 * x, &fill, 4);
            else
                row[x] = static_cast<unsigned char>(fill);
        }
    }
    return b;
}

uint32_t Word(const std::shared_ptr<CountingBitmap>& b, int x, int y) {
    const LockedData d = b->SysMemBitmap::Lock(nullptr, LockMode::Read);
    uint32_t w;
    std::memcpy(&w, static_cast<unsigned char*>(d.data) + y * d.stride + 4 * x, 4);
    return w;
}

int Byte(const std::shared_ptr<CountingBitmap>& b, int x, int y) {
    const LockedData d = b->SysMemBitmap::Lock(nullptr, LockMode::Read);
    return static_cast<unsigned char*>(d.data)[y * d.stride + x];
}

void SetWord(const std::shared_ptr<CountingBitmap>& b, int x, int y, uint32_t w) {
    const LockedData d = b->SysMemBitmap::Lock(nullptr, LockMode::Write);
    std::memcpy(static_cast<unsigned char*>(d.data) + y * d.stride + 4 * x, &w, 4);
}

// Records which operation ran on which span, and whether the colour target
// was locked at that moment.
struct Record {
    std::string name;
    int y, x1, x2, coverage;
    bool locked;
};

class RecordingOp : public SwOperation {
public:
    RecordingOp(OperationStage::Enum stage, std::string n, std::vector<Record>* l)
        : SwOperation(stage), name(std::move(n)), log(l) {}
    void operator()(OperationContext& c) override {
        log->push_back({name, c.params->y, c.params->x1, c.params->x2, c.params->coverage, c.targetLock.data != nullptr});
    }
    std::string name;
    std::vector<Record>* log;
};

// One row of coverage, built through the buffer's own interface from runs
// of pixels [x0, x1) with a count each: count n at a pixel is n sample
// columns over the eight sample rows. A run of full pixels is one span per
// sample row, so that it comes out as one node.
struct Run {
    int x0, x1, count;
};

std::shared_ptr<CoverageBuffer> Row(const std::vector<Run>& runs) {
    auto buffer = std::make_shared<CoverageBuffer>();
    for (int row = 0; row < 8; ++row) {
        for (const Run& r : runs) {
            if (r.count == 64) {
                buffer->InsertSpan(r.x0 * 8, r.x1 * 8);
                continue;
            }
            const int perRow = r.count / 8 + (row < r.count % 8 ? 1 : 0);
            if (perRow > 0)
                for (int x = r.x0; x < r.x1; ++x) buffer->InsertSpan(x * 8, x * 8 + perRow);
        }
    }
    return buffer;
}

std::shared_ptr<Geometry> Rectangle(float l, float t, float r, float b) {
    auto g = std::make_shared<Geometry>();
    g->Rectangle(Rect<float>(l, t, r, b));
    return g;
}

}  // namespace

TEST(SwPipeLineTest, CoverageRowsIntoArgb) {
    auto target = MakePlane(8, 4, PixelFormat::ARGB8p, 0xFFFFFFFFu);
    auto pipe = std::make_shared<SwPipeLine>(nullptr, Rect<int>(0, 0, 8, 4));
    std::vector<Record> log;
    pipe->SetColorTarget(target);
    pipe->SetColorSource(std::make_shared<TestSource>(0x80800000u));
    pipe->SetBasicComposite();
    pipe->AddOperation(std::make_shared<RecordingOp>(OperationStage::Composite, "spy", &log));

    // Pixels 1 and 2 full (64), pixel 5 one sample, pixel 6 half.
    pipe->AddCoverage(1, Row({{1, 3, 64}, {5, 6, 1}, {6, 7, 32}}));

    ASSERT_EQ(3u, log.size());
    EXPECT_EQ(1, log[0].x1);
    EXPECT_EQ(3, log[0].x2);
    EXPECT_EQ(255, log[0].coverage);
    EXPECT_EQ(5, log[1].x1);
    EXPECT_EQ(6, log[1].x2);
    EXPECT_EQ(3, log[1].coverage);
    EXPECT_EQ(6, log[2].x1);
    EXPECT_EQ(7, log[2].x2);
    EXPECT_EQ(127, log[2].coverage);
    for (const Record& r : log) {
        EXPECT_EQ(1, r.y);
        EXPECT_TRUE(r.locked);
    }
    // Each interval has a lock of its own, read and write.
    EXPECT_EQ(3, target->locks);
    EXPECT_EQ(3, target->unlocks);
    EXPECT_EQ(LockMode::ReadWrite, target->lastMode);

    const uint32_t expected[8] = {0xFFFFFFFFu, 0xFEFE7E7Eu, 0xFEFE7E7Eu, 0xFFFFFFFFu,
                                  // coverage 3: Scale(w, 4) = 0x02020000 over white * 253;
                                  // coverage 127: Scale(w, 128) over white * 191.
                                  0xFFFFFFFFu, 0xFEFEFCFCu, 0xFEFEBEBEu, 0xFFFFFFFFu};
    for (int x = 0; x < 8; ++x) {
        EXPECT_EQ(expected[x], Word(target, x, 1)) << x;
        EXPECT_EQ(0xFFFFFFFFu, Word(target, x, 0));
        EXPECT_EQ(0xFFFFFFFFu, Word(target, x, 2));
    }
}

TEST(SwPipeLineTest, RectangleIntoXrgb) {
    auto target = MakePlane(4, 3, PixelFormat::XRGB8, 0xFF336699u);
    SetWord(target, 2, 1, 0x00336699u);
    auto pipe = std::make_shared<SwPipeLine>(nullptr, Rect<int>(0, 0, 4, 3));
    auto source = std::make_shared<TestSource>(0x80800000u);
    pipe->SetColorTarget(target);
    pipe->SetColorSource(source);
    pipe->SetBasicComposite();

    // Cut to the bound on the left and the bottom.
    pipe->AddRectangle(-5, 1, 3, 9);
    // One lock for all rows.
    EXPECT_EQ(1, target->locks);
    EXPECT_EQ(1, target->unlocks);
    ASSERT_EQ(2u, source->calls.size());
    EXPECT_EQ(0, source->calls[0].x0);
    EXPECT_EQ(3, source->calls[0].x1);
    EXPECT_EQ(1, source->calls[0].y);
    EXPECT_EQ(2, source->calls[1].y);

    // Scale(0xFF336699, 127) = 0x7E19324B, plus the source: the top byte
    // comes out of the sum, 0xFE, and is not forced to 255.
    for (int y = 1; y < 3; ++y) {
        EXPECT_EQ(0xFE99324Bu, Word(target, 0, y));
        EXPECT_EQ(0xFE99324Bu, Word(target, 1, y));
        EXPECT_EQ(0xFF336699u, Word(target, 3, y));
    }
    // A top byte of 0 counts as empty: the source replaces it.
    EXPECT_EQ(0x80800000u, Word(target, 2, 1));
    EXPECT_EQ(0xFE99324Bu, Word(target, 2, 2));
    EXPECT_EQ(0xFF336699u, Word(target, 0, 0));

    // Rectangles that miss the bound do nothing and take no lock.
    pipe->AddRectangle(4, 0, 6, 3);
    pipe->AddRectangle(0, 3, 4, 5);
    pipe->AddRectangle(-2, 0, 0, 3);
    pipe->AddRectangle(0, -2, 4, 0);
    EXPECT_EQ(1, target->locks);
}

TEST(SwPipeLineTest, ExecuteRasterizesTheGeometry) {
    // A solid fill through the rasterizer: whole pixels take the opaque
    // source exactly; half-covered ones get coverage 32 * 4 - 1.
    auto target = MakePlane(6, 4, PixelFormat::ARGB8p, 0xFFFFFFFFu);
    auto pipe = std::make_shared<SwPipeLine>(Rectangle(0.5f, 0.0f, 3.5f, 2.0f), Rect<int>(0, 0, 6, 4));
    pipe->SetTransform2D(Matrix(1.0f, 0.0f, 0.0f, 1.0f, 1.0f, 1.0f));
    pipe->SetColorTarget(target);
    pipe->SetColorSource(std::make_shared<TestSource>(0xFF0000FFu));
    pipe->SetBasicComposite();
    pipe->Execute();
    for (int y = 0; y < 4; ++y) {
        for (int x = 0; x < 6; ++x) {
            uint32_t expected = 0xFFFFFFFFu;
            if (y >= 1 && y < 3) {
                if (x == 2 || x == 3) expected = 0xFF0000FFu;
                // Scale(blue, 128) = 0x7F00007F over white * 128.
                if (x == 1 || x == 4) expected = 0xFE7F7FFEu;
            }
            EXPECT_EQ(expected, Word(target, x, y)) << x << ", " << y;
        }
    }

    // With adjusted rectangles the same rectangle snaps to whole pixels.
    auto snapped = MakePlane(6, 4, PixelFormat::ARGB8p, 0xFFFFFFFFu);
    auto pipe2 = std::make_shared<SwPipeLine>(Rectangle(1.0f, 1.0f, 3.0f, 2.0f), Rect<int>(0, 0, 6, 4));
    pipe2->SetAdjustRectangles(true);
    pipe2->SetColorTarget(snapped);
    pipe2->SetColorSource(std::make_shared<TestSource>(0xFF0000FFu));
    pipe2->SetBasicComposite();
    pipe2->Execute();
    EXPECT_EQ(0xFF0000FFu, Word(snapped, 1, 1));
    EXPECT_EQ(0xFF0000FFu, Word(snapped, 2, 1));
    EXPECT_EQ(0xFFFFFFFFu, Word(snapped, 3, 1));
    EXPECT_EQ(0xFFFFFFFFu, Word(snapped, 1, 2));
    EXPECT_EQ(0xFFFFFFFFu, Word(snapped, 0, 1));
}

TEST(SwPipeLineTest, ExecuteEdgeCases) {
    // Without a geometry Execute returns at once, even off a shared_ptr.
    SwPipeLine plain(nullptr, Rect<int>(0, 0, 4, 4));
    EXPECT_NO_THROW(plain.Execute());
    // A pipeline on the stack fills like one held by a shared_ptr.
    auto stackTarget = MakePlane(4, 4, PixelFormat::ARGB8p, 0xFFFFFFFFu);
    SwPipeLine unshared(Rectangle(0, 0, 2, 2), Rect<int>(0, 0, 4, 4));
    unshared.SetColorTarget(stackTarget);
    unshared.SetColorSource(std::make_shared<TestSource>(0xFF000000u));
    unshared.SetBasicComposite();
    EXPECT_NO_THROW(unshared.Execute());
    EXPECT_EQ(0xFF000000u, Word(stackTarget, 1, 1));
    EXPECT_EQ(0xFFFFFFFFu, Word(stackTarget, 2, 2));

    // An empty bound makes the fill a no-op.
    auto target = MakePlane(4, 4, PixelFormat::ARGB8p, 0xFFFFFFFFu);
    auto pipe = std::make_shared<SwPipeLine>(Rectangle(0, 0, 4, 4), Rect<int>(0, 0, 4, 4));
    pipe->IntersectBound(Rect<int>(10, 10, 20, 20));
    EXPECT_EQ(Rect<int>(0, 0, 0, 0), pipe->GetBound());
    auto source = std::make_shared<TestSource>(0xFF000000u);
    pipe->SetColorTarget(target);
    pipe->SetColorSource(source);
    pipe->SetBasicComposite();
    pipe->Execute();
    EXPECT_EQ(0, target->locks);
    EXPECT_TRUE(source->calls.empty());

    // An exception of the source passes through, and the lock is released.
    auto target2 = MakePlane(4, 4, PixelFormat::ARGB8p, 0xFFFFFFFFu);
    auto failing = std::make_shared<TestSource>(0xFF000000u);
    failing->throwing = true;
    auto pipe2 = std::make_shared<SwPipeLine>(Rectangle(0, 0, 4, 4), Rect<int>(0, 0, 4, 4));
    pipe2->SetColorTarget(target2);
    pipe2->SetColorSource(failing);
    pipe2->SetBasicComposite();
    EXPECT_THROW(pipe2->Execute(), std::runtime_error);
    EXPECT_EQ(target2->locks, target2->unlocks);
    EXPECT_GT(target2->locks, 0);

    EXPECT_FALSE(pipe2->CanAcceptTrapezoids());
    pipe2->AddTrapezoid(0, 0, 4, 4, 0, 4, 0.5f, 0.5f);
    EXPECT_EQ(0xFFFFFFFFu, Word(target2, 1, 1));
}

TEST(SwPipeLineTest, BoundAndCoverageWalk) {
    auto target = MakePlane(8, 4, PixelFormat::ARGB8p, 0x00000000u);
    auto pipe = std::make_shared<SwPipeLine>(nullptr, Rect<int>(0, 0, 8, 4));
    std::vector<Record> log;
    pipe->SetColorTarget(target);
    pipe->AddOperation(std::make_shared<RecordingOp>(OperationStage::Composite, "spy", &log));
    pipe->IntersectBound(Rect<int>(2, 1, 6, 3));
    EXPECT_EQ(Rect<int>(2, 1, 6, 3), pipe->GetBound());

    // Rows just outside the bound: nothing runs and nothing is locked.
    pipe->AddCoverage(0, Row({{3, 4, 64}}));
    pipe->AddCoverage(3, Row({{3, 4, 64}}));
    EXPECT_TRUE(log.empty());
    EXPECT_EQ(0, target->locks);

    // Intervals are cut to the bound; those outside, and zero counts, skip.
    pipe->AddCoverage(1, Row({{0, 3, 64}, {3, 4, 16}, {6, 7, 64}, {7, 8, 8}}));
    ASSERT_EQ(2u, log.size());
    EXPECT_EQ(2, log[0].x1);
    EXPECT_EQ(3, log[0].x2);
    EXPECT_EQ(255, log[0].coverage);
    EXPECT_EQ(3, log[1].x1);
    EXPECT_EQ(4, log[1].x2);
    EXPECT_EQ(63, log[1].coverage);
    EXPECT_EQ(2, target->locks);

    // A span running far past both ends is cut on both sides.
    log.clear();
    pipe->AddRectangle(-100, -100, 100, 100);
    ASSERT_EQ(2u, log.size());
    EXPECT_EQ(2, log[0].x1);
    EXPECT_EQ(6, log[0].x2);
    EXPECT_EQ(1, log[0].y);
    EXPECT_EQ(2, log[1].y);

    // A null buffer is nothing to do.
    log.clear();
    pipe->AddCoverage(1, nullptr);
    EXPECT_TRUE(log.empty());
}

TEST(SwPipeLineTest, OperationsRunByStageThenArrival) {
    auto pipe = std::make_shared<SwPipeLine>(nullptr, Rect<int>(0, 0, 4, 4));
    std::vector<Record> log;
    pipe->AddOperation(std::make_shared<RecordingOp>(OperationStage::Composite, "composite", &log));
    pipe->AddOperation(std::make_shared<RecordingOp>(OperationStage::ShapeMask, "mask1", &log));
    pipe->AddOperation(std::make_shared<RecordingOp>(OperationStage::Prepare, "prepare", &log));
    pipe->AddOperation(std::make_shared<RecordingOp>(OperationStage::ShapeMask, "mask2", &log));
    pipe->AddOperation(std::make_shared<RecordingOp>(OperationStage::OpacityMask, "opacity", &log));
    pipe->AddOperation(std::make_shared<RecordingOp>(OperationStage::SourceColor, "source", &log));
    pipe->AddOperation(std::make_shared<RecordingOp>(OperationStage::Backdrop, "backdrop", &log));
    pipe->AddOperation(nullptr);
    EXPECT_EQ(7u, pipe->GetOperationCount());

    SwPipeLine::Params p;
    p.y = 2;
    p.x1 = 1;
    p.x2 = 3;
    p.coverage = 200;
    pipe->FillSpan(p);
    const char* order[] = {"prepare", "mask1", "mask2", "source", "backdrop", "opacity", "composite"};
    ASSERT_EQ(7u, log.size());
    for (int i = 0; i < 7; ++i) {
        EXPECT_EQ(order[i], log[i].name);
        EXPECT_EQ(2, log[i].y);
        EXPECT_EQ(1, log[i].x1);
        EXPECT_EQ(3, log[i].x2);
        EXPECT_EQ(200, log[i].coverage);
        // No colour target: nothing locked.
        EXPECT_FALSE(log[i].locked);
    }
}

TEST(SwPipeLineTest, CompositeChoice) {
    auto pipe = std::make_shared<SwPipeLine>(nullptr, Rect<int>(0, 0, 4, 4));
    pipe->SetColorTarget(MakePlane(4, 4, PixelFormat::ARGB8p, 0));
    pipe->SetColorSource(std::make_shared<TestSource>(0));
    pipe->SetBasicComposite();
    std::vector<SwOperation*> ops = pipe->GetOperations();
    ASSERT_EQ(4u, ops.size());
    EXPECT_NE(nullptr, dynamic_cast<SwTargetColorOp*>(ops[0]));
    EXPECT_NE(nullptr, dynamic_cast<SwSourceShapeOp*>(ops[1]));
    EXPECT_NE(nullptr, dynamic_cast<SwSourceColorOp*>(ops[2]));
    EXPECT_NE(nullptr, dynamic_cast<SwBasicCompositeNormalOp*>(ops[3]));

    auto sse = std::make_shared<SwPipeLine>(nullptr, Rect<int>(0, 0, 4, 4));
    const bool saved = CpuInfo::m_SSE2Available;
    CpuInfo::m_SSE2Available = true;
    sse->SetBasicComposite();
    CpuInfo::m_SSE2Available = saved;
    EXPECT_NE(nullptr, dynamic_cast<SwBasicCompositeNormalSSE2Op*>(sse->GetOperations()[1]));

    auto blend = std::make_shared<SwPipeLine>(nullptr, Rect<int>(0, 0, 4, 4));
    blend->SetBlendMode(BlendMode::Multiply);
    EXPECT_EQ(BlendMode::Multiply, blend->GetBlendMode());
    blend->SetBasicComposite();
    EXPECT_NE(nullptr, dynamic_cast<SwBasicCompositeOp*>(blend->GetOperations()[1]));

    auto layer = std::make_shared<SwPipeLine>(nullptr, Rect<int>(0, 0, 4, 4));
    layer->SetLayerComposite(true, false);
    EXPECT_NE(nullptr, dynamic_cast<SwSourceShapeOp*>(layer->GetOperations()[0]));
    EXPECT_NE(nullptr, dynamic_cast<SwLayerCompositeNormalOp*>(layer->GetOperations()[1]));
    auto layerBlend = std::make_shared<SwPipeLine>(nullptr, Rect<int>(0, 0, 4, 4));
    layerBlend->SetBlendMode(BlendMode::Screen);
    layerBlend->SetLayerComposite(false, true);
    EXPECT_NE(nullptr, dynamic_cast<SwLayerCompositeOp*>(layerBlend->GetOperations()[1]));
}

TEST(SwPipeLineTest, BlendModeReachesTheComposite) {
    // Multiply of grey 128 on (200, 100, 50), both opaque.
    auto target = MakePlane(2, 1, PixelFormat::ARGB8p, 0xFFC86432u);
    auto pipe = std::make_shared<SwPipeLine>(nullptr, Rect<int>(0, 0, 2, 1));
    pipe->SetBlendMode(BlendMode::Multiply);
    pipe->SetColorTarget(target);
    pipe->SetColorSource(std::make_shared<TestSource>(0xFF808080u));
    pipe->SetBasicComposite();
    pipe->AddRectangle(0, 0, 1, 1);
    EXPECT_EQ(0xFF643219u, Word(target, 0, 0));
    EXPECT_EQ(0xFFC86432u, Word(target, 1, 0));
}

TEST(SwPipeLineTest, ScratchRowsStartAtTheSpan) {
    // The source is asked for exactly the span, and its first word lands on
    // the span's first pixel.
    auto target = MakePlane(8, 2, PixelFormat::ARGB8p, 0u);
    auto pipe = std::make_shared<SwPipeLine>(nullptr, Rect<int>(0, 0, 8, 2));
    auto source = std::make_shared<TestSource>(0xFF000000u);
    source->byX = true;
    pipe->SetColorTarget(target);
    pipe->SetColorSource(source);
    pipe->SetBasicComposite();
    pipe->AddCoverage(1, Row({{3, 5, 64}, {6, 7, 64}}));
    EXPECT_EQ(0u, Word(target, 2, 1));
    EXPECT_EQ(0xFF000003u, Word(target, 3, 1));
    EXPECT_EQ(0xFF000004u, Word(target, 4, 1));
    EXPECT_EQ(0u, Word(target, 5, 1));
    EXPECT_EQ(0xFF000006u, Word(target, 6, 1));
    ASSERT_EQ(2u, source->calls.size());
    EXPECT_EQ(3, source->calls[0].x0);
    EXPECT_EQ(5, source->calls[0].x1);
    EXPECT_EQ(6, source->calls[1].x0);
    EXPECT_EQ(7, source->calls[1].x1);
}

TEST(SwPipeLineTest, LayerPlanes) {
    // A non-isolated layer over white: colour and backdrop white, shape and
    // alpha empty. Translucent red over two pixels.
    auto color = MakePlane(3, 1, PixelFormat::ARGB8p, 0xFFFFFFFFu);
    auto shape = MakePlane(3, 1, PixelFormat::A8, 0);
    auto alpha = MakePlane(3, 1, PixelFormat::A8, 0);
    auto backdrop = MakePlane(3, 1, PixelFormat::ARGB8p, 0xFFFFFFFFu);
    {
        auto pipe = std::make_shared<SwPipeLine>(nullptr, Rect<int>(0, 0, 3, 1));
        pipe->SetColorTarget(color);
        pipe->SetShapeTarget(shape);
        pipe->SetAlphaTarget(alpha);
        pipe->SetBackdropColor(backdrop);
        pipe->SetColorSource(std::make_shared<TestSource>(0x80800000u));
        pipe->SetLayerComposite(false, false);
        // The planes other than the colour are locked while the pipeline
        // lives: shape and alpha for writing, the backdrop for reading.
        EXPECT_EQ(1, shape->locks);
        EXPECT_EQ(LockMode::Write, shape->lastMode);
        EXPECT_EQ(LockMode::Write, alpha->lastMode);
        EXPECT_EQ(LockMode::Read, backdrop->lastMode);
        EXPECT_EQ(0, shape->unlocks);
        pipe->AddCoverage(0, Row({{0, 1, 64}, {1, 2, 32}}));
    }
    EXPECT_EQ(1, shape->unlocks);
    EXPECT_EQ(1, alpha->unlocks);
    EXPECT_EQ(1, backdrop->unlocks);

    EXPECT_EQ(0xFFFF7F7Fu, Word(color, 0, 0));
    EXPECT_EQ(255, Byte(shape, 0, 0));
    EXPECT_EQ(128, Byte(alpha, 0, 0));
    // Coverage 127: r = 0xFFFF7F7F scaled by 128 plus white scaled by 129.
    EXPECT_EQ(0xFFFFBFBFu, Word(color, 1, 0));
    EXPECT_EQ(128, Byte(shape, 1, 0));
    EXPECT_EQ(64, Byte(alpha, 1, 0));
    EXPECT_EQ(0xFFFFFFFFu, Word(color, 2, 0));
    EXPECT_EQ(0, Byte(shape, 2, 0));
}

TEST(SwPipeLineTest, ShapeFiller) {
    auto shape = MakePlane(4, 2, PixelFormat::A8, 0);
    auto pipe = std::make_shared<SwPipeLine>(nullptr, Rect<int>(0, 0, 4, 2));
    pipe->SetShapeTarget(shape);
    pipe->AddShapeFiller();
    pipe->AddCoverage(1, Row({{1, 2, 64}, {2, 3, 16}}));
    EXPECT_EQ(0, Byte(shape, 0, 1));
    EXPECT_EQ(255, Byte(shape, 1, 1));
    EXPECT_EQ(63, Byte(shape, 2, 1));
    EXPECT_EQ(0, Byte(shape, 3, 1));
    EXPECT_EQ(0, Byte(shape, 1, 0));
}

TEST(SwPipeLineTest, PlanesThatDoNotFit) {
    // A colour plane smaller than the rectangle keeps spans inside it.
    auto small = MakePlane(2, 2, PixelFormat::ARGB8p, 0u);
    auto pipe = std::make_shared<SwPipeLine>(nullptr, Rect<int>(0, 0, 8, 8));
    pipe->SetColorTarget(small);
    EXPECT_EQ(Rect<int>(0, 0, 2, 2), pipe->GetBound());
    pipe->SetColorSource(std::make_shared<TestSource>(0xFF010203u));
    pipe->SetBasicComposite();
    pipe->AddRectangle(0, 0, 8, 8);
    EXPECT_EQ(0xFF010203u, Word(small, 1, 1));

    // A plane of the wrong pixel size takes no spans at all.
    auto a8 = MakePlane(8, 8, PixelFormat::A8, 0);
    auto wrong = std::make_shared<SwPipeLine>(nullptr, Rect<int>(0, 0, 8, 8));
    wrong->SetColorTarget(a8);
    EXPECT_EQ(Rect<int>(0, 0, 0, 0), wrong->GetBound());

    // A rectangle of negative size is an empty pipeline.
    auto inverted = std::make_shared<SwPipeLine>(nullptr, Rect<int>(5, 5, 0, 0));
    EXPECT_EQ(Rect<int>(0, 0, 0, 0), inverted->GetBound());
    inverted->SetColorSource(std::make_shared<TestSource>(0xFF010203u));
    inverted->SetBasicComposite();
    inverted->AddRectangle(0, 0, 8, 8);
    inverted->AddCoverage(0, Row({{0, 1, 64}}));
}
