#include "ViewTestSupport.h"

#include <QDir>
#include <QImage>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickWindow>
#include <QtQml/qqmlextensionplugin.h>

#include <gtest/gtest.h>

Q_IMPORT_QML_PLUGIN(LumoraPlugin)

namespace lumora::test {

std::unique_ptr<QQmlEngine> makeQmlEngine() {
    auto engine = std::make_unique<QQmlEngine>();
    engine->addImportPath(QStringLiteral("qrc:/qt/qml"));
    return engine;
}

bool saveScreenshot(QQuickWindow& window, const QString& path) {
    const QImage image = window.grabWindow();
    return !image.isNull() && image.save(path, "PNG");
}

QString screenshotFolder(const QString& kind) {
    const QString chosen = qEnvironmentVariable("LUMORA_SCREENSHOT_DIR");
    const QString path =
        chosen.isEmpty() ? QStringLiteral(LUMORA_TEST_BIN_DIR "/../screenshots/") + kind : chosen;
    QDir().mkpath(path);
    return QDir(path).absolutePath();
}

QQuickItem* findItem(QQuickItem* root, const QString& name) {
    if (root->objectName() == name) {
        return root;
    }
    for (QQuickItem* child : root->childItems()) {
        if (QQuickItem* found = findItem(child, name)) {
            return found;
        }
    }
    return nullptr;
}

} // namespace lumora::test
