#pragma once

#include "Graphics/Rasterizer.h"

#include <map>
#include <ostream>
#include <utility>
#include <vector>

namespace RasterTest {

using Graphics::CoverageBuffer;
using Graphics::Rect;

// One node of a coverage row: first pixel, coverage.
using Node = std::pair<int, int>;

struct CoverageRow {
    int y;
    std::vector<Node> nodes;  // every node, the two end nodes included
};

struct Trapezoid {
    float top, topLeft, topRight, bottom, bottomLeft, bottomRight, leftFeather, rightFeather;
};

// Keeps everything a rasterizer sends, in order.
class RecordingRasterSink : public Graphics::RasterizationSink {
public:
    explicit RecordingRasterSink(bool trapezoids_ = false) : trapezoids(trapezoids_) {}

    void AddCoverage(int y, std::shared_ptr<CoverageBuffer> buffer) override {
        ++calls;
        CoverageRow row;
        row.y = y;
        int guard = 0;
        for (const CoverageBuffer::Span* s = buffer->GetHead(); s && guard < 1000000; s = s->next, ++guard)
            row.nodes.push_back(Node(s->x, s->coverage));
        rows.push_back(row);
    }
    void AddRectangle(int left, int top, int right, int bottom) override {
        ++calls;
        rects.push_back(Rect<int>(left, top, right, bottom));
    }
    bool CanAcceptTrapezoids() const override { return trapezoids; }
    void AddTrapezoid(float top, float topLeft, float topRight, float bottom, float bottomLeft, float bottomRight,
                      float leftFeather, float rightFeather) override {
        ++calls;
        traps.push_back(Trapezoid{top, topLeft, topRight, bottom, bottomLeft, bottomRight, leftFeather, rightFeather});
    }

    // The coverage of pixels x0 to x1 - 1 of the row reported for y (all
    // zero when the row was not reported).
    std::vector<int> Dense(int y, int x0, int x1) const {
        std::vector<int> out(x1 - x0, 0);
        for (const CoverageRow& row : rows) {
            if (row.y != y) continue;
            for (std::size_t i = 0; i + 1 < row.nodes.size(); ++i)
                for (int x = std::max(row.nodes[i].first, x0); x < std::min(row.nodes[i + 1].first, x1); ++x)
                    out[x - x0] = row.nodes[i].second;
        }
        return out;
    }
    const CoverageRow* Row(int y) const {
        for (const CoverageRow& row : rows)
            if (row.y == y) return &row;
        return nullptr;
    }
    std::vector<int> RowNumbers() const {
        std::vector<int> out;
        for (const CoverageRow& row : rows) out.push_back(row.y);
        return out;
    }

    bool trapezoids;
    int calls = 0;
    std::vector<CoverageRow> rows;
    std::vector<Rect<int>> rects;
    std::vector<Trapezoid> traps;
};

// Counts what arrives, for long or pathological runs.
class CountingRasterSink : public Graphics::RasterizationSink {
public:
    void AddCoverage(int, std::shared_ptr<CoverageBuffer> buffer) override {
        ++rows;
        for (const CoverageBuffer::Span* s = buffer->GetHead(); s->next; s = s->next) ++nodes;
    }
    void AddRectangle(int, int, int, int) override { ++rects; }
    bool CanAcceptTrapezoids() const override { return false; }
    void AddTrapezoid(float, float, float, float, float, float, float, float) override { ++traps; }

    long rows = 0, nodes = 0, rects = 0, traps = 0;
};

// The nodes of a row without the two end nodes.
inline std::vector<Node> Inner(const CoverageRow* row) {
    if (!row || row->nodes.size() < 2) return {};
    return std::vector<Node>(row->nodes.begin() + 1, row->nodes.end() - 1);
}

}  // namespace RasterTest

namespace Graphics {
template <typename T>
inline std::ostream& operator<<(std::ostream& os, const Rect<T>& r) {
    return os << "(" << r.left << ", " << r.top << ", " << r.right << ", " << r.bottom << ")";
}
}  // namespace Graphics
