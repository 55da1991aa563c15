#pragma once

#include "model/AppPreferences.h"
#include "platform/DesktopServices.h"

#include <QImage>
#include <QObject>
#include <QString>

#include <memory>
#include <optional>

namespace lumora {

// The user's photo behind the break screen. The chosen file's bytes are copied unchanged into
// Lumora's data folder ("break-background-image", whatever the format) and decoded from there at
// every start.
class BreakBackgroundPhoto : public QObject {
    Q_OBJECT
    Q_PROPERTY(
        QImage breakBackgroundImage READ breakBackgroundImage NOTIFY breakBackgroundImageChanged)
    Q_PROPERTY(bool hasBreakBackgroundImage READ hasBreakBackgroundImage NOTIFY
                   breakBackgroundImageChanged)
    // Empty while there is nothing to say.
    Q_PROPERTY(QString breakBackgroundErrorMessage READ breakBackgroundErrorMessage NOTIFY
                   breakBackgroundErrorMessageChanged)

public:
    static inline const QString unusablePhotoMessage = QStringLiteral(QT_TRANSLATE_NOOP(
        "Messages", "That photo could not be used. Please choose another image."));
    // Larger files are refused rather than read into memory.
    static constexpr qint64 maximumFileSize = 256 * 1024 * 1024;

    // The stored photo of a home folder: the data folder + "/break-background-image".
    static QString breakBackgroundImageURL(const QString& homeDirectory);

    // Decodes the stored photo, if any; a missing or undecodable file gives no image.
    BreakBackgroundPhoto(QString imagePath, AppPreferences* preferences,
                         std::shared_ptr<ImageChooser> chooser,
                         std::shared_ptr<WindowPresentation> windows, QObject* parent = nullptr);

    const QString& imagePath() const { return m_imagePath; }
    const QImage& breakBackgroundImage() const { return m_image; }
    bool hasBreakBackgroundImage() const { return !m_image.isNull(); }
    QString breakBackgroundErrorMessage() const { return m_errorMessage.value_or(QString()); }

    // Opens the file dialog, over the settings window when it is shown; a chosen file is
    // imported.
    void chooseBreakBackgroundImage();
    // Copies the image file in and selects the photo style. A file that cannot be read, decoded
    // or stored leaves photo, image and style as they were and sets the error message.
    void importBreakBackgroundImage(const QString& path);
    // Deletes the stored photo; the photo style falls back to minimal.
    void removeBreakBackgroundImage();

signals:
    void breakBackgroundImageChanged();
    void breakBackgroundErrorMessageChanged();

private:
    void setImage(QImage image);
    void setErrorMessage(std::optional<QString> message);

    QString m_imagePath;
    AppPreferences* m_preferences;
    std::shared_ptr<ImageChooser> m_chooser;
    std::shared_ptr<WindowPresentation> m_windows;
    QImage m_image;
    std::optional<QString> m_errorMessage;
};

} // namespace lumora
