#include "Graphics/Gradient.h"

namespace Graphics {

TriMeshGradient::TriMeshGradient(const Vertex* vertices, unsigned long count) {
    // A null array is taken as an empty strip rather than read.
    if (vertices != nullptr && count > 0) m_Vertices.assign(vertices, vertices + count);
}

int TriMeshGradient::GetType() const { return 2; }

}  // namespace Graphics
