#include "translations/Translations.h"

#include <QLibraryInfo>

namespace lumora {

std::unique_ptr<QTranslator> translatorFor(const QLocale& locale) {
    for (QString language : locale.uiLanguages()) {
        if (QLocale(language).language() == QLocale::English) {
            return nullptr;
        }
        auto translator = std::make_unique<QTranslator>();
        // "de-AT" tries lumora_de_AT.qm, then lumora_de.qm.
        language.replace(QLatin1Char('-'), QLatin1Char('_'));
        if (translator->load(QStringLiteral("lumora_") + language, QStringLiteral(":/i18n"),
                             QStringLiteral("_")) &&
            !translator->isEmpty()) {
            return translator;
        }
    }
    return nullptr;
}

void installTranslations(QCoreApplication& application) {
    std::unique_ptr<QTranslator> translator = translatorFor(QLocale::system());
    if (!translator) {
        return;
    }
    // Qt's own texts in the same language (the file dialog's buttons, for one), where Debian's
    // qt6-translations-l10n is installed.
    auto qt = std::make_unique<QTranslator>();
    if (qt->load(QLocale(translator->language()), QStringLiteral("qt"), QStringLiteral("_"),
                 QLibraryInfo::path(QLibraryInfo::TranslationsPath))) {
        QCoreApplication::installTranslator(qt.get());
        qt.release()->setParent(&application);
    }
    QCoreApplication::installTranslator(translator.get());
    translator.release()->setParent(&application);
}

} // namespace lumora
