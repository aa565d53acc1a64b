#pragma once

#include "sw/SwOperation.h"

namespace Graphics {

// Source over in Normal mode inside a layer. Besides the colour plane it
// keeps the group's shape (the union of the element shapes) and the group's
// own alpha. In a knockout group each element starts over from the group's
// backdrop and replaces, in proportion to its shape, what earlier elements
// left.
class SwLayerCompositeNormalOp : public SwOperation {
public:
    SwLayerCompositeNormalOp(bool knockout, bool isolated);
    void operator()(OperationContext& context) override;

    // The steps shared with SwLayerCompositeOp for the pixel i: the shape and
    // alpha planes take the element, and the new alpha byte of the colour
    // plane, the union of the backdrop's alpha and the group's, is returned.
    static uint32_t UpdateShapeAndAlpha(OperationContext& context, int i, uint32_t a, uint32_t s, bool knockout);

    // Leaves out pixels whose shape or alpha is 0, and spans that lack a
    // plane: a layer fill needs colour, shape, alpha and backdrop.
    static bool HasPlanes(const OperationContext& context);

protected:
    // The group's flags. Isolation is kept for completeness only: it lies in
    // the planes' start values and in the group's result, not in this step.
    bool knockout;
    bool isolated;
};

}  // namespace Graphics
