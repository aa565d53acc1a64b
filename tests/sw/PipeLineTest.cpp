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
#include <memory>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <typeinfo>
#include <utility>
#include <vector>

using namespace Graphics;
using namespace RandomizedCompare;

namespace {

// One colour everywhere, or with x in the low byte, so that the words show
// where each span landed. Not the solid source: the pipeline has to ask it
// for every span. Can fail on demand.
class TestSource : public SwColorSource {
public:
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
    bool byX;
    bool throwing = false;
    int spans = 0;
};

// Not exactly a system-memory bitmap, so the pipeline locks it per span;
// counts the locks.
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

// The pixels of a 32-bit or 8-bit plane, row after row, read around its
// locks.
Words Pixels(SysMemBitmap& b) {
    const int bytes = PixelFormat::GetBitsPerPixel(b.GetPixelFormat()) / 8;
    Words pixels;
    for (int y = 0; y < b.GetSize().height; ++y)
        for (int x = 0; x < b.GetSize().width; ++x) {
            uint32_t w = 0;
            std::memcpy(&w, b.GetBuffer().GetPointer(y) + bytes * x, bytes);
            pixels.push_back(w);
        }
    return pixels;
}

// A counting plane, or an exact system-memory bitmap, whose lock the
// pipeline may take once for a row.
template <class B = CountingBitmap>
std::shared_ptr<B> MakePlane(int w, int h, PixelFormat::Enum f, uint32_t fill, const Words* pixels = nullptr) {
    std::shared_ptr<B> b;
    if constexpr (std::is_same<B, SysMemBitmap>::value)
        b = std::make_shared<SysMemBitmap>(Size<int>(w, h), f, 96.0f, 96.0f);
    else
        b = std::make_shared<B>(w, h, f);
    const int bytes = PixelFormat::GetBitsPerPixel(f) / 8;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const uint32_t v = pixels ? (*pixels)[y * w + x] : fill;
            if (bytes == 4)
                std::memcpy(b->GetBuffer().GetPointer(y) + 4 * x, &v, 4);
            else
                b->GetBuffer().GetPointer(y)[x] = static_cast<unsigned char>(v);
        }
    return b;
}

// Logs its name when it runs; a spy keeps the pipeline off its fused step.
class RecordingOp : public SwOperation {
public:
    RecordingOp(OperationStage::Enum stage, std::string n, std::vector<std::string>* l)
        : SwOperation(stage), name(std::move(n)), log(l) {}
    void operator()(OperationContext&) override { log->push_back(name); }
    std::string name;
    std::vector<std::string>* log;
};

// One row of coverage from runs of pixels [x0, x1) with a count each: count
// n at a pixel is n sample columns over the eight sample rows. A run of full
// pixels is one span per sample row, so that it comes out as one node.
struct Interval {
    int x0, x1, count;
};

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

}  // namespace

