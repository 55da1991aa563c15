#include "views/SceneGraph.h"

#include <QQuickWindow>
#include <QSGRendererInterface>

namespace lumora {

void chooseSceneGraph() {
    if (qEnvironmentVariableIsSet("QT_QUICK_BACKEND")) {
        return;
    }
    // Qt Quick's software scene graph. Its windows cost about a third of the memory of a window
    // drawn through the desktop's OpenGL driver (no driver, no GL context, no shader caches),
    // and the break screen's moving background is drawn on a worker thread as an image anyway,
    // which the software renderer only has to copy.
    QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
}

} // namespace lumora
