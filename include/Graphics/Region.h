#pragma once

#include "Graphics/CombineMode.h"
#include "Graphics/Memory.h"
#include "Graphics/Types.h"

#include <cstddef>
#include <memory>
#include <vector>

namespace Graphics {

// A list of rectangles with the running bound of those added to it. The
// bound of an empty list is all zero; the first rectangle added becomes the
// bound, later ones widen it.
template <typename T>
class RectList {
public:
    using const_iterator = typename std::vector<Rect<T>>::const_iterator;

    void Add(const Rect<T>& rect) {
        if (rects.empty()) {
            bound = rect;
        } else {
            if (rect.left < bound.left) bound.left = rect.left;
            if (rect.top < bound.top) bound.top = rect.top;
            if (rect.right > bound.right) bound.right = rect.right;
            if (rect.bottom > bound.bottom) bound.bottom = rect.bottom;
        }
        rects.push_back(rect);
    }
    void Clear() {
        rects.clear();
        bound = Rect<T>();
    }

    const Rect<T>& GetBound() const { return bound; }
    std::size_t GetCount() const { return rects.size(); }
    bool IsEmpty() const { return rects.empty(); }
    const Rect<T>& operator[](std::size_t index) const { return rects[index]; }
    const std::vector<Rect<T>>& GetRects() const { return rects; }
    const_iterator begin() const { return rects.begin(); }
    const_iterator end() const { return rects.end(); }

private:
    std::vector<Rect<T>> rects;
    Rect<T> bound;
};

// An area of whole pixels. A plain rectangle is held as its bound alone;
// any other shape also carries a run list, shared between copies:
//
//   top, { bottom, left, right, ..., S }..., S        with S = 2147483647
//
// Each band runs from the bottom of the band before it (the first from the
// top) to its own bottom and lists its spans in ascending order, not
// touching. A band without spans is a vertical gap. S also closes span lists
// and the whole list, so a left edge or a bottom of exactly 2147483647 reads
// as an end mark.
class Region : public GraphicsBase {
public:
    static constexpr int m_Sentinel = 2147483647;

    // An immutable run list.
    struct RunHead {
        RunHead(int* runs_, unsigned long runCount_) : runs(runs_), runCount(runCount_) {}
        ~RunHead() { delete[] runs; }
        RunHead(const RunHead&) = delete;
        RunHead& operator=(const RunHead&) = delete;

        int* runs;                // allocated with new[]
        unsigned long runCount;   // number of ints
    };

    // The empty region, all zero.
    Region();
    explicit Region(const Rect<int>& rect);
    // The union of the rectangles, added one by one.
    explicit Region(const RectList<int>& rects);
    // From a run list of count ints. Empty first and last bands are trimmed,
    // which may write into runs; the list is copied.
    Region(int* runs, unsigned long count);

    static Region Combine(const Region& a, const Region& b, CombineMode::Enum mode);

    const Rect<int>& GetBound() const { return bound; }
    // True without a run list, which includes the empty region.
    bool IsRect() const { return !runHead; }
    bool IsAreaEmpty() const;
    // Tests the bound only, with all four edges inclusive.
    bool Contains(const Point<int>& point) const;
    // True when some part of region lies OUTSIDE this one. The sense is the
    // reverse of the name and callers rely on it.
    bool Contains(const Region& region) const;
    bool HasIntersection(const Region& region) const;
    // One rectangle per span of each band, top to bottom, left to right.
    RectList<int> GetRects() const;
    // Moves the bound only: a shared run list stays where it is. Meant for
    // rectangular regions.
    void Offset(int dx, int dy);

private:
    std::shared_ptr<RunHead> runHead;  // null for a rectangle or the empty region
    Rect<int> bound;
};

// Writes the six-int run list of a rectangle and returns 6.
int CreateRectRuns(const Rect<int>& rect, int* out);

// The bound of a run list; true when it is one band holding one span.
bool ComputeRunsBound(const int* runs, Rect<int>* out);

// Merges two span lists, each ending in S, keeping the stretches whose code
// (1 a only, 2 b only, 3 both) lies in [min, max]. Returns the end of what it
// wrote, the closing S included.
int* PerformSpanOperation(const int* a, const int* b, int* out, int min, int max);

// Merges two full run lists into out, which must have room for the worst
// case. Returns the number of ints written.
int PerformOperation(const int* a, const int* b, int* out, CombineMode::Enum mode);

// Disjoint rectangles covering the same pixels as the input; rectangles
// without area are dropped.
RectList<int> RemoveRectListIntersections(const RectList<int>& rects);

}  // namespace Graphics