TEST(SwPipeLineTest, FillsByHand) {
    const uint32_t W = 0xFFFFFFFFu;
    const std::vector<Interval> none;
    const Rect<int> noRect;
    const Rect<int> all(0, 0, 8, 4);
    // Each case fills an 8 x 4 target once: through a coverage row, a
    // rectangle, or the rasterizer. Rows y0 to y1 must then hold `row`, all
    // others the fill; locks, where not -1, counts the target's locks.
    struct Case {
        const char* what;
        PixelFormat::Enum format;
        uint32_t fill, source;
        bool byX;
        BlendMode::Enum mode;
        bool spy;
        Rect<int> bound;
        int y;
        std::vector<Interval> runs;
        Rect<int> rect;
        std::shared_ptr<Geometry> geometry;
        Matrix transform;
        bool adjust;
        int y0, y1;
        Words row;
        int locks;
    };
    const Case cases[] = {
        // Counts become count * 4 - 1: 64 -> 255, 1 -> 3 (Scale(w, 4) over
        // white * 253), 32 -> 127 (Scale(w, 128) over white * 191). Each
        // interval takes a lock of its own.
        {"coverage", PixelFormat::ARGB8p, W, 0x80800000u, false, BlendMode::Normal, true, all, 1,
         {{1, 3, 64}, {5, 6, 1}, {6, 7, 32}}, noRect, nullptr, Matrix(), false, 1, 2,
         {W, 0xFEFE7E7Eu, 0xFEFE7E7Eu, W, W, 0xFEFEFCFCu, 0xFEFEBEBEu, W}, 3},
        // Intervals are cut to the bound and start the source there; those
        // outside, and zero counts, are skipped. Count 16 is coverage 63:
        // Scale(0xFF000003, 64) on an empty target.
        {"bound", PixelFormat::ARGB8p, 0, 0xFF000000u, true, BlendMode::Normal, true, Rect<int>(2, 1, 6, 3), 1,
         {{0, 3, 64}, {3, 4, 16}, {6, 7, 64}, {7, 8, 8}}, noRect, nullptr, Matrix(), false, 1, 2,
         {0, 0, 0xFF000002u, 0x3F000000u, 0, 0, 0, 0}, 2},
        // Rows just outside the bound: nothing runs, nothing is locked.
        {"row above", PixelFormat::ARGB8p, 0, 0xFF000000u, false, BlendMode::Normal, true, Rect<int>(2, 1, 6, 3), 0,
         {{3, 4, 64}}, noRect, nullptr, Matrix(), false, 0, 0, {}, 0},
        {"row below", PixelFormat::ARGB8p, 0, 0xFF000000u, false, BlendMode::Normal, true, Rect<int>(2, 1, 6, 3), 3,
         {{3, 4, 64}}, noRect, nullptr, Matrix(), false, 0, 0, {}, 0},
        // A rectangle far past every edge is cut on all sides; one lock for
        // all its rows.
        {"rectangle cut", PixelFormat::ARGB8p, 0, 0xFF000000u, true, BlendMode::Normal, true, Rect<int>(2, 1, 6, 3), 0,
         none, Rect<int>(-100, -100, 100, 100), nullptr, Matrix(), false, 1, 3,
         {0, 0, 0xFF000002u, 0xFF000003u, 0xFF000004u, 0xFF000005u, 0, 0}, 1},
        // XRGB8: Scale(0xFF336699, 127) = 0x7E19324B plus the source; the top
        // byte is the sum's, not forced to 255.
        {"xrgb", PixelFormat::XRGB8, 0xFF336699u, 0x80800000u, false, BlendMode::Normal, false, all, 0, none,
         Rect<int>(-5, 1, 3, 9), nullptr, Matrix(), false, 1, 4,
         {0xFE99324Bu, 0xFE99324Bu, 0xFE99324Bu, 0xFF336699u, 0xFF336699u, 0xFF336699u, 0xFF336699u, 0xFF336699u}, 1},
        // Rectangles that miss the bound take no lock.
        {"miss right", PixelFormat::ARGB8p, W, 0xFF000000u, false, BlendMode::Normal, false, all, 0, none,
         Rect<int>(8, 0, 10, 4), nullptr, Matrix(), false, 0, 0, {}, 0},
        {"miss above", PixelFormat::ARGB8p, W, 0xFF000000u, false, BlendMode::Normal, false, all, 0, none,
         Rect<int>(0, -2, 8, 0), nullptr, Matrix(), false, 0, 0, {}, 0},
        // The blend mode reaches the composite: grey 128 times (200, 100, 50).
        {"multiply", PixelFormat::ARGB8p, 0xFFC86432u, 0xFF808080u, false, BlendMode::Multiply, false, all, 0, none,
         Rect<int>(0, 0, 1, 1), nullptr, Matrix(), false, 0, 1,
         {0xFF643219u, 0xFFC86432u, 0xFFC86432u, 0xFFC86432u, 0xFFC86432u, 0xFFC86432u, 0xFFC86432u, 0xFFC86432u},
         1},
        // Through the rasterizer, moved by (1, 1): whole pixels take the
        // opaque source, half-covered ones coverage 32 * 4 - 1, Scale(blue,
        // 128) over white * 128.
        {"geometry", PixelFormat::ARGB8p, W, 0xFF0000FFu, false, BlendMode::Normal, false, all, 0, none, noRect,
         Rectangle(0.5f, 0.0f, 3.5f, 2.0f), Matrix(1, 0, 0, 1, 1, 1), false, 1, 3,
         {W, 0xFE7F7FFEu, 0xFF0000FFu, 0xFF0000FFu, 0xFE7F7FFEu, W, W, W}, -1},
        // Adjusted rectangles snap to whole pixels.
        {"adjusted", PixelFormat::ARGB8p, W, 0xFF0000FFu, false, BlendMode::Normal, false, all, 0, none, noRect,
         Rectangle(1.0f, 1.0f, 3.0f, 2.0f), Matrix(), true, 1, 2, {W, 0xFF0000FFu, 0xFF0000FFu, W, W, W, W, W}, -1},
        // An empty bound makes Execute a no-op.
        {"geometry off the bound", PixelFormat::ARGB8p, W, 0xFF0000FFu, false, BlendMode::Normal, false,
         Rect<int>(10, 10, 20, 20), 0, none, noRect, Rectangle(0, 0, 8, 4), Matrix(), false, 0, 0, {}, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        auto target = MakePlane(8, 4, c.format, c.fill);
        std::vector<std::string> log;
        // On the stack, as the renderer keeps it.
        SwPipeLine pipe(c.geometry, all);
        pipe.SetTransform2D(c.transform);
        pipe.SetAdjustRectangles(c.adjust);
        pipe.SetBlendMode(c.mode);
        pipe.IntersectBound(c.bound);
        pipe.SetColorTarget(target);
        pipe.SetColorSource(std::make_shared<TestSource>(c.source, c.byX));
        pipe.SetBasicComposite();
        if (c.spy) pipe.AddOperation(std::make_shared<RecordingOp>(OperationStage::Composite, "spy", &log));
        if (!c.runs.empty())
            pipe.AddCoverage(c.y, Row(c.runs));
        else if (c.geometry)
            pipe.Execute();
        else
            pipe.AddRectangle(c.rect.left, c.rect.top, c.rect.right, c.rect.bottom);

        Words expected(32, c.fill);
        for (int y = c.y0; y < c.y1; ++y) std::copy(c.row.begin(), c.row.end(), expected.begin() + 8 * y);
        EXPECT_EQ(expected, Pixels(*target));
        if (c.locks >= 0) {
            EXPECT_EQ(c.locks, target->locks);
        }
        EXPECT_EQ(target->locks, target->unlocks);
        if (target->locks > 0) {
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
    pipe.SetColorTarget(target);
    pipe.SetColorSource(failing);
    pipe.SetBasicComposite();
    EXPECT_THROW(pipe.Execute(), std::runtime_error);
    EXPECT_GT(target->locks, 0);
    EXPECT_EQ(target->locks, target->unlocks);
    // Trapezoids are refused, so the rasterizer sends coverage instead.
    EXPECT_FALSE(pipe.CanAcceptTrapezoids());

    // No geometry, no coverage buffer: nothing happens.
    const int locks = target->locks;
    SwPipeLine empty(nullptr, Rect<int>(0, 0, 4, 4));
    empty.SetColorTarget(target);
    empty.SetColorSource(failing);
    empty.SetBasicComposite();
    empty.Execute();
    empty.AddCoverage(1, nullptr);
    EXPECT_EQ(locks, target->locks);

    // A colour plane smaller than the rectangle keeps spans inside it; one
    // of the wrong pixel size, or a rectangle of negative size, takes none.
    auto small = MakePlane(2, 2, PixelFormat::ARGB8p, 0u);
    SwPipeLine fitted(nullptr, Rect<int>(0, 0, 8, 8));
    fitted.SetColorTarget(small);
    EXPECT_EQ(Rect<int>(0, 0, 2, 2), fitted.GetBound());
    fitted.SetColorSource(std::make_shared<TestSource>(0xFF010203u));
    fitted.SetBasicComposite();
    fitted.AddRectangle(0, 0, 8, 8);
    EXPECT_EQ(Words(4, 0xFF010203u), Pixels(*small));
    SwPipeLine touching(nullptr, Rect<int>(0, 0, 8, 8));
    touching.IntersectBound(Rect<int>(8, 0, 10, 8));
    EXPECT_EQ(Rect<int>(0, 0, 0, 0), touching.GetBound());
    SwPipeLine wrong(nullptr, Rect<int>(0, 0, 8, 8));
    wrong.SetColorTarget(MakePlane(8, 8, PixelFormat::A8, 0));
    EXPECT_EQ(Rect<int>(0, 0, 0, 0), wrong.GetBound());
    auto source = std::make_shared<TestSource>(0xFF010203u);
    SwPipeLine inverted(nullptr, Rect<int>(5, 5, 0, 0));
    EXPECT_EQ(Rect<int>(0, 0, 0, 0), inverted.GetBound());
    inverted.SetColorSource(source);
    inverted.SetBasicComposite();
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

    // The composite behind the coverage row: the four-pixel operation only
    // where the processor facts announce SSE2, the layer operations in
    // layers, and the blending ones outside Normal.
    auto composite = [](BlendMode::Enum mode, bool sse2, bool layer) -> std::string {
        SwPipeLine pipe(nullptr, Rect<int>(0, 0, 4, 4));
        pipe.SetBlendMode(mode);
        const bool saved = CpuInfo::m_SSE2Available;
        CpuInfo::m_SSE2Available = sse2;
        if (layer)
            pipe.SetLayerComposite(false, false);
        else
            pipe.SetBasicComposite();
        CpuInfo::m_SSE2Available = saved;
        EXPECT_EQ(OperationStage::Prepare, pipe.GetOperations().at(0)->GetStage());
        return typeid(*pipe.GetOperations().at(1)).name();
    };
    EXPECT_EQ(typeid(SwBasicCompositeNormalOp).name(), composite(BlendMode::Normal, false, false));
    EXPECT_EQ(typeid(SwBasicCompositeNormalSSE2Op).name(), composite(BlendMode::Normal, true, false));
    EXPECT_EQ(typeid(SwBasicCompositeOp).name(), composite(BlendMode::Multiply, true, false));
    EXPECT_EQ(typeid(SwLayerCompositeNormalOp).name(), composite(BlendMode::Normal, false, true));
    EXPECT_EQ(typeid(SwLayerCompositeOp).name(), composite(BlendMode::Screen, false, true));
}

TEST(SwPipeLineTest, LayerPlanesAndShapeFiller) {
    // A non-isolated layer over white: colour and backdrop white on row 1,
    // shape and alpha empty. Translucent red over two pixels, the second at
    // coverage 127: r = 0xFFFF7F7F scaled by 128 plus white scaled by 129.
    // The colour's alpha byte unites the backdrop's alpha with the group's.
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
        // The planes other than the colour are locked while the pipeline
        // lives: shape and alpha for writing, the backdrop for reading.
        EXPECT_EQ(1, shape->locks);
        EXPECT_EQ(LockMode::Write, shape->lastMode);
        EXPECT_EQ(LockMode::Write, alpha->lastMode);
        EXPECT_EQ(LockMode::Read, backdrop->lastMode);
        EXPECT_EQ(0, shape->unlocks);
        pipe.AddCoverage(1, Row({{0, 1, 64}, {1, 2, 32}}));
    }
    EXPECT_EQ(1, shape->unlocks);
    EXPECT_EQ(1, alpha->unlocks);
    EXPECT_EQ(1, backdrop->unlocks);
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
}

// The pipeline runs the plain Normal fill (colour target, coverage row,
// colour source, Normal composite) in one fused step, solid or not, and on
// an exact system-memory bitmap with one lock a row. Whatever the fill, the
// pixels and the locks must be those of the operation-by-operation path.
TEST(SwPipeLineTest, FusedFillsMatchTheOperationByOperationPath) {
    const int width = 37, height = 23;
    std::uniform_real_distribution<float> coordinate(-6.0f, 44.0f);
    int painted = 0;
    EXPECT_TRUE(AllRoundsMatch(7u, 150, [&](Round& r) {
        std::mt19937& random = r.random;
        Words start(width * height);
        for (uint32_t& p : start) p = Word(random);
        // Mostly a colour that paints; sometimes one of the edge cases. The
        // row source is handed the word that the solid source makes of the
        // brush, so that all paths paint the same.
        auto brush = std::make_shared<SolidBrush>(random() % 4 == 0 ? Word(random) : Word(random) | 0x10000000u);
        const uint32_t premultiplied = SwSolidColorSource(brush).GetColor();
        const bool byX = random() % 4 == 0;
        const bool noSource = random() % 20 == 0;
        const bool adjust = random() % 2 == 0;
        // Mostly the whole target, sometimes a rectangle or a bound that cuts
        // it.
        const Rect<int> rectangle = random() % 3 == 0 ? Rect<int>(3, 2, 30, 19) : Rect<int>(0, 0, width, height);
        const Rect<int> bound = random() % 3 == 0 ? Rect<int>(Int(random, 0, 12), Int(random, 0, 8),
                                                              Int(random, 18, 40), Int(random, 12, 25))
                                                  : Rect<int>(0, 0, width, height);
        std::shared_ptr<Geometry> geometry;
        Matrix transform;
        int rect[4];
        const int kind = Int(random, 0, 3);
        if (kind == 0) {
            // Whole-pixel rectangles reach AddRectangle directly; mostly in
            // order, an inverted one must paint nothing.
            for (int& v : rect) v = Int(random, -6, 43);
            if (random() % 5 != 0) {
                if (rect[0] > rect[2]) std::swap(rect[0], rect[2]);
                if (rect[1] > rect[3]) std::swap(rect[1], rect[3]);
            }
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
        r.note << "kind " << kind << " colour " << std::hex << premultiplied << std::dec << (byX ? " by x" : "")
               << (noSource ? " no source" : "");

        // The pixels, followed by the locks and unlocks of a counting target.
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
            pipe.SetColorTarget(target);
            if (noSource)
                pipe.SetColorSource(nullptr);
            else if (path == Row || byX)
                pipe.SetColorSource(std::make_shared<TestSource>(premultiplied, byX));
            else
                pipe.SetColorSource(std::make_shared<SwSolidColorSource>(brush));
            pipe.SetBasicComposite();
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
    // Most rounds paint something, or the comparison would prove little.
    EXPECT_GT(painted, 80);
}
