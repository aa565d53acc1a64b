#include "sw/SwExtend.h"

namespace Graphics {

SwExtend::Proc SwExtend::SelectExtendProc(ExtendMode::Enum mode) {
    switch (mode) {
        case ExtendMode::Wrap:
            return &SwExtend::Wrap;
        case ExtendMode::Mirror:
            return &SwExtend::Mirror;
        default:
            return &SwExtend::Clamp;
    }
}

}  // namespace Graphics
