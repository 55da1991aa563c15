#pragma once

#include <QObject>

namespace lumora {

class AppModel;

// The break screen: one frameless full-screen window per screen, created on the first break and
// kept for the life of the process.
class BreakWindows : public QObject {
    Q_OBJECT

public:
    explicit BreakWindows(AppModel* model, QObject* parent = nullptr);
    ~BreakWindows() override;

    // Starts a break, or brings a running one to the front.
    void show();
    // Ends the break on every screen.
    void end();
    bool isShown() const { return m_shown; }

signals:
    void shownChanged();

private:
    AppModel* m_model;
    bool m_shown = false;
};

} // namespace lumora
