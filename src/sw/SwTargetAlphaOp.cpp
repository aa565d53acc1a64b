#include "sw/SwTargetAlphaOp.h"

#include <utility>

namespace Graphics {

SwTargetAlphaOp::SwTargetAlphaOp(std::shared_ptr<BitmapBase> b)
    : SwOperation(OperationStage::Prepare), bitmap(std::move(b)) {
    if (bitmap) lock = bitmap->Lock(nullptr, LockMode::Write);
}

SwTargetAlphaOp::~SwTargetAlphaOp() {
    if (bitmap) bitmap->Unlock();
}

void SwTargetAlphaOp::operator()(OperationContext& context) {
    const OperationContext::Params& p = *context.params;
    context.targetAlpha = lock.data ? GetValue(lock, 1, p.x1, p.y) : nullptr;
}

}  // namespace Graphics
