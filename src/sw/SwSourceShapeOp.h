#pragma once

#include "sw/SwOperation.h"

namespace Graphics {

// Starts the shape row: every pixel of the span takes the span's coverage.
class SwSourceShapeOp : public SwOperation {
public:
    SwSourceShapeOp();
    void operator()(OperationContext& context) override;
};

}  // namespace Graphics
