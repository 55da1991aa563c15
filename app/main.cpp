#include <QCoreApplication>
#include <QTextStream>

#include "core/BuildInfo.h"

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    QTextStream(stdout) << "Lumora " << lumora::buildinfo::version << "\n";
    return 0;
}
