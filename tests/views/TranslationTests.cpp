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

// Times (whole minutes), plurals, the clock at 21:05, a reset at 16:05, the notification at 80%,
// the styles and a stored message in each language; in German no text of the views stays English.
TEST(Translation, TextsTimesAndPluralsInEachLanguage) {
    const QString nb(QChar(0x00A0));
    const QStringList rows[] = {
        // English, German, French
        {"in 2 hr 15 min", "in 2 Std. 15 Min.", "dans 2 h 15 min"},
        {"in 1 day 4 hr", "in 1 Tag 4 Std.", "dans 1 jour 4 h"},
        {"in 3 days", "in 3 Tagen", "dans 3 jours"},
        {"1 day ago", "vor 1 Tag", "il y a 1 jour"},
        {"3 min ago", "vor 3 Min.", "il y a 3 min"},
        {"in 3 hr", "in 3 Std.", "dans 3 h"},
        {"in 1 min", "in 1 Min.", "dans 1 min"},
        {"in under a minute", "in weniger als einer Minute", "dans moins d\u2019une minute"},
        {"just now", "gerade eben", "\u00e0 l\u2019instant"},
        {"just now", "gerade eben", "\u00e0 l\u2019instant"},
        {"1 day 2 hr ago", "vor 1 Tag 2 Std.", "il y a 1 jour 2 h"},
        {"in 3 days 2 hr", "in 3 Tagen 2 Std.", "dans 3 jours 2 h"},
        {"3 days 2 hr ago", "vor 3 Tagen 2 Std.", "il y a 3 jours 2 h"},
        {"2 hr 15 min ago", "vor 2 Std. 15 Min.", "il y a 2 h 15 min"},
        {"3 hr ago", "vor 3 Std.", "il y a 3 h"},
        {"1 minute", "1 Minute", "1 minute"},
        {"1 hour 1 minute", "1 Stunde 1 Minute", "1 heure 1 minute"},
        {"2 hours 5 minutes", "2 Stunden 5 Minuten", "2 heures 5 minutes"},
        {"09:05", "21:05", "21:05"},
        {"PM", "", ""},
        {"Expected reset: 4:05 PM", "Voraussichtliche Zurücksetzung: 16:05",
         "Réinitialisation prévue" + nb + ": 16:05"},
        {"Codex usage reached 80%", "Codex: 80" + nb + "% des Kontingents genutzt",
         "Codex" + nb + ": 80" + nb + "% du quota utilisés"},
        {"Photo, Motion, Minimal", "Foto, Bewegung, Minimal", "Photo, Mouvement, Minimal"},
        {"Codex is not installed.", "Codex ist nicht installiert.",
         "Codex n\u2019est pas installé."}};
    const auto viewTexts = [] { // the texts of the views' rules, in every state that shows one
        using State = ProviderConnectionState;
        using K = UsageWindow::Kind;
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
        return all << ProviderCardModel::percentSuffix() << ProviderCardModel::staleTitle()
                   << ProviderCardModel::staleDetail() << ProviderCardModel::privacyLine()
                   << ProviderCardModel::dragToolTip() << PopoverViewModel::subtitle()
                   << PopoverViewModel::refreshToolTip() << PopoverViewModel::breakTitle()
                   << PopoverViewModel::settingsToolTip() << PopoverViewModel::quitToolTip()
                   << BreakViewModel::resetsInTitle() << BreakViewModel::resetTimeUnavailable()
                   << SettingsViewModel::styleTitles() << SettingsViewModel::privacyLines()
                   << SettingsViewModel::styleDescription(BreakScreenStyle::photo)
                   << SettingsViewModel::styleDescription(BreakScreenStyle::motion)
                   << SettingsViewModel::styleDescription(BreakScreenStyle::minimal)
                   << usageWindowLabel(K::session) << usageWindowLabel(K::daily)
                   << usageWindowLabel(K::weekly) << usageWindowLabel(K::monthly)
                   << usageWindowLabel(K::credits);
    };
    const QStringList english = viewTexts();
    const QDateTime now = QDateTime::currentDateTimeUtc();
    const QDateTime evening(QDate(2026, 5, 1), QTime(21, 5)), reset(evening.addSecs(-5 * 3600));
    for (const int column : {0, 1, 2}) {
        const char* locale = std::array{"en_US", "de_DE", "fr_FR"}[column];
        const Language language(locale);
        QStringList texts, expected;
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
        for (const QStringList& row : rows) {
            expected << row[column];
        }
        EXPECT_EQ(texts, expected) << locale;
        const QStringList translated = viewTexts();
        for (qsizetype i = 0; column == 1 && i < english.size(); ++i) {
            EXPECT_TRUE(translated[i] != english[i] || english[i] == "Minimal")
                << english[i].toStdString();
        }
    }
}

} // namespace lumora::test
