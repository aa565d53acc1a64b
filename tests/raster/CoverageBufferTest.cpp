#include "Graphics/Rasterizer.h"

#include "RasterRecordingSink.h"

#include <gtest/gtest.h>

#include <vector>

using namespace Graphics;
using namespace RasterTest;

namespace {

std::vector<Node> Nodes(const CoverageBuffer& buffer) {
    std::vector<Node> out;
    for (const CoverageBuffer::Span* s = buffer.GetHead(); s; s = s->next) out.push_back(Node(s->x, s->coverage));
    return out;
}

std::vector<Node> InnerNodes(const CoverageBuffer& buffer) {
    std::vector<Node> all = Nodes(buffer);
    return std::vector<Node>(all.begin() + 1, all.end() - 1);
}

}  // namespace

TEST(CoverageBuffer, EndNodesAndReset) {
    CoverageBuffer buffer;
    EXPECT_EQ(Nodes(buffer), (std::vector<Node>{{-2147483647 - 1, 0}, {2147483647, 0}}));

    buffer.InsertSpan(4, 20);
    buffer.Reset();
    EXPECT_EQ(Nodes(buffer), (std::vector<Node>{{-2147483647 - 1, 0}, {2147483647, 0}}));

    // Nodes handed back by Reset serve the next row; a long run of rows
    // keeps working on them.
    for (int row = 0; row < 1000; ++row) {
        for (int x = 0; x < 400; x += 40) buffer.InsertSpan(x + 3, x + 21);
        ASSERT_EQ(InnerNodes(buffer).size(), 40u);
        buffer.Reset();
    }
}

TEST(CoverageBuffer, SpanArithmetic) {
    {
        // Sample columns 4 to 19: half of pixel 0, all of pixel 1, half of 2.
        CoverageBuffer buffer;
        buffer.InsertSpan(4, 20);
        EXPECT_EQ(InnerNodes(buffer), (std::vector<Node>{{0, 4}, {1, 8}, {2, 4}, {3, 0}}));
    }
    {
        // Inside one pixel: the width, and a node after it where the rise ends.
        CoverageBuffer buffer;
        buffer.InsertSpan(3, 5);
        EXPECT_EQ(InnerNodes(buffer), (std::vector<Node>{{0, 2}, {1, 0}}));
    }
    {
        // Whole pixels: one node at each end, none between, none merged.
        CoverageBuffer buffer;
        buffer.InsertSpan(8, 32);
        buffer.InsertSpan(8, 32);
        EXPECT_EQ(InnerNodes(buffer), (std::vector<Node>{{1, 16}, {4, 0}}));
    }
    {
        // Left to right from the cursor, then from the head again for the
        // next sample row.
        CoverageBuffer buffer;
        buffer.InsertSpan(0, 8);
        buffer.InsertSpan(16, 24);
        EXPECT_EQ(InnerNodes(buffer), (std::vector<Node>{{0, 8}, {1, 0}, {2, 8}, {3, 0}}));
        buffer.InsertSpan(4, 18);
        EXPECT_EQ(InnerNodes(buffer), (std::vector<Node>{{0, 12}, {1, 8}, {2, 10}, {3, 0}}));
    }
    {
        // Negative columns: the shifts round toward minus infinity. Pixel -2
        // holds columns -16 to -9, of which -12 to -9 are covered; pixel -1
        // holds -8 to -1, of which -8 to -4.
        CoverageBuffer buffer;
        buffer.InsertSpan(-12, -3);
        EXPECT_EQ(InnerNodes(buffer), (std::vector<Node>{{-2, 4}, {-1, 5}, {0, 0}}));
    }
    {
        // Eight full sample rows make 64; neighbouring equal runs stay apart.
        CoverageBuffer buffer;
        for (int i = 0; i < 8; ++i) {
            buffer.InsertSpan(0, 12);
            buffer.InsertSpan(12, 24);
        }
        EXPECT_EQ(InnerNodes(buffer), (std::vector<Node>{{0, 64}, {1, 64}, {2, 64}, {3, 0}}));
    }
    {
        // Empty and reversed spans add nothing.
        CoverageBuffer buffer;
        buffer.InsertSpan(7, 7);
        buffer.InsertSpan(9, 3);
        EXPECT_TRUE(InnerNodes(buffer).empty());
    }
}
