#include "model/BreakBackgroundPhoto.h"

#include "core/AtomicFile.h"
#include "core/DataFolder.h"
#include "core/Errors.h"

#include <QFile>
#include <QFileInfo>
#include <QPointer>

namespace lumora {
namespace {

QImage decodeImage(const std::optional<QByteArray>& bytes) {
    return bytes ? QImage::fromData(*bytes) : QImage();
}

} // namespace

QString BreakBackgroundPhoto::breakBackgroundImageURL(const QString& homeDirectory) {
    return dataFolder(homeDirectory) + QStringLiteral("/break-background-image");
}

BreakBackgroundPhoto::BreakBackgroundPhoto(QString imagePath, AppPreferences* preferences,
                                           std::shared_ptr<ImageChooser> chooser,
                                           std::shared_ptr<WindowPresentation> windows,
                                           QObject* parent)
    : QObject(parent), m_imagePath(std::move(imagePath)), m_preferences(preferences),
      m_chooser(std::move(chooser)), m_windows(std::move(windows)),
      m_image(decodeImage(readWholeFile(m_imagePath, maximumFileSize))) {}

void BreakBackgroundPhoto::chooseBreakBackgroundImage() {
    QPointer<BreakBackgroundPhoto> self(this);
    m_chooser->chooseImage(m_windows->visibleSettingsWindow(), [self](const QString& path) {
        if (self) {
            self->importBreakBackgroundImage(path);
        }
    });
}

void BreakBackgroundPhoto::importBreakBackgroundImage(const QString& path) {
    const auto bytes = readWholeFile(path, maximumFileSize);
    QImage image = decodeImage(bytes);
    if (image.isNull()) {
        setErrorMessage(unusablePhotoMessage);
        return;
    }
    try {
        createFolders(QFileInfo(m_imagePath).absolutePath(), 0700);
        writeFileAtomically(m_imagePath, *bytes);
    } catch (const Error&) {
        setErrorMessage(unusablePhotoMessage);
        return;
    }
    setImage(std::move(image));
    setErrorMessage(std::nullopt);
    m_preferences->setBreakScreenStyle(BreakScreenStyle::photo);
}

void BreakBackgroundPhoto::removeBreakBackgroundImage() {
    QFile::remove(m_imagePath); // nothing to remove is fine
    setImage(QImage());
    setErrorMessage(std::nullopt);
    if (m_preferences->breakScreenStyle() == BreakScreenStyle::photo) {
        m_preferences->setBreakScreenStyle(BreakScreenStyle::minimal);
    }
}

void BreakBackgroundPhoto::setImage(QImage image) {
    if (image.isNull() && m_image.isNull()) {
        return;
    }
    m_image = std::move(image);
    emit breakBackgroundImageChanged();
}

void BreakBackgroundPhoto::setErrorMessage(std::optional<QString> message) {
    if (m_errorMessage != message) {
        m_errorMessage = std::move(message);
        emit breakBackgroundErrorMessageChanged();
    }
}

} // namespace lumora
