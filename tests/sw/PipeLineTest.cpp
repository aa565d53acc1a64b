#include "sw/SwPipeLine.h"
#include "Graphics/Brush.h"
#include "bitmap/SysMemBitmap.h"
#include "core/CpuInfo.h"
#include "sw/SwBasicCompositeNormalSSE2Op.h"
#include "sw/SwBasicCompositeOp.h"
#include "sw/SwColorSource.h"
#include "sw/SwLayerCompositeNormalOp.h"
#include "sw/SwLayerCompositeOp.h"
#include "sw/SwSolidColorSource.h"
#include "RandomizedCompare.h"
#include <gtest/gtest.h>
#include <cmath>
#include <cstring>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <typeinfo>
#include <vector>

using namespace Graphics;
using namespace RandomizedCompare;

namespace {

// One colour, or x in the low byte to show where spans land; not solid, so asked for every span.
struct TestSource : SwColorSource {
    explicit TestSource(uint32_t c, bool x = false) : color(c), byX(x) {}
    void FillSpan(int x0, int x1, int, unsigned char* destination) override {
        ++spans;
        for (int x = x0; x < x1; ++x) {
            const uint32_t w = byX ? ((color & 0xFFFFFF00u) | static_cast<uint32_t>(x & 0xFF)) : color;
            std::memcpy(destination + 4 * (x - x0), &w, 4);
        }
        if (throwing) throw std::runtime_error("source failed");
    }
    uint32_t color;
    bool byX, throwing = false;
    int spans = 0;
};
// Not exactly a system-memory bitmap, so the pipeline locks it per span; counts the locks.
struct CountingBitmap : SysMemBitmap {
    CountingBitmap(int w, int h, PixelFormat::Enum f) : SysMemBitmap(Size<int>(w, h), f, 96.0f, 96.0f) {}
    LockedData Lock(const Rect<int>* rect, LockMode::Enum mode) override {
        ++locks;
        lastMode = mode;
        return SysMemBitmap::Lock(rect, mode);
    }
    void Unlock() override { ++unlocks; }
    int locks = 0, unlocks = 0;
    LockMode::Enum lastMode = LockMode::Read;
};
// The pixels of a 32-bit or 8-bit plane, row after row, read around its locks.
Words Pixels(SysMemBitmap& b) {
    const int bytes = PixelFormat::GetBitsPerPixel(b.GetPixelFormat()) / 8;
    Words pixels(b.GetSize().width * b.GetSize().height, 0u);
    for (size_t i = 0; i < pixels.size(); ++i)
        std::memcpy(&pixels[i], b.GetBuffer().GetPointer(i / b.GetSize().width) + bytes * (i % b.GetSize().width), bytes);
    return pixels;
}
// A counting plane, or an exact system-memory bitmap that the pipeline may lock once a row.
template <class B = CountingBitmap>
std::shared_ptr<B> MakePlane(int w, int h, PixelFormat::Enum f, uint32_t fill, const Words* pixels = nullptr) {
    std::shared_ptr<B> b;
    if constexpr (std::is_same<B, SysMemBitmap>::value)
        b = std::make_shared<SysMemBitmap>(Size<int>(w, h), f, 96.0f, 96.0f);
    else
        b = std::make_shared<B>(w, h, f);
    const int bytes = PixelFormat::GetBitsPerPixel(f) / 8;
    for (int i = 0; i < w * h; ++i)
        std::memcpy(b->GetBuffer().GetPointer(i / w) + bytes * (i % w), pixels ? &(*pixels)[i] : &fill, bytes);
    return b;
}
// Logs its name when it runs; a spy keeps the pipeline off its fused step.
struct RecordingOp : SwOperation {
    RecordingOp(OperationStage::Enum stage, std::string n, std::vector<std::string>* l)
        : SwOperation(stage), name(std::move(n)), log(l) {}
    void operator()(OperationContext&) override { log->push_back(name); }
    std::string name;
    std::vector<std::string>* log;
};
// Runs of pixels [x0, x1) with n samples of 64 each; a full run is one span per sample row, so one node.
struct Interval { int x0, x1, count; };
std::shared_ptr<CoverageBuffer> Row(const std::vector<Interval>& runs) {
    auto buffer = std::make_shared<CoverageBuffer>();
    for (int row = 0; row < 8; ++row)
        for (const Interval& r : runs) {
            const int perRow = r.count / 8 + (row < r.count % 8 ? 1 : 0);
            if (r.count == 64)
                buffer->InsertSpan(r.x0 * 8, r.x1 * 8);
            else if (perRow > 0)
                for (int x = r.x0; x < r.x1; ++x) buffer->InsertSpan(x * 8, x * 8 + perRow);
        }
    return buffer;
}
std::shared_ptr<Geometry> Rectangle(float l, float t, float r, float b) {
    auto g = std::make_shared<Geometry>();
    g->Rectangle(Rect<float>(l, t, r, b));
    return g;
}
// Target, source and the basic composite: the wiring most tests need.
void Wire(SwPipeLine& pipe, std::shared_ptr<SysMemBitmap> target, std::shared_ptr<SwColorSource> source) {
    if (target) pipe.SetColorTarget(target);
    pipe.SetColorSource(source);
    pipe.SetBasicComposite();
}

}  // namespace

