#include "core/CpuInfo.h"

namespace Graphics {

int CpuInfo::m_ProcessorsCount = 1;
bool CpuInfo::m_SSEAvailable = false;
bool CpuInfo::m_SSE2Available = false;

void CpuInfo::Initialize() {}

bool CpuInfo::HasAvx2() {
#if defined(__GNUC__) && defined(__x86_64__)
    static const bool has = __builtin_cpu_supports("avx2") != 0;
    return has;
#else
    return false;
#endif
}

}  // namespace Graphics
