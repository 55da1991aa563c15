#pragma once

#include <QDateTime>
#include <QString>

namespace lumora {

// A moment described from `now` in short natural words, for "Resets …" and "Last update: …":
// "in 2 hr 15 min", "3 min ago", "in 1 day 4 hr", "just now", "in under a minute", in the
// user's language. Whole minutes, counted down (2 min 59 s is "2 min"); the text changes at most
// once a minute.
QString relativeTimeText(const QDateTime& moment, const QDateTime& now);

} // namespace lumora
