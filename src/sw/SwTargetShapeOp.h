#pragma once

#include "sw/SwOperation.h"

#include <memory>

namespace Graphics {

// Points the context's shape row at the span's first pixel. The plane is
// locked for writing as long as the operation lives, that is for the whole
// fill: a system-memory plane hands out the same pointer for reading.
class SwTargetShapeOp : public SwOperation {
public:
    explicit SwTargetShapeOp(std::shared_ptr<BitmapBase> bitmap);
    ~SwTargetShapeOp() override;
    void operator()(OperationContext& context) override;

private:
    std::shared_ptr<BitmapBase> bitmap;
    LockedData lock;
};

}  // namespace Graphics
