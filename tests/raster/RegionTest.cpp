#include "Graphics/Region.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <random>
#include <vector>

using namespace Graphics;

namespace {

const int S = Region::m_Sentinel;
const int W = 40;  // test window: every random shape lies in [0, 32)

using Runs = std::vector<int>;

// Pixels of a region, painted from its rectangles; a pixel painted twice
// means the rectangles overlap.
struct PixelSet {
    std::vector<unsigned char> p = std::vector<unsigned char>(W * W, 0);
    bool overlap = false;

    void Add(const Rect<int>& r) {
        for (int y = r.top; y < r.bottom; ++y)
            for (int x = r.left; x < r.right; ++x) {
                ASSERT_TRUE(x >= 0 && x < W && y >= 0 && y < W) << x << "," << y;
                if (p[y * W + x]) overlap = true;
                p[y * W + x] = 1;
            }
    }
    int Count() const {
        int n = 0;
        for (unsigned char v : p) n += v;
        return n;
    }
    bool operator==(const PixelSet& o) const { return p == o.p; }
};

PixelSet PixelsOf(const RectList<int>& rects) {
    PixelSet s;
    for (const Rect<int>& r : rects) s.Add(r);
    return s;
}

PixelSet PixelsOf(const Region& region) { return PixelsOf(region.GetRects()); }

PixelSet Apply(const PixelSet& a, const PixelSet& b, CombineMode::Enum mode) {
    PixelSet r;
    for (int i = 0; i < W * W; ++i) {
        const bool x = a.p[i] != 0, y = b.p[i] != 0;
        bool v = false;
        switch (mode) {
        case CombineMode::Intersect: v = x && y; break;
        case CombineMode::Union: v = x || y; break;
        case CombineMode::Difference: v = x != y; break;
        case CombineMode::Exclude: v = x && !y; break;
        case CombineMode::Complement: v = y && !x; break;
        }
        r.p[i] = v;
    }
    return r;
}

// The form every result of Combine must have: bands top to bottom, spans
// ascending and not touching, adjacent bands different, the bound tight, and
// a run list only for shapes that are not one rectangle.
void ExpectCanonical(const Region& region) {
    const RectList<int> rects = region.GetRects();
    if (rects.IsEmpty()) {
        EXPECT_TRUE(region.IsAreaEmpty());
        EXPECT_TRUE(region.IsRect());
        EXPECT_EQ(region.GetBound(), Rect<int>());
        return;
    }
    EXPECT_FALSE(region.IsAreaEmpty());
    EXPECT_EQ(rects.GetBound(), region.GetBound());
    EXPECT_EQ(region.IsRect(), rects.GetCount() == 1u);

    std::vector<std::vector<Rect<int>>> bands;
    for (const Rect<int>& r : rects) {
        ASSERT_LT(r.left, r.right);
        ASSERT_LT(r.top, r.bottom);
        if (bands.empty() || bands.back()[0].top != r.top) {
            if (!bands.empty()) {
                const Rect<int>& prev = bands.back()[0];
                ASSERT_LE(prev.bottom, r.top);
            }
            bands.push_back({r});
        } else {
            const Rect<int>& prev = bands.back().back();
            ASSERT_EQ(prev.bottom, r.bottom);
            ASSERT_LT(prev.right, r.left);  // spans never touch
            bands.back().push_back(r);
        }
    }
    for (size_t i = 1; i < bands.size(); ++i) {
        if (bands[i - 1][0].bottom != bands[i][0].top) continue;
        bool same = bands[i - 1].size() == bands[i].size();
        for (size_t k = 0; same && k < bands[i].size(); ++k)
            same = bands[i - 1][k].left == bands[i][k].left && bands[i - 1][k].right == bands[i][k].right;
        EXPECT_FALSE(same) << "equal adjacent bands at " << bands[i][0].top;
    }
}

Runs RunsOfOperation(const Runs& a, const Runs& b, CombineMode::Enum mode) {
    Runs out(256, -1);
    const int n = PerformOperation(a.data(), b.data(), out.data(), mode);
    out.resize(static_cast<size_t>(n));
    return out;
}

Runs RectRuns(int l, int t, int r, int b) {
    Runs out(6);
    EXPECT_EQ(CreateRectRuns(Rect<int>(l, t, r, b), out.data()), 6);
    return out;
}

uint32_t Next(std::mt19937& rng, uint32_t n) { return rng() % n; }

Rect<int> RandomRect(std::mt19937& rng) {
    const int l = static_cast<int>(Next(rng, 30));
    const int t = static_cast<int>(Next(rng, 30));
    return Rect<int>(l, t, l + 1 + static_cast<int>(Next(rng, 32 - l - 1)),
                     t + 1 + static_cast<int>(Next(rng, 32 - t - 1)));
}

RectList<int> RandomRectList(std::mt19937& rng, int maxCount) {
    RectList<int> list;
    const int n = 1 + static_cast<int>(Next(rng, static_cast<uint32_t>(maxCount)));
    for (int i = 0; i < n; ++i) list.Add(RandomRect(rng));
    return list;
}

const CombineMode::Enum kModes[] = {CombineMode::Intersect, CombineMode::Union, CombineMode::Difference,
                                     CombineMode::Exclude, CombineMode::Complement};

}  // namespace

