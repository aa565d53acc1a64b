#pragma once

#include <memory>

#include "Graphics/Types.h"
#include "sw/RadialGradientFiller.h"
#include "sw/SwColorSource.h"

namespace Graphics {

class GradientBrush;

// Paints a two-circle gradient through a RadialGradientFiller, which does
// the per-pixel work.
class SwRadialGradientColorSource : public SwColorSource {
public:
    SwRadialGradientColorSource(std::shared_ptr<GradientBrush> brush, const Matrix& placement);

    void FillSpan(int x0, int x1, int y, unsigned char* destination) override;

    const RadialGradientFiller& GetFiller() const { return *m_Filler; }

private:
    std::shared_ptr<RadialGradientFiller> m_Filler;
};

}  // namespace Graphics
