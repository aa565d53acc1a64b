#include "sw/SwTargetShapeOp.h"

#include <utility>

namespace Graphics {

SwTargetShapeOp::SwTargetShapeOp(std::shared_ptr<BitmapBase> b)
    : SwOperation(OperationStage::Prepare), bitmap(std::move(b)) {
    if (bitmap) lock = bitmap->Lock(nullptr, LockMode::Write);
}

SwTargetShapeOp::~SwTargetShapeOp() {
    if (bitmap) bitmap->Unlock();
}

void SwTargetShapeOp::operator()(OperationContext& context) {
    const OperationContext::Params& p = *context.params;
    context.targetShape = lock.data ? GetValue(lock, 1, p.x1, p.y) : nullptr;
}

}  // namespace Graphics
