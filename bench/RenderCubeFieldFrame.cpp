// Renders one frame of the cube field to a PNG file, to look at:
//   cubefield_frame --renderer fast|reference --size 1440x900 --phase 12.5 --output frame.png
// --date 2025-03-01T12:00:00Z takes the phase from a date instead; --phase 0 is the frozen frame.
#include "cubefield/CubeFieldRenderer.h"
#include "cubefield/CubeFieldRules.h"
#include "cubefield/ReferenceRenderer.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDateTime>
#include <QImage>
#include <QRegularExpression>
#include <QTextStream>

#include <cmath>

using namespace lumora::cubefield;

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    QTextStream err(stderr);
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Renders one frame of the ambient cube field."));
    parser.addHelpOption();
    const QCommandLineOption renderer(QStringLiteral("renderer"),
                                      QStringLiteral("fast (default) or reference."),
                                      QStringLiteral("name"), QStringLiteral("fast"));
    const QCommandLineOption size(QStringLiteral("size"),
                                  QStringLiteral("Canvas size, WIDTHxHEIGHT (default 1440x900)."),
                                  QStringLiteral("size"), QStringLiteral("1440x900"));
    const QCommandLineOption phase(QStringLiteral("phase"),
                                   QStringLiteral("Time phase in seconds (default 0)."),
                                   QStringLiteral("seconds"), QStringLiteral("0"));
    const QCommandLineOption date(QStringLiteral("date"),
                                  QStringLiteral("Frame date (ISO 8601), instead of --phase."),
                                  QStringLiteral("date"));
    const QCommandLineOption output(QStringLiteral("output"), QStringLiteral("PNG file to write."),
                                    QStringLiteral("file"));
    parser.addOptions({renderer, size, phase, date, output});
    parser.process(app);

    const auto sizeMatch =
        QRegularExpression(QStringLiteral("^(\\d{1,5})x(\\d{1,5})$")).match(parser.value(size));
    if (!sizeMatch.hasMatch()) {
        err << "cubefield_frame: --size must look like 1440x900\n";
        return 2;
    }
    const QSize canvas(sizeMatch.captured(1).toInt(), sizeMatch.captured(2).toInt());
    if (canvas.isEmpty() || canvas.width() > 16384 || canvas.height() > 16384) {
        err << "cubefield_frame: the size must be between 1x1 and 16384x16384\n";
        return 2;
    }
    bool phaseIsNumber = false;
    double framePhase = parser.value(phase).toDouble(&phaseIsNumber);
    if (parser.isSet(date)) {
        const QDateTime when = QDateTime::fromString(parser.value(date), Qt::ISODateWithMs);
        if (!when.isValid()) {
            err << "cubefield_frame: --date is not an ISO 8601 date\n";
            return 2;
        }
        framePhase = timePhase(when);
    } else if (!phaseIsNumber || !std::isfinite(framePhase)) {
        err << "cubefield_frame: --phase must be a number of seconds\n";
        return 2;
    }
    if (!parser.isSet(output)) {
        err << "cubefield_frame: --output is required\n";
        return 2;
    }

    QImage frame;
    if (parser.value(renderer) == QLatin1String("fast")) {
        frame = CubeFieldRenderer().render(canvas, framePhase);
    } else if (parser.value(renderer) == QLatin1String("reference")) {
        frame = renderReferenceFrame(canvas, framePhase);
    } else {
        err << "cubefield_frame: --renderer must be fast or reference\n";
        return 2;
    }
    if (!frame.save(parser.value(output), "PNG")) {
        err << "cubefield_frame: cannot write " << parser.value(output) << "\n";
        return 1;
    }
    return 0;
}
