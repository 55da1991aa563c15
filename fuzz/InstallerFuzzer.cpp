// Structure-aware: generated Claude Code settings (and sometimes arbitrary bytes) go through
// install, a user edit and uninstall in a private home folder. Every member other than
// "statusLine" must survive, the hook must never chain itself, and settings that cannot be
// rewritten safely must stay byte for byte as they were.
#include "FuzzCheck.h"

#include "core/ClaudeStatusLineInstaller.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>

#include <fuzzer/FuzzedDataProvider.h>

#include <cstdlib>

namespace {

using namespace lumora;

QString text(FuzzedDataProvider& input) {
    static const QStringList words{
        "statusLine", "command", "type", "~/.claude/lumora-statusline.sh",
        "'",          "\"",      "\\",   "é",
        "🚀",          "$(x)",    "",     "a b"};
    if (input.ConsumeBool()) {
        return words.at(input.ConsumeIntegralInRange<qsizetype>(0, words.size() - 1));
    }
    return QString::fromUtf8(QByteArray::fromStdString(input.ConsumeRandomLengthString(24)));
}

QJsonValue value(FuzzedDataProvider& input, int depth) {
    switch (input.ConsumeIntegralInRange(0, depth > 3 ? 4 : 6)) {
    case 0:
        return QJsonValue::Null;
    case 1:
        return input.ConsumeBool();
    case 2:
        return static_cast<qint64>(input.ConsumeIntegral<int64_t>());
    case 3: {
        const double number = input.ConsumeFloatingPoint<double>();
        return std::isfinite(number) ? QJsonValue(number) : QJsonValue(0.5);
    }
    case 4:
        return text(input);
    case 5: {
        QJsonArray array;
        for (int n = input.ConsumeIntegralInRange(0, 4); n > 0; --n) {
            array.append(value(input, depth + 1));
        }
        return array;
    }
    default: {
        QJsonObject object;
        for (int n = input.ConsumeIntegralInRange(0, 4); n > 0; --n) {
            object.insert(text(input), value(input, depth + 1));
        }
        return object;
    }
    }
}

QJsonValue statusLine(FuzzedDataProvider& input, const ClaudeStatusLineInstaller& installer) {
    const QString ours = ClaudeStatusLineInstaller::shellQuoted(installer.hookScriptPath());
    switch (input.ConsumeIntegralInRange(0, 4)) {
    case 0:
        return QJsonValue::Undefined;
    case 1:
        return QJsonObject{{"type", "command"}, {"command", ours}};
    case 2:
        return QJsonObject{{"type", "command"}, {"command", text(input) + text(input)}};
    case 3:
        return QJsonObject{
            {"command", text(input) + ClaudeStatusLineInstaller::legacyHookLocation}};
    default:
        return value(input, 2);
    }
}

QByteArray read(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void write(const QString& path, const QByteArray& bytes) {
    QFile file(path);
    if (file.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        file.write(bytes);
    }
}

// The members other than "statusLine", in a canonical form. Qt orders the keys of an object it
// built itself differently from one it parsed (by UTF-16 rather than UTF-8 code units, which
// differ for keys beyond the Basic Multilingual Plane), and its object equality sees the order;
// comparing parsed forms leaves only real differences.
QJsonObject withoutStatusLine(QJsonObject object) {
    object.remove("statusLine");
    return QJsonDocument::fromJson(QJsonDocument(object).toJson(QJsonDocument::Compact)).object();
}

bool chainsItself(const ClaudeStatusLineInstaller& installer) {
    const QString script = QString::fromUtf8(read(installer.hookScriptPath()));
    const QString previous = script.section('\n', 6, 6);
    return previous.contains(installer.hookScriptPath()) ||
           previous.contains(ClaudeStatusLineInstaller::legacyHookLocation);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // In memory where possible: every atomic write syncs to disk, which would make this target
    // crawl on a real file system.
    static QTemporaryDir root(QDir(QStringLiteral("/dev/shm")).exists()
                                  ? QStringLiteral("/dev/shm/lumora-fuzz-XXXXXX")
                                  : QDir::tempPath() + QStringLiteral("/lumora-fuzz-XXXXXX"));
    static const bool environment = [] {
        ::unsetenv("XDG_DATA_HOME");
        return true;
    }();
    (void)environment;

    FuzzedDataProvider input(data, size);
    QDir(root.path()).removeRecursively();
    const QString home = root.path() + (input.ConsumeBool() ? "/home" : "/it's home");
    QDir().mkpath(home + "/.claude");
    const ClaudeStatusLineInstaller installer(home, QStringLiteral(LUMORA_FUZZ_HOOK_HELPER));

    QByteArray original;
    QJsonObject originalObject;
    bool rewritable = true;
    if (input.ConsumeIntegralInRange(0, 7) == 0) {
        original = QByteArray::fromStdString(input.ConsumeRandomLengthString(256));
        QJsonParseError error{};
        const QJsonDocument document = QJsonDocument::fromJson(original, &error);
        rewritable = error.error == QJsonParseError::NoError && document.isObject();
        originalObject = document.object();
    } else {
        originalObject = value(input, 0).toObject();
        const QJsonValue line = statusLine(input, installer);
        if (!line.isUndefined()) {
            originalObject.insert("statusLine", line);
        }
        original = QJsonDocument(originalObject).toJson(QJsonDocument::Indented);
    }
    write(installer.settingsPath(), original);

    bool installed = false;
    try {
        installer.install();
        installed = true;
    } catch (const Error&) {
    }
    FUZZ_CHECK(installed == rewritable);
    if (!installed) {
        FUZZ_CHECK(read(installer.settingsPath()) == original);
        return 0;
    }
    const QJsonObject afterInstall =
        QJsonDocument::fromJson(read(installer.settingsPath())).object();
    FUZZ_CHECK(withoutStatusLine(afterInstall) == withoutStatusLine(originalObject));
    FUZZ_CHECK(installer.isInstalled());
    FUZZ_CHECK(!chainsItself(installer));

    // The user may change the status line before installing again or uninstalling.
    if (input.ConsumeBool()) {
        QJsonObject edited = afterInstall;
        edited.insert("statusLine", statusLine(input, installer));
        write(installer.settingsPath(), QJsonDocument(edited).toJson());
        installer.install();
        FUZZ_CHECK(!chainsItself(installer));
    }
    installer.uninstall();
    FUZZ_CHECK(!QFile::exists(installer.hookScriptPath()));
    FUZZ_CHECK(!QFile::exists(installer.backupPath()));
    const QJsonObject afterUninstall =
        QJsonDocument::fromJson(read(installer.settingsPath())).object();
    FUZZ_CHECK(withoutStatusLine(afterUninstall) == withoutStatusLine(originalObject));
    return 0;
}
