#pragma once

#include "Graphics/Types.h"

#include <memory>

namespace Graphics {

// The clip of one state of a software sub-target. A clip to which nothing has
// been added lets everything through. Copies are deep, so that a clip added
// after PushState goes away again at PopState.
class SwClipping {
public:
    SwClipping(const Size<int>& size, float dpiX, float dpiY);
    SwClipping(const SwClipping& other);
    SwClipping& operator=(const SwClipping&) = delete;

    std::shared_ptr<SwClipping> Clone() const;

    const Size<int>& GetSize() const { return size; }
    float GetDpiX() const { return dpiX; }
    float GetDpiY() const { return dpiY; }

private:
    Size<int> size;
    float dpiX;
    float dpiY;
};

}  // namespace Graphics