TEST(Region, RunListsOfRectanglesAndSpans) {
    EXPECT_EQ(RectRuns(1, 2, 5, 7), (Runs{2, 7, 1, 5, S, S}));

    // Both lists empty at once: only the closing mark.
    int out[16];
    const int empty[] = {S};
    EXPECT_EQ(PerformSpanOperation(empty, empty, out, 1, 3), out + 1);
    EXPECT_EQ(out[0], S);

    struct Case {
        Runs a, b;
        int min, max;
        Runs expected;
    };
    const Case cases[] = {
        // Union of touching spans gives one span.
        {{0, 5, S}, {5, 10, S}, 1, 3, {0, 10, S}},
        // So does their symmetric difference: the codes 1 and 2 follow on.
        {{0, 5, S}, {5, 10, S}, 1, 2, {0, 10, S}},
        {{0, 10, S}, {3, 6, S}, 1, 2, {0, 3, 6, 10, S}},
        {{0, 4, 6, 10, S}, {2, 8, S}, 3, 3, {2, 4, 6, 8, S}},
        {{0, 4, 6, 10, S}, {2, 8, S}, 1, 1, {0, 2, 8, 10, S}},
        {{0, 4, 6, 10, S}, {2, 8, S}, 2, 2, {4, 6, S}},
        {{0, 10, S}, {0, 10, S}, 1, 1, {S}},
        {{0, 10, S}, {S}, 3, 3, {S}},
        {{S}, {3, 4, 7, 9, S}, 1, 3, {3, 4, 7, 9, S}},
    };
    for (const Case& c : cases) {
        int buffer[32];
        int* end = PerformSpanOperation(c.a.data(), c.b.data(), buffer, c.min, c.max);
        EXPECT_EQ(Runs(buffer, end), c.expected) << c.min << ".." << c.max;
    }
}

TEST(Region, PerformOperationWritesCanonicalRunLists) {
    // Side by side: the spans merge.
    EXPECT_EQ(RunsOfOperation(RectRuns(0, 0, 5, 10), RectRuns(5, 0, 9, 10), CombineMode::Union),
              (Runs{0, 10, 0, 9, S, S}));
    // One above the other: the equal bands coalesce.
    EXPECT_EQ(RunsOfOperation(RectRuns(0, 0, 5, 4), RectRuns(0, 4, 5, 10), CombineMode::Union),
              (Runs{0, 10, 0, 5, S, S}));
    // A hole: three bands, two spans in the middle one.
    EXPECT_EQ(RunsOfOperation(RectRuns(0, 0, 10, 10), RectRuns(3, 3, 6, 6), CombineMode::Exclude),
              (Runs{0, 3, 0, 10, S, 6, 0, 3, 6, 10, S, 10, 0, 10, S, S}));
    // Complement is Exclude with the operands swapped.
    EXPECT_EQ(RunsOfOperation(RectRuns(3, 3, 6, 6), RectRuns(0, 0, 10, 10), CombineMode::Complement),
              (Runs{0, 3, 0, 10, S, 6, 0, 3, 6, 10, S, 10, 0, 10, S, S}));
    // A vertical gap that neither input covers becomes an empty band.
    EXPECT_EQ(RunsOfOperation(RectRuns(0, 0, 4, 2), RectRuns(0, 5, 4, 8), CombineMode::Union),
              (Runs{0, 2, 0, 4, S, 5, S, 8, 0, 4, S, S}));
    // Empty bands before the first real one only move the top down.
    EXPECT_EQ(RunsOfOperation(RectRuns(0, 0, 4, 10), RectRuns(0, 5, 4, 10), CombineMode::Intersect),
              (Runs{5, 10, 0, 4, S, S}));
    // A trailing empty band is left to the Region constructor.
    EXPECT_EQ(RunsOfOperation(RectRuns(0, 0, 4, 10), RectRuns(0, 5, 4, 10), CombineMode::Exclude),
              (Runs{0, 5, 0, 4, S, 10, S, S}));
    // Nothing left: the top has moved to the last bottom, then the end.
    EXPECT_EQ(RunsOfOperation(RectRuns(0, 0, 2, 2), RectRuns(5, 5, 7, 7), CombineMode::Intersect),
              (Runs{7, S}));
    // Symmetric difference of overlapping rectangles.
    EXPECT_EQ(RunsOfOperation(RectRuns(0, 0, 4, 4), RectRuns(2, 2, 6, 6), CombineMode::Difference),
              (Runs{0, 2, 0, 4, S, 4, 0, 2, 4, 6, S, 6, 2, 6, S, S}));
    // Two complex lists: a hole filled by the hole's complement.
    const Runs holed = RunsOfOperation(RectRuns(0, 0, 10, 10), RectRuns(3, 3, 6, 6), CombineMode::Exclude);
    EXPECT_EQ(RunsOfOperation(holed, RectRuns(3, 3, 6, 6), CombineMode::Union), (Runs{0, 10, 0, 10, S, S}));
    EXPECT_EQ(RunsOfOperation(holed, holed, CombineMode::Difference), (Runs{10, S}));
    // A mode outside the enumeration yields the empty list instead of reading
    // past the mode table.
    EXPECT_EQ(RunsOfOperation(RectRuns(0, 0, 2, 2), RectRuns(1, 1, 3, 3), static_cast<CombineMode::Enum>(9)),
              (Runs{0, S}));
}

