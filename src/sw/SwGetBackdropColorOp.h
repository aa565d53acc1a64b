#pragma once

#include "sw/SwOperation.h"

#include <memory>

namespace Graphics {

// Points the context's backdrop row at the span's first pixel. The backdrop
// is locked for reading as long as the operation lives.
class SwGetBackdropColorOp : public SwOperation {
public:
    explicit SwGetBackdropColorOp(std::shared_ptr<BitmapBase> bitmap);
    ~SwGetBackdropColorOp() override;
    void operator()(OperationContext& context) override;

private:
    std::shared_ptr<BitmapBase> bitmap;
    LockedData lock;
};

}  // namespace Graphics
