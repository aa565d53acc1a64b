#include "core/Bootstrapper.h"

#include "Graphics/Exception.h"
#include "Graphics/Runtime.h"
#include "core/CpuInfo.h"
#include "core/HwModule.h"

namespace Graphics {

RuntimeParameters g_RuntimeParameters;
Bootstrapper g_Bootstrapper;

Bootstrapper::Bootstrapper() = default;
Bootstrapper::~Bootstrapper() = default;

void Bootstrapper::DoStartup() {
    CpuInfo::Initialize();
    HwModule::Initialize();
    if (g_RuntimeParameters.mode == RuntimeMode::Hardware) {
        try {
            HwModule::Instance()->SetupHwRenderTargetFactory();
        } catch (const Exception&) {
            g_RuntimeParameters.mode = RuntimeMode::Software;
        }
    }
}

void Bootstrapper::DoShutdown() { HwModule::Terminate(); }

void Bootstrapper::Startup(const RuntimeParameters& requested, RuntimeParameters* actual) {
    std::lock_guard<std::mutex> lock(mutex);
    if (referenceCount < 1) {
        g_RuntimeParameters = requested;
        DoStartup();  // anything but Exception propagates, count unchanged
        referenceCount = 0;
    }
    if (actual) *actual = g_RuntimeParameters;
    ++referenceCount;
}

void Bootstrapper::Shutdown() {
    std::lock_guard<std::mutex> lock(mutex);
    const int before = referenceCount--;
    if (before == 1) DoShutdown();
}

void Startup(const RuntimeParameters& requested, RuntimeParameters* actual) {
    g_Bootstrapper.Startup(requested, actual);
}

void Shutdown() { g_Bootstrapper.Shutdown(); }

}  // namespace Graphics
