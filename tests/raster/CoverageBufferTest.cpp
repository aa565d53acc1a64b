#include "Graphics/Rasterizer.h"

#include "RasterRecordingSink.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <vector>

using namespace Graphics;
using namespace RasterTest;

TEST(CoverageBuffer, SpanArithmetic) {
    struct Case {
        std::vector<std::pair<int, int>> spans;  // sample columns, x1 exclusive
        std::vector<Node> inner;
    };
    const Case cases[] = {
        // Half of pixel 0, all of 1, half of 2.
        {{{4, 20}}, {{0, 4}, {1, 8}, {2, 4}, {3, 0}}},
        // Inside one pixel: a node after it where the rise ends.
        {{{3, 5}}, {{0, 2}, {1, 0}}},
        // Whole pixels: a node at each end only; equal spans add up.
        {{{8, 32}, {8, 32}}, {{1, 16}, {4, 0}}},
        {{{0, 8}, {16, 24}, {4, 18}}, {{0, 12}, {1, 8}, {2, 10}, {3, 0}}},
        // Negative columns: the shifts round toward minus infinity.
        {{{-12, -3}}, {{-2, 4}, {-1, 5}, {0, 0}}},
        // Neighbouring runs of equal coverage stay apart.
        {{{0, 12}, {12, 24}}, {{0, 8}, {1, 8}, {2, 8}, {3, 0}}},
        // Empty and reversed spans add nothing.
        {{{7, 7}, {9, 3}}, {}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(::testing::PrintToString(c.spans));
        CoverageBuffer buffer;
        for (const auto& s : c.spans) buffer.InsertSpan(s.first, s.second);
        std::vector<Node> want = c.inner;
        want.insert(want.begin(), Node(kMin, 0));
        want.push_back(Node(kMax, 0));
        EXPECT_EQ(Nodes(buffer), want);
        buffer.Reset();
        EXPECT_EQ(Nodes(buffer), (std::vector<Node>{{kMin, 0}, {kMax, 0}}));
    }
}

// Against a plain map of per-pixel changes: spans near and far from the
// window (both signs, close to the int limits), reads in the middle of a row
// (after which spans are added to the built list), and resets.
TEST(CoverageBuffer, MatchesAMapOfChanges) {
    std::mt19937 rng(99);
    CoverageBuffer buffer;
    std::map<int, int> changes;
    auto change = [&](int x, int d) { changes[x] += d; };
    for (int step = 0; step < 20000; ++step) {
        const unsigned op = rng() % 100;
        if (op < 2) {
            buffer.Reset();
            changes.clear();
            continue;
        }
        if (op < 6) {
            std::vector<Node> want{{kMin, 0}};
            int coverage = 0;
            for (const auto& c : changes) want.push_back(Node(c.first, coverage += c.second));
            want.push_back(Node(kMax, 0));
            ASSERT_EQ(Nodes(buffer), want) << "step " << step;
            continue;
        }
        const long long range = op < 90 ? 4000 : op < 97 ? 4000000 : 2147483000;
        const long long a = static_cast<long long>(rng() % (2 * range)) - range;
        const int x0 = static_cast<int>(a);
        const long long length = rng() % (op < 95 ? 64 : 40000);
        const int x1 = static_cast<int>(std::min(a + length, 2147483640LL));
        buffer.InsertSpan(x0, x1);
        if (x1 <= x0) continue;
        change(x0 >> 3, 8 - (x0 & 7));
        if (x0 & 7) change((x0 >> 3) + 1, x0 & 7);
        change(x1 >> 3, (x1 & 7) - 8);
        if (x1 & 7) change((x1 >> 3) + 1, -(x1 & 7));
    }
}
