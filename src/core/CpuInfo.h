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
};

}  // namespace Graphics
