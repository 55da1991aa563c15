#include "cli/CommandLine.h"

#include "cli/HistoryCommand.h"
#include "cli/InstanceCommands.h"
#include "cli/WaybarStatus.h"

#include "core/AppUpdate.h"
#include "core/BuildInfo.h"
#include "core/ClaudeUsageProvider.h"
#include "core/CodexUsageProvider.h"
#include "core/Errors.h"
#include "core/MenuBarDisplayFormatter.h"
#include "core/Messages.h"
#include "core/SnapshotCache.h"
#include "platform/PreferencesStore.h"
#include "platform/ProviderChoices.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <thread>

namespace lumora::cli {
namespace {

int usageError(QTextStream& err, const QString& problem) {
    err << "lumora: " << problem << "\n\n" << usageText();
    err.flush();
    return 2;
}

// Saves what a refresh produced, as the application does: only snapshots with a verdict.
void remember(const UsageSnapshot& snapshot) {
    if (snapshot.availability == Availability::unknown) {
        return;
    }
    try {
        SnapshotCache(snapshot.providerID).save(snapshot);
    } catch (const Error&) {
        // The cache only speeds up the next start; failing to write it changes nothing now.
    }
}

// What the panel shows with both providers allowed in it: the enabled providers in the user's
// order, or, with --all, both of them; as text, as the snapshots in JSON, or as one JSON line
// for waybar.
int status(const QStringList& options, QTextStream& out, QTextStream& err) {
    bool json = false;
    bool waybar = false;
    bool all = false;
    for (const QString& option : options) {
        if (option == QLatin1String("--json")) {
            json = true;
        } else if (option == QLatin1String("--waybar")) {
            waybar = true;
        } else if (option == QLatin1String("--all")) {
            all = true;
        } else {
            return usageError(
                err, QCoreApplication::translate("CommandLine", "unknown option for status: %1")
                         .arg(option));
        }
    }
    if (json && waybar) {
        return usageError(err, QCoreApplication::translate(
                                   "CommandLine", "--json and --waybar do not go together"));
    }

    const ProviderChoices choices = ProviderChoices::read(JsonFilePreferencesStore());
    const bool showsClaude = all || choices.claudeEnabled;
    const bool showsCodex = all || choices.codexEnabled;
    UsageSnapshot codex = UsageSnapshot::unavailable(
        providers::codexID, providers::codexName,
        QStringLiteral(QT_TRANSLATE_NOOP("Messages", "Codex is disconnected.")));
    UsageSnapshot claude = UsageSnapshot::unavailable(
        providers::claudeCodeID, providers::claudeCodeName,
        QStringLiteral(QT_TRANSLATE_NOOP("Messages", "Claude Code is disconnected.")));
    {
        // Codex runs child processes for up to seconds; read Claude Code's files meanwhile.
        std::jthread codexFetch;
        if (showsCodex) {
            codexFetch = std::jthread([&codex] { codex = CodexUsageProvider().fetch(); });
        }
        if (showsClaude) {
            claude = ClaudeUsageProvider().fetch();
        }
    }
    if (showsCodex) {
        remember(codex);
    }
    if (showsClaude) {
        remember(claude);
    }

    const QDateTime now = QDateTime::currentDateTimeUtc();
    const QString title = MenuBarDisplayFormatter().format(codex, claude, showsCodex, showsClaude,
                                                           choices.providerOrder, now);
    if (!json && !waybar) {
        out << title << "\n";
        return 0;
    }
    QList<UsageSnapshot> shown;
    for (const QString& id : choices.providerOrder) {
        if (id == providers::codexID && showsCodex) {
            shown.append(codex);
        } else if (id == providers::claudeCodeID && showsClaude) {
            shown.append(claude);
        }
    }
    const QHash<QString, UsagePace> paces = pacesFromHistory(shown, now);
    if (waybar) {
        out << QJsonDocument(waybarStatus(title, shown, paces, now)).toJson(QJsonDocument::Compact)
            << "\n";
        return 0;
    }
    QJsonArray snapshots;
    for (const UsageSnapshot& snapshot : shown) {
        snapshots.append(withPaceAndWeekly(snapshot, paces.value(snapshot.providerID), now));
    }
    const QJsonObject document{{QStringLiteral("title"), title},
                               {QStringLiteral("snapshots"), snapshots}};
    out << QJsonDocument(document).toJson(QJsonDocument::Compact) << "\n";
    return 0;
}

int connectClaude(QTextStream& out) {
    const ClaudeUsageProvider provider;
    if (!provider.locateClaudeExecutable()) {
        out << shownMessage(ClaudeUsageProvider::notInstalledMessage) << "\n"
            << QCoreApplication::translate("Messages", "Lumora is checked with Claude Code %1.")
                   .arg(ClaudeUsageProvider::checkedClaudeCodeVersion)
            << "\n";
        return 1;
    }
    try {
        provider.installStatusLineSync();
    } catch (const Error& error) {
        out << shownMessage(error.description()) << "\n";
        return 1;
    }
    // The user asked for Claude Code by name: it is switched on and shown in the panel too.
    JsonFilePreferencesStore store;
    store.setValue(preferencekeys::claudeEnabled, true);
    store.setValue(preferencekeys::showClaudeInMenuBar, true);
    out << shownMessage(ClaudeUsageProvider::sendMessageMessage) << "\n";
    return 0;
}

// Connecting Codex switches it on once the tool is installed and signed in, as the tray does
// when it finds Codex ready.
int connectCodex(QTextStream& out) {
    const LocalProviderReadiness readiness = CodexUsageProvider().readiness();
    switch (readiness.kind()) {
    case LocalProviderReadiness::Kind::ready:
        JsonFilePreferencesStore().setValue(preferencekeys::codexEnabled, true);
        out << QCoreApplication::translate("CommandLine", "Codex is connected.") << "\n";
        return 0;
    case LocalProviderReadiness::Kind::executableMissing:
        out << shownMessage(CodexUsageProvider::notInstalledMessage) << "\n";
        break;
    case LocalProviderReadiness::Kind::loginRequired:
        out << shownMessage(CodexUsageProvider::signInMessage) << "\n"
            << QCoreApplication::translate("CommandLine",
                                           "Run `codex login` in a terminal, then try again.")
            << "\n";
        break;
    case LocalProviderReadiness::Kind::setupRequired:
        out << shownMessage(CodexUsageProvider::setupIncompleteMessage) << "\n";
        break;
    case LocalProviderReadiness::Kind::unavailable:
        out << shownMessage(readiness.message()) << "\n";
        break;
    }
    return 1;
}

int disconnectClaude(QTextStream& out) {
    try {
        ClaudeUsageProvider().uninstallStatusLineSync();
    } catch (const Error& error) {
        out << shownMessage(error.description()) << "\n";
        return 1;
    }
    JsonFilePreferencesStore().setValue(preferencekeys::claudeEnabled, false);
    out << QCoreApplication::translate("Messages", "Claude Code is disconnected.") << "\n";
    return 0;
}

int disconnectCodex(QTextStream& out) {
    JsonFilePreferencesStore().setValue(preferencekeys::codexEnabled, false);
    out << QCoreApplication::translate("Messages", "Codex is disconnected.") << "\n";
    return 0;
}

int connection(bool connect, const QStringList& words, QTextStream& out, QTextStream& err) {
    const QString command = connect ? QStringLiteral("connect") : QStringLiteral("disconnect");
    if (words.size() != 1) {
        return usageError(err, QCoreApplication::translate("CommandLine",
                                                           "%1 needs one provider: claude or codex")
                                   .arg(command));
    }
    const QString provider = words.first();
    if (provider == QLatin1String("claude")) {
        return connect ? connectClaude(out) : disconnectClaude(out);
    }
    if (provider == QLatin1String("codex")) {
        return connect ? connectCodex(out) : disconnectCodex(out);
    }
    return usageError(err, QCoreApplication::translate("CommandLine", "unknown provider for %1: %2")
                               .arg(command, provider));
}

// The feed given on the command line: an address with a scheme, or else the path of a file.
QUrl feedFromArgument(const QString& argument) {
    const QUrl url(argument, QUrl::StrictMode);
    if (url.isValid() && !url.scheme().isEmpty()) {
        return url;
    }
    return QUrl::fromLocalFile(QFileInfo(argument).absoluteFilePath());
}

// Text from a feed goes to a terminal; control characters in it could move the cursor or
// rewrite the screen.
QString printable(QString text) {
    for (QChar& c : text) {
        if (c.category() == QChar::Other_Control) {
            c = QChar::ReplacementCharacter;
        }
    }
    return text;
}

int checkUpdates(const QStringList& options, QTextStream& out, QTextStream& err) {
    std::optional<QUrl> feed = configuredUpdateFeedURL(QString::fromUtf8(buildinfo::updateFeedUrl));
    QString currentVersion = QString::fromUtf8(buildinfo::version);
    for (qsizetype i = 0; i < options.size(); i += 2) {
        const QString& option = options[i];
        if (option != QLatin1String("--feed") && option != QLatin1String("--current-version")) {
            return usageError(err, QCoreApplication::translate(
                                       "CommandLine", "unknown option for check-updates: %1")
                                       .arg(option));
        }
        if (i + 1 >= options.size()) {
            return usageError(
                err, QCoreApplication::translate("CommandLine", "%1 needs a value").arg(option));
        }
        const QString& value = options[i + 1];
        if (option == QLatin1String("--current-version")) {
            currentVersion = value;
        } else if (value.trimmed().isEmpty()) {
            return usageError(err, QCoreApplication::translate(
                                       "CommandLine", "--feed needs an address or a file"));
        } else {
            feed = feedFromArgument(value);
        }
    }
    if (!feed) {
        out << QCoreApplication::translate("Messages",
                                           "The update channel is not configured in this build.")
            << "\n";
        return 1;
    }
    try {
        const std::optional<AppUpdateManifest> update =
            AppUpdateChecker(feed).check(currentVersion);
        if (!update) {
            out << QCoreApplication::translate("Messages", "Lumora is up to date.") << "\n";
            return 0;
        }
        out << QCoreApplication::translate("Messages", "Lumora %1 is available.")
                   .arg(printable(update->version))
            << "\n"
            << update->downloadURL.toString(QUrl::FullyEncoded) << "\n";
        return 0;
    } catch (const Error& error) {
        out << shownMessage(error.description()) << "\n";
        return 1;
    }
}

// The commands that the running tray carries out, by their D-Bus method.
QString instanceMethod(const QString& command) {
    if (command == QLatin1String("popover")) {
        return QStringLiteral("ShowPopover");
    }
    if (command == QLatin1String("break")) {
        return QStringLiteral("ShowBreak");
    }
    if (command == QLatin1String("settings")) {
        return QStringLiteral("ShowSettings");
    }
    if (command == QLatin1String("quit")) {
        return QStringLiteral("Quit");
    }
    return {};
}

} // namespace

QString usageText() {
    return QCoreApplication::translate(
        "CommandLine",
        "Usage: lumora [COMMAND] [OPTIONS]\n"
        "\n"
        "Shows how much of your Claude Code and Codex usage allowance is left.\n"
        "\n"
        "Commands:\n"
        "  status [--all] [--json | --waybar]\n"
        "                           Print the panel line for the connected tools, the\n"
        "                           snapshots as JSON, or one JSON line for waybar's custom\n"
        "                           module; --all shows both tools. The JSON and the\n"
        "                           tooltip carry each tool's pace from the kept history.\n"
        "  history [--provider ID] [--since 7d] [--json | --csv]\n"
        "                           Print the figures the tray has kept (claude-code, codex;\n"
        "                           since 7d, 12h or 30m ago), as a table, JSON or CSV.\n"
        "  connect claude           Install Lumora's Claude Code status line, show Claude Code.\n"
        "  connect codex            Show Codex once it is installed and signed in.\n"
        "  disconnect claude        Remove the status line, restore the one you had before,\n"
        "                           and stop showing Claude Code.\n"
        "  disconnect codex         Stop showing Codex.\n"
        "  check-updates [--feed URL-OR-PATH] [--current-version V]\n"
        "                           Ask the update feed whether a newer Lumora is published.\n"
        "  popover                  Open the running tray's usage popover.\n"
        "  break                    Start a break in the running tray (bind it to a key).\n"
        "  settings                 Open the running tray's settings.\n"
        "  quit                     Quit the running tray.\n"
        "\n"
        "Options:\n"
        "  -h, --help               Show this help.\n"
        "  -V, --version            Show the version.\n"
        "\n"
        "Without a command, lumora starts the tray, or opens the popover of the one that runs.\n");
}

int run(const QStringList& arguments, QTextStream& out, QTextStream& err) {
    const QString command = arguments.value(0, QStringLiteral("status"));
    const QStringList rest = arguments.mid(1);
    int code = 0;
    if (command == QLatin1String("--help") || command == QLatin1String("-h") ||
        command == QLatin1String("help")) {
        out << usageText();
    } else if (command == QLatin1String("--version") || command == QLatin1String("-V")) {
        out << "Lumora " << buildinfo::version << "\n";
    } else if (command == QLatin1String("status")) {
        code = status(rest, out, err);
    } else if (command == QLatin1String("connect") || command == QLatin1String("disconnect")) {
        code = connection(command == QLatin1String("connect"), rest, out, err);
    } else if (command == QLatin1String("history")) {
        code = history(rest, out, err);
    } else if (command == QLatin1String("check-updates")) {
        code = checkUpdates(rest, out, err);
    } else if (const QString method = instanceMethod(command); !method.isEmpty()) {
        code =
            rest.isEmpty()
                ? instance::callRunningInstance(method, out, err)
                : usageError(err, QCoreApplication::translate("CommandLine", "%1 takes no options")
                                      .arg(command));
    } else if (command.startsWith(QLatin1Char('-'))) {
        code = usageError(
            err, QCoreApplication::translate("CommandLine", "unknown option: %1").arg(command));
    } else {
        code = usageError(
            err, QCoreApplication::translate("CommandLine", "unknown command: %1").arg(command));
    }
    out.flush();
    err.flush();
    return code;
}

} // namespace lumora::cli