TEST(Region, ConstructionFromRunsTrimsEmptyEndBands) {
    {
        Runs r{0, 10, 2, 8, S, S};
        const Region region(r.data(), 6);
        EXPECT_TRUE(region.IsRect());
        EXPECT_EQ(region.GetBound(), Rect<int>(2, 0, 8, 10));
    }
    {
        // Empty first band: its bottom is written in place as the new top.
        Runs r{0, 3, S, 10, 2, 8, S, S};
        const Region region(r.data(), 8);
        EXPECT_EQ(r[2], 3);
        EXPECT_TRUE(region.IsRect());
        EXPECT_EQ(region.GetBound(), Rect<int>(2, 3, 8, 10));
    }
    {
        // Empty last band: its bottom becomes the closing mark.
        Runs r{0, 5, 0, 4, S, 10, S, S};
        const Region region(r.data(), 8);
        EXPECT_EQ(r[5], S);
        EXPECT_TRUE(region.IsRect());
        EXPECT_EQ(region.GetBound(), Rect<int>(0, 0, 4, 5));
    }
    {
        Runs r{0, 2, S, 5, 1, 3, S, 9, S, S};
        const Region region(r.data(), 10);
        EXPECT_TRUE(region.IsRect());
        EXPECT_EQ(region.GetBound(), Rect<int>(1, 2, 3, 5));
    }
    {
        Runs r{0, 3, 0, 10, S, 6, 0, 3, 6, 10, S, 10, 0, 10, S, S};
        const Region region(r.data(), static_cast<unsigned long>(r.size()));
        EXPECT_FALSE(region.IsRect());
        EXPECT_FALSE(region.IsAreaEmpty());
        EXPECT_EQ(region.GetBound(), Rect<int>(0, 0, 10, 10));
        const RectList<int> rects = region.GetRects();
        ASSERT_EQ(rects.GetCount(), 4u);
        EXPECT_EQ(rects[0], Rect<int>(0, 0, 10, 3));
        EXPECT_EQ(rects[1], Rect<int>(0, 3, 3, 6));
        EXPECT_EQ(rects[2], Rect<int>(6, 3, 10, 6));
        EXPECT_EQ(rects[3], Rect<int>(0, 6, 10, 10));
        EXPECT_EQ(rects.GetBound(), Rect<int>(0, 0, 10, 10));
        // The region keeps its own copy.
        r.assign(r.size(), 0);
        EXPECT_EQ(region.GetRects().GetCount(), 4u);
    }
    {
        // Too short, null, or not closed within the count: empty, no reads
        // past the end.
        Runs r{0, 10, 2, 8, 4, 6, 7};
        EXPECT_EQ(Region(r.data(), 2).GetBound(), Rect<int>());
        EXPECT_EQ(Region(nullptr, 10).GetBound(), Rect<int>());
        const Region open(r.data(), 7);
        EXPECT_TRUE(open.IsRect());
        EXPECT_TRUE(open.IsAreaEmpty());
        EXPECT_EQ(open.GetBound(), Rect<int>());
        Runs closedEarly{0, 10, 2, 8, S, S, 99, 99};
        const Region early(closedEarly.data(), 8);
        EXPECT_EQ(early.GetBound(), Rect<int>(2, 0, 8, 10));
    }
    {
        // Non-zero bound, yet no band has both height and width.
        Runs r{0, 10, 3, 3, S, 10, 1, 8, S, S};
        const Region region(r.data(), 10);
        EXPECT_FALSE(region.IsRect());
        EXPECT_EQ(region.GetBound(), Rect<int>(1, 0, 8, 10));
        EXPECT_TRUE(region.IsAreaEmpty());
        EXPECT_TRUE(region.GetRects().IsEmpty());
    }
    {
        Rect<int> bound;
        const Runs rect = RectRuns(1, 2, 3, 4);
        EXPECT_TRUE(ComputeRunsBound(rect.data(), &bound));
        EXPECT_EQ(bound, Rect<int>(1, 2, 3, 4));
        const Runs holed{0, 3, 0, 10, S, 6, 0, 3, 6, 10, S, 10, 2, 9, S, S};
        EXPECT_FALSE(ComputeRunsBound(holed.data(), &bound));
        EXPECT_EQ(bound, Rect<int>(0, 0, 10, 10));
        const Runs twoBands{0, 3, 1, 5, S, 6, 2, 9, S, S};
        EXPECT_FALSE(ComputeRunsBound(twoBands.data(), &bound));
        EXPECT_EQ(bound, Rect<int>(1, 0, 9, 6));
    }
}

