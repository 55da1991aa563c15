#include "AppTestSupport.h"
#include "platform/Autostart.h"

#include <QClipboard>
#include <QDir>
#include <QGuiApplication>
#include <QImage>
#include <QStandardPaths>

#include <gtest/gtest.h>

#include <unistd.h>

using namespace lumora;
using namespace lumora::test;

// Terminals are found on PATH (here a folder of fake ones that leave a mark when started), with
// $TERMINAL first, then the system's default, then the usual list.
TEST(TerminalLauncher, StartsTheUsersThenTheSystemsThenTheFirstUsualTerminal) {
    TemporaryHome home;
    const QString bin = home.filePath("bin");
    const QString mark = home.filePath("started");
    const QByteArray path = qgetenv("PATH");
    qputenv("PATH", bin.toLocal8Bit());
    qunsetenv("TERMINAL");
    const auto install = [&](const QString& name) {
        writeScript(bin + "/" + name, "echo " + name.toUtf8() + " > '" + mark.toUtf8() + "'\n");
    };
    const auto started = [&] {
        QFile::remove(mark);
        EXPECT_TRUE(SystemTerminalLauncher().start());
        waitUntil([&] { return QFile::exists(mark) && !readFile(mark).isEmpty(); },
                  std::chrono::seconds(5));
        return QString::fromUtf8(readFile(mark)).trimmed();
    };
    writeFile(bin + "/kitty", "not executable");
    EXPECT_FALSE(SystemTerminalLauncher::chosenTerminal() || SystemTerminalLauncher().start());
    for (const char* name : {"xterm", "konsole", "gnome-terminal", "wezterm"}) {
        install(name);
    }
    EXPECT_EQ(started(), "gnome-terminal");
    qputenv("TERMINAL", "wezterm");
    EXPECT_EQ(started(), "wezterm");
    qputenv("TERMINAL", (bin + "/wezterm").toLocal8Bit());
    EXPECT_EQ(SystemTerminalLauncher::chosenTerminal(), bin + "/wezterm");
    qputenv("TERMINAL", "no-such-terminal");
    EXPECT_EQ(SystemTerminalLauncher::chosenTerminal(), bin + "/gnome-terminal");
    install("x-terminal-emulator");
    EXPECT_EQ(SystemTerminalLauncher::chosenTerminal(), bin + "/x-terminal-emulator");
    qunsetenv("TERMINAL");
    qputenv("PATH", path);
    QGuiApplication::clipboard()->setText("something the user copied");
    SystemClipboard().setText("codex login");
    EXPECT_EQ(QGuiApplication::clipboard()->text(), "codex login");
}

