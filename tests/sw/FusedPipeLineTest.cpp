#include "sw/SwPipeLine.h"

#include "Graphics/Brush.h"
#include "bitmap/SysMemBitmap.h"
#include "core/PackedColor.h"
#include "sw/SwBasicCompositeNormalOp.h"
#include "sw/SwColorSource.h"
#include "sw/SwSolidColorSource.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <memory>
#include <random>
#include <utility>
#include <vector>

using namespace Graphics;

// The pipeline runs the plain Normal fill in one fused step. These tests
// hold the fused step against the operation-by-operation path and against
// the single-pixel steps, over many random inputs.

namespace {

// The pixel steps of the Normal composite, written out once more.
uint32_t ReferencePixel(uint32_t t, uint32_t w, unsigned int s) {
    if (s == 0 || (w >> 24) == 0) return t;
    if (s < 255) w = ScaleColor(w, s + 1);
    return (t >> 24) == 0 ? w : ScaleColor(t, 255 - (w >> 24)) + w;
}

uint32_t RandomWord(std::mt19937& random) {
    uint32_t w = static_cast<uint32_t>(random());
    switch (random() % 5) {
        case 0: return w & 0x00FFFFFFu;  // alpha 0, colour bytes left over
        case 1: return w | 0xFF000000u;  // opaque
        case 2: return w & 0x01FFFFFFu;  // alpha 0 or 1
        default: return w;
    }
}

unsigned int RandomShape(std::mt19937& random) {
    switch (random() % 4) {
        case 0: return 0;
        case 1: return 255;
        default: return random() % 256;
    }
}

// Paints its colour, or the colour with x in the blue byte, and is not the
// solid source, so the pipeline has to ask it for every span.
class RowSource : public SwColorSource {
public:
    RowSource(uint32_t c, bool x) : color(c), byX(x) {}
    void FillSpan(int x0, int x1, int, unsigned char* destination) override {
        for (int x = x0; x < x1; ++x) {
            const uint32_t w = byX ? ((color & 0xFFFFFF00u) | static_cast<uint32_t>(x * 7)) : color;
            std::memcpy(destination + 4 * (x - x0), &w, 4);
        }
        ++spans;
    }
    uint32_t color;
    bool byX;
    int spans = 0;
};

// Does nothing, but keeps the pipeline on its operation-by-operation path.
class IdleOp : public SwOperation {
public:
    IdleOp() : SwOperation(OperationStage::Backdrop) {}
    void operator()(OperationContext&) override {}
};

class CountingBitmap : public SysMemBitmap {
public:
    CountingBitmap(int w, int h) : SysMemBitmap(Size<int>(w, h), PixelFormat::ARGB8p, 96.0f, 96.0f) {}
    LockedData Lock(const Rect<int>* rect, LockMode::Enum mode) override {
        ++locks;
        return SysMemBitmap::Lock(rect, mode);
    }
    void Unlock() override { ++unlocks; }
    int locks = 0;
    int unlocks = 0;
};

const int kWidth = 37;
const int kHeight = 23;

std::shared_ptr<CountingBitmap> MakeTarget(const std::vector<uint32_t>& pixels) {
    auto b = std::make_shared<CountingBitmap>(kWidth, kHeight);
    const LockedData d = b->SysMemBitmap::Lock(nullptr, LockMode::Write);
    for (int y = 0; y < kHeight; ++y)
        std::memcpy(static_cast<unsigned char*>(d.data) + y * d.stride, pixels.data() + y * kWidth, kWidth * 4);
    return b;
}

std::vector<uint32_t> Pixels(const std::shared_ptr<CountingBitmap>& b) {
    std::vector<uint32_t> pixels(kWidth * kHeight);
    const LockedData d = b->SysMemBitmap::Lock(nullptr, LockMode::Read);
    for (int y = 0; y < kHeight; ++y)
        std::memcpy(pixels.data() + y * kWidth, static_cast<unsigned char*>(d.data) + y * d.stride, kWidth * 4);
    return pixels;
}

void CopyPixels(SysMemBitmap& to, SysMemBitmap& from) {
    const LockedData d = to.SysMemBitmap::Lock(nullptr, LockMode::Write);
    const LockedData f = from.SysMemBitmap::Lock(nullptr, LockMode::Read);
    for (int y = 0; y < kHeight; ++y)
        std::memcpy(static_cast<unsigned char*>(d.data) + y * d.stride,
                    static_cast<const unsigned char*>(f.data) + y * f.stride, kWidth * 4);
}

enum class Path { Solid, Row, General };

struct Fill {
    std::shared_ptr<Geometry> geometry;
    Matrix transform;
    bool adjust = false;
    uint32_t color = 0;
    bool byX = false;
    bool noSource = false;
    int rect[4] = {0, 0, 0, 0};  // for AddRectangle, when geometry is null
    Rect<int> rectangle;
};

// With plain set the fill goes to an exact system-memory bitmap, whose
// locks the pipeline may take once a row, and its pixels are handed back in
// a counting bitmap.
std::shared_ptr<CountingBitmap> RunFill(const Fill& fill, const std::vector<uint32_t>& start, Path path,
                                        bool plain = false) {
    // The solid source premultiplies the brush's colour; the row source is
    // handed the premultiplied word, so that all paths paint the same.
    auto brush = std::make_shared<SolidBrush>(fill.color);
    const uint32_t premultiplied = SwSolidColorSource(brush).GetColor();
    auto target = MakeTarget(start);
    std::shared_ptr<SysMemBitmap> plainTarget;
    if (plain) {
        plainTarget = std::make_shared<SysMemBitmap>(Size<int>(kWidth, kHeight), PixelFormat::ARGB8p, 96.0f, 96.0f);
        CopyPixels(*plainTarget, *target);
    }
    auto pipe = std::make_shared<SwPipeLine>(fill.geometry, fill.rectangle);
    pipe->SetTransform2D(fill.transform);
    pipe->SetAdjustRectangles(fill.adjust);
    if (plain)
        pipe->SetColorTarget(plainTarget);
    else
        pipe->SetColorTarget(target);
    if (fill.noSource) {
        pipe->SetColorSource(nullptr);
    } else if (path == Path::Row || fill.byX) {
        pipe->SetColorSource(std::make_shared<RowSource>(premultiplied, fill.byX));
    } else {
        pipe->SetColorSource(std::make_shared<SwSolidColorSource>(brush));
    }
    pipe->SetBasicComposite();
    if (path == Path::General) pipe->AddOperation(std::make_shared<IdleOp>());
    if (fill.geometry)
        pipe->Execute();
    else
        pipe->AddRectangle(fill.rect[0], fill.rect[1], fill.rect[2], fill.rect[3]);
    if (plain) CopyPixels(*target, *plainTarget);
    return target;
}

}  // namespace

