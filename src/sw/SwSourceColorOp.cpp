#include "sw/SwSourceColorOp.h"

#include "sw/SwColorSource.h"

#include <cstring>
#include <utility>

namespace Graphics {

SwSourceColorOp::SwSourceColorOp(std::shared_ptr<SwColorSource> s)
    : SwOperation(OperationStage::SourceColor), source(std::move(s)) {}

void SwSourceColorOp::operator()(OperationContext& context) {
    const OperationContext::Params& p = *context.params;
    if (p.x2 <= p.x1) return;
    if (source) {
        source->FillSpan(p.x1, p.x2, p.y, reinterpret_cast<unsigned char*>(context.sourceColor));
    } else {
        // Without a source there is nothing to paint: transparent black
        // leaves every target alone.
        std::memset(context.sourceColor, 0, static_cast<std::size_t>(p.x2 - p.x1) * 4);
    }
}

}  // namespace Graphics
