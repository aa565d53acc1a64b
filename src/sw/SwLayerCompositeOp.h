#pragma once

#include "sw/SwOperation.h"

namespace Graphics {

// Any blend mode inside a layer. The planes are kept as in Normal mode; the
// colour goes through the blend function. The blended colour is weighted
// with the premultiplied source and then by the source's alpha once more,
// so a translucent source over a translucent base comes out darker than in
// SwBasicCompositeOp. That is this operation's own rounding, not a slip.
class SwLayerCompositeOp : public SwOperation {
public:
    SwLayerCompositeOp(bool knockout, bool isolated);
    void operator()(OperationContext& context) override;

protected:
    bool knockout;
    bool isolated;  // not read here; see SwLayerCompositeNormalOp
};

}  // namespace Graphics