TEST(SwFusedPipeLineTest, ConstantComposeMatchesThePixelSteps) {
    std::mt19937 random(20261121u);
    for (int round = 0; round < 4000; ++round) {
        const int count = static_cast<int>(random() % 40);
        const uint32_t w = RandomWord(random);
        const unsigned int s = RandomShape(random);
        std::vector<uint32_t> target(count + 1);
        std::vector<uint32_t> colors(count + 1);
        for (int i = 0; i <= count; ++i) {
            target[i] = RandomWord(random);
            colors[i] = random() % 3 == 0 ? w : RandomWord(random);
        }
        std::vector<uint32_t> expected = target;
        std::vector<uint32_t> expectedRow = target;
        for (int i = 0; i < count; ++i) {
            expected[i] = ReferencePixel(target[i], w, s);
            expectedRow[i] = ReferencePixel(target[i], colors[i], s);
        }

        std::vector<uint32_t> constant = target;
        SwBasicCompositeNormalOp::ComposeConstant(constant.data(), w, s, count);
        std::vector<uint32_t> uniform = target;
        SwBasicCompositeNormalOp::ComposeSpanUniform(uniform.data(), colors.data(), s, count);
        // The general span loop with a shape row of s says the same.
        std::vector<uint32_t> general = target;
        std::vector<unsigned char> shape(count + 1, static_cast<unsigned char>(s));
        SwBasicCompositeNormalOp::ComposeSpan(general.data(), colors.data(), shape.data(), count);
        for (int i = 0; i <= count; ++i) {
            ASSERT_EQ(expected[i], constant[i]) << "round " << round << " pixel " << i;
            ASSERT_EQ(expectedRow[i], uniform[i]) << "round " << round << " pixel " << i;
            ASSERT_EQ(expectedRow[i], general[i]) << "round " << round << " pixel " << i;
        }
    }

    // By hand: alpha 128, red 128 over opaque white at full coverage gives
    // Scale(white, 127) + w; an empty target takes the word as it is.
    uint32_t pixels[5] = {0xFFFFFFFFu, 0x00123456u, 0xFFFFFFFFu, 0xFFFFFFFFu, 0xFFFFFFFFu};
    SwBasicCompositeNormalOp::ComposeConstant(pixels, 0x80800000u, 255, 5);
    EXPECT_EQ(0xFEFE7E7Eu, pixels[0]);
    EXPECT_EQ(0x80800000u, pixels[1]);
    EXPECT_EQ(0xFEFE7E7Eu, pixels[4]);
    // Opaque under full coverage replaces; coverage 0 and alpha 0 leave.
    SwBasicCompositeNormalOp::ComposeConstant(pixels, 0xFF010203u, 255, 2);
    SwBasicCompositeNormalOp::ComposeConstant(pixels + 2, 0xFF010203u, 0, 3);
    SwBasicCompositeNormalOp::ComposeConstant(pixels + 3, 0x00010203u, 255, 2);
    EXPECT_EQ(0xFF010203u, pixels[0]);
    EXPECT_EQ(0xFF010203u, pixels[1]);
    EXPECT_EQ(0xFEFE7E7Eu, pixels[2]);
    EXPECT_EQ(0xFEFE7E7Eu, pixels[3]);
    // Coverage 127 scales the word by 128 first: 0xFF0000FF becomes
    // 0x7F00007F, and white is scaled by 255 - 127 to 0x7F7F7F7F.
    uint32_t one = 0xFFFFFFFFu;
    SwBasicCompositeNormalOp::ComposeConstant(&one, 0xFF0000FFu, 127, 1);
    EXPECT_EQ(0xFE7F7FFEu, one);
}

