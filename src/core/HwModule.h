#pragma once

namespace Graphics {

// The process's hardware module: owner of the OpenGL render target factory.
class HwModule {
public:
    static void Initialize();
    static HwModule* Instance();
    static void Terminate();

    // Raises Exception when no hardware factory can be made.
    void SetupHwRenderTargetFactory();

private:
    HwModule() = default;
    static HwModule* m_Instance;
};

}  // namespace Graphics
