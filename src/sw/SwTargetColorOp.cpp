#include "sw/SwTargetColorOp.h"

#include <utility>

namespace Graphics {

SwTargetColorOp::SwTargetColorOp(std::shared_ptr<BitmapBase> b)
    : SwOperation(OperationStage::Prepare), bitmap(std::move(b)) {}

void SwTargetColorOp::operator()(OperationContext& context) {
    const OperationContext::Params& p = *context.params;
    context.targetColor = context.targetLock.data ? GetArgbValue(context.targetLock, p.x1, p.y) : nullptr;
}

}  // namespace Graphics