TEST(SwFusedPipeLineTest, FusedFillsMatchTheOperationByOperationPath) {
    std::mt19937 random(7u);
    std::uniform_real_distribution<float> coordinate(-6.0f, 44.0f);
    int painted = 0;
    for (int round = 0; round < 300; ++round) {
        std::vector<uint32_t> start(kWidth * kHeight);
        for (uint32_t& p : start) p = RandomWord(random);

        Fill fill;
        // Mostly a colour that paints; sometimes one of the edge cases.
        fill.color = random() % 4 == 0 ? RandomWord(random) : static_cast<uint32_t>(random()) | 0x10000000u;
        fill.byX = random() % 4 == 0;
        fill.noSource = random() % 20 == 0;
        fill.adjust = random() % 2 == 0;
        // Mostly the whole target, sometimes a rectangle that cuts it.
        fill.rectangle = random() % 3 == 0 ? Rect<int>(3, 2, 30, 19) : Rect<int>(0, 0, kWidth, kHeight);
        switch (random() % 4) {
            case 0: {
                // Whole-pixel rectangles reach AddRectangle directly.
                for (int& v : fill.rect) v = static_cast<int>(random() % 50) - 6;
                // Mostly in order; an inverted one must paint nothing.
                if (random() % 5 != 0) {
                    if (fill.rect[0] > fill.rect[2]) std::swap(fill.rect[0], fill.rect[2]);
                    if (fill.rect[1] > fill.rect[3]) std::swap(fill.rect[1], fill.rect[3]);
                }
                break;
            }
            case 1: {
                auto g = std::make_shared<Geometry>();
                g->Rectangle(Rect<float>(std::floor(coordinate(random)), std::floor(coordinate(random)),
                                         std::floor(coordinate(random)), std::floor(coordinate(random))));
                fill.geometry = g;
                break;
            }
            default: {
                auto g = std::make_shared<Geometry>();
                g->SetFillRule(random() % 2 ? FillRule::Winding : FillRule::EvenOdd);
                const int n = 3 + static_cast<int>(random() % 8);
                for (int i = 0; i < n; ++i) {
                    const Point<float> p(coordinate(random), coordinate(random));
                    if (i == 0)
                        g->BeginFigure(p);
                    else
                        g->LineTo(p);
                }
                g->EndFigureClose();
                fill.geometry = g;
                if (random() % 3 == 0) fill.transform = Matrix(0.8f, 0.3f, -0.2f, 1.1f, 1.5f, -0.25f);
                break;
            }
        }

        auto general = RunFill(fill, start, Path::General);
        auto solid = RunFill(fill, start, Path::Solid);
        auto row = RunFill(fill, start, Path::Row);
        const std::vector<uint32_t> expected = Pixels(general);
        ASSERT_EQ(expected, Pixels(solid)) << "round " << round;
        ASSERT_EQ(expected, Pixels(row)) << "round " << round;
        // On a plain bitmap the lock is taken once a row: the same pixels.
        ASSERT_EQ(expected, Pixels(RunFill(fill, start, Path::Solid, true))) << "round " << round;
        ASSERT_EQ(expected, Pixels(RunFill(fill, start, Path::Row, true))) << "round " << round;
        ASSERT_EQ(expected, Pixels(RunFill(fill, start, Path::General, true))) << "round " << round;
        // The fused path keeps the locks of the colour target as they were.
        EXPECT_EQ(general->locks, solid->locks) << "round " << round;
        EXPECT_EQ(general->locks, row->locks) << "round " << round;
        EXPECT_EQ(solid->locks, solid->unlocks);
        if (fill.noSource) {
            EXPECT_EQ(start, expected);
        }
        if (expected != start) ++painted;
    }
    // Most rounds paint something, or the comparison would prove little.
    EXPECT_GT(painted, 160);
}