TEST(SwPipeLineTest, FillsByHand) {
    const uint32_t W = 0xFFFFFFFFu;
    const Rect<int> cut(2, 1, 6, 3);
    // An 8 x 4 target filled through a coverage row (runs) or a rectangle, on the operation-by-operation path
    // (a spy keeps it off the fused one): rows y0 to y1 must hold `row`, the others the fill.
    struct Case {
        PixelFormat::Enum format; uint32_t fill, source; bool byX; Rect<int> bound; int y; std::vector<Interval> runs;
        Rect<int> rect; int y0, y1; Words row; int locks;
    };
    const Case cases[] = {
        // Counts become count * 4 - 1: 1 -> 3 (Scale(w, 4) over white * 253), 32 -> 127. A lock per interval.
        {PixelFormat::ARGB8p, W, 0x80800000u, false, Rect<int>(0, 0, 8, 4), 1, {{1, 3, 64}, {5, 6, 1}, {6, 7, 32}},
         {}, 1, 2, {W, 0xFEFE7E7Eu, 0xFEFE7E7Eu, W, W, 0xFEFEFCFCu, 0xFEFEBEBEu, W}, 3},
        // Intervals are cut to the bound and start the source there; count 16 is Scale(0xFF000003, 64).
        {PixelFormat::ARGB8p, 0, 0xFF000000u, true, cut, 1, {{0, 3, 64}, {3, 4, 16}, {6, 7, 64}, {7, 8, 8}}, {}, 1, 2,
         {0, 0, 0xFF000002u, 0x3F000000u, 0, 0, 0, 0}, 2},
        // The row just below the bound, and a rectangle just right of it: nothing runs, nothing is locked.
        {PixelFormat::ARGB8p, 0, 0xFF000000u, false, cut, 3, {{3, 4, 64}}, {}, 0, 0, {}, 0},
        {PixelFormat::ARGB8p, 0, 0xFF000000u, false, cut, 0, {}, Rect<int>(6, 0, 10, 4), 0, 0, {}, 0},
        // Cut on all sides; one lock for all its rows.
        {PixelFormat::ARGB8p, 0, 0xFF000000u, true, cut, 0, {}, Rect<int>(-100, -100, 100, 100), 1, 3,
         {0, 0, 0xFF000002u, 0xFF000003u, 0xFF000004u, 0xFF000005u, 0, 0}, 1},
    };
    for (const Case& c : cases) {
        auto target = MakePlane(8, 4, c.format, c.fill);
        std::vector<std::string> log;
        SwPipeLine pipe(nullptr, Rect<int>(0, 0, 8, 4));
        pipe.IntersectBound(c.bound);
        Wire(pipe, target, std::make_shared<TestSource>(c.source, c.byX));
        pipe.AddOperation(std::make_shared<RecordingOp>(OperationStage::Composite, "spy", &log));
        if (!c.runs.empty())
            pipe.AddCoverage(c.y, Row(c.runs));
        else
            pipe.AddRectangle(c.rect.left, c.rect.top, c.rect.right, c.rect.bottom);
        Words expected(32, c.fill);
        for (int y = c.y0; y < c.y1; ++y) std::copy(c.row.begin(), c.row.end(), expected.begin() + 8 * y);
        EXPECT_EQ(expected, Pixels(*target)) << &c - cases;
        EXPECT_TRUE(target->locks == c.locks && target->unlocks == c.locks) << &c - cases;
        if (c.locks) {
            EXPECT_EQ(LockMode::ReadWrite, target->lastMode);
        }
    }
}

