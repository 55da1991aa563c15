#pragma once

#include <QObject>

QT_BEGIN_NAMESPACE
class QWindow;
QT_END_NAMESPACE

namespace lumora {

class AppModel;

// The settings window "Lumora Settings": created on first use and reused for the life of the
// process.
class SettingsWindow : public QObject {
    Q_OBJECT

public:
    explicit SettingsWindow(AppModel* model, QObject* parent = nullptr);
    ~SettingsWindow() override;

    // Creates the window the first time, shows it and brings it to the front.
    void show();
    void hide();
    // The window while it is on screen, else nullptr.
    QWindow* visibleWindow() const;

private:
    AppModel* m_model;
};

} // namespace lumora
