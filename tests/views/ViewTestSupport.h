#pragma once

#include "AppTestSupport.h"

#include <QString>
#include <QStringList>

#include <memory>

QT_BEGIN_NAMESPACE
class QQmlEngine;
class QQuickItem;
class QQuickWindow;
QT_END_NAMESPACE

namespace lumora::test {

// A QML engine that finds the module `Lumora` (compiled into the test program).
std::unique_ptr<QQmlEngine> makeQmlEngine();

// Renders the window's current frame and saves it as PNG; returns whether that worked.
bool saveScreenshot(QQuickWindow& window, const QString& path);
// Where the pictures of `kind` go to be looked at: $LUMORA_SCREENSHOT_DIR when it is set, else
// build/screenshots/<kind>. Made when missing.
QString screenshotFolder(const QString& kind);
// The item named `name` under `root` in the visual tree, which also holds the items a Repeater
// makes (they are no QObject children of the view); null when there is none.
QQuickItem* findItem(QQuickItem* root, const QString& name);

} // namespace lumora::test