// On writes a valid entry (desktop-file-validate, where installed) for this very executable in one
// piece, off removes it, the state is read from the file as the user left it, and a folder that
// cannot be written gives a message and changes nothing.
TEST(AutostartTest, OnOffAndTheStateAsTheUserLeftIt) {
    TemporaryHome home;
    const QString path = home.filePath(".config/autostart/lumora.desktop");
    const QString validator = QStandardPaths::findExecutable("desktop-file-validate");
    // An installation path that needs every kind of quoting an Exec line has.
    const AutostartEntry entry(std::nullopt, home.filePath("my apps/100% \"lumora\" $HOME\\bin/l"));
    EXPECT_EQ(entry.entryPath(), path);
    for (int round = 0; round < 2; ++round) {
        EXPECT_FALSE(entry.isEnabled() || entry.setEnabled(true));
        EXPECT_TRUE(entry.isEnabled());
        const QString content = QString::fromUtf8(readFile(path));
        EXPECT_TRUE(content.startsWith("[Desktop Entry]\nType=Application\nName=Lumora\n"));
        EXPECT_TRUE(content.contains(QStringLiteral("\nExec=\"%1/my apps/100%% \\\\\"lumora\\\\\" "
                                                    "\\\\$HOME\\\\\\\\bin/l\"\n")
                                         .arg(home.path())))
            << content.toStdString();
        EXPECT_TRUE(content.contains("\nTryExec=" + home.path() +
                                     "/my apps/100% \"lumora\" $HOME\\\\bin/l\n"));
        if (!validator.isEmpty()) {
            const CommandOutcome v = runProgram(validator, {path});
            EXPECT_EQ(QString::number(v.exitCode) + v.out + v.err, "0") << "desktop-file-validate";
        }
        EXPECT_EQ(QDir(QFileInfo(path).path()).entryList(QDir::Files),
                  QStringList{"lumora.desktop"});
        // Off, and off again when already off.
        EXPECT_FALSE(entry.setEnabled(false) || QFile::exists(path) || entry.setEnabled(false));
    }
    EXPECT_EQ(AutostartEntry::execArgument("/usr/bin/lumora"), "/usr/bin/lumora");
    qputenv("XDG_CONFIG_HOME", home.filePath("elsewhere").toLocal8Bit());
    EXPECT_EQ(AutostartEntry::defaultEntryPath(home.path()),
              home.filePath("elsewhere/autostart/lumora.desktop"));
    qputenv("XDG_CONFIG_HOME", "relative/config"); // not absolute: ignored
    EXPECT_EQ(AutostartEntry::defaultEntryPath(home.path()), path);

    const QByteArray header = "[Desktop Entry]\nType=Application\nName=Lumora\nExec=lumora\n";
    const std::pair<QByteArray, bool> cases[] = {
        {header, true},
        {header + "Hidden=true\n", false},
        {header + "Hidden = true\n", false},
        {header + "Hidden=false\n", true},
        {header + "X-GNOME-Autostart-enabled=false\n", false},
        {header + "X-GNOME-Autostart-enabled=true\n", true},
        {header + "[Desktop Action quit]\nHidden=true\n", true}, // only the entry's own group
        {"# Hidden=true\n" + header, true},
        {QByteArray(200 * 1024, 'x'), false},
        {header + "Hidden=true\n", false}, // then switched on: the entry is replaced
    };
    for (const auto& [content, enabled] : cases) {
        writeFile(path, content);
        EXPECT_EQ(entry.isEnabled(), enabled) << content.left(200).toStdString();
    }
    EXPECT_FALSE(entry.setEnabled(true) || readFile(path).contains("Hidden"));
    QFile::remove(path);
    QDir().mkpath(path); // a folder where the file should be is no entry
    EXPECT_FALSE(entry.isEnabled());

    // A file named like the folder: no user can create the entry inside it.
    const QString folder = home.filePath(".config/autostart");
    QDir(folder).removeRecursively();
    writeFile(folder, "not a folder");
    const auto message = entry.setEnabled(true);
    EXPECT_TRUE(message && message->startsWith("Lumora could not be set to start at login. ") &&
                message->contains(folder) && !entry.isEnabled());
    EXPECT_EQ(readFile(folder), "not a folder");
    // A read-only folder (the superuser writes into it regardless, so only checked for others).
    QFile::remove(folder);
    ASSERT_EQ(entry.setEnabled(true), std::nullopt);
    QFile::setPermissions(folder, QFileDevice::ReadOwner | QFileDevice::ExeOwner);
    if (::geteuid() != 0) {
        const auto off = entry.setEnabled(false);
        EXPECT_TRUE(off && off->startsWith("Lumora could not be kept from starting at login. "));
        // Rewriting needs the folder too.
        EXPECT_TRUE(entry.setEnabled(true) && entry.isEnabled());
    }
    QFile::setPermissions(folder, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
}

// An imported PNG or JPEG is kept byte for byte and selects the photo style; anything else is
// refused with a message and changes nothing; removing it falls back only from the photo style.
TEST(BreakBackgroundPhotoTest, ImportRefuseAndRemove) {
    ModelHarness h;
    const auto model = h.makeModel();
    BreakBackgroundPhoto& photo = *model->photo();
    AppPreferences& prefs = *model->preferences();
    const QString stored = h.data("break-background-image");
    const QString good = h.home.filePath("beach.png");
    const QString unusable = "That photo could not be used. Please choose another image.";
    for (const auto& [name, format, size] : {std::tuple{"forest.jpg", "JPEG", QSize(40, 30)},
                                             std::tuple{"beach.png", "PNG", QSize(8, 8)}}) {
        QImage image(size, QImage::Format_RGB32); // recognisable by its size
        image.fill(QColor(30, 120, 200));
        ASSERT_TRUE(image.save(h.home.filePath(name), format));
        prefs.setBreakScreenStyle(BreakScreenStyle::motion);
        photo.importBreakBackgroundImage(h.home.filePath(name));
        EXPECT_EQ(std::tuple(readFile(stored), photo.breakBackgroundImage().size(),
                             *h.storedPreference("breakScreenStyle")),
                  std::tuple(readFile(h.home.filePath(name)), size, QJsonValue("photo")));
    }
    EXPECT_EQ(h.makeModel()->photo()->breakBackgroundImage().size(), QSize(8, 8));
    prefs.setBreakScreenStyle(BreakScreenStyle::minimal);
    const QByteArray storedBefore = readFile(stored);
    writeFile(h.home.filePath("notes.png"), "these are my notes, not a picture\n");
    for (const char* path : {"notes.png", "missing.png", ""}) {
        photo.importBreakBackgroundImage(h.home.filePath(path));
        EXPECT_EQ(std::tuple(photo.breakBackgroundErrorMessage(), prefs.breakScreenStyle(),
                             photo.breakBackgroundImage().size(), readFile(stored)),
                  std::tuple(unusable, BreakScreenStyle::minimal, QSize(8, 8), storedBefore));
    }
    photo.importBreakBackgroundImage(good);
    EXPECT_TRUE(photo.breakBackgroundErrorMessage().isEmpty());
    prefs.setBreakScreenStyle(BreakScreenStyle::motion);
    model->removeBreakBackgroundImage();
    EXPECT_FALSE(QFile::exists(stored) || photo.hasBreakBackgroundImage() ||
                 prefs.breakScreenStyle() != BreakScreenStyle::motion);
    photo.importBreakBackgroundImage(good);
    model->removeBreakBackgroundImage();
    EXPECT_EQ(h.storedPreference("breakScreenStyle"), QJsonValue("minimal"));
    model->removeBreakBackgroundImage(); // nothing left to remove: quiet
    EXPECT_TRUE(photo.breakBackgroundErrorMessage().isEmpty());

    // A stored photo that does not decode gives no image at start, and stays on disk.
    writeFile(stored, "\x89PNG\r\n\x1a\n truncated");
    EXPECT_FALSE(h.makeModel()->photo()->hasBreakBackgroundImage() || !QFile::exists(stored));
    // A photo that cannot be stored (a folder in the way) is refused the same way.
    QFile::remove(stored);
    QDir().mkpath(stored);
    const auto blocked = h.makeModel();
    blocked->photo()->importBreakBackgroundImage(good);
    EXPECT_EQ(std::pair(blocked->photo()->breakBackgroundErrorMessage(),
                        blocked->photo()->hasBreakBackgroundImage()),
              std::pair(unusable, false));
}
