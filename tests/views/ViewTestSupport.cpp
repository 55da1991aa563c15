#include "ViewTestSupport.h"

#include <QImage>
#include <QMutex>
#include <QQmlEngine>
#include <QQuickWindow>
#include <QtQml/qqmlextensionplugin.h>

#include <gtest/gtest.h>

Q_IMPORT_QML_PLUGIN(LumoraPlugin)

namespace lumora::test {
namespace {

QMutex logMutex;
QStringList logged;
QtMessageHandler previousHandler = nullptr;

void recordMessage(QtMsgType type, const QMessageLogContext& context, const QString& message) {
    if (type != QtDebugMsg && type != QtInfoMsg) {
        QMutexLocker locker(&logMutex);
        logged.append(message);
    }
    if (previousHandler) {
        previousHandler(type, context, message);
    }
}

} // namespace

WarningLog::WarningLog() {
    QMutexLocker locker(&logMutex);
    logged.clear();
    previousHandler = qInstallMessageHandler(recordMessage);
}

WarningLog::~WarningLog() {
    qInstallMessageHandler(previousHandler);
    previousHandler = nullptr;
}

QStringList WarningLog::messages() const {
    QMutexLocker locker(&logMutex);
    return logged;
}

std::unique_ptr<QQmlEngine> makeQmlEngine() {
    auto engine = std::make_unique<QQmlEngine>();
    engine->addImportPath(QStringLiteral("qrc:/qt/qml"));
    return engine;
}

bool saveScreenshot(QQuickWindow& window, const QString& path) {
    const QImage image = window.grabWindow();
    return !image.isNull() && image.save(path, "PNG");
}

} // namespace lumora::test
