#pragma once

#include "Graphics/Rasterizer.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <memory>
#include <utility>
#include <vector>

namespace RasterTest {

using Graphics::CoverageBuffer;
using Graphics::Rect;
using Polygon = std::vector<Graphics::Point<float>>;

const float kNaN = std::numeric_limits<float>::quiet_NaN(), kInf = std::numeric_limits<float>::infinity();

inline void Polyline(Graphics::GeometrySink& sink, const Polygon& figure, bool close = true) {
    sink.BeginFigure(figure[0]);
    for (std::size_t i = 1; i < figure.size(); ++i) sink.LineTo(figure[i]);
    close ? sink.EndFigureClose() : sink.EndFigure();
}
inline void Send(Graphics::GeometrySink& sink, const std::vector<Polygon>& figures) {
    for (const Polygon& figure : figures) Polyline(sink, figure);
}

using Node = std::pair<int, int>;  // first pixel, coverage
const int kMin = -2147483647 - 1;
const int kMax = 2147483647;

inline std::vector<Node> Nodes(const CoverageBuffer& buffer) {
    std::vector<Node> out;
    for (const CoverageBuffer::Span* s = buffer.GetHead(); s && out.size() < 1000000; s = s->next)
        out.push_back(Node(s->x, s->coverage));
    return out;
}

struct CoverageRow {
    int y;
    std::vector<Node> nodes;  // the two end nodes included
    bool operator==(const CoverageRow& o) const { return y == o.y && nodes == o.nodes; }
};

struct Trapezoid {
    float top, topLeft, topRight, bottom, bottomLeft, bottomRight, leftFeather, rightFeather;
    bool operator==(const Trapezoid& o) const { return std::memcmp(this, &o, sizeof o) == 0; }  // bit for bit
};

// Keeps everything a rasterizer sends, in order.
class RecordingRasterSink : public Graphics::RasterizationSink {
public:
    explicit RecordingRasterSink(bool trapezoids_ = false) : trapezoids(trapezoids_) {}

    void AddCoverage(int y, std::shared_ptr<CoverageBuffer> b) override { ++calls; rows.push_back({y, Nodes(*b)}); }
    void AddRectangle(int l, int t, int r, int b) override { ++calls; rects.push_back(Rect<int>(l, t, r, b)); }
    bool CanAcceptTrapezoids() const override { return trapezoids; }
    void AddTrapezoid(float top, float topLeft, float topRight, float bottom, float bottomLeft, float bottomRight,
                      float leftFeather, float rightFeather) override {
        ++calls, traps.push_back({top, topLeft, topRight, bottom, bottomLeft, bottomRight, leftFeather, rightFeather});
    }

    // The coverage of pixels x0 to x1 - 1 of row y (zero where not reported).
    std::vector<int> Dense(int y, int x0, int x1) const {
        std::vector<int> out(x1 - x0, 0);
        for (const CoverageRow& row : rows)
            for (std::size_t i = 0; row.y == y && i + 1 < row.nodes.size(); ++i)
                for (int x = std::max(row.nodes[i].first, x0); x < std::min(row.nodes[i + 1].first, x1); ++x)
                    out[x - x0] = row.nodes[i].second;
        return out;
    }
    // The nodes of row y without the two end nodes.
    std::vector<Node> Inner(int y) const {
        for (const CoverageRow& row : rows)
            if (row.y == y) return std::vector<Node>(row.nodes.begin() + 1, row.nodes.end() - 1);
        return {};
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

}  // namespace RasterTest
