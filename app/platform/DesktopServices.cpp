#include "platform/DesktopServices.h"

#include "core/Messages.h"

#include <QApplication>
#include <QClipboard>
#include <QDesktopServices>
#include <QFileDialog>
#include <QGuiApplication>
#include <QImageReader>
#include <QProcess>
#include <QStandardPaths>
#include <QWindow>

namespace lumora {

void DesktopUrlOpener::open(const QUrl& url) {
    if (url.isValid()) {
        QDesktopServices::openUrl(url);
    }
}

void SystemClipboard::setText(const QString& text) {
    QClipboard* clipboard = QGuiApplication::clipboard();
    clipboard->clear();
    clipboard->setText(text);
}

const QStringList& SystemTerminalLauncher::candidateNames() {
    static const QStringList names{
        QStringLiteral("x-terminal-emulator"),
        QStringLiteral("gnome-terminal"),
        QStringLiteral("konsole"),
        QStringLiteral("xfce4-terminal"),
        QStringLiteral("kitty"),
        QStringLiteral("alacritty"),
        QStringLiteral("xterm"),
    };
    return names;
}

std::optional<QString> SystemTerminalLauncher::chosenTerminal() {
    QStringList candidates;
    const QString preferred = qEnvironmentVariable("TERMINAL").trimmed();
    if (!preferred.isEmpty()) {
        candidates << preferred;
    }
    candidates << candidateNames();
    for (const QString& candidate : candidates) {
        const QString found = QStandardPaths::findExecutable(candidate);
        if (!found.isEmpty()) {
            return found;
        }
    }
    return std::nullopt;
}

bool SystemTerminalLauncher::start() {
    const auto terminal = chosenTerminal();
    return terminal && QProcess::startDetached(*terminal, {});
}

void FileDialogImageChooser::chooseImage(QWindow* over,
                                         std::function<void(const QString& path)> chosen) {
    if (qobject_cast<QApplication*>(QCoreApplication::instance()) == nullptr) {
        return;
    }
    auto* dialog = new QFileDialog(nullptr, shownMessage(title));
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setFileMode(QFileDialog::ExistingFile);
    dialog->setAcceptMode(QFileDialog::AcceptOpen);
    dialog->setLabelText(QFileDialog::Accept, shownMessage(acceptLabel));
    // One filter for every image format this system decodes, in either case (photo.JPG).
    QStringList patterns;
    for (const QByteArray& format : QImageReader::supportedImageFormats()) {
        const QString suffix = QString::fromLatin1(format);
        patterns << QStringLiteral("*.") + suffix << QStringLiteral("*.") + suffix.toUpper();
    }
    dialog->setNameFilter(QCoreApplication::translate("DesktopServices", "Images (%1)")
                              .arg(patterns.join(QLatin1Char(' '))));
    QObject::connect(dialog, &QFileDialog::fileSelected, dialog,
                     [chosen = std::move(chosen)](const QString& path) {
                         if (!path.isEmpty()) {
                             chosen(path);
                         }
                     });
    if (over != nullptr) {
        dialog->setWindowModality(Qt::WindowModal);
        dialog->winId(); // creates the native window so that it can be tied to `over`
        dialog->windowHandle()->setTransientParent(over);
    } else {
        dialog->setWindowModality(Qt::ApplicationModal);
        dialog->setWindowFlag(Qt::WindowStaysOnTopHint);
    }
    dialog->open();
    dialog->raise();
    dialog->activateWindow();
}

} // namespace lumora
