#include "sw/SwPipeLine.h"

#include "core/CpuInfo.h"
#include "core/FpuState.h"
#include "sw/ShapeFilleOp.h"
#include "sw/SwBasicCompositeNormalOp.h"
#include "sw/SwBasicCompositeNormalSSE2Op.h"
#include "sw/SwBasicCompositeOp.h"
#include "sw/SwGetBackdropColorOp.h"
#include "sw/SwLayerCompositeNormalOp.h"
#include "sw/SwLayerCompositeOp.h"
#include "sw/SwSourceColorOp.h"
#include "sw/SwSourceShapeOp.h"
#include "sw/SwTargetAlphaOp.h"
#include "sw/SwTargetColorOp.h"
#include "sw/SwTargetShapeOp.h"

#include <algorithm>
#include <utility>

namespace Graphics {

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

SwPipeLine::SwPipeLine(std::shared_ptr<Geometry> g, const Rect<int>& rectangle)
    : origin(rectangle.left, rectangle.top), geometry(std::move(g)) {
    const int width = std::max(rectangle.Width(), 0);
    const int height = std::max(rectangle.Height(), 0);
    bound = Rect<int>(0, 0, width, height);
    // At least one element each, so that the row pointers are never null.
    sourceShape = new unsigned char[static_cast<std::size_t>(std::max(width, 1))]();
    sourceColor = new uint32_t[static_cast<std::size_t>(std::max(width, 1))]();
    context.sourceShape = sourceShape;
    context.sourceColor = sourceColor;
    context.blendFunction = SwBlend::GetBlendFunc(blendMode);
    context.params = &params;
}

SwPipeLine::~SwPipeLine() {
    // The operations go first: some of them hold locks on the planes.
    sequence.clear();
    operations.clear();
    delete[] sourceShape;
    delete[] sourceColor;
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
    colorTarget = bitmap;
    AddOperation(std::make_shared<SwTargetColorOp>(std::move(bitmap)));
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
    AddOperation(std::make_shared<SwSourceColorOp>(std::move(source)));
}

void SwPipeLine::AddShapeFiller() { AddOperation(std::make_shared<ShapeFilleOp>()); }

void SwPipeLine::SetBasicComposite() {
    AddOperation(std::make_shared<SwSourceShapeOp>());
    if (blendMode != BlendMode::Normal)
        AddOperation(std::make_shared<SwBasicCompositeOp>());
    else if (CpuInfo::m_SSE2Available)
        AddOperation(std::make_shared<SwBasicCompositeNormalSSE2Op>());
    else
        AddOperation(std::make_shared<SwBasicCompositeNormalOp>());
}

void SwPipeLine::SetLayerComposite(bool knockout, bool isolated) {
    AddOperation(std::make_shared<SwSourceShapeOp>());
    if (blendMode != BlendMode::Normal)
        AddOperation(std::make_shared<SwLayerCompositeOp>(knockout, isolated));
    else
        AddOperation(std::make_shared<SwLayerCompositeNormalOp>(knockout, isolated));
}

void SwPipeLine::AddOperation(std::shared_ptr<SwOperation> operation) {
    // A multiset puts an element behind the others that compare equal, so
    // operations of one stage keep the order of their arrival.
    if (!operation) return;
    operations.insert(std::move(operation));
    sequence.clear();
    for (const std::shared_ptr<SwOperation>& op : operations) sequence.push_back(op.get());
}

std::vector<SwOperation*> SwPipeLine::GetOperations() const { return sequence; }

void SwPipeLine::Execute() {
    if (!geometry) return;
    FpuState fpuState;
    const Rect<float> clip(static_cast<float>(bound.left), static_cast<float>(bound.top),
                           static_cast<float>(bound.right), static_cast<float>(bound.bottom));
    RasterizeGeometry(geometry, transform, clip, adjustRectangles, shared_from_this());
}

void SwPipeLine::RunOperations() {
    for (SwOperation* op : sequence) (*op)(context);
}

void SwPipeLine::FillSpan(const Params& p) {
    params = p;
    TargetLock lock(*this);
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
    for (int y = std::max(top, bound.top); y < y2; ++y) {
        params.y = y;
        RunOperations();
    }
}

void SwPipeLine::AddCoverage(int y, std::shared_ptr<CoverageBuffer> buffer) {
    if (y < bound.top || y >= bound.bottom || !buffer) return;
    Params p;
    p.y = y;
    for (const CoverageBuffer::Span* node = buffer->GetHead(); node->next && node->x != 0x7FFFFFFF;
         node = node->next) {
        const int count = node->coverage;
        if (count == 0) continue;
        const int next = node->next->x;
        if (node->x >= bound.right || next <= bound.left) continue;
        p.x1 = std::max(node->x, bound.left);
        p.x2 = std::min(next, bound.right);
        // The rasterizer's full count of 64 comes out as 255.
        p.coverage = static_cast<unsigned char>(count * 4 - 1);
        FillSpan(p);
    }
}

}  // namespace Graphics
