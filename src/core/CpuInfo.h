#pragma once

namespace Graphics {

// Processor facts. Initialize leaves the portable defaults in place: every
// choice that tests m_SSE2Available takes its portable branch.
class CpuInfo {
public:
    static void Initialize();

    static int m_ProcessorsCount;
    static bool m_SSEAvailable;
    static bool m_SSE2Available;

    // Whether this processor runs AVX2, asked once; the routines that use it
    // are built for it alone and chosen at run time.
    static bool HasAvx2();
};

}  // namespace Graphics
