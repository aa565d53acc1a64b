#pragma once

#include "sw/SwOperation.h"

namespace Graphics {

// Source over in Normal mode, four pixels at a time without tests for zero.
// Its four-pixel step scales the target by 256 - a where the plain operation
// uses 255 - a, and adds bytewise without carries, so the two do not give
// the same pixels. It is chosen only where the processor facts announce
// SSE2, which this version never does.
class SwBasicCompositeNormalSSE2Op : public SwOperation {
public:
    SwBasicCompositeNormalSSE2Op();
    void operator()(OperationContext& context) override;

    // Pixels index to index + 3 of the span.
    static void Compose4x_SSE2(OperationContext& context, int index);
    // One pixel, exactly as SwBasicCompositeNormalOp does it.
    static void Compose_Native(OperationContext& context, int index);
};

}  // namespace Graphics
