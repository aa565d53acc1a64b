#include "Graphics/Region.h"

#include "RasterRecordingSink.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <random>
#include <vector>

using namespace Graphics;

namespace {

const int S = Region::m_Sentinel;
const int W = 40;  // every random shape lies in [0, 32)

using Runs = std::vector<int>;
using Rects = std::vector<Rect<int>>;

// Pixels painted from rectangles; painting one twice marks an overlap.
struct PixelSet {
    std::vector<unsigned char> p = std::vector<unsigned char>(W * W, 0);
    bool overlap = false;
    bool operator==(const PixelSet& o) const { return p == o.p; }
    int Count() const { return static_cast<int>(std::count(p.begin(), p.end(), 1)); }
};

PixelSet PixelsOf(const RectList<int>& rects) {
    PixelSet s;
    for (const Rect<int>& r : rects)
        for (int y = r.top; y < r.bottom; ++y)
            for (int x = r.left; x < r.right; ++x) {
                if (x < 0 || x >= W || y < 0 || y >= W) return ADD_FAILURE() << x << "," << y, s;
                s.overlap |= s.p[y * W + x] != 0;
                s.p[y * W + x] = 1;
            }
    return s;
}
PixelSet PixelsOf(const Region& region) { return PixelsOf(region.GetRects()); }

PixelSet Apply(const PixelSet& a, const PixelSet& b, CombineMode::Enum mode) {
    PixelSet r;
    for (int i = 0; i < W * W; ++i) {
        const bool x = a.p[i] != 0, y = b.p[i] != 0, byMode[] = {x && y, x || y, x != y, x && !y, y && !x};
        r.p[i] = byMode[mode];  // in the order of CombineMode
    }
    return r;
}

// Every Combine result: tight bound, run list only for several rectangles,
// bands downward with ascending spans apart, neighbouring bands different.
void ExpectCanonical(const Region& region) {
    const RectList<int> rects = region.GetRects();
    EXPECT_EQ(region.IsAreaEmpty(), rects.IsEmpty());
    EXPECT_EQ(region.GetBound(), rects.GetBound());
    EXPECT_EQ(region.IsRect(), rects.GetCount() <= 1u);
    std::vector<std::vector<std::pair<int, int>>> spans;  // of each band
    std::vector<Rect<int>> bands;
    for (const Rect<int>& r : rects) {
        ASSERT_TRUE(r.left < r.right && r.top < r.bottom);
        if (bands.empty() || bands.back().top != r.top) {
            ASSERT_TRUE(bands.empty() || bands.back().bottom <= r.top);
            bands.push_back(r);
            spans.emplace_back();
        }
        ASSERT_TRUE(bands.back().bottom == r.bottom && (spans.back().empty() || spans.back().back().second < r.left));
        spans.back().emplace_back(r.left, r.right);
    }
    for (std::size_t i = 1; i < bands.size(); ++i)
        EXPECT_TRUE(bands[i - 1].bottom != bands[i].top || spans[i - 1] != spans[i]) << "at " << bands[i].top;
}

Runs RectRuns(int l, int t, int r, int b) {
    Runs out(6);
    EXPECT_EQ(CreateRectRuns(Rect<int>(l, t, r, b), out.data()), 6);
    return out;
}

RectList<int> RandomRectList(std::mt19937& rng, int maxCount) {
    RectList<int> list;
    for (int n = 1 + static_cast<int>(rng() % maxCount); n > 0; --n) {
        const int l = static_cast<int>(rng() % 30), t = static_cast<int>(rng() % 30);
        const int w = 1 + static_cast<int>(rng() % (31 - l)), h = 1 + static_cast<int>(rng() % (31 - t));
        list.Add(Rect<int>(l, t, l + w, t + h));
    }
    return list;
}

const CombineMode::Enum kModes[] = {CombineMode::Intersect, CombineMode::Union, CombineMode::Difference,
                                    CombineMode::Exclude, CombineMode::Complement};

}  // namespace

