#include "sw/SwPipeLine.h"

#include "bitmap/SysMemBitmap.h"
#include "core/CpuInfo.h"
#include "core/FpuState.h"
#include "raster/StrokedRectangle.h"
#include "sw/ShapeFilleOp.h"
#include "sw/SwBasicCompositeNormalOp.h"
#include "sw/SwBasicCompositeNormalSSE2Op.h"
#include "sw/SwBasicCompositeOp.h"
#include "sw/SwGetBackdropColorOp.h"
#include "sw/SwLayerCompositeNormalOp.h"
#include "sw/SwLayerCompositeOp.h"
#include "sw/SwSourceColorOp.h"
#include "sw/SwSolidColorSource.h"
#include "sw/SwSourceShapeOp.h"
#include "sw/SwTargetAlphaOp.h"
#include "sw/SwTargetColorOp.h"
#include "sw/SwTargetShapeOp.h"

#include <algorithm>
#include <typeinfo>
#include <utility>
#include <vector>

namespace Graphics {

namespace {

// The scratch rows of the last pipeline on the thread, kept for the next:
// a pipeline is made for every fill, and the rows of a wide target are too
// large for the allocator's fast path. Taken out while a pipeline uses them,
// so that a pipeline made inside another gets rows of its own.
thread_local SwPipeLine::ScratchBlock t_SpareScratch;

// Words in the block of rows that RunFusedBlocks fills at once: 16 KB.
const int kRowBlockWords = 4096;

// Whether count words from a and from b share any byte.
bool _Overlap(const uint32_t* a, const uint32_t* b, int count) {
    const uintptr_t x = reinterpret_cast<uintptr_t>(a);
    const uintptr_t y = reinterpret_cast<uintptr_t>(b);
    const uintptr_t size = 4 * static_cast<uintptr_t>(count);
    return x < y + size && y < x + size;
}

// Calls visit(x1, x2, coverage) for each interval of a coverage row that
// has coverage, cut to the bound. The rasterizer's full count of 64 comes
// out as 255.
template <class Visit>
void _ForEachInterval(const CoverageBuffer& buffer, const Rect<int>& bound, Visit visit) {
    for (const CoverageBuffer::Span* node = buffer.GetHead(); node->next && node->x != 0x7FFFFFFF;
         node = node->next) {
        const int count = node->coverage;
        if (count == 0) continue;
        const int next = node->next->x;
        if (node->x >= bound.right || next <= bound.left) continue;
        visit(std::max(node->x, bound.left), std::min(next, bound.right),
              static_cast<unsigned int>(count * 4 - 1) & 0xFFu);
    }
}

// A whole number well inside the range where the rasterizer takes
// coordinates without clipping them first.
bool _WholeCoordinate(float v) {
    return v > -32000.0f && v < 32000.0f && static_cast<float>(static_cast<int>(v)) == v;
}

}  // namespace

class SwPipeLine::TargetLock {
public:
    explicit TargetLock(SwPipeLine& p) : pipeline(p) {
        if (pipeline.colorTarget) pipeline.context.targetLock = pipeline.colorTarget->Lock(nullptr, LockMode::ReadWrite);
    }
    ~TargetLock() {
        if (pipeline.colorTarget) {
            pipeline.colorTarget->Unlock();
            pipeline.context.targetLock = LockedData();
        }
    }
    TargetLock(const TargetLock&) = delete;
    TargetLock& operator=(const TargetLock&) = delete;

private:
    SwPipeLine& pipeline;
};

// Holds a row's lock of the colour target in the context, the way the lock
// of each span would, and clears it when the row ends or throws.
class SwPipeLine::RowLock {
public:
    RowLock(OperationContext& c, const LockedData& lock) : context(c) { context.targetLock = lock; }
    ~RowLock() { context.targetLock = LockedData(); }
    RowLock(const RowLock&) = delete;
    RowLock& operator=(const RowLock&) = delete;

private:
    OperationContext& context;
};

SwPipeLine::SwPipeLine(std::shared_ptr<Geometry> g, const Rect<int>& rectangle)
    : origin(rectangle.left, rectangle.top), geometry(std::move(g)) {
    const int width = std::max(rectangle.Width(), 0);
    const int height = std::max(rectangle.Height(), 0);
    bound = Rect<int>(0, 0, width, height);
    // At least one element each, so that the row pointers are never null.
    scratchWidth = std::max(width, 1);
    context.blendFunction = SwBlend::GetBlendFunc(blendMode);
    context.params = &params;
}

SwPipeLine::~SwPipeLine() {
    // The operations go first: some of them hold locks on the planes.
    operations.clear();
    // Rows of up to 64 K words (a target about 50 000 pixels wide) are kept.
    constexpr std::size_t kMostKept = std::size_t(1) << 16;
    if (scratch.count <= kMostKept && scratch.count > t_SpareScratch.count) t_SpareScratch = std::move(scratch);
}

void SwPipeLine::EnsureScratch(bool zeroed) {
    const std::size_t width = static_cast<std::size_t>(scratchWidth);
    // Rounded up to whole words for the shape row behind the colours.
    const std::size_t words = width + (width + 3) / 4;
    if (scratch.words) {
        if (zeroed && !scratchZeroed) std::fill(scratch.words.get(), scratch.words.get() + words, 0u);
        scratchZeroed = scratchZeroed || zeroed;
        return;
    }
    // The fused steps write every word they read, so they skip the
    // clearing; the operations start from zeros.
    if (t_SpareScratch.count >= words) {
        scratch = std::move(t_SpareScratch);
        t_SpareScratch.count = 0;
        if (zeroed) std::fill(scratch.words.get(), scratch.words.get() + words, 0u);
    } else {
        scratch.words.reset(zeroed ? new uint32_t[words]() : new uint32_t[words]);
        scratch.count = words;
    }
    scratchZeroed = zeroed;
    sourceColor = scratch.words.get();
    sourceShape = reinterpret_cast<unsigned char*>(sourceColor + width);
    context.sourceShape = sourceShape;
    context.sourceColor = sourceColor;
}

template <class Op, class... Args>
std::shared_ptr<SwOperation> SwPipeLine::MakeOperation(std::optional<Op>& slot, Args&&... args) {
    if (slot) return std::make_shared<Op>(std::forward<Args>(args)...);
    slot.emplace(std::forward<Args>(args)...);
    // The pipeline outlives its list, so the pointer needs no owner.
    return std::shared_ptr<SwOperation>(std::shared_ptr<SwOperation>(), &*slot);
}

void SwPipeLine::SetBlendMode(BlendMode::Enum mode) {
    blendMode = mode;
    context.blendFunction = SwBlend::GetBlendFunc(mode);
}

void SwPipeLine::FitBoundTo(const BitmapBase& bitmap, int bytesPerPixel) {
    if (PixelFormat::GetBitsPerPixel(bitmap.GetPixelFormat()) != bytesPerPixel * 8) {
        bound = Rect<int>();
        return;
    }
    const Size<int> size = bitmap.GetSize();
    IntersectBound(Rect<int>(0, 0, size.width, size.height));
}

void SwPipeLine::IntersectBound(const Rect<int>& r) {
    if (r.left < bound.right && r.top < bound.bottom && r.right > bound.left && r.bottom > bound.top)
        bound = Rect<int>(std::max(bound.left, r.left), std::max(bound.top, r.top), std::min(bound.right, r.right),
                          std::min(bound.bottom, r.bottom));
    else
        bound = Rect<int>();
}

void SwPipeLine::SetColorTarget(std::shared_ptr<BitmapBase> bitmap) {
    if (bitmap) FitBoundTo(*bitmap, 4);
    // Exactly a system-memory bitmap, not something derived from one that
    // may do more in its locks.
    const BitmapBase* plane = bitmap.get();
    plainTarget = plane && typeid(*plane) == typeid(SysMemBitmap);
    colorTarget = bitmap;
    AddOperation(MakeOperation(targetColorSlot, std::move(bitmap)));
}

void SwPipeLine::SetShapeTarget(std::shared_ptr<BitmapBase> bitmap) {
    if (bitmap) FitBoundTo(*bitmap, 1);
    shapeTarget = bitmap;
    AddOperation(std::make_shared<SwTargetShapeOp>(std::move(bitmap)));
}

void SwPipeLine::SetAlphaTarget(std::shared_ptr<BitmapBase> bitmap) {
    if (bitmap) FitBoundTo(*bitmap, 1);
    alphaTarget = bitmap;
    AddOperation(std::make_shared<SwTargetAlphaOp>(std::move(bitmap)));
}

void SwPipeLine::SetBackdropColor(std::shared_ptr<BitmapBase> bitmap) {
    if (bitmap) FitBoundTo(*bitmap, 4);
    backdrop = bitmap;
    AddOperation(std::make_shared<SwGetBackdropColorOp>(std::move(bitmap)));
}

void SwPipeLine::SetColorSource(std::shared_ptr<SwColorSource> source) {
    AddOperation(MakeOperation(sourceColorSlot, std::move(source)));
}

void SwPipeLine::AddShapeFiller() { AddOperation(std::make_shared<ShapeFilleOp>()); }

void SwPipeLine::SetBasicComposite() {
    AddOperation(MakeOperation(sourceShapeSlot));
    if (blendMode != BlendMode::Normal)
        AddOperation(std::make_shared<SwBasicCompositeOp>());
    else if (CpuInfo::m_SSE2Available)
        AddOperation(std::make_shared<SwBasicCompositeNormalSSE2Op>());
    else
        AddOperation(MakeOperation(compositeSlot));
}

void SwPipeLine::SetLayerComposite(bool knockout, bool isolated) {
    AddOperation(std::make_shared<SwSourceShapeOp>());
    if (blendMode != BlendMode::Normal)
        AddOperation(std::make_shared<SwLayerCompositeOp>(knockout, isolated));
    else
        AddOperation(std::make_shared<SwLayerCompositeNormalOp>(knockout, isolated));
}

void SwPipeLine::AddOperation(std::shared_ptr<SwOperation> operation) {
    // An operation goes behind all others of its stage, so operations of one
    // stage keep the order of their arrival.
    if (!operation) return;
    const int stage = operation->GetStage();
    std::size_t at = operations.size();
    while (at > 0 && operations[at - 1]->GetStage() > stage) --at;
    operations.insert(operations.begin() + static_cast<std::ptrdiff_t>(at), std::move(operation));
    ClassifyOperations();
}

void SwPipeLine::ClassifyOperations() {
    fused = Fused::None;
    fusedSource = nullptr;
    if (operations.size() != 4) return;
    SwOperation* sequence[4] = {operations[0].get(), operations[1].get(), operations[2].get(),
                                operations[3].get()};
    // Exact types only: a derived operation may do more than its base.
    const bool prepare = (typeid(*sequence[0]) == typeid(SwTargetColorOp) &&
                          typeid(*sequence[1]) == typeid(SwSourceShapeOp)) ||
                         (typeid(*sequence[0]) == typeid(SwSourceShapeOp) &&
                          typeid(*sequence[1]) == typeid(SwTargetColorOp));
    if (!prepare || typeid(*sequence[2]) != typeid(SwSourceColorOp) ||
        typeid(*sequence[3]) != typeid(SwBasicCompositeNormalOp))
        return;
    SwColorSource* source = static_cast<SwSourceColorOp*>(sequence[2])->GetSource();
    if (source && typeid(*source) == typeid(SwSolidColorSource)) {
        fused = Fused::Solid;
        fusedColor = static_cast<SwSolidColorSource*>(source)->GetColor();
    } else if (!source) {
        // Transparent black everywhere: the composite leaves every pixel.
        fused = Fused::Solid;
        fusedColor = 0;
    } else {
        fused = Fused::Uniform;
        fusedSource = source;
    }
}

void SwPipeLine::RunFused(const LockedData& lock, int y, int x1, int x2, unsigned int coverage) {
    if (x2 <= x1) return;
    uint32_t* target = reinterpret_cast<uint32_t*>(static_cast<unsigned char*>(lock.data) +
                                                   static_cast<std::ptrdiff_t>(lock.stride) * y + 4 * x1);
    if (fused == Fused::Solid) {
        SwBasicCompositeNormalOp::ComposeConstant(target, fusedColor, coverage, x2 - x1);
    } else {
        const int count = x2 - x1;
        // Straight from the source's pixels, unless they share memory with
        // the row being written (an image drawn onto itself). Short spans
        // don't ask: their copy costs less than the question.
        const uint32_t* words = count >= 16 ? fusedSource->SpanWords(x1, x2, y) : nullptr;
        if (!words || _Overlap(words, target, count)) {
            EnsureScratch(false);
            fusedSource->FillSpan(x1, x2, y, reinterpret_cast<unsigned char*>(sourceColor));
            words = sourceColor;
        }
        SwBasicCompositeNormalOp::ComposeSpanUniform(target, words, coverage, count);
    }
}

LockedData SwPipeLine::PlainLock() {
    // A system-memory bitmap's lock only works out where its pixels are and
    // its unlock does nothing; the pixels do not move while a fill runs, so
    // it is worked out once per fill.
    if (!plainLock.data)
        plainLock = static_cast<SysMemBitmap&>(*colorTarget).SysMemBitmap::Lock(nullptr, LockMode::ReadWrite);
    return plainLock;
}

bool SwPipeLine::RunFusedBlocks(const LockedData& lock, int y1, int y2, const FusedInterval* intervals,
                                std::size_t n) {
    if (n == 0 || y2 <= y1) return n == 0;
    unsigned char* const base = static_cast<unsigned char*>(lock.data);
    const std::ptrdiff_t stride = lock.stride;
    // The source must not read what these rows write: a row read ahead
    // would miss what the rows before it put there. Once the source has
    // filled rows it has shown that it reads none of them, and the order of
    // the rest is free.
    const int left = intervals[0].x1;
    const int right = intervals[n - 1].x2;
    const unsigned char* const first = base + stride * y1 + 4 * static_cast<std::ptrdiff_t>(left);
    const unsigned char* const last = base + stride * (y2 - 1) + 4 * static_cast<std::ptrdiff_t>(left);
    const void* const avoidBegin = std::min(first, last);
    const void* const avoidEnd = std::max(first, last) + 4 * static_cast<std::ptrdiff_t>(right - left);
    // A block of rows that stays in the first-level cache until composed;
    // one per thread, kept from fill to fill.
    thread_local std::vector<uint32_t> block;
    bool filled = false;
    for (std::size_t i = 0; i < n; ++i) {
        const FusedInterval& interval = intervals[i];
        const int count = interval.x2 - interval.x1;
        // Words that lie in memory already are read there, row by row.
        if (count >= 16 && fusedSource->SpanWords(interval.x1, interval.x2, y1)) {
            if (!filled) return false;
            for (int y = y1; y < y2; ++y) RunFused(lock, y, interval.x1, interval.x2, interval.coverage);
            continue;
        }
        const int perBlock = std::max(1, std::min(y2 - y1, kRowBlockWords / count));
        if (block.size() < static_cast<std::size_t>(perBlock) * static_cast<std::size_t>(count))
            block.resize(static_cast<std::size_t>(perBlock) * static_cast<std::size_t>(count));
        for (int y = y1; y < y2; y += perBlock) {
            const int rows = std::min(perBlock, y2 - y);
            if (!fusedSource->FillRows(interval.x1, interval.x2, y, rows,
                                       reinterpret_cast<unsigned char*>(block.data()),
                                       4 * static_cast<std::ptrdiff_t>(count), avoidBegin, avoidEnd)) {
                if (!filled) return false;
                for (int k = y; k < y + rows; ++k) RunFused(lock, k, interval.x1, interval.x2, interval.coverage);
                continue;
            }
            filled = true;
            for (int r = 0; r < rows; ++r) {
                uint32_t* const target = reinterpret_cast<uint32_t*>(base + stride * (y + r)) + interval.x1;
                if (count == 1)
                    // The partly covered column beside an edge: too short
                    // to pay for a call per pixel.
                    SwBasicCompositeNormalOp::ComposePixel(target, block[r], interval.coverage);
                else
                    SwBasicCompositeNormalOp::ComposeSpanUniform(
                        target, block.data() + static_cast<std::ptrdiff_t>(r) * count, interval.coverage, count);
            }
        }
    }
    return true;
}

void SwPipeLine::AddCoverageRows(int y, int count, std::shared_ptr<CoverageBuffer> buffer) {
    if (count > 1 && buffer && fused != Fused::None && plainTarget) {
        const int y1 = std::max(y, bound.top);
        const int y2 = static_cast<int>(std::min<long long>(static_cast<long long>(y) + count, bound.bottom));
        const LockedData lock = y2 - y1 > 1 ? PlainLock() : LockedData();
        if (lock.data && fused == Fused::Solid) {
            // Each pixel depends on itself alone, so the rows can be taken
            // column by column: one walk of the list for all of them.
            RowLock row(context, lock);
            unsigned char* const first =
                static_cast<unsigned char*>(lock.data) + static_cast<std::ptrdiff_t>(lock.stride) * y1;
            _ForEachInterval(*buffer, bound, [&](int x1, int x2, unsigned int coverage) {
                if (x2 > x1)
                    SwBasicCompositeNormalOp::ComposeConstantRows(reinterpret_cast<uint32_t*>(first) + x1,
                                                                  lock.stride, fusedColor, coverage, x2 - x1,
                                                                  y2 - y1);
            });
            return;
        }
        if (lock.data) {
            RowLock row(context, lock);
            boost::container::small_vector<FusedInterval, 8> intervals;
            _ForEachInterval(*buffer, bound, [&](int x1, int x2, unsigned int coverage) {
                if (x2 > x1) intervals.push_back(FusedInterval{x1, x2, coverage});
            });
            if (RunFusedBlocks(lock, y1, y2, intervals.data(), intervals.size())) return;
        }
    }
    for (int k = 0; k < count; ++k) AddCoverage(y + k, buffer);
}

std::vector<SwOperation*> SwPipeLine::GetOperations() const {
    std::vector<SwOperation*> sequence;
    sequence.reserve(operations.size());
    for (const std::shared_ptr<SwOperation>& op : operations) sequence.push_back(op.get());
    return sequence;
}

// With rectangles adjusted, the rasterizer turns a rectangle whose corners
// lie on whole pixels into exactly those pixels (cut to the bound, which
// AddRectangle does too); going straight there spares building its edges.
bool SwPipeLine::IsWholePixelRectangle(Rect<int>* rect) const {
    if (!adjustRectangles || !transform.IsIdentity()) return false;
    Rect<float> r;
    if (!geometry->IsRectangle(transform, &r)) return false;
    if (!(_WholeCoordinate(r.left) && _WholeCoordinate(r.top) && _WholeCoordinate(r.right) &&
          _WholeCoordinate(r.bottom) && r.left < r.right && r.top < r.bottom))
        return false;
    *rect = Rect<int>(static_cast<int>(r.left), static_cast<int>(r.top), static_cast<int>(r.right),
                      static_cast<int>(r.bottom));
    return true;
}

void SwPipeLine::Execute() {
    if (!geometry) return;
    plainLock = LockedData();
    FpuState fpuState;
    Rect<int> whole;
    if (IsWholePixelRectangle(&whole)) {
        AddRectangle(whole.left, whole.top, whole.right, whole.bottom);
        return;
    }
    const Rect<float> clip(static_cast<float>(bound.left), static_cast<float>(bound.top),
                           static_cast<float>(bound.right), static_cast<float>(bound.bottom));
    // Borrowed for the call: the rasterizer keeps no reference.
    const std::shared_ptr<RasterizationSink> self(std::shared_ptr<RasterizationSink>(), this);
    // A single colour paints each pixel by its coverage alone, so a stroked
    // rectangle may come as the plain ring it covers.
    if (fused == Fused::Solid && RasterizeStrokedRectangle(*geometry, transform, clip, adjustRectangles, self))
        return;
    RasterizeGeometry(geometry, transform, clip, adjustRectangles, self);
}

void SwPipeLine::RunOperations() {
    EnsureScratch();
    for (std::size_t i = 0; i < operations.size(); ++i) (*operations[i])(context);
}

void SwPipeLine::FillSpan(const Params& p) {
    params = p;
    TargetLock lock(*this);
    if (fused != Fused::None && context.targetLock.data)
        RunFused(context.targetLock, p.y, p.x1, p.x2, p.coverage);
    else
        RunOperations();
}

void SwPipeLine::AddRectangle(int left, int top, int right, int bottom) {
    if (!(top < bound.bottom && bottom > bound.top && left < bound.right && right > bound.left)) return;
    params.x1 = std::max(left, bound.left);
    params.x2 = std::min(right, bound.right);
    params.coverage = 255;
    const int y2 = std::min(bottom, bound.bottom);
    // One lock for all the rows.
    TargetLock lock(*this);
    if (fused != Fused::None && context.targetLock.data) {
        const int y1 = std::max(top, bound.top);
        if (fused == Fused::Uniform && y2 - y1 > 1) {
            fusedSource->ExpectSpans(params.x1, params.x2);
            const FusedInterval whole{params.x1, params.x2, 255};
            if (params.x2 > params.x1 && RunFusedBlocks(context.targetLock, y1, y2, &whole, 1)) {
                params.y = y2 - 1;
                return;
            }
        }
        for (int y = y1; y < y2; ++y) {
            params.y = y;
            RunFused(context.targetLock, y, params.x1, params.x2, 255);
        }
        return;
    }
    for (int y = std::max(top, bound.top); y < y2; ++y) {
        params.y = y;
        RunOperations();
    }
}

void SwPipeLine::AddCoverage(int y, std::shared_ptr<CoverageBuffer> buffer) {
    if (y < bound.top || y >= bound.bottom || !buffer) return;
    Params p;
    p.y = y;
    if (fused != Fused::None && plainTarget) {
        // One lock for the whole row gives what a lock per interval would,
        // without the calls.
        const LockedData lock = PlainLock();
        if (lock.data) {
            RowLock row(context, lock);
            const bool solid = fused == Fused::Solid;
            unsigned char* const rowData =
                static_cast<unsigned char*>(lock.data) + static_cast<std::ptrdiff_t>(lock.stride) * y;
            // The fused steps read nothing from params, so the span stays in
            // registers.
            _ForEachInterval(*buffer, bound, [&](int x1, int x2, unsigned int coverage) {
                if (solid) {
                    uint32_t* const target = reinterpret_cast<uint32_t*>(rowData) + x1;
                    if (x2 - x1 == 1)
                        // The partly covered pixel at the end of an edge:
                        // too short to pay for the call.
                        SwBasicCompositeNormalOp::ComposePixel(target, fusedColor, coverage);
                    else if (x2 > x1)
                        SwBasicCompositeNormalOp::ComposeConstant(target, fusedColor, coverage, x2 - x1);
                } else {
                    RunFused(lock, y, x1, x2, coverage);
                }
            });
            return;
        }
    }
    _ForEachInterval(*buffer, bound, [&](int x1, int x2, unsigned int coverage) {
        p.x1 = x1;
        p.x2 = x2;
        p.coverage = static_cast<unsigned char>(coverage);
        FillSpan(p);
    });
}

}  // namespace Graphics
