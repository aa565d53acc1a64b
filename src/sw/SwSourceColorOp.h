#pragma once

#include "sw/SwOperation.h"

#include <memory>

namespace Graphics {

class SwColorSource;

// Asks the colour source for the span's premultiplied colours, into the
// scratch colour row.
class SwSourceColorOp : public SwOperation {
public:
    explicit SwSourceColorOp(std::shared_ptr<SwColorSource> source);
    void operator()(OperationContext& context) override;

    SwColorSource* GetSource() const { return source.get(); }

private:
    std::shared_ptr<SwColorSource> source;
};

}  // namespace Graphics
