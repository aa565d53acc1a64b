#pragma once

#include "Graphics/Types.h"

namespace Graphics {

// Maps a pixel coordinate that may lie outside 0..size-1 back into the image,
// for a size of at least 1. The bodies are here so that the samplers' inner
// loops can inline them.
struct SwExtend {
    typedef int (*Proc)(int size, int coordinate);

    // Repeats the edge pixels.
    static int Clamp(int size, int coordinate) {
        if (coordinate < 1) return 0;
        return coordinate < size ? coordinate : size - 1;
    }

    // Tiles the image. The remainder takes the sign of the coordinate, as
    // the processor's division gives it, and is then moved up by one size.
    static int Wrap(int size, int coordinate) {
        const int r = coordinate % size;
        return r < 0 ? r + size : r;
    }

    // Tiles the image, every other copy flipped. This is not a reflection
    // about the edge: the last pixel repeats at the far edge (size 4: 3 and 4
    // both give 3) while around zero the first does not (-1 gives 1).
    static int Mirror(int size, int coordinate) {
        // The magnitude is taken unsigned so that the most negative
        // coordinate still lands inside the image.
        const unsigned a = coordinate < 0 ? 0u - static_cast<unsigned>(coordinate) : static_cast<unsigned>(coordinate);
        const unsigned s = static_cast<unsigned>(size);
        const unsigned q = a / s;
        const unsigned r = a % s;
        return static_cast<int>((q & 1u) ? s - 1u - r : r);
    }

    // Modes above Mirror select Clamp.
    static Proc SelectExtendProc(ExtendMode::Enum mode);
};

}  // namespace Graphics
