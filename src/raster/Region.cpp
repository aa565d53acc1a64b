#include "Graphics/Region.h"

#include <boost/intrusive/list.hpp>
#include <boost/pool/object_pool.hpp>

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>
#include <utility>

namespace Graphics {

namespace {

const int S = Region::m_Sentinel;
const int INT_LOW = -2147483647 - 1;

// For modes 0 to 3, the range of span codes that survive. A stretch has the
// code 1 when only a covers it, 2 when only b does, 3 when both do.
const int g_OpMinMax[4][2] = {{3, 3}, {1, 3}, {1, 2}, {1, 1}};

// The span list of a band that an input does not cover.
const int sentinel[1] = {S};

bool _HasNoArea(const Rect<int>& r) { return r.left == r.right || r.top == r.bottom; }

// Length of the run list that starts at runs, when it ends within count ints;
// 0 when it does not. Only the shape is checked, not the order.
unsigned long _MeasureRunList(const int* runs, unsigned long count) {
    unsigned long i = 1;
    for (;;) {
        if (i >= count) return 0;
        if (runs[i++] == S) return i;  // a bottom of S closes the list
        for (;;) {
            if (i >= count) return 0;
            if (runs[i] == S) {
                ++i;
                break;
            }
            if (i + 1 >= count) return 0;
            i += 2;
        }
    }
}

struct _RunShape {
    unsigned long bands = 0;
    unsigned long maxSpans = 0;  // in any one band
};

_RunShape _GetRunShape(const int* runs) {
    _RunShape shape;
    const int* p = runs + 1;
    while (*p++ != S) {
        ++shape.bands;
        unsigned long spans = 0;
        while (*p != S) {
            p += 2;
            ++spans;
        }
        ++p;
        shape.maxSpans = std::max(shape.maxSpans, spans);
    }
    return shape;
}

// An upper bound of what PerformOperation writes for inputs of these shapes,
// whatever the order of their values. The band walk takes at most two steps
// per band of either input; each step may add a gap band (two ints) and one
// band whose span walk takes at most two steps per span, two ints a step.
unsigned long _GetSafeResultSize(const _RunShape& a, const _RunShape& b) {
    return 2 + 8 * (a.bands + b.bands) * (1 + a.maxSpans + b.maxSpans);
}

inline void _NextSpan(const int*& runs, int& left, int& right) {
    left = *runs++;
    if (left != S) right = *runs++;
}

inline int _Wrap(int value, int delta) {
    return static_cast<int>(static_cast<unsigned int>(value) + static_cast<unsigned int>(delta));
}

}  // namespace

int CreateRectRuns(const Rect<int>& rect, int* out) {
    out[0] = rect.top;
    out[1] = rect.bottom;
    out[2] = rect.left;
    out[3] = rect.right;
    out[4] = S;
    out[5] = S;
    return 6;
}

bool ComputeRunsBound(const int* runs, Rect<int>* out) {
    int left = S;
    int right = INT_LOW;
    int bottom = runs[0];
    unsigned long bands = 0;
    unsigned long spans = 0;
    const int* p = runs + 1;
    while (*p != S) {
        bottom = *p++;
        ++bands;
        if (*p != S) {
            if (*p < left) left = *p;
            while (*p != S) {
                p += 2;
                ++spans;
            }
            if (p[-1] > right) right = p[-1];
        }
        ++p;
    }
    if (out) *out = Rect<int>(left, runs[0], right, bottom);
    return bands == 1 && spans == 1;
}

int* PerformSpanOperation(const int* a, const int* b, int* out, int min, int max) {
    int aLeft, aRight = S, bLeft, bRight = S;
    _NextSpan(a, aLeft, aRight);
    _NextSpan(b, bLeft, bRight);

    int* lastRight = nullptr;
    while (aLeft != S || bLeft != S) {
        int code, left, right;
        if (aLeft < bLeft) {
            code = 1;
            left = aLeft;
            if (aRight <= bLeft) {
                right = aRight;
                _NextSpan(a, aLeft, aRight);
            } else {
                right = aLeft = bLeft;
            }
        } else if (bLeft < aLeft) {
            code = 2;
            left = bLeft;
            if (bRight <= aLeft) {
                right = bRight;
                _NextSpan(b, bLeft, bRight);
            } else {
                right = bLeft = aLeft;
            }
        } else {
            code = 3;
            left = aLeft;
            const int ar = aRight;
            const int br = bRight;
            if (ar < br) {
                right = bLeft = ar;
                _NextSpan(a, aLeft, aRight);
            } else if (br < ar) {
                right = aLeft = br;
                _NextSpan(b, bLeft, bRight);
            } else {
                right = ar;
                _NextSpan(a, aLeft, aRight);
                _NextSpan(b, bLeft, bRight);
            }
        }
        if (code >= min && code <= max && left < right) {
            if (lastRight && left <= *lastRight) {
                if (right > *lastRight) *lastRight = right;
            } else {
                *out++ = left;
                *out++ = right;
                lastRight = out - 1;
            }
        }
    }
    *out++ = S;
    return out;
}

namespace {

// Appends bands to a run list under construction, folding a band into the one
// before when their spans are equal and dropping empty bands at the top.
class _BandWriter {
public:
    _BandWriter(int* out, int top, int min, int max)
        : start(out), prevSpans(out + 1), prevLen(0), top(top), min(min), max(max) {}