TEST(SwPipeLineTest, FailuresAndNothingToDo) {
    // An exception of the source passes through, and the lock is released.
    auto target = MakePlane(4, 4, PixelFormat::ARGB8p, 0xFFFFFFFFu);
    auto failing = std::make_shared<TestSource>(0xFF000000u);
    failing->throwing = true;
    SwPipeLine pipe(Rectangle(0, 0, 4, 4), Rect<int>(0, 0, 4, 4));
    Wire(pipe, target, failing);
    EXPECT_THROW(pipe.Execute(), std::runtime_error);
    EXPECT_GT(target->locks, 0);
    EXPECT_EQ(target->locks, target->unlocks);
    // A smaller colour plane keeps spans inside it; one of the wrong pixel size, or a negative rectangle, none.
    auto small = MakePlane(2, 2, PixelFormat::ARGB8p, 0u);
    SwPipeLine fitted(nullptr, Rect<int>(0, 0, 8, 8));
    Wire(fitted, small, std::make_shared<TestSource>(0xFF010203u));
    EXPECT_EQ(Rect<int>(0, 0, 2, 2), fitted.GetBound());
    fitted.AddRectangle(0, 0, 8, 8);
    EXPECT_EQ(Words(4, 0xFF010203u), Pixels(*small));
    SwPipeLine wrong(nullptr, Rect<int>(0, 0, 8, 8));
    wrong.SetColorTarget(MakePlane(8, 8, PixelFormat::A8, 0));
    EXPECT_EQ(Rect<int>(0, 0, 0, 0), wrong.GetBound());
    auto source = std::make_shared<TestSource>(0xFF010203u);
    SwPipeLine inverted(nullptr, Rect<int>(5, 5, 0, 0));
    EXPECT_EQ(Rect<int>(0, 0, 0, 0), inverted.GetBound());
    Wire(inverted, nullptr, source);
    inverted.AddRectangle(0, 0, 8, 8);
    inverted.AddCoverage(0, Row({{0, 1, 64}}));
    EXPECT_EQ(0, source->spans);
}

TEST(SwPipeLineTest, OperationsAndTheirOrder) {
    // By stage, then by arrival.
    SwPipeLine pipe(nullptr, Rect<int>(0, 0, 4, 4));
    std::vector<std::string> log;
    const std::pair<OperationStage::Enum, const char*> added[] = {
        {OperationStage::Composite, "composite"}, {OperationStage::ShapeMask, "mask1"},
        {OperationStage::Prepare, "prepare"},     {OperationStage::ShapeMask, "mask2"},
        {OperationStage::OpacityMask, "opacity"}, {OperationStage::SourceColor, "source"},
        {OperationStage::Backdrop, "backdrop"}};
    for (const auto& a : added) pipe.AddOperation(std::make_shared<RecordingOp>(a.first, a.second, &log));
    pipe.AddOperation(nullptr);
    EXPECT_EQ(7u, pipe.GetOperationCount());
    SwPipeLine::Params p;
    p.x2 = 1;
    pipe.FillSpan(p);
    EXPECT_EQ((std::vector<std::string>{"prepare", "mask1", "mask2", "source", "backdrop", "opacity", "composite"}),
              log);
    // The four-pixel composite only where SSE2 is announced, layer ones in layers, blending ones outside Normal.
    const struct { BlendMode::Enum mode; bool sse2, layer; const char* name; } composites[] = {
        {BlendMode::Normal, false, false, typeid(SwBasicCompositeNormalOp).name()},
                      {BlendMode::Normal, true, false, typeid(SwBasicCompositeNormalSSE2Op).name()},
                      {BlendMode::Multiply, true, false, typeid(SwBasicCompositeOp).name()},
                      {BlendMode::Normal, false, true, typeid(SwLayerCompositeNormalOp).name()},
                      {BlendMode::Screen, false, true, typeid(SwLayerCompositeOp).name()}};
    for (const auto& c : composites) {
        SwPipeLine composite(nullptr, Rect<int>(0, 0, 4, 4));
        composite.SetBlendMode(c.mode);
        const bool saved = CpuInfo::m_SSE2Available;
        CpuInfo::m_SSE2Available = c.sse2;
        c.layer ? composite.SetLayerComposite(false, false) : composite.SetBasicComposite();
        CpuInfo::m_SSE2Available = saved;
        EXPECT_EQ(std::string(c.name), typeid(*composite.GetOperations().at(1)).name());
    }
}

