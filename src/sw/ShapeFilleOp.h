#pragma once

#include "sw/SwOperation.h"

namespace Graphics {

// Writes the span's coverage into the shape target and nothing else; this is
// how a clip's outline becomes a mask.
class ShapeFilleOp : public SwOperation {
public:
    ShapeFilleOp();
    void operator()(OperationContext& context) override;
};

}  // namespace Graphics
