#pragma once

#include <QString>
#include <QStringList>

#include <memory>

QT_BEGIN_NAMESPACE
class QQmlEngine;
class QQuickWindow;
QT_END_NAMESPACE

namespace lumora::test {

// Records every warning and error Qt reports while it exists (QML's binding and type errors
// among them), so that a view test can fail on any. One at a time.
class WarningLog {
public:
    WarningLog();
    ~WarningLog();
    WarningLog(const WarningLog&) = delete;
    WarningLog& operator=(const WarningLog&) = delete;

    QStringList messages() const;
};

// A QML engine that finds the module `Lumora` (compiled into the test program).
std::unique_ptr<QQmlEngine> makeQmlEngine();

// Renders the window's current frame and saves it as PNG; returns whether that worked.
bool saveScreenshot(QQuickWindow& window, const QString& path);

} // namespace lumora::test
