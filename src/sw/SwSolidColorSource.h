#pragma once

#include <memory>

#include "sw/SwColorSource.h"

namespace Graphics {

class SolidBrush;

// One premultiplied colour, the brush's opacity included, for every pixel.
class SwSolidColorSource : public SwColorSource {
public:
    explicit SwSolidColorSource(std::shared_ptr<SolidBrush> brush);

    void FillSpan(int x0, int x1, int y, unsigned char* destination) override;

    unsigned int GetColor() const { return m_Color; }  // ARGB8p

private:
    unsigned int m_Color = 0;
};

}  // namespace Graphics
