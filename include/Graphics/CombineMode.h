#pragma once

namespace Graphics {

// Set operations shared by geometry combination and integer regions, with A
// the object asked and B the other operand. The numbers are part of the
// interface.
struct CombineMode {
    enum Enum : int {
        Intersect = 0,   // A and B
        Union = 1,       // A or B
        Difference = 2,  // A or B but not both: the symmetric difference
        Exclude = 3,     // A without B
        Complement = 4   // B without A
    };
};

}  // namespace Graphics