TEST(SwPipeLineTest, LayerPlanesAndShapeFiller) {
    // A non-isolated layer over white: translucent red over two pixels, the second at coverage 127:
    // 0xFFFF7F7F * 128 plus white * 129. The colour's alpha unites the backdrop's with the group's.
    const uint32_t W = 0xFFFFFFFFu;
    const Words backdropPixels = {0, 0, 0, W, W, W};
    auto color = MakePlane(3, 2, PixelFormat::ARGB8p, W);
    auto shape = MakePlane(3, 2, PixelFormat::A8, 0);
    auto alpha = MakePlane(3, 2, PixelFormat::A8, 0);
    auto backdrop = MakePlane(3, 2, PixelFormat::ARGB8p, 0, &backdropPixels);
    {
        SwPipeLine pipe(nullptr, Rect<int>(0, 0, 3, 2));
        pipe.SetColorTarget(color);
        pipe.SetShapeTarget(shape);
        pipe.SetAlphaTarget(alpha);
        pipe.SetBackdropColor(backdrop);
        pipe.SetColorSource(std::make_shared<TestSource>(0x80800000u));
        pipe.SetLayerComposite(false, false);
        // The other planes stay locked while the pipeline lives: shape and alpha for writing, backdrop for reading.
        EXPECT_TRUE(shape->locks == 1 && shape->unlocks == 0);
        EXPECT_TRUE(shape->lastMode == LockMode::Write && alpha->lastMode == LockMode::Write);
        EXPECT_EQ(LockMode::Read, backdrop->lastMode);
        pipe.AddCoverage(1, Row({{0, 1, 64}, {1, 2, 32}}));
    }
    EXPECT_TRUE(shape->unlocks == 1 && alpha->unlocks == 1 && backdrop->unlocks == 1);
    EXPECT_EQ((Words{W, W, W, 0xFFFF7F7Fu, 0xFFFFBFBFu, W}), Pixels(*color));
    EXPECT_EQ((Words{0, 0, 0, 255, 128, 0}), Pixels(*shape));
    EXPECT_EQ((Words{0, 0, 0, 128, 64, 0}), Pixels(*alpha));
    // The shape filler writes the coverage into the shape plane.
    auto filled = MakePlane(4, 2, PixelFormat::A8, 0);
    SwPipeLine filler(nullptr, Rect<int>(0, 0, 4, 2));
    filler.SetShapeTarget(filled);
    filler.AddShapeFiller();
    filler.AddCoverage(1, Row({{1, 2, 64}, {2, 3, 16}}));
    EXPECT_EQ((Words{0, 0, 0, 0, 0, 255, 63, 0}), Pixels(*filled));
    // Scratch rows start cleared, also where the thread's last pipeline left its colours in them: without a
    // colour source the composite lays transparent black, which changes nothing.
    {
        SwPipeLine painted(nullptr, Rect<int>(0, 0, 4, 1));
        Wire(painted, MakePlane(4, 1, PixelFormat::ARGB8p, 0), std::make_shared<TestSource>(0xFF102030u));
        painted.AddCoverage(0, Row({{0, 4, 64}}));
    }
    auto untouched = MakePlane(4, 1, PixelFormat::ARGB8p, 0x80402010u);
    SwPipeLine bare(nullptr, Rect<int>(0, 0, 4, 1));
    bare.SetColorTarget(untouched);
    bare.SetBasicComposite();
    bare.AddCoverage(0, Row({{0, 4, 64}}));
    EXPECT_EQ(Words(4, 0x80402010u), Pixels(*untouched));
}

