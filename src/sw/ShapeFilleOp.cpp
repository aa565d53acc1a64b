#include "sw/ShapeFilleOp.h"

#include <cstring>

namespace Graphics {

ShapeFilleOp::ShapeFilleOp() : SwOperation(OperationStage::Composite) {}

void ShapeFilleOp::operator()(OperationContext& context) {
    const OperationContext::Params& p = *context.params;
    if (context.targetShape && p.x2 > p.x1)
        std::memset(context.targetShape, p.coverage, static_cast<std::size_t>(p.x2 - p.x1));
}

}  // namespace Graphics
