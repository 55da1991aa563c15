// Lumora in English, German and French: the texts that are easy to get wrong in one table, and
// the popover, the settings and the break screen in German and French as PNGs to look at after a
// change of a text (build/bin/screenshots/*-de*.png, *-fr*.png): German texts are long, and
// nothing may be clipped or overlap.
#include "SettingsTestSupport.h"

#include "core/CodexUsageProvider.h"
#include "core/Messages.h"
#include "core/RelativeTime.h"
#include "core/UsageWindowLabel.h"
#include "model/UsageNotifications.h"
#include "translations/Translations.h"
#include "views/BreakViewModel.h"
#include "views/BreakWindows.h"
#include "views/PopoverViewModel.h"
#include "views/PopoverWindow.h"
#include "views/ProviderCardModel.h"

#include <QQuickView>

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

// Lumora in the language of `locale` while it exists, as the application sets it up.
struct Language {
    explicit Language(const char* locale) : translator(translatorFor(QLocale(locale))) {
        if (translator) {
            QCoreApplication::installTranslator(translator.get());
        }
        QLocale::setDefault(QLocale(locale));
    }
    ~Language() { QLocale::setDefault(QLocale::system()); }
    std::unique_ptr<QTranslator> translator;
};

} // namespace

// The table also fails when a text of the views is not marked for translation: in German none may
// stay English.
TEST(Translation, TextsTimesAndPluralsInEachLanguage) {
    const QString nbsp(QChar(0x00A0));
    // In 2 hr 15 min, in 1 day 4 hr, in 3 days, 1 day ago, 3 min ago; 1, 61 and 125 minutes to a
    // reset; the clock and its AM/PM at 21:05; a reset at 16:05; the notification at 80%; the
    // break screen's styles; a stored message.
    const QList<std::pair<const char*, QStringList>> rows = {
        {"en_US",
         {"in 2 hr 15 min", "in 1 day 4 hr", "in 3 days", "1 day ago", "3 min ago", "1 minute",
          "1 hour 1 minute", "2 hours 5 minutes", "09:05", "PM", "Expected reset: 4:05 PM",
          "Codex usage reached 80%", "Photo, Motion, Minimal", "Codex is not installed."}},
        {"de_DE",
         {"in 2 Std. 15 Min.", "in 1 Tag 4 Std.", "in 3 Tagen", "vor 1 Tag", "vor 3 Min.",
          "1 Minute", "1 Stunde 1 Minute", "2 Stunden 5 Minuten", "21:05", "",
          "Voraussichtliche Zurücksetzung: 16:05", "Codex: 80" + nbsp + "% des Kontingents genutzt",
          "Foto, Bewegung, Minimal", "Codex ist nicht installiert."}},
        {"fr_FR",
         {"dans 2 h 15 min", "dans 1 jour 4 h", "dans 3 jours", "il y a 1 jour", "il y a 3 min",
          "1 minute", "1 heure 1 minute", "2 heures 5 minutes", "21:05", "",
          "Réinitialisation prévue" + nbsp + ": 16:05",
          "Codex" + nbsp + ": 80" + nbsp + "% du quota utilisés", "Photo, Mouvement, Minimal",
          "Codex n\u2019est pas installé."}},
    };
    const QStringList english = viewTexts();
    const QDateTime now = QDateTime::currentDateTimeUtc();
    const QDateTime evening(QDate(2026, 5, 1), QTime(21, 5)), reset(evening.addSecs(-5 * 3600));
    for (const auto& [locale, expected] : rows) {
        const Language language(locale);
        QStringList texts;
        for (const int seconds : {8130, 28 * 3600 + 60, 3 * 86400, -86400 - 30, -3 * 60 - 59}) {
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

class TranslationScreenshots : public SettingsWindowTest,
                               public ::testing::WithParamInterface<const char*> {};

TEST_P(TranslationScreenshots, PopoverSettingsAndBreakScreen) {
    const Language language(GetParam());
    const QString code = QString::fromLatin1(GetParam()).left(2);
    const QDateTime now = QDateTime::currentDateTimeUtc();
    UsageSnapshot codex = usage("codex", Availability::ready, 0.07, now.addSecs(3 * 86400 + 600));
    codex.windows.append({UsageWindow::Kind::weekly, 0.36, now.addSecs(4 * 86400)});
    harness.storePreference("providerEnabled", true);
    harness.storePreference("codexEnabled", true);
    harness.codex->script->setSnapshot(codex);
    harness.claude->script->setSnapshot(
        usage("claude-code", Availability::limited, 0.86, now.addSecs(8130)));
    open();
    ASSERT_TRUE(waitFor(model->refresh(false)));
    screenshot(code + "-break-screen", "styleDescription"); // the longest texts

    PopoverWindow popover(model.get());
    popover.show(QPoint(0, 0));
    model->preferences()->setBreakScreenStyle(BreakScreenStyle::minimal);
    BreakWindows breakScreen(model.get());
    breakScreen.show();
    ASSERT_TRUE(waitUntil([&] {
        return popover.window()->isExposed() && breakScreen.textWindow() &&
               breakScreen.textWindow()->isExposed();
    }));
    // Animations (bars, opacity) come to rest first.
    settle();
    const QDateTime until = QDateTime::currentDateTimeUtc().addMSecs(400);
    waitUntil([&] { return QDateTime::currentDateTimeUtc() >= until; });
    const QString folder = screenshotFolder("languages") + "/";
    for (const auto& [view, name] : {std::pair<QQuickWindow*, QString>{popover.window(), "popover"},
                                     {breakScreen.textWindow(), "break"}}) {
        EXPECT_TRUE(saveScreenshot(*view, folder + name + "-" + code + ".png"));
    }
}

INSTANTIATE_TEST_SUITE_P(Languages, TranslationScreenshots, ::testing::Values("de_DE", "fr_FR"));

} // namespace lumora::test
