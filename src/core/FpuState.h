#pragma once

namespace Graphics {

// Marks a numeric region (rasterizing, running a pipeline, building a filter).
// The floating-point environment needs no change on this platform, so the
// guard carries no state.
class FpuState {
public:
    FpuState() {}
    ~FpuState() {}
    FpuState(const FpuState&) = delete;
    FpuState& operator=(const FpuState&) = delete;
};

}  // namespace Graphics
