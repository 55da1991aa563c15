// The hook helper: its extraction rules directly, and the built executable as the hook runs it.
#include "JsonExtract.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

using namespace lumora::jsontool;
using namespace lumora::test;

// Values as JSON or plain text; absent ones; names compared decoded, the later duplicate wins;
// anything but exactly one JSON text, or nested too deep, refused, not a crash.
TEST(JsonExtract, FindsValuesAlongTheKeyPathOfExactlyOneJsonText) {
    const std::string document =
        R"( {"rate_limits" : {"five_hour": {"used_percentage": 41.5e0, "resets_at": null},)"
        R"( "seven_day": {"used_percentage": 7}}, "list": [10, {"a": "\u00e9\ud83d\ude00\n"}]} )";
    const std::tuple<std::string, const char*, Format, std::optional<std::string>> cases[] = {
        {document, "rate_limits.seven_day", Format::json, R"({"used_percentage": 7})"},
        {document, "rate_limits.five_hour.used_percentage", Format::raw, "41.5e0"},
        {document, "list.0", Format::raw, "10"},
        {document, "list.1.a", Format::raw, "\u00e9\U0001F600\n"},
        {document, "rate_limits.five_hour.resets_at", Format::raw, std::nullopt},
        {document, "list.2", Format::json, std::nullopt},
        {document, "rate_limits.0", Format::json, std::nullopt},
        {document, "rate_limits", Format::raw, std::nullopt},
        {R"({"rate\u005flimits":1})", "rate_limits", Format::raw, "1"},
        {R"({"a":1,"a":{"b":2},"a":3})", "a", Format::raw, "3"},
        {R"({"a":1,"a":{"b":2}})", "a", Format::json, R"({"b":2})"},
        {R"({"a":true,"b":false})", "b", Format::raw, "false"},
        {R"({"lone":"\ud800x"})", "lone", Format::raw, "\uFFFDx"},
    };
    for (const auto& [json, path, format, expected] : cases) {
        EXPECT_EQ(extract(json, path, format).value, expected) << json << " " << path;
    }
    QList<QByteArray> bads =
        QByteArray(
            "| |{|}|[1,2|{\"a\":[1,]}|\"unterminated|{\"a\":1,}|{\"a\":1} {}|{\"a\" 1}|{a:1}|"
            "{\"a\":01}|{\"a\":1.}|{\"a\":.5}|{\"a\":-}|{\"a\":1e}|{\"a\":+1}|{\"a\":NaN}|"
            "{\"a\":tru}|{\"a\":\"\\x\"}|{\"a\":\"\\u12\"}|{\"a\":\"tab\there\"}|{\"a\":\"\xff\"}|"
            "{\"a\":\"\xc0\xaf\"}|{\"a\":\"\xed\xa0\x80\"}|{\"a\":\"\xe2\x82\"}")
            .split('|');
    bads << QByteArray("{\"a\":1}\0", 8) << QByteArray("{\"a\":\"\0\"}", 9);
    for (const QByteArray& bad : bads) {
        const auto result = extract(bad.toStdString(), "a", Format::json);
        EXPECT_TRUE(!result.value && result.error.find("not JSON") != std::string::npos)
            << bad.data();
    }
    const auto nested = [](std::size_t depth) {
        return "{\"a\":" + std::string(depth, '[') + std::string(depth, ']') + "}";
    };
    EXPECT_TRUE(extract(nested(maximumDepth - 1), "a", Format::json).value);
    EXPECT_FALSE(extract(nested(100000), "a", Format::json).value);
    EXPECT_FALSE(extract(std::string(maximumInputSize + 1, ' ') + "{}", "a", Format::json).value);
}

// The executable writes a private file or stdout; finding nothing it writes nothing; bad usage: 2.
TEST(JsonExtract, TheHelperWritesNothingWhenItFindsNothing) {
    const TemporaryHome home;
    const QString out = home.filePath("out.json");
    const QByteArray input = R"({"rate_limits":{"five_hour":{"used_percentage":58}}})";
    writeFile(home.filePath("in.json"), input);
    const std::tuple<QString, QByteArray, int, QString> cases[] = {
        {"extract rate_limits json -o ~/out.json -", input, 0, ""},
        {"extract rate_limits.five_hour.used_percentage raw -o - -", input, 0, "58\n"},
        {"extract rate_limits.five_hour json -o - ~/in.json", {}, 0, "{\"used_percentage\":58}\n"},
        {"extract rate_limits json -o ~/missing.json -", "{\"rate_limits\":null}", 1, ""},
        {"", input, 2, ""},
        {"extract a xml -o - -", input, 2, ""},
        {"get a raw -o - -", input, 2, ""},
    };
    for (const auto& [arguments, stdIn, exitCode, printed] : cases) {
        const QString expanded = QString(arguments).replace("~/", home.path() + "/");
        const CommandOutcome run = runProgram(builtExecutable("lumora-json"),
                                              expanded.split(' ', Qt::SkipEmptyParts), stdIn);
        EXPECT_TRUE(
            run.exitCode == exitCode && run.out == printed &&
            (exitCode == 0 || run.err.startsWith(exitCode == 1 ? "lumora-json: " : "usage: ")))
            << arguments.toStdString() << ": " << (run.out + run.err).toStdString();
    }
    EXPECT_EQ(std::tuple(readFile(out), fileMode(out), QDir(home.path()).entryList(QDir::Files)),
              std::tuple(QByteArray(R"({"five_hour":{"used_percentage":58}})"), 0600,
                         QStringList({"in.json", "out.json"})));
}
