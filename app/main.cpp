#include "cli/CommandLine.h"

#include <QCoreApplication>
#include <QTextStream>

#include <cstdio>

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("Lumora"));
    QTextStream out(stdout);
    QTextStream err(stderr);
    return lumora::cli::run(QCoreApplication::arguments().mid(1), out, err);
}
