// Lumora in English, German and French: one row per language of the texts that are easy to get
// wrong (plurals, relative times as whole phrases, the clock, a notification, a stored message),
// and a check that no text of the views' rules stays English.
#include "AppTestSupport.h"
#include "TranslationSupport.h"

#include "core/CodexUsageProvider.h"
#include "core/Messages.h"
#include "core/RelativeTime.h"
#include "core/UsageWindowLabel.h"
#include "model/UsageNotifications.h"
#include "views/BreakViewModel.h"
#include "views/PopoverViewModel.h"
#include "views/ProviderCardModel.h"
#include "views/SettingsViewModel.h"

#include <gtest/gtest.h>

namespace lumora::test {

TEST(Translation, TextsTimesAndPluralsInEachLanguage) {
    const QString nbsp(QChar(0x00A0));
    const struct {
        const char* locale;
        QStringList relative;    // in 2 hr 15 min, in 1 day 4 hr, in 3 days, 1 day ago, 3 min ago
        QStringList countdown;   // 1 minute, 61 minutes, 125 minutes
        QString clock, meridiem; // at 21:05
        QString expectedReset;   // at 16:05
        QString notification;    // Codex crossing 80%
        QString styles;
        QString storedMessage;
    } rows[] = {
        {"en_US",
         {"in 2 hr 15 min", "in 1 day 4 hr", "in 3 days", "1 day ago", "3 min ago"},
         {"1 minute", "1 hour 1 minute", "2 hours 5 minutes"},
         "09:05",
         "PM",
         "Expected reset: 4:05 PM",
         "Codex usage reached 80%",
         "Photo, Motion, Minimal",
         "Codex is not installed."},
        {"de_DE",
         {"in 2 Std. 15 Min.", "in 1 Tag 4 Std.", "in 3 Tagen", "vor 1 Tag", "vor 3 Min."},
         {"1 Minute", "1 Stunde 1 Minute", "2 Stunden 5 Minuten"},
         "21:05",
         "",
         "Voraussichtliche Zurücksetzung: 16:05",
         "Codex: 80" + nbsp + "% des Kontingents genutzt",
         "Foto, Bewegung, Minimal",
         "Codex ist nicht installiert."},
        {"fr_FR",
         {"dans 2 h 15 min", "dans 1 jour 4 h", "dans 3 jours", "il y a 1 jour", "il y a 3 min"},
         {"1 minute", "1 heure 1 minute", "2 heures 5 minutes"},
         "21:05",
         "",
         "Réinitialisation prévue" + nbsp + ": 16:05",
         "Codex" + nbsp + ": 80" + nbsp + "% du quota utilisés",
         "Photo, Mouvement, Minimal",
         "Codex n\u2019est pas installé."},
    };
    const QDateTime now = QDateTime::currentDateTimeUtc();
    const QDateTime evening(QDate(2026, 5, 1), QTime(21, 5));
    const QDateTime reset(QDate(2026, 5, 1), QTime(16, 5));
    for (const auto& row : rows) {
        SCOPED_TRACE(row.locale);
        const Language language{QLocale(QString::fromLatin1(row.locale))};
        const QStringList relative{relativeTimeText(now.addSecs(2 * 3600 + 15 * 60 + 30), now),
                                   relativeTimeText(now.addSecs(28 * 3600 + 60), now),
                                   relativeTimeText(now.addSecs(3 * 86400), now),
                                   relativeTimeText(now.addSecs(-86400 - 30), now),
                                   relativeTimeText(now.addSecs(-3 * 60 - 59), now)};
        EXPECT_EQ(relative, row.relative);
        QStringList countdown;
        for (const int minutes : {1, 61, 125}) {
            countdown << BreakViewModel::resetCountdown(now.addSecs(minutes * 60), now);
        }
        EXPECT_EQ(countdown, row.countdown);
        EXPECT_EQ(BreakViewModel::clockTime(evening), row.clock);
        EXPECT_EQ(BreakViewModel::meridiem(evening), row.meridiem);
        EXPECT_EQ(resetDescription(usage("codex", Availability::ready, 0.85, reset)),
                  row.expectedReset);
        const auto notification =
            usageNotification(usage("codex", Availability::ready, 0.5),
                              usage("codex", Availability::ready, 0.85, reset));
        ASSERT_TRUE(notification);
        EXPECT_EQ(notification->title, row.notification);
        EXPECT_EQ(SettingsViewModel::styleTitles().join(", "), row.styles);
        EXPECT_EQ(shownMessage(CodexUsageProvider::notInstalledMessage), row.storedMessage);
    }
}

// The texts of the views' rules, gathered over every state that shows one: in German none may
// stay English, so a text that is not marked for translation fails here.
TEST(Translation, NoViewTextStaysEnglishInGerman) {
    const auto texts = [] {
        using State = ProviderConnectionState;
        QStringList all;
        for (const char* provider : {"codex", "claude-code"}) {
            const UsageSnapshot snapshot = usage(provider, Availability::ready, 0.5);
            for (const State& state :
                 {State::disconnected(), State::checking(), State::executableMissing(),
                  State::loginRequired(), State::setupRequired(), State::waiting()}) {
                all << ProviderCardModel::connectionMessage(snapshot, state)
                    << ProviderCardModel::connectionButtonTitle(snapshot, state);
            }
        }
        all << ProviderCardModel::percentSuffix() << ProviderCardModel::staleTitle()
            << ProviderCardModel::staleDetail() << ProviderCardModel::privacyLine()
            << ProviderCardModel::dragToolTip() << PopoverViewModel::subtitle()
            << PopoverViewModel::refreshToolTip() << PopoverViewModel::breakTitle()
            << PopoverViewModel::settingsToolTip() << PopoverViewModel::quitToolTip()
            << BreakViewModel::resetsInTitle() << BreakViewModel::resetTimeUnavailable()
            << SettingsViewModel::styleTitles() << SettingsViewModel::privacyLines();
        for (const BreakScreenStyle style :
             {BreakScreenStyle::photo, BreakScreenStyle::motion, BreakScreenStyle::minimal}) {
            all << SettingsViewModel::styleDescription(style);
        }
        for (const auto kind :
             {UsageWindow::Kind::session, UsageWindow::Kind::daily, UsageWindow::Kind::weekly,
              UsageWindow::Kind::monthly, UsageWindow::Kind::credits}) {
            all << usageWindowLabel(kind);
        }
        return all;
    };
    const QStringList english = texts();
    const Language german{QLocale(QLocale::German, QLocale::Germany)};
    const QStringList translated = texts();
    ASSERT_EQ(translated.size(), english.size());
    for (qsizetype i = 0; i < english.size(); ++i) {
        if (english[i] != QLatin1String("Minimal")) { // the same word in German
            EXPECT_NE(translated[i], english[i]);
        }
    }
}

} // namespace lumora::test
