#include "sw/SwSourceShapeOp.h"

#include <cstring>

namespace Graphics {

SwSourceShapeOp::SwSourceShapeOp() : SwOperation(OperationStage::Prepare) {}

void SwSourceShapeOp::operator()(OperationContext& context) {
    const OperationContext::Params& p = *context.params;
    if (p.x2 > p.x1) std::memset(context.sourceShape, p.coverage, static_cast<std::size_t>(p.x2 - p.x1));
}

}  // namespace Graphics
