#pragma once

#include <QObject>
#include <QSize>
#include <QTimer>

#include <memory>

QT_BEGIN_NAMESPACE
class QQuickView;
class QQuickWindow;
class QWindow;
QT_END_NAMESPACE

namespace lumora {

class AppModel;
class AutostartEntry;
class SettingsViewModel;
class ViewEngine;

// The settings window "Lumora Settings": created on first use and reused; a while after the last
// of Lumora's windows closed its view goes (ViewEngine) and the next show makes it again. A normal
// titled window of a fixed size, kept above other windows. Closing it only hides it.
class SettingsWindow : public QObject {
    Q_OBJECT

public:
    // In English; shown through shownMessage.
    static inline const QString title =
        QStringLiteral(QT_TRANSLATE_NOOP("Messages", "Lumora Settings"));
    static constexpr QSize size{520, 520};
    // After this long the window is raised once more, so that focus moving away from a popover
    // that closes at the same moment does not leave it behind.
    static constexpr std::chrono::milliseconds raiseAgainAfter{120};

    // The start-at-login switch works on `autostart`: by default the current user's entry.
    explicit SettingsWindow(AppModel* model, QObject* parent = nullptr);
    SettingsWindow(AppModel* model, std::shared_ptr<AutostartEntry> autostart,
                   QObject* parent = nullptr);
    ~SettingsWindow() override;

    // Creates the window the first time, shows it on the current desktop and brings it to the
    // front, now and once more a moment later.
    void show();
    void hide();
    // The window while it is on screen, else nullptr.
    QWindow* visibleWindow() const;
    // The window while it exists (from a show until the views are let go), else nullptr.
    QQuickWindow* window() const;
    SettingsViewModel* viewModel() const { return m_viewModel; }

signals:
    // The window has just been brought to the front.
    void raised();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void create();
    void dropView();
    void bringToFront();

    AppModel* m_model;
    std::shared_ptr<AutostartEntry> m_autostart;
    SettingsViewModel* m_viewModel = nullptr;
    std::shared_ptr<ViewEngine> m_engine;
    std::unique_ptr<QQuickView> m_view;
    QTimer m_raiseAgain;
};

} // namespace lumora
