#include "Graphics/Rasterizer.h"

#include <algorithm>

namespace Graphics {

namespace {

const int _FirstWidth = 256;
const int _MostWidth = 1 << 16;

}  // namespace

// A span from sample column x0 to x1 (x0 < x1) over pixels a = x0 >> 3 to
// b = x1 >> 3 raises pixel a by 8 - (x0 & 7), the pixels after it up to b by
// 8, and b by x1 & 7. As changes from one pixel to the next: +8 - (x0 & 7) at
// a, +(x0 & 7) at a + 1, -8 + (x1 & 7) at b, -(x1 & 7) at b + 1. A node is
// wanted at a and b always, and at a + 1 and b + 1 where the span ends part
// way into the pixel, so that the change stops after one pixel; those are
// exactly the pixels with a change above, less the ones whose change is
// always 0. Summing the changes from the left gives each node its coverage.

CoverageBuffer::CoverageBuffer()
    : built(false),
      nodeCount(0),
      base(0),
      width(0),
      fastLimit(0),
      firstWord(2147483647),
      lastWord(-1),
      overflowed(false) {
    head.next = &tail;
    head.x = -2147483647 - 1;
    head.coverage = 0;
    tail.next = nullptr;
    tail.x = 2147483647;
    tail.coverage = 0;
}

CoverageBuffer::~CoverageBuffer() {}

void CoverageBuffer::Allocate(int newWidth) {
    width = newWidth;
    fastLimit = static_cast<unsigned>(width - 1);
    deltas.assign(width, 0);
    marks.assign(width >> 6, 0);
    firstWord = 2147483647;
    lastWord = -1;
}

void CoverageBuffer::AddChange(int x, int delta) {
    if (firstWord > lastWord) {
        // An empty window moves to wherever the row begins, with room to the
        // left for rows that begin a little further left.
        if (width == 0) Allocate(_FirstWidth);
        const unsigned i = static_cast<unsigned>(x - base);
        if (i >= static_cast<unsigned>(width >> 1)) base = x - (width >> 2);
    }
    const unsigned i = static_cast<unsigned>(x - base);
    if (i < static_cast<unsigned>(width)) {
        deltas[i] += delta;
        marks[i >> 6] |= 1ULL << (i & 63);
        const int word = static_cast<int>(i >> 6);
        if (word < firstWord) firstWord = word;
        if (word > lastWord) lastWord = word;
    } else {
        outside.push_back(std::make_pair(x, delta));
        overflowed = true;
    }
}

// The built list back into changes, so that more spans can be added to it.
void CoverageBuffer::Unbuild() {
    built = false;
    int coverage = 0;
    for (std::size_t k = 0; k < nodeCount; ++k) {
        AddChange(nodes[k].x, nodes[k].coverage - coverage);
        coverage = nodes[k].coverage;
    }
    nodeCount = 0;
}

void CoverageBuffer::InsertSlow(int x0, int x1) {
    if (built) {
        if (nodeCount == 0)
            built = false;
        else
            Unbuild();
        // The window may have moved.
        InsertSpan(x0, x1);
        return;
    }
    const int a = x0 >> 3;
    const int b = x1 >> 3;
    AddChange(a, 8 - (x0 & 7));
    if (x0 & 7) AddChange(a + 1, x0 & 7);
    AddChange(b, (x1 & 7) - 8);
    if (x1 & 7) AddChange(b + 1, -(x1 & 7));
}

void CoverageBuffer::Build() {
    int* d = deltas.data();
    unsigned long long* m = marks.data();
    // At most a node per pixel of the marked words; counting them exactly
    // would cost more than the room.
    std::size_t count = outside.size();
    if (firstWord <= lastWord) count += static_cast<std::size_t>(lastWord - firstWord + 1) << 6;
    if (nodes.size() < count) nodes.resize(std::max(count, nodes.size() * 2));
    Span* node = nodes.data();
    Span* const first = node;

    if (!outside.empty()) std::sort(outside.begin(), outside.end());
    const std::size_t outsideCount = outside.size();
    std::size_t o = 0;
    int coverage = 0;
    // Changes outside the window, by x, up to (not including) limit.
    auto flushOutside = [&](int limit) {
        while (o < outsideCount && outside[o].first < limit) {
            const int x = outside[o].first;
            do {
                coverage += outside[o].second;
                ++o;
            } while (o < outsideCount && outside[o].first == x);
            node->next = node + 1;
            node->x = x;
            node->coverage = coverage;
            ++node;
        }
    };
    for (int w = firstWord; w <= lastWord; ++w) {
        unsigned long long bits = m[w];
        if (!bits) continue;
        m[w] = 0;
        do {
            const int i = (w << 6) + __builtin_ctzll(bits);
            bits &= bits - 1;
            const int x = base + i;
            if (o < outsideCount) {
                flushOutside(x);
                while (o < outsideCount && outside[o].first == x) coverage += outside[o++].second;
            }
            coverage += d[i];
            d[i] = 0;
            node->next = node + 1;
            node->x = x;
            node->coverage = coverage;
            ++node;
        } while (bits);
    }
    flushOutside(2147483647);
    firstWord = 2147483647;
    lastWord = -1;
    outside.clear();

    nodeCount = static_cast<std::size_t>(node - first);
    if (nodeCount) {
        head.next = first;
        node[-1].next = &tail;
    } else {
        head.next = &tail;
    }
    built = true;
    if (overflowed) {
        overflowed = false;
        if (width < _MostWidth) Allocate(width * 2);
    }
}

void CoverageBuffer::ClearWindow() {
    int* d = deltas.data();
    unsigned long long* m = marks.data();
    for (int w = firstWord; w <= lastWord; ++w) {
        unsigned long long bits = m[w];
        m[w] = 0;
        while (bits) {
            d[(w << 6) + __builtin_ctzll(bits)] = 0;
            bits &= bits - 1;
        }
    }
    firstWord = 2147483647;
    lastWord = -1;
    outside.clear();
    if (overflowed) {
        overflowed = false;
        if (width < _MostWidth) Allocate(width * 2);
    }
}

// Not built, with nothing waiting: the next read builds an empty list, and
// the spans of the next row take the short way in.
void CoverageBuffer::Reset() {
    if (!built) ClearWindow();
    nodeCount = 0;
    head.next = &tail;
    built = false;
}

}  // namespace Graphics
