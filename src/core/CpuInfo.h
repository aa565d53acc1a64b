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

    // Whether this processor runs AVX2, asked once as the library loads; the
    // routines that use it are built for it alone and chosen at run time.
    // Inline, as spans ask it row by row. Asked before that (from another
    // static initializer) it says false, which only picks the portable
    // routes: they give the same pixels.
    static bool HasAvx2() { return m_HasAvx2; }

private:
    static const bool m_HasAvx2;
};

}  // namespace Graphics
