#pragma once

#include "translations/Translations.h"

#include <QLocale>
#include <QTranslator>

#include <memory>

namespace lumora::test {

// Lumora in the language of `locale`, with its times, for the life of the object: its translator
// installed and the locale made the default, as the application does from the desktop's locale.
class Language {
public:
    explicit Language(const QLocale& locale) : m_translator(translatorFor(locale)) {
        if (m_translator) {
            QCoreApplication::installTranslator(m_translator.get());
        }
        QLocale::setDefault(locale);
    }
    ~Language() { QLocale::setDefault(QLocale::system()); }
    Language(const Language&) = delete;
    Language& operator=(const Language&) = delete;

private:
    std::unique_ptr<QTranslator> m_translator;
};

} // namespace lumora::test
