#pragma once

#include "Graphics/Geometry.h"
#include "geometry/Shape.h"

namespace Graphics {

// What the library's own code reads of a Geometry beyond its interface.
struct GeometryAccess {
    static const Shape& GetShape(const Geometry& geometry) { return *geometry.shape; }
};

}  // namespace Graphics
