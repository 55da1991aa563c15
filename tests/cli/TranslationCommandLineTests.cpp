// The command line speaks the desktop's language: LANGUAGE, then LC_ALL, LC_MESSAGES and LANG,
// as the built lumora reads them at start.
#include "support/TestSupport.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace lumora::test {

TEST(TranslationCommandLine, HelpAndStatusFollowTheLanguageVariables) {
    const QTemporaryDir home;
    const QString nbsp(QChar(0x00A0));
    // LANGUAGE comes first, and English in it wins over a later language; LC_MESSAGES before
    // LANG; a country falls back to its language; a language without a translation is English.
    const struct {
        QList<QPair<QString, QString>> environment;
        QString help, status;
    } rows[] = {
        {{{"LANG", "en_US.UTF-8"}}, "Usage: lumora [COMMAND] [OPTIONS]", "No tool is shown."},
        {{{"LANG", "de_DE.UTF-8"}},
         "Aufruf: lumora [BEFEHL] [OPTIONEN]",
         "Kein Tool wird angezeigt."},
        {{{"LANG", "fr_FR.UTF-8"}},
         "Utilisation" + nbsp + ": lumora [COMMANDE] [OPTIONS]",
         "Aucun outil n\u2019est affich\u00e9."},
        {{{"LANG", "de_DE.UTF-8"}, {"LANGUAGE", "fr"}}, "Utilisation", "Aucun outil"},
        {{{"LANG", "de_DE.UTF-8"}, {"LANGUAGE", "en_GB:de"}}, "Usage: lumora", "No tool"},
        {{{"LANG", "de_AT.UTF-8"}}, "Aufruf", "Kein Tool"},
        {{{"LANG", "C.UTF-8"}, {"LC_MESSAGES", "de_DE.UTF-8"}}, "Aufruf", "Kein Tool"},
        {{{"LANG", "es_ES.UTF-8"}}, "Usage: lumora", "No tool is shown."},
    };
    for (const auto& row : rows) {
        const QString help = runLumora(home.path(), {"--help"}, row.environment).out;
        const QString status =
            QJsonDocument::fromJson(
                runLumora(home.path(), {"status", "--waybar"}, row.environment).out.toUtf8())
                .object()["tooltip"]
                .toString();
        EXPECT_EQ(help.left(row.help.size()), row.help);
        EXPECT_EQ(status.left(row.status.size()), row.status);
    }
}

} // namespace lumora::test
