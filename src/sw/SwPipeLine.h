#pragma once

#include "Graphics/Bitmap.h"
#include "Graphics/Geometry.h"
#include "Graphics/Rasterizer.h"
#include "Graphics/Types.h"
#include "sw/SwBasicCompositeNormalOp.h"
#include "sw/SwOperation.h"
#include "sw/SwSourceColorOp.h"
#include "sw/SwSourceShapeOp.h"
#include "sw/SwTargetColorOp.h"

#include <boost/container/small_vector.hpp>

#include <memory>
#include <optional>
#include <vector>

namespace Graphics {

class SwColorSource;

// Turns one geometry into pixels: configured for one fill, handed to the
// rasterizer as its sink, and thrown away. For every span that the
// rasterizer delivers it runs its operations over that span, stage by stage.
// The unit of work is one run of pixels on one row with one coverage value;
// the two scratch rows hold one full row of the constructor's rectangle and
// are the only allocations of the span loop. They share one block, taken
// when a span first needs them (a solid fill that runs fused needs neither)
// from the one that the thread's last pipeline left behind, where it is
// large enough.
//
// It may live on the stack: the rasterizer only borrows it for Execute.
class SwPipeLine : public RasterizationSink {
public:
    typedef OperationContext::Params Params;
    // A block of scratch words, and how many; the thread keeps the last
    // pipeline's for the next.
    struct ScratchBlock {
        std::unique_ptr<uint32_t[]> words;
        std::size_t count = 0;
    };

    SwPipeLine(std::shared_ptr<Geometry> geometry, const Rect<int>& rectangle);
    ~SwPipeLine() override;

    void AddCoverage(int y, std::shared_ptr<CoverageBuffer> buffer) override;
    void AddCoverageRows(int y, int count, std::shared_ptr<CoverageBuffer> buffer) override;
    void AddRectangle(int left, int top, int right, int bottom) override;
    bool CanAcceptTrapezoids() const override { return false; }
    void AddTrapezoid(float, float, float, float, float, float, float, float) override {}

    // Rasterizes the geometry into the operations.
    virtual void Execute();

    // Configuration, before Execute.
    void SetTransform2D(const Matrix& matrix) { transform = matrix; }
    void SetBlendMode(BlendMode::Enum mode);
    void SetAdjustRectangles(bool adjust) { adjustRectangles = adjust; }
    void SetColorTarget(std::shared_ptr<BitmapBase> bitmap);
    void SetShapeTarget(std::shared_ptr<BitmapBase> bitmap);
    void SetAlphaTarget(std::shared_ptr<BitmapBase> bitmap);
    void SetBackdropColor(std::shared_ptr<BitmapBase> bitmap);
    void SetColorSource(std::shared_ptr<SwColorSource> source);
    void AddShapeFiller();
    void SetBasicComposite();
    void SetLayerComposite(bool knockout, bool isolated);

    // Adds an operation behind all others of its stage. The masks and the
    // clip enter the pipeline this way.
    void AddOperation(std::shared_ptr<SwOperation> operation);
    // Narrows where spans may go; a rectangle that misses the bound leaves
    // (0, 0, 0, 0).
    void IntersectBound(const Rect<int>& rectangle);

    // Runs the operations over one span, locking the colour target around
    // them.
    void FillSpan(const Params& params);

    const Rect<int>& GetBound() const { return bound; }
    BlendMode::Enum GetBlendMode() const { return blendMode; }
    std::size_t GetOperationCount() const { return operations.size(); }
    // The operations in the order in which they run.
    std::vector<SwOperation*> GetOperations() const;

private:
    bool IsWholePixelRectangle(Rect<int>* rect) const;
    // The operation lists that the pipeline runs in one fused step rather
    // than operation by operation. Both are the plain Normal fill: colour
    // target, coverage row, colour source, Normal composite, and nothing
    // else. With a solid source the colour row is not needed either.
    enum class Fused { None, Uniform, Solid };

    // Locks the colour target for as long as it lives, if there is one.
    class TargetLock;
    // Holds a lock taken once for a row of intervals.
    class RowLock;

    void RunOperations();
    // The operation in its slot inside the pipeline, when the slot is still
    // free, and on the heap otherwise. A fill then needs no allocation for
    // the operations of a plain fill.
    template <class Op, class... Args>
    std::shared_ptr<SwOperation> MakeOperation(std::optional<Op>& slot, Args&&... args);
    // Makes the scratch rows, once: cleared, unless the caller writes every
    // word it reads (the fused steps).
    void EnsureScratch(bool zeroed = true);
    // Works out whether the operation list is one that runs fused.
    void ClassifyOperations();
    // What RunOperations does for one span, in one step, while the colour
    // target is locked.
    void RunFused(const LockedData& lock, int y, int x1, int x2, unsigned int coverage);
    // An interval of a row, x2 above x1, and its coverage.
    struct FusedInterval {
        int x1, x2;
        unsigned int coverage;
    };
    // Rows y1 .. y2 - 1 that share their intervals (sorted by x), under a
    // uniform fused step: interval by interval, the source asked for several
    // rows at once. False, having done nothing, where it cannot give the
    // first ones so.
    bool RunFusedBlocks(const LockedData& lock, int y1, int y2, const FusedInterval* intervals, std::size_t n);
    // Where the pixels of a plain colour target are.
    LockedData PlainLock();
    // Keeps spans inside a plane that is smaller than the rectangle, and off
    // a plane whose pixels are too small for the operation that reads it.
    void FitBoundTo(const BitmapBase& bitmap, int bytesPerPixel);

    SwPipeLine(const SwPipeLine&) = delete;
    SwPipeLine& operator=(const SwPipeLine&) = delete;

    OperationContext context;
    Params params;
    Rect<int> bound;
    Point<int> origin;
    Matrix transform;
    bool adjustRectangles = false;
    BlendMode::Enum blendMode = BlendMode::Normal;
    std::shared_ptr<Geometry> geometry;
    std::optional<SwTargetColorOp> targetColorSlot;
    std::optional<SwSourceShapeOp> sourceShapeSlot;
    std::optional<SwSourceColorOp> sourceColorSlot;
    std::optional<SwBasicCompositeNormalOp> compositeSlot;
    // Ordered by stage, ascending; within a stage in the order of arrival.
    // Those in the slots above are held without ownership.
    // Room for the longest usual list in place, so that a fill makes no
    // allocation for it.
    boost::container::small_vector<std::shared_ptr<SwOperation>, 8> operations;
    Fused fused = Fused::None;
    SwColorSource* fusedSource = nullptr;
    uint32_t fusedColor = 0;
    std::shared_ptr<BitmapBase> colorTarget;
    // The colour target is exactly a system-memory bitmap.
    bool plainTarget = false;
    // Where its pixels are, once the first row of a fill asked.
    LockedData plainLock;
    std::shared_ptr<BitmapBase> shapeTarget;
    std::shared_ptr<BitmapBase> alphaTarget;
    std::shared_ptr<BitmapBase> backdrop;
    int scratchWidth = 1;
    // The colour row, followed by the shape row; the block may be larger
    // than they need.
    ScratchBlock scratch;
    bool scratchZeroed = false;
    unsigned char* sourceShape = nullptr;
    uint32_t* sourceColor = nullptr;
};

}  // namespace Graphics
