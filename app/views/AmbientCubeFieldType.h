#pragma once

#include "cubefield/AmbientCubeField.h"

#include <QtQml/qqmlregistration.h>

namespace lumora {

// The cube field item, which knows nothing of QML, as the element AmbientCubeField of the module
// Lumora.
struct AmbientCubeFieldType {
    Q_GADGET
    QML_FOREIGN(lumora::AmbientCubeField)
    QML_NAMED_ELEMENT(AmbientCubeField)
};

} // namespace lumora
