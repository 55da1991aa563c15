// Lumora in English, German and French: the texts that are easy to get wrong, in one table.
#include "ViewTestSupport.h"

#include "core/CodexUsageProvider.h"
#include "core/Messages.h"
#include "core/RelativeTime.h"
#include "core/UsageWindowLabel.h"
#include "model/UsageNotifications.h"
#include "views/BreakViewModel.h"
#include "views/PopoverViewModel.h"
#include "views/ProviderCardModel.h"
#include "views/SettingsViewModel.h"

namespace lumora::test {
namespace {

// The texts of the views' rules over every state that shows one.
QStringList viewTexts() {
    using State = ProviderConnectionState;
    QStringList all;
    for (const char* provider : {"codex", "claude-code"}) {
        for (const State& state :
             {State::disconnected(), State::checking(), State::executableMissing(),
              State::loginRequired(), State::setupRequired(), State::waiting()}) {
            const UsageSnapshot snapshot = usage(provider, Availability::ready, 0.5);
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
    for (const auto style :
         {BreakScreenStyle::photo, BreakScreenStyle::motion, BreakScreenStyle::minimal}) {
        all << SettingsViewModel::styleDescription(style);
    }
    for (const auto kind :
         {UsageWindow::Kind::session, UsageWindow::Kind::daily, UsageWindow::Kind::weekly,
          UsageWindow::Kind::monthly, UsageWindow::Kind::credits}) {
        all << usageWindowLabel(kind);
    }
    return all;
}

} // namespace

// The table also fails when a text of the views is not marked for translation: in German none may
// stay English.
TEST(Translation, TextsTimesAndPluralsInEachLanguage) {
    const QString nbsp(QChar(0x00A0));
    // In 2 hr 15 min, in 1 day 4 hr, in 3 days, 1 day ago, 3 min ago, in 3 hr, in 1 min, under a
    // minute, now, 59 s ago, 1 day 2 hr ago, in 3 days 2 hr, 3 days 2 hr ago, 2 hr 15 min ago,
    // 3 hr ago (whole minutes); 1, 61 and 125 minutes to a
    // reset; the clock and its AM/PM at 21:05; a reset at 16:05; the notification at 80%; the
    // break screen's styles; a stored message.
    const QList<std::pair<const char*, QStringList>> rows = {
        {"en_US",
         {"in 2 hr 15 min",
          "in 1 day 4 hr",
          "in 3 days",
          "1 day ago",
          "3 min ago",
          "in 3 hr",
          "in 1 min",
          "in under a minute",
          "just now",
          "just now",
          "1 day 2 hr ago",
          "in 3 days 2 hr",
          "3 days 2 hr ago",
          "2 hr 15 min ago",
          "3 hr ago",
          "1 minute",
          "1 hour 1 minute",
          "2 hours 5 minutes",
          "09:05",
          "PM",
          "Expected reset: 4:05 PM",
          "Codex usage reached 80%",
          "Photo, Motion, Minimal",
          "Codex is not installed."}},
        {"de_DE",
         {"in 2 Std. 15 Min.",
          "in 1 Tag 4 Std.",
          "in 3 Tagen",
          "vor 1 Tag",
          "vor 3 Min.",
          "in 3 Std.",
          "in 1 Min.",
          "in weniger als einer Minute",
          "gerade eben",
          "gerade eben",
          "vor 1 Tag 2 Std.",
          "in 3 Tagen 2 Std.",
          "vor 3 Tagen 2 Std.",
          "vor 2 Std. 15 Min.",
          "vor 3 Std.",
          "1 Minute",
          "1 Stunde 1 Minute",
          "2 Stunden 5 Minuten",
          "21:05",
          "",
          "Voraussichtliche Zurücksetzung: 16:05",
          "Codex: 80" + nbsp + "% des Kontingents genutzt",
          "Foto, Bewegung, Minimal",
          "Codex ist nicht installiert."}},
        {"fr_FR",
         {"dans 2 h 15 min",
          "dans 1 jour 4 h",
          "dans 3 jours",
          "il y a 1 jour",
          "il y a 3 min",
          "dans 3 h",
          "dans 1 min",
          "dans moins d\u2019une minute",
          "\u00e0 l\u2019instant",
          "\u00e0 l\u2019instant",
          "il y a 1 jour 2 h",
          "dans 3 jours 2 h",
          "il y a 3 jours 2 h",
          "il y a 2 h 15 min",
          "il y a 3 h",
          "1 minute",
          "1 heure 1 minute",
          "2 heures 5 minutes",
          "21:05",
          "",
          "Réinitialisation prévue" + nbsp + ": 16:05",
          "Codex" + nbsp + ": 80" + nbsp + "% du quota utilisés",
          "Photo, Mouvement, Minimal",
          "Codex n\u2019est pas installé."}},
    };
    const QStringList english = viewTexts();
    const QDateTime now = QDateTime::currentDateTimeUtc();
    const QDateTime evening(QDate(2026, 5, 1), QTime(21, 5)), reset(evening.addSecs(-5 * 3600));
    for (const auto& [locale, expected] : rows) {
        const Language language(locale);
        QStringList texts;
        for (const int seconds :
             {8130, 28 * 3600 + 60, 3 * 86400, -86400 - 30, -3 * 60 - 59, 3 * 3600, 60, 59, 0, -59,
              -26 * 3600, 3 * 86400 + 7230, -3 * 86400 - 7200, -8100, -3 * 3600}) {
            texts << relativeTimeText(now.addSecs(seconds), now);
        }
        for (const int minutes : {1, 61, 125}) {
            texts << BreakViewModel::resetCountdown(now.addSecs(minutes * 60), now);
        }
        const UsageSnapshot high = usage("codex", Availability::ready, 0.85, reset);
        const auto notification = usageNotification(usage("codex", Availability::ready, 0.5), high);
        texts << BreakViewModel::clockTime(evening) << BreakViewModel::meridiem(evening)
              << resetDescription(high) << (notification ? notification->title : "none")
              << SettingsViewModel::styleTitles().join(", ")
              << shownMessage(CodexUsageProvider::notInstalledMessage);
        EXPECT_EQ(texts, expected) << locale;
        if (QLatin1String(locale) == "de_DE") {
            const QStringList german = viewTexts();
            ASSERT_EQ(german.size(), english.size());
            for (qsizetype i = 0; i < english.size(); ++i) {
                if (english[i] != "Minimal") { // the same word in German
                    EXPECT_NE(german[i], english[i]);
                }
            }
        }
    }
}

} // namespace lumora::test
