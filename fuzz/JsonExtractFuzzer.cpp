// The hook helper's reader, checked against Qt's JSON parser: every object Qt reads must be
// accepted, and the value found at a key path must be the one Qt finds.
#include "FuzzCheck.h"

#include "JsonExtract.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace lumora::jsontool;
    const std::string_view document(reinterpret_cast<const char*>(data), size);
    const ExtractResult asJson = extract(document, "a", Format::json);
    const ExtractResult asRaw = extract(document, "a", Format::raw);
    (void)extract(document, "a.b.0", Format::raw);
    FUZZ_CHECK(asJson.value || !asJson.error.empty());
    FUZZ_CHECK(!asRaw.value || asJson.value); // raw finds nothing that json does not

    // The helper is stricter than Qt, which also takes raw control characters in strings,
    // unknown escapes and numbers such as .5. So the check runs one way: whatever the helper
    // accepts, Qt must accept too and find the same value. Qt refuses only numbers beyond a
    // double, nesting deeper than its own limit, and top-level scalars.
    if (asJson.error.find("not JSON") != std::string::npos ||
        asJson.error.find("too large") != std::string::npos) {
        return 0;
    }
    QJsonParseError error{};
    const QByteArray bytes(document.data(), static_cast<qsizetype>(document.size()));
    const QJsonDocument qt = QJsonDocument::fromJson(bytes, &error);
    if (error.error != QJsonParseError::NoError) {
        const QByteArray trimmed = bytes.trimmed();
        FUZZ_CHECK(error.error == QJsonParseError::IllegalNumber ||
                   error.error == QJsonParseError::DeepNesting ||
                   !(trimmed.startsWith('{') || trimmed.startsWith('[')));
        return 0;
    }
    if (!qt.isObject()) {
        return 0;
    }
    const QJsonValue expected = qt.object().value(QStringLiteral("a"));
    if (expected.isUndefined() || expected.isNull()) {
        FUZZ_CHECK(!asJson.value && asJson.error.find("no value") != std::string::npos);
        return 0;
    }
    FUZZ_CHECK(asJson.value.has_value());
    const QJsonDocument found =
        QJsonDocument::fromJson("[" + QByteArray::fromStdString(*asJson.value) + "]");
    FUZZ_CHECK(found.isArray() && found.array().size() == 1 && found.array().at(0) == expected);
    // Qt keeps a lone UTF-16 surrogate; UTF-8 has no form for it, so the helper writes U+FFFD.
    const QString text = expected.toString();
    const bool hasLoneSurrogate =
        std::any_of(text.begin(), text.end(), [](QChar c) { return c.isSurrogate(); });
    if (expected.isString() && !hasLoneSurrogate) {
        FUZZ_CHECK(asRaw.value && QString::fromStdString(*asRaw.value) == expected.toString());
    }
    return 0;
}
