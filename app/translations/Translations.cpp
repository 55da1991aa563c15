#include "translations/Translations.h"

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
    if (std::unique_ptr<QTranslator> translator = translatorFor(QLocale::system())) {
        QCoreApplication::installTranslator(translator.get());
        translator.release()->setParent(&application);
    }
}

} // namespace lumora
