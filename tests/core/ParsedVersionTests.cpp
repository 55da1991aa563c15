#include "core/AppUpdate.h"
#include "core/ParsedVersion.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <random>

using namespace lumora;
using Identifier = ParsedVersion::Identifier;

namespace {

Identifier number(qint64 value) {
    return Identifier::number(value);
}
Identifier text(const char* value) {
    return Identifier::text(QString::fromUtf8(value));
}

ParsedVersion version(const QString& text) {
    const std::optional<ParsedVersion> parsed = ParsedVersion::parse(text);
    EXPECT_TRUE(parsed) << text.toStdString();
    return parsed.value_or(ParsedVersion{});
}

// Same release numbers once the shorter list is padded with zeros, and the same pre-release.
bool sameRelease(const ParsedVersion& a, const ParsedVersion& b) {
    const qsizetype count = std::max(a.numbers.size(), b.numbers.size());
    for (qsizetype i = 0; i < count; ++i) {
        if (a.numbers.value(i, 0) != b.numbers.value(i, 0)) {
            return false;
        }
    }
    return a.prerelease == b.prerelease;
}

} // namespace

TEST(ParsedVersion, ParsesWhatPeopleWrite) {
    constexpr qint64 max = std::numeric_limits<qint64>::max();
    constexpr qint64 min = std::numeric_limits<qint64>::min();
    const struct {
        QString input;
        QList<qint64> numbers;
        std::optional<QList<Identifier>> prerelease;
    } cases[] = {
        {"1.2.3", {1, 2, 3}, std::nullopt},
        {" \tv2.0 \n", {2, 0}, std::nullopt},
        {"V1.2", {1, 2}, std::nullopt},
        {"01.002", {1, 2}, std::nullopt},
        {"1.5.0-beta.2+build.7", {1, 5, 0}, QList{text("beta"), number(2)}},
        {"1.0.0-rc-1", {1, 0, 0}, QList{text("rc-1")}},
        {"2.0+anything goes here ..", {2, 0}, std::nullopt},
        {"1.0--5.-", {1, 0}, QList{number(-5), text("-")}},
        {"9223372036854775807", {max}, std::nullopt},
        {"1-9223372036854775808.-9223372036854775808",
         {1},
         QList{text("9223372036854775808"), number(min)}},
        {QString::fromUtf8("1-\u00E9t\u00E9"), {1}, QList{text("\u00E9t\u00E9")}},
    };
    for (const auto& c : cases) {
        const std::optional<ParsedVersion> parsed = ParsedVersion::parse(c.input);
        ASSERT_TRUE(parsed) << c.input.toStdString();
        EXPECT_EQ(parsed->numbers, c.numbers) << c.input.toStdString();
        EXPECT_EQ(parsed->prerelease, c.prerelease) << c.input.toStdString();
    }

    for (const char* notAVersion : {"",          "   ",    "v",        "vv1",
                                    "1.x",       "1..2",   "1.",       ".1",
                                    "+5",        "1.0.0-", "1.0.0-+5", "1.0-beta..1",
                                    "1.0-beta.", "1 .0",   "1.0 0",    "9223372036854775808",
                                    "-1",        "v-1",    "0x10",     "\u0661.0"}) {
        EXPECT_FALSE(ParsedVersion::parse(QString::fromUtf8(notAVersion))) << notAVersion;
    }
}

