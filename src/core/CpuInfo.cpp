#include "core/CpuInfo.h"

namespace Graphics {

int CpuInfo::m_ProcessorsCount = 1;
bool CpuInfo::m_SSEAvailable = false;
bool CpuInfo::m_SSE2Available = false;

void CpuInfo::Initialize() {}

namespace {

bool _DetectAvx2() {
#if defined(__GNUC__) && defined(__x86_64__)
    // Run from a static initializer, which may come before the compiler's
    // own processor detection: ask for that first.
    __builtin_cpu_init();
    return __builtin_cpu_supports("avx2") != 0;
#else
    return false;
#endif
}

}  // namespace

const bool CpuInfo::m_HasAvx2 = _DetectAvx2();

}  // namespace Graphics
