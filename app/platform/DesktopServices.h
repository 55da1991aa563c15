#pragma once

#include <QString>
#include <QStringList>
#include <QUrl>

#include <functional>
#include <optional>

QT_BEGIN_NAMESPACE
class QWindow;
QT_END_NAMESPACE

namespace lumora {

// Small seams between the application model and the desktop. Each has the real implementation
// below and a fake in the tests; all are used on the main thread only.

// Opens a web page in the user's default browser; failures are silent.
class UrlOpener {
public:
    virtual ~UrlOpener() = default;
    virtual void open(const QUrl& url) = 0;
};

class DesktopUrlOpener : public UrlOpener {
public:
    void open(const QUrl& url) override;
};

// Puts plain text on the clipboard, replacing whatever was there.
class Clipboard {
public:
    virtual ~Clipboard() = default;
    virtual void setText(const QString& text) = 0;
};

class SystemClipboard : public Clipboard {
public:
    void setText(const QString& text) override;
};

// Opens a terminal window for the user to paste a command into.
class TerminalLauncher {
public:
    virtual ~TerminalLauncher() = default;
    // True when a terminal was started.
    virtual bool start() = 0;
};

// Starts the first terminal emulator found: $TERMINAL, then the Debian alternative, then the
// terminals of the common desktops.
class SystemTerminalLauncher : public TerminalLauncher {
public:
    static const QStringList& candidateNames();
    // The first candidate that names an executable: a name is looked up on PATH, a path is taken
    // as it is. Nothing when none exists.
    static std::optional<QString> chosenTerminal();

    bool start() override;
};

// Asks the user for one image file.
class ImageChooser {
public:
    virtual ~ImageChooser() = default;
    // `over` is the window the dialog belongs to, or nullptr for a free-standing dialog in front
    // of everything. `chosen` is called with the chosen file's path; never when the user cancels.
    virtual void chooseImage(QWindow* over, std::function<void(const QString& path)> chosen) = 0;
};

// The desktop's file dialog, through Qt Widgets. It needs a QApplication; under a plain
// QGuiApplication there is no dialog to show and nothing is chosen.
class FileDialogImageChooser : public ImageChooser {
public:
    // In English; shown through shownMessage.
    static inline const QString title =
        QStringLiteral(QT_TRANSLATE_NOOP("Messages", "Choose a Break Background"));
    static inline const QString acceptLabel =
        QStringLiteral(QT_TRANSLATE_NOOP("Messages", "Choose Photo"));

    void chooseImage(QWindow* over, std::function<void(const QString& path)> chosen) override;
};

// Where the views hook their windows in: the break screen and the settings window. Until they
// exist the model runs with NoWindows, which shows nothing.
class WindowPresentation {
public:
    virtual ~WindowPresentation() = default;
    virtual void showBreakWindow() = 0;
    virtual void showSettingsWindow() = 0;
    // The settings window while it is on screen (dialogs then open over it), else nullptr.
    virtual QWindow* visibleSettingsWindow() const = 0;
};

class NoWindows : public WindowPresentation {
public:
    void showBreakWindow() override {}
    void showSettingsWindow() override {}
    QWindow* visibleSettingsWindow() const override { return nullptr; }
};

} // namespace lumora