// The plain Normal fill runs fused, solid or not, and on an exact system-memory bitmap with one lock a row;
// pixels and locks must be those of the operation-by-operation path.
TEST(SwPipeLineTest, FusedFillsMatchTheOperationByOperationPath) {
    const int width = 37, height = 23;
    std::uniform_real_distribution<float> coordinate(-6.0f, 44.0f);
    int painted = 0;
    EXPECT_TRUE(AllRoundsMatch(7u, 150, [&](Round& r) {
        std::mt19937& random = r.random;
        Words start(width * height);
        for (uint32_t& p : start) p = Word(random);
        // Mostly a colour that paints; the row source gets the solid source's word, so all paths paint alike.
        auto brush = std::make_shared<SolidBrush>(random() % 4 == 0 ? Word(random) : Word(random) | 0x10000000u);
        const uint32_t premultiplied = SwSolidColorSource(brush).GetColor();
        const bool byX = random() % 4 == 0;
        const bool noSource = random() % 20 == 0;
        const bool adjust = random() % 2 == 0;
        const Rect<int> rectangle = random() % 3 == 0 ? Rect<int>(3, 2, 30, 19) : Rect<int>(0, 0, width, height);
        const Rect<int> bound = random() % 3 == 0 ? Rect<int>(Int(random, 0, 12), Int(random, 0, 8),
                                                              Int(random, 18, 40), Int(random, 12, 25))
                                                  : Rect<int>(0, 0, width, height);
        std::shared_ptr<Geometry> geometry;
        Matrix transform;
        int rect[4];
        const int kind = Int(random, 0, 3);
        if (kind == 0) {
            // Whole-pixel rectangles straight to AddRectangle; sometimes inverted, which paints nothing.
            for (int& v : rect) v = Int(random, -6, 43);
            if (random() % 5 != 0 && rect[0] > rect[2]) std::swap(rect[0], rect[2]);
            if (random() % 5 != 0 && rect[1] > rect[3]) std::swap(rect[1], rect[3]);
        } else if (kind == 1) {
            geometry = Rectangle(std::floor(coordinate(random)), std::floor(coordinate(random)),
                                 std::floor(coordinate(random)), std::floor(coordinate(random)));
        } else {
            geometry = std::make_shared<Geometry>();
            geometry->SetFillRule(random() % 2 ? FillRule::Winding : FillRule::EvenOdd);
            geometry->BeginFigure(Point<float>(coordinate(random), coordinate(random)));
            for (int i = Int(random, 2, 9); i > 0; --i)
                geometry->LineTo(Point<float>(coordinate(random), coordinate(random)));
            geometry->EndFigureClose();
            if (random() % 3 == 0) transform = Matrix(0.8f, 0.3f, -0.2f, 1.1f, 1.5f, -0.25f);
        }
        r.note << "kind " << kind << " colour " << std::hex << premultiplied << " by x " << byX << " none " << noSource;
        // The pixels, then the locks and unlocks of a counting target.
        enum Path { Solid, Row, General };
        auto run = [&](Path path, bool plain) {
            std::shared_ptr<CountingBitmap> counting;
            std::shared_ptr<SysMemBitmap> target;
            if (plain)
                target = MakePlane<SysMemBitmap>(width, height, PixelFormat::ARGB8p, 0, &start);
            else
                target = counting = MakePlane(width, height, PixelFormat::ARGB8p, 0, &start);
            std::vector<std::string> log;
            SwPipeLine pipe(geometry, rectangle);
            pipe.IntersectBound(bound);
            pipe.SetTransform2D(transform);
            pipe.SetAdjustRectangles(adjust);
            std::shared_ptr<SwColorSource> source;
            if (!noSource && (path == Row || byX)) source = std::make_shared<TestSource>(premultiplied, byX);
            if (!noSource && !source) source = std::make_shared<SwSolidColorSource>(brush);
            Wire(pipe, target, source);
            if (path == General) pipe.AddOperation(std::make_shared<RecordingOp>(OperationStage::Backdrop, "", &log));
            if (geometry)
                pipe.Execute();
            else
                pipe.AddRectangle(rect[0], rect[1], rect[2], rect[3]);
            Words pixels = Pixels(*target);
            if (counting) pixels.insert(pixels.end(), {uint32_t(counting->locks), uint32_t(counting->unlocks)});
            return pixels;
        };
        const Words expected = run(General, false);
        r.Compare("solid", run(Solid, false), expected);
        r.Compare("row", run(Row, false), expected);
        const Words plain = run(General, true);
        r.Compare("solid, plain", run(Solid, true), plain);
        r.Compare("row, plain", run(Row, true), plain);
        r.Compare("general, plain", plain, Words(expected.begin(), expected.end() - 2));
        if (noSource) r.Compare("no source", plain, start);
        if (plain != start) ++painted;
    }));
    // Most rounds must paint, or the comparison proves little.
    EXPECT_GT(painted, 80);
}
