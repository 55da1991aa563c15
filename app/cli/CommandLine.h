#pragma once

#include <QStringList>
#include <QTextStream>

namespace lumora::cli {

// Runs one command-line invocation. `arguments` are the words after the program name. Returns
// the process exit code: 0 success, 1 failure, 2 wrong usage.
int run(const QStringList& arguments, QTextStream& out, QTextStream& err);

QString usageText();

} // namespace lumora::cli