TEST(Region, CombineShapesWorkedByHand) {
    const Region side = Region::Combine(Region(Rect<int>(0, 0, 5, 10)), Region(Rect<int>(5, 0, 9, 10)),
                                        CombineMode::Union);
    EXPECT_TRUE(side.IsRect());
    EXPECT_EQ(side.GetBound(), Rect<int>(0, 0, 9, 10));
    const Region stacked = Region::Combine(Region(Rect<int>(0, 0, 5, 4)), Region(Rect<int>(0, 4, 5, 10)),
                                           CombineMode::Union);
    EXPECT_TRUE(stacked.IsRect());
    EXPECT_EQ(stacked.GetBound(), Rect<int>(0, 0, 5, 10));

    const Region outer(Rect<int>(0, 0, 10, 10));
    const Region inner(Rect<int>(3, 3, 6, 6));
    const Region holed = Region::Combine(outer, inner, CombineMode::Exclude);
    EXPECT_FALSE(holed.IsRect());
    RectList<int> rects = holed.GetRects();
    ASSERT_EQ(rects.GetCount(), 4u);
    EXPECT_EQ(rects[1], Rect<int>(0, 3, 3, 6));
    EXPECT_EQ(rects[2], Rect<int>(6, 3, 10, 6));
    EXPECT_EQ(PixelsOf(holed).Count(), 91);

    // Region with itself: nothing in symmetric difference or exclusion.
    for (CombineMode::Enum mode : {CombineMode::Difference, CombineMode::Exclude, CombineMode::Complement}) {
        const Region none = Region::Combine(holed, holed, mode);
        EXPECT_TRUE(none.IsAreaEmpty()) << mode;
        EXPECT_TRUE(none.IsRect()) << mode;
        EXPECT_EQ(none.GetBound(), Rect<int>()) << mode;
    }
    EXPECT_EQ(Region::Combine(holed, inner, CombineMode::Union).GetBound(), Rect<int>(0, 0, 10, 10));
    EXPECT_TRUE(Region::Combine(holed, inner, CombineMode::Union).IsRect());
    EXPECT_TRUE(Region::Combine(holed, inner, CombineMode::Intersect).IsAreaEmpty());

    // An empty middle band is skipped.
    const Region gap = Region::Combine(Region(Rect<int>(0, 0, 4, 2)), Region(Rect<int>(0, 5, 4, 8)),
                                       CombineMode::Union);
    EXPECT_EQ(gap.GetBound(), Rect<int>(0, 0, 4, 8));
    rects = gap.GetRects();
    ASSERT_EQ(rects.GetCount(), 2u);
    EXPECT_EQ(rects[0], Rect<int>(0, 0, 4, 2));
    EXPECT_EQ(rects[1], Rect<int>(0, 5, 4, 8));

    // Intersection of two rectangles needs no run list.
    const Region cut = Region::Combine(outer, Region(Rect<int>(5, -3, 20, 4)), CombineMode::Intersect);
    EXPECT_TRUE(cut.IsRect());
    EXPECT_EQ(cut.GetBound(), Rect<int>(5, 0, 10, 4));
    // Only touching: disjoint for the intersection, untouched by exclusion.
    EXPECT_EQ(Region::Combine(outer, Region(Rect<int>(10, 0, 12, 10)), CombineMode::Intersect).GetBound(),
              Rect<int>());
    EXPECT_EQ(Region::Combine(outer, Region(Rect<int>(0, 10, 10, 12)), CombineMode::Exclude).GetBound(),
              outer.GetBound());

    // A region from a list unites its rectangles.
    RectList<int> list;
    list.Add(Rect<int>(0, 0, 4, 4));
    list.Add(Rect<int>(2, 2, 6, 6));
    list.Add(Rect<int>(4, 0, 6, 2));
    const Region fromList(list);
    EXPECT_EQ(fromList.GetBound(), Rect<int>(0, 0, 6, 6));
    rects = fromList.GetRects();
    // The bands of rows 0-2 and 2-4 end up equal and coalesce.
    ASSERT_EQ(rects.GetCount(), 2u);
    EXPECT_EQ(rects[0], Rect<int>(0, 0, 6, 4));
    EXPECT_EQ(rects[1], Rect<int>(2, 4, 6, 6));
    EXPECT_EQ(Region(RectList<int>()).GetBound(), Rect<int>());

    // Unknown modes give the empty region.
    EXPECT_TRUE(Region::Combine(outer, inner, static_cast<CombineMode::Enum>(-1)).IsAreaEmpty());
    EXPECT_TRUE(Region::Combine(outer, inner, static_cast<CombineMode::Enum>(5)).IsAreaEmpty());
}