TEST(SwFusedPipeLineTest, FusedPathOnlyForThePlainList) {
    // The fused step stands for exactly the four operations of a plain
    // Normal fill; with a target missing the pixels stay and the source is
    // not asked.
    auto source = std::make_shared<RowSource>(0xFF102030u, false);
    auto pipe = std::make_shared<SwPipeLine>(nullptr, Rect<int>(0, 0, 8, 8));
    pipe->SetColorSource(source);
    pipe->SetBasicComposite();
    EXPECT_EQ(3u, pipe->GetOperationCount());
    pipe->AddRectangle(0, 0, 8, 8);
    // Without a target the operations still run: the source is asked.
    EXPECT_EQ(8, source->spans);

    auto target = MakeTarget(std::vector<uint32_t>(kWidth * kHeight, 0xFFFFFFFFu));
    auto fused = std::make_shared<SwPipeLine>(nullptr, Rect<int>(0, 0, kWidth, kHeight));
    auto rowSource = std::make_shared<RowSource>(0xFF102030u, false);
    fused->SetColorTarget(target);
    fused->SetColorSource(rowSource);
    fused->SetBasicComposite();
    SwPipeLine::Params p;
    p.y = 4;
    p.x1 = 2;
    p.x2 = 6;
    p.coverage = 255;
    fused->FillSpan(p);
    // An empty span asks the source nothing, as the colour operation does.
    p.x2 = 2;
    fused->FillSpan(p);
    EXPECT_EQ(1, rowSource->spans);
    const std::vector<uint32_t> pixels = Pixels(target);
    for (int x = 0; x < kWidth; ++x)
        EXPECT_EQ(x >= 2 && x < 6 ? 0xFF102030u : 0xFFFFFFFFu, pixels[4 * kWidth + x]) << x;
}