TEST(Region, RunListOperations) {
    struct BandCase { Runs a, b; int mode; Runs expected; };
    const BandCase bands[] = {
        {RectRuns(0, 0, 10, 10), RectRuns(3, 3, 6, 6), CombineMode::Exclude,
         {0, 3, 0, 10, S, 6, 0, 3, 6, 10, S, 10, 0, 10, S, S}},
        // A gap is an empty band; leading empty bands move the top, a trailing
        // one stays; with nothing left the top is the last bottom.
        {RectRuns(0, 0, 4, 2), RectRuns(0, 5, 4, 8), CombineMode::Union, {0, 2, 0, 4, S, 5, S, 8, 0, 4, S, S}},
        {RectRuns(0, 0, 4, 10), RectRuns(0, 5, 4, 10), CombineMode::Intersect, {5, 10, 0, 4, S, S}},
        {RectRuns(0, 0, 2, 2), RectRuns(5, 5, 7, 7), CombineMode::Intersect, {7, S}},
        {RectRuns(0, 0, 2, 2), RectRuns(1, 1, 3, 3), 9, {0, S}},
    };
    for (const BandCase& c : bands) {
        Runs out(256, -1);
        const int n = PerformOperation(c.a.data(), c.b.data(), out.data(), static_cast<CombineMode::Enum>(c.mode));
        out.resize(static_cast<std::size_t>(n));
        EXPECT_EQ(out, c.expected) << c.mode;
    }
    // Empty end bands are trimmed; one band of one span is a plain rectangle;
    // lists that do not close within the count give the empty region.
    struct Case { Runs runs; unsigned long count; Rect<int> bound; bool isRect; Rects rects; };
    const Case lists[] = {
        {{0, 2, S, 5, 1, 3, S, 9, S, S}, 10, {1, 2, 3, 5}, true, {{1, 2, 3, 5}}},
        {{0, 3, 0, 10, S, 6, 0, 3, 6, 10, S, 10, 0, 10, S, S}, 16, {0, 0, 10, 10}, false,
         {{0, 0, 10, 3}, {0, 3, 3, 6}, {6, 3, 10, 6}, {0, 6, 10, 10}}},
        // A bound, yet no band has both height and width.
        {{0, 10, 3, 3, S, 10, 1, 8, S, S}, 10, {1, 0, 8, 10}, false, {}},
        {{0, 10, 2, 8, 4, 6, 7}, 7, {}, true, {}},
    };
    for (const Case& c : lists) {
        SCOPED_TRACE(c.count);
        Runs runs = c.runs;
        const Region region(runs.data(), c.count);
        runs.assign(runs.size(), 0);  // the region keeps its own copy
        EXPECT_TRUE(region.GetBound() == c.bound && region.IsRect() == c.isRect);
        EXPECT_TRUE(region.IsAreaEmpty() == c.rects.empty() && region.GetRects().GetRects() == c.rects);
    }
    EXPECT_EQ(Region(nullptr, 10).GetBound(), Rect<int>());
}

TEST(Region, Queries) {
    // The point test reads the bound, all edges inclusive.
    const Region box(Rect<int>(2, 3, 8, 9));
    for (const Point<int>& p : {Point<int>(2, 3), Point<int>(8, 9)}) EXPECT_TRUE(box.Contains(p));
    for (const Point<int>& p : {Point<int>(9, 5), Point<int>(5, 2)}) EXPECT_FALSE(box.Contains(p));
    // Contains(region) is true when part of the argument lies outside.
    EXPECT_FALSE(box.Contains(Region(Rect<int>(3, 4, 7, 8))));
    EXPECT_TRUE(box.Contains(Region(Rect<int>(3, 4, 9, 8))));
    // Offset wraps at the limits.
    Region edge(Rect<int>(INT_MAX - 4, INT_MIN, INT_MAX - 1, INT_MIN + 3));
    edge.Offset(10, -10);
    EXPECT_EQ(edge.GetBound(), Rect<int>(INT_MIN + 5, INT_MAX - 9, INT_MIN + 8, INT_MAX - 6));
}

TEST(Region, RandomCombinationsMatchPixelSets) {
    for (unsigned seed = 1; seed <= 60; ++seed) {
        std::mt19937 rng(seed);
        std::vector<Region> pool;
        std::vector<PixelSet> pixels;
        for (int i = 0; i < 6; ++i) {
            const RectList<int> list = RandomRectList(rng, 4);
            pool.push_back(Region(list));
            pixels.push_back(PixelsOf(list));  // the list's rectangles may overlap
            const PixelSet own = PixelsOf(pool.back());
            ASSERT_TRUE(!own.overlap && own == pixels.back()) << "seed " << seed;
            ExpectCanonical(pool.back());
        }
        // Each result joins the pool, so later steps combine complex shapes.
        for (int step = 0; step < 40; ++step) {
            const std::size_t ia = rng() % pool.size(), ib = rng() % pool.size();
            const CombineMode::Enum mode = kModes[rng() % 5];
            const Region result = Region::Combine(pool[ia], pool[ib], mode);
            const PixelSet got = PixelsOf(result), want = Apply(pixels[ia], pixels[ib], mode);
            ASSERT_TRUE(!got.overlap && got == want) << "seed " << seed << " step " << step << " mode " << mode;
            ExpectCanonical(result);
            const bool meets = Apply(pixels[ia], pixels[ib], CombineMode::Intersect).Count() > 0;
            EXPECT_EQ(pool[ia].HasIntersection(pool[ib]), meets);
            EXPECT_EQ(pool[ia].Contains(pool[ib]), Apply(pixels[ib], pixels[ia], CombineMode::Exclude).Count() > 0);
            pool.push_back(result); pixels.push_back(want);
        }
    }
}