TEST(Region, EmptyOperandsAndCopies) {
    const Region empty;
    EXPECT_TRUE(empty.IsRect());
    EXPECT_TRUE(empty.IsAreaEmpty());
    EXPECT_TRUE(empty.GetRects().IsEmpty());
    EXPECT_EQ(empty.GetBound(), Rect<int>());

    const Region flat(Rect<int>(5, 5, 5, 10));
    EXPECT_TRUE(flat.IsAreaEmpty());
    EXPECT_TRUE(flat.GetRects().IsEmpty());
    EXPECT_TRUE(Region(Rect<int>(5, 5, 9, 5)).IsAreaEmpty());

    const Region holed =
        Region::Combine(Region(Rect<int>(0, 0, 10, 10)), Region(Rect<int>(3, 3, 6, 6)), CombineMode::Exclude);
    const PixelSet holedPixels = PixelsOf(holed);
    for (const Region& e : {empty, flat}) {
        EXPECT_TRUE(Region::Combine(holed, e, CombineMode::Intersect).IsAreaEmpty());
        EXPECT_TRUE(Region::Combine(e, holed, CombineMode::Intersect).IsAreaEmpty());
        for (CombineMode::Enum mode : {CombineMode::Union, CombineMode::Difference}) {
            EXPECT_TRUE(PixelsOf(Region::Combine(holed, e, mode)) == holedPixels);
            EXPECT_TRUE(PixelsOf(Region::Combine(e, holed, mode)) == holedPixels);
            EXPECT_FALSE(Region::Combine(e, holed, mode).IsRect());
        }
        EXPECT_TRUE(PixelsOf(Region::Combine(holed, e, CombineMode::Exclude)) == holedPixels);
        EXPECT_TRUE(Region::Combine(e, holed, CombineMode::Exclude).IsAreaEmpty());
        EXPECT_TRUE(PixelsOf(Region::Combine(e, holed, CombineMode::Complement)) == holedPixels);
    }
    // Exclusion of a far-away region returns the operand itself.
    const Region far = Region::Combine(holed, Region(Rect<int>(20, 20, 30, 30)), CombineMode::Exclude);
    EXPECT_FALSE(far.IsRect());
    EXPECT_EQ(far.GetBound(), holed.GetBound());
    EXPECT_TRUE(PixelsOf(far) == holedPixels);
}

