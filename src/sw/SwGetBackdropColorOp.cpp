#include "sw/SwGetBackdropColorOp.h"

#include <utility>

namespace Graphics {

SwGetBackdropColorOp::SwGetBackdropColorOp(std::shared_ptr<BitmapBase> b)
    : SwOperation(OperationStage::Backdrop), bitmap(std::move(b)) {
    if (bitmap) lock = bitmap->Lock(nullptr, LockMode::Read);
}

SwGetBackdropColorOp::~SwGetBackdropColorOp() {
    if (bitmap) bitmap->Unlock();
}

void SwGetBackdropColorOp::operator()(OperationContext& context) {
    const OperationContext::Params& p = *context.params;
    context.backdropColor = lock.data ? GetArgbValue(lock, p.x1, p.y) : nullptr;
}

}  // namespace Graphics
