#pragma once

#include "sw/SwOperation.h"

namespace Graphics {

// Source over a plain target through the context's blend function, for
// every mode but Normal: the premultiplied form of
// (1 - as) * ab * Cb + (1 - ab) * as * Cs + ab * as * B(Cb, Cs).
class SwBasicCompositeOp : public SwOperation {
public:
    SwBasicCompositeOp();
    void operator()(OperationContext& context) override;

    // One pixel: colour word w under shape byte s over the target word.
    static void ComposePixel(OperationContext& context, uint32_t* target, uint32_t w, unsigned int s);
};

}  // namespace Graphics