TEST(ParsedVersion, NewerVersionEdgeCases) {
    const struct {
        const char* candidate;
        const char* current;
        bool newer;
    } cases[] = {
        {"1.2.1", "1.2", true},
        {"1.2", "1.2.0", false},
        {"1.2.0", "1.2", false},
        {"1.0.0", "1.0.0-beta.9", true},
        {"1.0.0-beta.9", "1.0.0", false},
        {"1.0.0-beta.10", "1.0.0-beta.9", true},
        {"1.0.0-beta.a", "1.0.0-beta.9", true},
        {"1.0.0-beta.1", "1.0.0-beta", true},
        {"1.0.0-beta", "1.0.0-beta.1", false},
        {"v2.0", "1.9.9", true},
        {"2.0+42", "2.0+41", false},
        {"2.0", "garbage", false},
        {"garbage", "1.0", false},
        {"10.0", "9.0", true},
        {"1.0.0-Beta", "1.0.0-alpha", false},
        {"1.0.0-alpha", "1.0.0-RC", true},
        {"1.0.0-rc", "1.0.0-beta", true},
        {"1.0.0-1", "1.0.0--1", true},
        {"1.0.0-beta", "1.0.0-999", true},
        {"9223372036854775807", "9223372036854775806.99", true},
        // By Unicode scalar values, not UTF-16 units: U+1F600 is after U+FFFD.
        {"1-\U0001F600", "1-\uFFFD", true},
        {"1-\uFFFD", "1-\U0001F600", false},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(AppUpdateService::isNewerVersion(QString::fromUtf8(c.candidate),
                                                   QString::fromUtf8(c.current)),
                  c.newer)
            << c.candidate << " than " << c.current;
    }
    // Equal values, and versions that only differ in trailing zeros, are not newer either way.
    EXPECT_EQ(version("1.0"), version("v1.0+7"));
    EXPECT_FALSE(version("1.0") == version("1.0.0"));
    EXPECT_TRUE(version("1.0") <= version("1.0.0") && version("1.0") >= version("1.0.0"));
}

// Over a few thousand generated versions, many of them equivalent, `<` must be a strict weak
// order whose incomparable pairs are exactly the pairs with the same release and pre-release.
TEST(ParsedVersion, OrderingIsAStrictWeakOrder) {
    std::mt19937 random(20240611);
    const auto pick = [&](const QStringList& pool) {
        return pool[std::uniform_int_distribution<qsizetype>(0, pool.size() - 1)(random)];
    };
    const auto count = [&](int low, int high) {
        return std::uniform_int_distribution<int>(low, high)(random);
    };
    const QStringList numbers{"0", "00", "1", "2", "10", "9223372036854775807"};
    const QStringList identifiers{"0",     "1",    "02", "10",   "-3",
                                  "alpha", "beta", "RC", "rc-1", "\u00E9"};

    QList<ParsedVersion> versions;
    while (versions.size() < 2500) {
        QStringList core;
        for (int i = count(1, 4); i > 0; --i) {
            core << pick(numbers);
        }
        QString text = (count(0, 3) == 0 ? "v" : "") + core.join('.');
        if (count(0, 1) == 1) {
            QStringList prerelease;
            for (int i = count(1, 3); i > 0; --i) {
                prerelease << pick(identifiers);
            }
            text += '-' + prerelease.join('.');
        }
        if (count(0, 4) == 0) {
            text += "+build." + pick(identifiers);
        }
        versions << version(text);
    }

    qint64 equivalentPairs = 0;
    for (const ParsedVersion& a : versions) {
        ASSERT_FALSE(a < a);
        for (const ParsedVersion& b : versions) {
            const bool less = a < b;
            const bool greater = b < a;
            ASSERT_FALSE(less && greater);
            ASSERT_EQ(!less && !greater, sameRelease(a, b));
            equivalentPairs += !less && !greater ? 1 : 0;
        }
    }
    // The pools are small on purpose: many pairs must tie for the test to mean anything.
    EXPECT_GT(equivalentPairs, 10 * versions.size());

    std::uniform_int_distribution<qsizetype> index(0, versions.size() - 1);
    for (int i = 0; i < 300000; ++i) {
        const ParsedVersion& a = versions[index(random)];
        const ParsedVersion& b = versions[index(random)];
        const ParsedVersion& c = versions[index(random)];
        if (a < b && b < c) {
            ASSERT_TRUE(a < c);
        }
        if (!(a < b) && !(b < a) && b < c) {
            ASSERT_TRUE(a < c); // incomparability is transitive with the order
        }
    }
}
