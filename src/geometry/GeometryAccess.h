#pragma once

#include "Graphics/Geometry.h"
#include "geometry/Shape.h"

namespace Graphics {

// What the library's own code reads of a Geometry beyond its interface.
struct GeometryAccess {
    static const Shape& GetShape(const Geometry& geometry) { return *geometry.shape; }
    // Empties the geometry for reuse, keeping its storage; false (and
    // nothing done) where its shape is shared.
    static bool Reset(Geometry& geometry) {
        if (geometry.shape.use_count() != 1) return false;
        geometry.shape->Reset();
        return true;
    }
};

}  // namespace Graphics
