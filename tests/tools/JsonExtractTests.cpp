#include "JsonExtract.h"
#include "support/TestSupport.h"

#include <QDir>
#include <QFileInfo>

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace lumora::jsontool;
using namespace lumora::test;
using namespace std::literals;

namespace {

std::optional<std::string> json(std::string_view document, std::string_view path) {
    return extract(document, path, Format::json).value;
}
std::optional<std::string> raw(std::string_view document, std::string_view path) {
    return extract(document, path, Format::raw).value;
}

CommandOutcome helper(const QStringList& arguments, const QByteArray& input) {
    return runProgram(builtExecutable("lumora-json"), arguments, input);
}

} // namespace

TEST(JsonExtract, FindsValuesAlongTheKeyPath) {
    const std::string document =
        R"( {"rate_limits" : {"five_hour": {"used_percentage": 41.5e0, "resets_at": null},)"
        R"( "seven_day": {"used_percentage": 7}}, "list": [10, {"a": "\u00e9\ud83d\ude00\n"}]} )";
    EXPECT_EQ(json(document, "rate_limits.seven_day"), R"({"used_percentage": 7})");
    EXPECT_EQ(raw(document, "rate_limits.five_hour.used_percentage"), "41.5e0");
    EXPECT_EQ(raw(document, "list.0"), "10");
    EXPECT_EQ(raw(document, "list.1.a"), "\u00e9\U0001F600\n");
    // Absent: a missing member, a null, an index past the end, an index into an object.
    EXPECT_EQ(raw(document, "rate_limits.five_hour.resets_at"), std::nullopt);
    EXPECT_EQ(json(document, "list.2"), std::nullopt);
    EXPECT_EQ(json(document, "rate_limits.0"), std::nullopt);
    // Containers have no plain-text form.
    EXPECT_EQ(raw(document, "rate_limits"), std::nullopt);
    // Member names are compared decoded; the later of two equal names counts.
    EXPECT_EQ(raw(R"({"rate\u005flimits":1})", "rate_limits"), "1");
    EXPECT_EQ(raw(R"({"a":1,"a":{"b":2},"a":3})", "a"), "3");
    EXPECT_EQ(json(R"({"a":1,"a":{"b":2}})", "a"), R"({"b":2})");
    EXPECT_EQ(raw(R"({"a":true,"b":false})", "b"), "false");
    EXPECT_EQ(raw(R"({"lone":"\ud800x"})", "lone"), "\uFFFDx");
}

TEST(JsonExtract, RefusesEverythingThatIsNotExactlyOneJsonText) {
    const char* const plain[] = {"[1,2",         "{\"a\":[1,]}", "\"unterminated", "{\"a\":1,}",
                                 "{\"a\":1} {}", "{\"a\" 1}",    "{a:1}",          "{\"a\":01}",
                                 "{\"a\":1.}",   "{\"a\":.5}",   "{\"a\":-}",      "{\"a\":1e}",
                                 "{\"a\":+1}",   "{\"a\":NaN}",  "{\"a\":tru}"};
    const char* const strings[] = {"{\"a\":\"\\x\"}",       "{\"a\":\"\\u12\"}",
                                   "{\"a\":\"tab\there\"}", "{\"a\":\"\xff\"}",
                                   "{\"a\":\"\xc0\xaf\"}",  "{\"a\":\"\xed\xa0\x80\"}",
                                   "{\"a\":\"\xe2\x82\"}"};
    std::vector<std::string_view> bads{
        ""sv, " "sv, "{"sv, "}"sv, "{\"a\":1}\x00"sv, "{\"a\":\"\x00\"}"sv};
    bads.insert(bads.end(), std::begin(plain), std::end(plain));
    bads.insert(bads.end(), std::begin(strings), std::end(strings));
    for (const std::string_view bad : bads) {
        const auto result = extract(bad, "a", Format::json);
        EXPECT_FALSE(result.value) << bad;
        EXPECT_NE(result.error.find("not JSON"), std::string::npos) << bad;
    }
    // Nesting within the limit is fine; beyond it is refused, not a crash.
    const auto nested = [](std::size_t depth) {
        return "{\"a\":" + std::string(depth, '[') + std::string(depth, ']') + "}";
    };
    EXPECT_TRUE(json(nested(maximumDepth - 1), "a"));
    EXPECT_FALSE(json(nested(100000), "a"));
    EXPECT_FALSE(json(std::string(maximumInputSize + 1, ' ') + "{}", "a"));
}

TEST(JsonExtract, TheHelperWritesNothingWhenItFindsNothing) {
    const TemporaryHome home;
    const QString out = home.filePath("out.json");
    const QByteArray input = R"({"rate_limits":{"five_hour":{"used_percentage":58}}})";

    CommandOutcome run = helper({"extract", "rate_limits", "json", "-o", out, "-"}, input);
    EXPECT_EQ(run.exitCode, 0) << run.err.toStdString();
    EXPECT_EQ(readFile(out), R"({"five_hour":{"used_percentage":58}})");
    EXPECT_EQ(fileMode(out), 0600);
    EXPECT_EQ(
        helper({"extract", "rate_limits.five_hour.used_percentage", "raw", "-o", "-", "-"}, input)
            .out,
        "58\n");

    for (const QByteArray& bad : {QByteArray("{\"rate_limits\":"), QByteArray("{}"),
                                  QByteArray("{\"rate_limits\":null}")}) {
        const QString missing = home.filePath("missing.json");
        run = helper({"extract", "rate_limits", "json", "-o", missing, "-"}, bad);
        EXPECT_EQ(run.exitCode, 1) << bad.toStdString();
        EXPECT_TRUE(run.err.startsWith("lumora-json: ")) << run.err.toStdString();
        EXPECT_FALSE(QFileInfo::exists(missing));
    }
    EXPECT_EQ(QDir(home.path()).entryList(QDir::Files), QStringList{"out.json"});

    writeFile(home.filePath("in.json"), input); // a file as input
    EXPECT_EQ(
        helper({"extract", "rate_limits.five_hour", "json", "-o", "-", home.filePath("in.json")},
               {})
            .out,
        "{\"used_percentage\":58}\n");
    for (const QStringList& wrong :
         {QStringList{}, QStringList{"extract", "a", "xml", "-o", "-", "-"},
          QStringList{"get", "a", "raw", "-o", "-", "-"}}) {
        run = helper(wrong, input);
        EXPECT_EQ(run.exitCode, 2);
        EXPECT_TRUE(run.err.startsWith("usage: lumora-json")) << run.err.toStdString();
    }
}