TEST(Region, EmptyHugeAndArbitraryInput) {
    // Empty regions and ones without width or height, every mode, both orders.
    const Region small(Rect<int>(0, 0, 10, 10));
    const Region ring = Region::Combine(small, Region(Rect<int>(3, 3, 6, 6)), CombineMode::Exclude);
    const PixelSet ringPixels = PixelsOf(ring);
    for (const Region& e : {Region(), Region(Rect<int>(5, 5, 5, 10)), Region(Rect<int>(5, 5, 9, 5))}) {
        EXPECT_TRUE(e.IsAreaEmpty() && e.GetRects().IsEmpty());
        for (CombineMode::Enum mode : kModes) {
            EXPECT_TRUE(PixelsOf(Region::Combine(ring, e, mode)) == Apply(ringPixels, PixelSet(), mode)) << mode;
            EXPECT_TRUE(PixelsOf(Region::Combine(e, ring, mode)) == Apply(PixelSet(), ringPixels, mode)) << mode;
        }
    }
    for (int mode : {-1, 5})  // unknown modes
        EXPECT_TRUE(Region::Combine(small, small, static_cast<CombineMode::Enum>(mode)).IsAreaEmpty());
    const Region huge(Rect<int>(INT_MIN, INT_MIN, INT_MAX - 1, INT_MAX - 1));
    EXPECT_EQ(Region::Combine(huge, small, CombineMode::Intersect).GetBound(), small.GetBound());
    const Region holed = Region::Combine(huge, small, CombineMode::Exclude);
    EXPECT_EQ(holed.GetRects().GetRects(), (Rects{{INT_MIN, INT_MIN, INT_MAX - 1, 0}, {INT_MIN, 0, 0, 10},
                                                   {10, 0, INT_MAX - 1, 10}, {INT_MIN, 10, INT_MAX - 1, INT_MAX - 1}}));
    EXPECT_TRUE(Region::Combine(holed, small, CombineMode::Union).IsRect());
    // Edges equal to the end mark, and run lists of any values (unordered,
    // stray end marks): building, combining and reading stay in bounds.
    std::vector<Region> odd = {Region(Rect<int>(0, 0, 10, INT_MAX)), Region(Rect<int>(INT_MAX, 0, INT_MAX, 5)),
                               Region(Rect<int>(10, 10, 0, 0)), Region(Rect<int>(INT_MIN, INT_MIN, INT_MAX, INT_MAX)),
                               holed};
    std::mt19937 rng(7);
    for (int i = 0; i < 300; ++i) {
        Runs runs(1 + rng() % 24);
        for (int& v : runs) v = rng() % 3 == 0 ? S : static_cast<int>(rng() % 40) - 5;
        odd.push_back(Region(runs.data(), static_cast<unsigned long>(runs.size() - 1)));
    }
    for (std::size_t i = 0; i < odd.size(); ++i)
        for (CombineMode::Enum mode : kModes) {
            const Region other = odd[(i * 7 + 3) % odd.size()];
            const Region r1 = Region::Combine(odd[i], other, mode), r2 = Region::Combine(other, r1, mode);
            EXPECT_EQ(r1.IsAreaEmpty(), r1.GetRects().IsEmpty());
            r2.GetRects();
        }
}

TEST(RemoveRectListIntersections, CutsIntoDisjointRectangles) {
    // Sorted by top, then left, and cut piece by piece; rectangles without
    // area, and ones inside another, disappear; huge ones are only compared.
    auto cut = [](const Rects& rects) {
        RectList<int> in;
        for (const Rect<int>& r : rects) in.Add(r);
        return RemoveRectListIntersections(in).GetRects();
    };
    EXPECT_EQ(cut({{5, 5, 15, 15}, {0, 0, 10, 10}}), (Rects{{0, 0, 10, 10}, {10, 5, 15, 15}, {5, 10, 10, 15}}));
    EXPECT_EQ(cut({{INT_MIN, INT_MIN, INT_MAX, INT_MAX}, {0, 0, 5, 5}, {INT_MIN, 0, INT_MAX, INT_MAX}}),
              Rects{Rect<int>(INT_MIN, INT_MIN, INT_MAX, INT_MAX)});
    for (unsigned seed = 100; seed < 300; ++seed) {
        std::mt19937 rng(seed);
        RectList<int> in = RandomRectList(rng, 12);
        if (seed % 4 == 0) in.Add(Rect<int>(3, 3, 3, 9));  // no area
        const RectList<int> out = RemoveRectListIntersections(in);
        const PixelSet got = PixelsOf(out);
        ASSERT_TRUE(!got.overlap && got == PixelsOf(in)) << "seed " << seed;
        for (const Rect<int>& r : out) EXPECT_FALSE(r.IsEmpty());
    }
}
