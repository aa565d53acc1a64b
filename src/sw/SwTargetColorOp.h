#pragma once

#include "sw/SwOperation.h"

#include <memory>

namespace Graphics {

// Points the context's colour row at the span's first pixel, through the
// lock that the pipeline takes on the colour target for each span.
class SwTargetColorOp : public SwOperation {
public:
    explicit SwTargetColorOp(std::shared_ptr<BitmapBase> bitmap);
    void operator()(OperationContext& context) override;

private:
    std::shared_ptr<BitmapBase> bitmap;
};

}  // namespace Graphics