TEST(Region, QueriesAndOffset) {
    const Region box(Rect<int>(2, 3, 8, 9));
    // The point test reads the bound with all edges inclusive.
    EXPECT_TRUE(box.Contains(Point<int>(2, 3)));
    EXPECT_TRUE(box.Contains(Point<int>(8, 9)));
    EXPECT_TRUE(box.Contains(Point<int>(8, 5)));
    EXPECT_FALSE(box.Contains(Point<int>(9, 5)));
    EXPECT_FALSE(box.Contains(Point<int>(5, 2)));
    const Region holed = Region::Combine(Region(Rect<int>(0, 0, 10, 10)), Region(Rect<int>(3, 3, 6, 6)),
                                         CombineMode::Exclude);
    EXPECT_TRUE(holed.Contains(Point<int>(4, 4)));  // in the hole, but inside the bound

    // Contains(region) answers whether part of the argument lies outside.
    EXPECT_FALSE(box.Contains(Region(Rect<int>(3, 4, 7, 8))));
    EXPECT_FALSE(box.Contains(box));
    EXPECT_TRUE(box.Contains(Region(Rect<int>(3, 4, 9, 8))));
    EXPECT_TRUE(box.Contains(Region(Rect<int>(20, 20, 21, 21))));
    EXPECT_FALSE(box.Contains(Region()));
    EXPECT_TRUE(holed.Contains(Region(Rect<int>(4, 4, 5, 5))));
    EXPECT_FALSE(holed.Contains(Region(Rect<int>(0, 0, 3, 10))));

    EXPECT_TRUE(box.HasIntersection(Region(Rect<int>(7, 8, 20, 20))));
    EXPECT_FALSE(box.HasIntersection(Region(Rect<int>(8, 8, 20, 20))));
    EXPECT_FALSE(holed.HasIntersection(Region(Rect<int>(3, 3, 6, 6))));
    EXPECT_TRUE(holed.HasIntersection(Region(Rect<int>(3, 2, 6, 6))));
    EXPECT_FALSE(box.HasIntersection(Region()));

    Region moved = box;
    moved.Offset(-2, 10);
    EXPECT_EQ(moved.GetBound(), Rect<int>(0, 13, 6, 19));
    EXPECT_EQ(box.GetBound(), Rect<int>(2, 3, 8, 9));
    ASSERT_EQ(moved.GetRects().GetCount(), 1u);
    EXPECT_EQ(moved.GetRects()[0], Rect<int>(0, 13, 6, 19));

    // A run list does not move with the bound.
    Region shifted = holed;
    shifted.Offset(100, 100);
    EXPECT_EQ(shifted.GetBound(), Rect<int>(100, 100, 110, 110));
    const RectList<int> stayed = shifted.GetRects();
    ASSERT_EQ(stayed.GetCount(), 4u);
    EXPECT_EQ(stayed[1], Rect<int>(0, 3, 3, 6));
    EXPECT_EQ(holed.GetBound(), Rect<int>(0, 0, 10, 10));

    // Offsets past the limits stay defined.
    Region edge(Rect<int>(INT_MAX - 4, INT_MIN, INT_MAX - 1, INT_MIN + 3));
    edge.Offset(10, -10);
    edge.Offset(-10, 10);
    EXPECT_EQ(edge.GetBound(), Rect<int>(INT_MAX - 4, INT_MIN, INT_MAX - 1, INT_MIN + 3));
}

TEST(Region, RandomCombinationsMatchPixelSets) {
    for (unsigned seed = 1; seed <= 60; ++seed) {
        std::mt19937 rng(seed);
        std::vector<Region> pool;
        std::vector<PixelSet> pixels;
        for (int i = 0; i < 6; ++i) {
            const RectList<int> list = RandomRectList(rng, 4);
            pool.push_back(Region(list));
            pixels.push_back(PixelsOf(list));  // the rectangles of the list may overlap
            const PixelSet own = PixelsOf(pool.back());
            ASSERT_FALSE(own.overlap);
            ASSERT_TRUE(own == pixels.back()) << "seed " << seed;
            ExpectCanonical(pool.back());
        }
        // Each result joins the pool, so later steps combine complex shapes.
        for (int step = 0; step < 40; ++step) {
            const size_t ia = Next(rng, static_cast<uint32_t>(pool.size()));
            const size_t ib = Next(rng, static_cast<uint32_t>(pool.size()));
            const CombineMode::Enum mode = kModes[Next(rng, 5)];
            const Region result = Region::Combine(pool[ia], pool[ib], mode);
            const PixelSet got = PixelsOf(result);
            const PixelSet want = Apply(pixels[ia], pixels[ib], mode);
            ASSERT_FALSE(got.overlap) << "seed " << seed << " step " << step;
            ASSERT_TRUE(got == want) << "seed " << seed << " step " << step << " mode " << mode;
            ExpectCanonical(result);
            EXPECT_EQ(result.IsAreaEmpty(), want.Count() == 0);

            const bool meets = Apply(pixels[ia], pixels[ib], CombineMode::Intersect).Count() > 0;
            const bool sticksOut = Apply(pixels[ib], pixels[ia], CombineMode::Exclude).Count() > 0;
            EXPECT_EQ(pool[ia].HasIntersection(pool[ib]), meets);
            EXPECT_EQ(pool[ia].Contains(pool[ib]), sticksOut);

            pool.push_back(result);
            pixels.push_back(want);
        }
    }
}

