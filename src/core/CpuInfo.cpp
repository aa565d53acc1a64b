#include "core/CpuInfo.h"

namespace Graphics {

int CpuInfo::m_ProcessorsCount = 1;
bool CpuInfo::m_SSEAvailable = false;
bool CpuInfo::m_SSE2Available = false;

void CpuInfo::Initialize() {}

}  // namespace Graphics
