#pragma once

#include <QCoreApplication>
#include <QString>

namespace lumora {

// Texts the user sees that travel as English values (a snapshot's status message kept in the
// cache files and compared by the model, an error's description) are marked where they arise,
// as QT_TRANSLATE_NOOP("Messages", "…"), and translated where they are shown. Texts with
// values in them are translated where they are made, with the same context; shownMessage leaves
// those, and anything else it does not know, as they are.
inline QString shownMessage(const QString& english) {
    return QCoreApplication::translate("Messages", english.toUtf8().constData());
}

} // namespace lumora