TEST(Region, HugeCoordinatesAndDegenerateRectangles) {
    const Region huge(Rect<int>(INT_MIN, INT_MIN, INT_MAX - 1, INT_MAX - 1));
    const Region small(Rect<int>(0, 0, 10, 10));
    EXPECT_FALSE(huge.IsAreaEmpty());
    EXPECT_TRUE(huge.Contains(Point<int>(INT_MIN, INT_MAX - 1)));

    EXPECT_EQ(Region::Combine(huge, small, CombineMode::Intersect).GetBound(), small.GetBound());
    const Region unionBig = Region::Combine(huge, small, CombineMode::Union);
    EXPECT_TRUE(unionBig.IsRect());
    EXPECT_EQ(unionBig.GetBound(), huge.GetBound());
    const Region holed = Region::Combine(huge, small, CombineMode::Exclude);
    EXPECT_EQ(holed.GetBound(), huge.GetBound());
    const RectList<int> rects = holed.GetRects();
    ASSERT_EQ(rects.GetCount(), 4u);
    EXPECT_EQ(rects[0], Rect<int>(INT_MIN, INT_MIN, INT_MAX - 1, 0));
    EXPECT_EQ(rects[1], Rect<int>(INT_MIN, 0, 0, 10));
    EXPECT_EQ(rects[2], Rect<int>(10, 0, INT_MAX - 1, 10));
    EXPECT_EQ(rects[3], Rect<int>(INT_MIN, 10, INT_MAX - 1, INT_MAX - 1));
    EXPECT_TRUE(Region::Combine(small, huge, CombineMode::Exclude).IsAreaEmpty());
    EXPECT_TRUE(Region::Combine(holed, small, CombineMode::Union).IsRect());
    EXPECT_TRUE(huge.Contains(small) == false);
    EXPECT_TRUE(small.Contains(huge));

    // Edges equal to the end mark cannot be expressed in a run list; such
    // operands must still be harmless, in every mode and either order.
    const Region tall(Rect<int>(0, 0, 10, INT_MAX));
    const Region wide(Rect<int>(0, 0, INT_MAX, 10));
    const Region rightEdge(Rect<int>(INT_MAX, 0, INT_MAX, 5));
    const Region inverted(Rect<int>(10, 10, 0, 0));
    const Region all(Rect<int>(INT_MIN, INT_MIN, INT_MAX, INT_MAX));
    const Region probe = Region::Combine(Region(Rect<int>(0, 5, 10, 20)), Region(Rect<int>(4, 0, 6, 30)),
                                         CombineMode::Difference);
    for (const Region& odd : {tall, wide, rightEdge, inverted, all, huge, holed}) {
        for (CombineMode::Enum mode : kModes) {
            for (const Region& other : {probe, small, odd}) {
                const Region r1 = Region::Combine(odd, other, mode);
                const Region r2 = Region::Combine(other, odd, mode);
                r1.GetRects();
                r2.GetRects();
                r1.IsAreaEmpty();
                r2.IsAreaEmpty();
                Region::Combine(r1, r2, mode).GetRects();
            }
        }
    }
    // Wide spans keep their right edge.
    const Region wideUnion = Region::Combine(wide, Region(Rect<int>(5, 0, 20, 10)), CombineMode::Union);
    EXPECT_EQ(wideUnion.GetBound(), Rect<int>(0, 0, INT_MAX, 10));
}

TEST(RectList, BoundGrowsWithEachRectangle) {
    RectList<int> list;
    EXPECT_TRUE(list.IsEmpty());
    EXPECT_EQ(list.GetBound(), Rect<int>());
    list.Add(Rect<int>(5, 6, 7, 8));
    EXPECT_EQ(list.GetBound(), Rect<int>(5, 6, 7, 8));
    list.Add(Rect<int>(-1, 7, 6, 20));
    EXPECT_EQ(list.GetBound(), Rect<int>(-1, 6, 7, 20));
    EXPECT_EQ(list.GetCount(), 2u);
    EXPECT_EQ(list[1], Rect<int>(-1, 7, 6, 20));
    list.Clear();
    EXPECT_TRUE(list.IsEmpty());
    EXPECT_EQ(list.GetBound(), Rect<int>());
}

