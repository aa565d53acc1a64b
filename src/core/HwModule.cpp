#include "core/HwModule.h"

#include "core/Failure.h"

namespace Graphics {

HwModule* HwModule::m_Instance = nullptr;

void HwModule::Initialize() {
    if (!m_Instance) m_Instance = new HwModule();
}

HwModule* HwModule::Instance() { return m_Instance; }

void HwModule::Terminate() {
    delete m_Instance;
    m_Instance = nullptr;
}

void HwModule::SetupHwRenderTargetFactory() {
    // There is no OpenGL back end yet: the hardware mode is refused and
    // Startup falls back to the software compositor.
    GRAPHICS_FAIL("Not implemented");
}

}  // namespace Graphics