    void AddBand(int bottom, const int* a, const int* b) {
        int* spans = prevSpans + prevLen + 1;
        const long len = PerformSpanOperation(a, b, spans, min, max) - spans;
        if (prevLen == len && std::memcmp(prevSpans, spans, static_cast<size_t>(len) * sizeof(int)) == 0) {
            prevSpans[-1] = bottom;
        } else if (len == 1 && prevLen == 0) {
            top = bottom;
        } else {
            spans[-1] = bottom;
            prevSpans = spans;
            prevLen = len;
        }
    }

    int Finish() {
        start[0] = top;
        prevSpans[prevLen] = S;
        return static_cast<int>(prevSpans - start + prevLen + 1);
    }

private:
    int* start;
    int* prevSpans;  // spans of the last band kept
    long prevLen;    // their length with the closing S; 0 before the first band
    int top;
    int min;
    int max;
};

}  // namespace

int PerformOperation(const int* a, const int* b, int* out, CombineMode::Enum mode) {
    if (mode == CombineMode::Complement) {
        std::swap(a, b);
        mode = CombineMode::Exclude;
    }
    int aTop = a[0];
    int bTop = b[0];
    const int top = std::min(aTop, bTop);
    const int m = static_cast<int>(mode);
    if (m < 0 || m > 3) {
        out[0] = top;
        out[1] = S;
        return 2;
    }

    _BandWriter writer(out, top, g_OpMinMax[m][0], g_OpMinMax[m][1]);
    int aBottom = a[1];
    int bBottom = b[1];
    const int* aSpans = a + 2;
    const int* bSpans = b + 2;
    // Set once an input has passed its last band; its spans pointer then
    // points past its end and must not be read.
    bool aFinished = false;
    bool bFinished = false;
    int prevBottom = top;

    while (aBottom != S || bBottom != S) {
        int intervalTop, intervalBottom;
        bool aCovers = false, bCovers = false;
        bool aDone = false, bDone = false;

        if (aTop < bTop) {
            intervalTop = aTop;
            aCovers = true;
            if (aBottom <= bTop) {
                intervalBottom = aBottom;
                aDone = true;
            } else {
                intervalBottom = aTop = bTop;
            }
        } else if (bTop < aTop) {
            intervalTop = bTop;
            bCovers = true;
            if (bBottom <= aTop) {
                intervalBottom = bBottom;
                bDone = true;
            } else {
                intervalBottom = bTop = aTop;
            }
        } else {
            intervalTop = aTop;
            aCovers = bCovers = true;
            const int ab = aBottom;
            const int bb = bBottom;
            intervalBottom = std::min(ab, bb);
            if (ab <= bb) {
                bTop = ab;
                aDone = true;
            }
            if (bb <= ab) {
                aTop = bb;
                bDone = true;
            }
        }

        if (intervalTop > prevBottom) writer.AddBand(intervalTop, sentinel, sentinel);
        writer.AddBand(intervalBottom, aCovers && !aFinished ? aSpans : sentinel,
                       bCovers && !bFinished ? bSpans : sentinel);

        if (aDone && !aFinished) {
            while (*aSpans != S) aSpans += 2;
            ++aSpans;
            aTop = aBottom;
            aBottom = *aSpans++;
            if (aBottom == S) {
                aTop = S;
                aFinished = true;
            }
        }
        if (bDone && !bFinished) {
            while (*bSpans != S) bSpans += 2;
            ++bSpans;
            bTop = bBottom;
            bBottom = *bSpans++;
            if (bBottom == S) {
                bTop = S;
                bFinished = true;
            }
        }
        prevBottom = intervalBottom;
    }
    return writer.Finish();
}

Region::Region() = default;

Region::Region(const Rect<int>& rect) : bound(rect) {}

Region::Region(const RectList<int>& rects) {
    for (const Rect<int>& rect : rects) *this = Combine(*this, Region(rect), CombineMode::Union);
}

Region::Region(int* runs, unsigned long count) {
    if (!runs || count < 3) return;
    if (count >= 7) {
        int* stop = runs + count;
        if (runs[2] == S) {
            // An empty first band only moves the top down.
            runs += 2;
            runs[0] = runs[-1];
        }
        if (stop[-4] == S) {
            // An empty last band is cut off.
            stop[-3] = S;
            stop -= 2;
        }
        count = static_cast<unsigned long>(stop - runs);
    }
    // A list that does not close within count is not taken.
    count = _MeasureRunList(runs, count);
    if (count < 3) return;

    bound.top = runs[0];
    if (count >= 6 && runs[4] == S && runs[5] == S) {
        bound = Rect<int>(runs[2], runs[0], runs[3], runs[1]);
        return;
    }
    ComputeRunsBound(runs, &bound);
    int* copy = new int[count];
    std::memcpy(copy, runs, count * sizeof(int));
    runHead = std::make_shared<RunHead>(copy, count);
}

Region Region::Combine(const Region& a0, const Region& b0, CombineMode::Enum mode) {
    const Region* a = &a0;
    const Region* b = &b0;
    if (mode == CombineMode::Complement) {
        std::swap(a, b);
        mode = CombineMode::Exclude;
    }
    const Rect<int>& ab = a->bound;
    const Rect<int>& bb = b->bound;
    const bool aEmpty = _HasNoArea(ab);
    const bool bEmpty = _HasNoArea(bb);
    const bool disjoint =
        ab.left >= bb.right || ab.top >= bb.bottom || ab.right <= bb.left || ab.bottom <= bb.top;

    switch (mode) {
    case CombineMode::Intersect:
        if (aEmpty || bEmpty || disjoint) return Region();
        if (!a->runHead && !b->runHead) {
            return Region(Rect<int>(std::max(ab.left, bb.left), std::max(ab.top, bb.top),
                                    std::min(ab.right, bb.right), std::min(ab.bottom, bb.bottom)));
        }
        break;
    case CombineMode::Union:
    case CombineMode::Difference:
        if (aEmpty) return *b;
        if (bEmpty) return *a;
        break;
    case CombineMode::Exclude:
        if (aEmpty) return Region();
        if (bEmpty || disjoint) return *a;
        break;
    default:
        return Region();
    }

    int aRect[6];
    int bRect[6];
    const int* aRuns = a->runHead ? a->runHead->runs : aRect;
    const int* bRuns = b->runHead ? b->runHead->runs : bRect;
    if (!a->runHead) CreateRectRuns(ab, aRect);
    if (!b->runHead) CreateRectRuns(bb, bRect);

    auto spanEstimate = [](const Region* r) -> unsigned long {
        if (!r->runHead) return 1;
        return r->runHead->runCount >= 4 ? (r->runHead->runCount - 4) / 2 : 0;
    };
    const unsigned long na = spanEstimate(a);
    const unsigned long nb = spanEstimate(b);
    // The worst case of well-formed lists, widened where the lists' shape
    // could need more.
    const _RunShape rectShape{1, 1};
    const _RunShape aShape = a->runHead ? _GetRunShape(aRuns) : rectShape;
    const _RunShape bShape = b->runHead ? _GetRunShape(bRuns) : rectShape;
    const unsigned long size = std::max((na + nb + 2 * na * nb) * 4 + 2, _GetSafeResultSize(aShape, bShape));

    std::unique_ptr<int[]> buffer(new int[size]);
    const int count = PerformOperation(aRuns, bRuns, buffer.get(), mode);
    return Region(buffer.get(), static_cast<unsigned long>(count));
}

bool Region::IsAreaEmpty() const {
    if (_HasNoArea(bound)) return true;
    if (!runHead) return false;
    const int* p = runHead->runs;
    int top = *p++;
    while (*p != S) {
        const int bottom = *p++;
        while (*p != S) {
            if (bottom != top && p[0] != p[1]) return false;
            p += 2;
        }
        ++p;
        top = bottom;
    }
    return true;
}

bool Region::Contains(const Point<int>& point) const {
    return point.x >= bound.left && point.x <= bound.right && point.y >= bound.top && point.y <= bound.bottom;
}

bool Region::Contains(const Region& region) const {
    return !Combine(region, *this, CombineMode::Exclude).IsAreaEmpty();
}

bool Region::HasIntersection(const Region& region) const {
    return !Combine(region, *this, CombineMode::Intersect).IsAreaEmpty();
}

RectList<int> Region::GetRects() const {
    RectList<int> list;
    if (!runHead) {
        if (!_HasNoArea(bound)) list.Add(bound);
        return list;
    }
    const int* p = runHead->runs;
    int top = *p++;
    while (*p != S) {
        const int bottom = *p++;
        while (*p != S) {
            if (bottom != top && p[0] != p[1]) list.Add(Rect<int>(p[0], top, p[1], bottom));
            p += 2;
        }
        ++p;
        top = bottom;
    }
    return list;
}

void Region::Offset(int dx, int dy) {
    // Wraps rather than overflows: a region near the limits stays defined.
    bound.left = _Wrap(bound.left, dx);
    bound.right = _Wrap(bound.right, dx);
    bound.top = _Wrap(bound.top, dy);
    bound.bottom = _Wrap(bound.bottom, dy);
}

namespace {

struct _RectNode : boost::intrusive::list_base_hook<> {
    Rect<int> rect;
};

using _RectNodeList = boost::intrusive::list<_RectNode>;

struct _TopLeftLess {
    bool operator()(const _RectNode& x, const _RectNode& y) const {
        return x.rect.top < y.rect.top || (x.rect.top == y.rect.top && x.rect.left < y.rect.left);
    }
};

}  // namespace

RectList<int> RemoveRectListIntersections(const RectList<int>& rects) {
    RectList<int> result;
    if (rects.IsEmpty()) return result;

    // The pool outlives the lists, so nodes are unlinked before they die.
    boost::object_pool<_RectNode> pool;
    std::vector<_RectNode*> spare;
    _RectNodeList list;
    _RectNodeList pieces;

    auto make = [&](const Rect<int>& rect) -> _RectNode& {
        _RectNode* node;
        if (!spare.empty()) {
            node = spare.back();
            spare.pop_back();
        } else {
            node = pool.construct();
            if (!node) throw std::bad_alloc();
        }
        node->rect = rect;
        return *node;
    };

    for (const Rect<int>& rect : rects) list.push_back(make(rect));
    list.sort(_TopLeftLess());

    while (!list.empty()) {
        _RectNode& first = list.front();
        list.pop_front();
        const Rect<int> r = first.rect;
        spare.push_back(&first);

        // Sorted by top, and none above r: what starts before r ends is a
        // prefix of the list.
        while (!list.empty() && list.front().rect.top < r.bottom) {
            _RectNode& node = list.front();
            list.pop_front();
            const Rect<int> n = node.rect;
            if (r.left >= n.right || r.right <= n.left) {
                pieces.push_back(node);
                continue;
            }
            // The pieces left and right of r run the full height of n and may
            // overlap the piece below; that is resolved when they come up.
            spare.push_back(&node);
            if (r.left > n.left) pieces.push_back(make(Rect<int>(n.left, n.top, r.left, n.bottom)));
            if (r.right < n.right) pieces.push_back(make(Rect<int>(r.right, n.top, n.right, n.bottom)));
            if (r.bottom < n.bottom) pieces.push_back(make(Rect<int>(n.left, r.bottom, n.right, n.bottom)));
        }
        pieces.sort(_TopLeftLess());
        list.merge(pieces, _TopLeftLess());

        if (r.left != r.right && r.top != r.bottom) result.Add(r);
    }
    return result;
}

}  // namespace Graphics