TEST(RemoveRectListIntersections, WorkedCases) {
    EXPECT_TRUE(RemoveRectListIntersections(RectList<int>()).IsEmpty());

    RectList<int> twins;
    twins.Add(Rect<int>(1, 2, 3, 4));
    twins.Add(Rect<int>(1, 2, 3, 4));
    RectList<int> out = RemoveRectListIntersections(twins);
    ASSERT_EQ(out.GetCount(), 1u);
    EXPECT_EQ(out[0], Rect<int>(1, 2, 3, 4));
    EXPECT_EQ(out.GetBound(), Rect<int>(1, 2, 3, 4));

    RectList<int> flat;
    flat.Add(Rect<int>(0, 0, 0, 5));
    flat.Add(Rect<int>(1, 1, 3, 1));
    EXPECT_TRUE(RemoveRectListIntersections(flat).IsEmpty());

    // Given out of order; sorted by top, then left, and cut piece by piece.
    RectList<int> pair;
    pair.Add(Rect<int>(5, 5, 15, 15));
    pair.Add(Rect<int>(0, 0, 10, 10));
    out = RemoveRectListIntersections(pair);
    ASSERT_EQ(out.GetCount(), 3u);
    EXPECT_EQ(out[0], Rect<int>(0, 0, 10, 10));
    EXPECT_EQ(out[1], Rect<int>(10, 5, 15, 15));
    EXPECT_EQ(out[2], Rect<int>(5, 10, 10, 15));
    EXPECT_EQ(out.GetBound(), Rect<int>(0, 0, 15, 15));

    // A rectangle inside another disappears; one that only touches stays.
    RectList<int> nested;
    nested.Add(Rect<int>(0, 0, 10, 10));
    nested.Add(Rect<int>(2, 2, 4, 4));
    nested.Add(Rect<int>(10, 0, 12, 3));
    out = RemoveRectListIntersections(nested);
    ASSERT_EQ(out.GetCount(), 2u);
    EXPECT_EQ(out[0], Rect<int>(0, 0, 10, 10));
    EXPECT_EQ(out[1], Rect<int>(10, 0, 12, 3));

    // Huge coordinates are only compared, never subtracted.
    RectList<int> huge;
    huge.Add(Rect<int>(INT_MIN, INT_MIN, INT_MAX, INT_MAX));
    huge.Add(Rect<int>(0, 0, 5, 5));
    huge.Add(Rect<int>(INT_MIN, 0, INT_MAX, INT_MAX));
    out = RemoveRectListIntersections(huge);
    ASSERT_EQ(out.GetCount(), 1u);
    EXPECT_EQ(out[0], Rect<int>(INT_MIN, INT_MIN, INT_MAX, INT_MAX));
}

TEST(RemoveRectListIntersections, RandomListsBecomeDisjoint) {
    for (unsigned seed = 100; seed < 300; ++seed) {
        std::mt19937 rng(seed);
        RectList<int> in = RandomRectList(rng, 12);
        if (seed % 4 == 0) in.Add(Rect<int>(3, 3, 3, 9));  // no area
        const RectList<int> out = RemoveRectListIntersections(in);
        const PixelSet got = PixelsOf(out);
        ASSERT_FALSE(got.overlap) << "seed " << seed;
        ASSERT_TRUE(got == PixelsOf(in)) << "seed " << seed;
        Rect<int> bound;
        for (size_t i = 0; i < out.GetCount(); ++i) {
            EXPECT_FALSE(out[i].IsEmpty());
            if (i == 0) {
                bound = out[i];
            } else {
                bound = Rect<int>(std::min(bound.left, out[i].left), std::min(bound.top, out[i].top),
                                  std::max(bound.right, out[i].right), std::max(bound.bottom, out[i].bottom));
            }
        }
        EXPECT_EQ(out.GetBound(), bound);
    }
}

TEST(Region, ArbitraryRunListsStaySafe) {
    // Unordered values and stray end marks: whatever shape results, building,
    // combining and reading such regions stays within their memory.
    std::mt19937 rng(7);
    std::vector<Region> regions;
    for (int i = 0; i < 400; ++i) {
        const unsigned long count = Next(rng, 24);
        std::vector<int> runs(count + 1);
        for (unsigned long k = 0; k < count; ++k)
            runs[k] = Next(rng, 3) == 0 ? S : static_cast<int>(Next(rng, 40)) - 5;
        regions.push_back(Region(runs.data(), count));
        regions.back().GetRects();
        regions.back().IsAreaEmpty();
    }
    const Region probe =
        Region::Combine(Region(Rect<int>(0, 0, 10, 10)), Region(Rect<int>(3, 3, 6, 6)), CombineMode::Exclude);
    for (size_t i = 0; i < regions.size(); ++i) {
        for (CombineMode::Enum mode : kModes) {
            const Region r = Region::Combine(regions[i], regions[(i * 7 + 3) % regions.size()], mode);
            r.GetRects();
            Region::Combine(r, probe, mode).GetRects();
            Region::Combine(probe, r, mode).IsAreaEmpty();
        }
    }
}
