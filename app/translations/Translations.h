#pragma once

#include <QCoreApplication>
#include <QLocale>
#include <QTranslator>

#include <memory>

namespace lumora {

// Lumora's texts in the first language of `locale` that it speaks, or null when that is English
// (the source texts are English) or none at all. The system locale's languages come from
// LANGUAGE, then LC_ALL, LC_MESSAGES and LANG. Install it with
// QCoreApplication::installTranslator; it takes itself out again when deleted.
std::unique_ptr<QTranslator> translatorFor(const QLocale& locale);

// Installs the translator for the desktop's locale into `application`, which keeps it.
void installTranslations(QCoreApplication& application);

} // namespace lumora
