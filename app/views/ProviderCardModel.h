#pragma once

#include "core/LocaleFormats.h"
#include "core/UsageSnapshot.h"
#include "model/ProviderConnectionState.h"

#include <QDateTime>
#include <QLocale>
#include <QObject>
#include <QPointF>
#include <QString>
#include <QVariantList>
#include <QtQml/qqmlregistration.h>

namespace lumora {

class AppModel;

// What one provider's card in the popover shows, worked out from the model at a given moment:
// its header (name, the show-in-panel switch), then either its usage (the share left of the
// main window, a bar and the reset time), "Usage needs sync" for an old snapshot, a plain status
// message, or the connection step that is still missing with the button that takes it.
class ProviderCardModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Cards belong to the popover's view model.")
    Q_PROPERTY(QString providerID READ providerID CONSTANT)
    Q_PROPERTY(bool isEmpty READ isEmpty CONSTANT)
    Q_PROPERTY(QString providerName READ providerName NOTIFY changed)
    Q_PROPERTY(Block block READ block NOTIFY changed)
    Q_PROPERTY(bool showsSwitch READ showsSwitch NOTIFY changed)
    Q_PROPERTY(bool showInMenuBar READ showInMenuBar WRITE setShowInMenuBar NOTIFY changed)
    Q_PROPERTY(QString switchLabel READ switchLabel NOTIFY changed)
    Q_PROPERTY(QString percentageText READ percentageText NOTIFY changed)
    Q_PROPERTY(double barValue READ barValue NOTIFY changed)
    Q_PROPERTY(Tint tint READ tint NOTIFY changed)
    Q_PROPERTY(QString windowLabel READ windowLabel NOTIFY changed)
    Q_PROPERTY(QString resetText READ resetText NOTIFY changed)
    // The main window's used share since it began, and where the pace takes it (Sparkline).
    Q_PROPERTY(QVariantList sparklinePoints READ sparklinePoints NOTIFY changed)
    Q_PROPERTY(QVariantList sparklineProjection READ sparklineProjection NOTIFY changed)
    Q_PROPERTY(QString paceText READ paceText NOTIFY changed)
    // The pace runs out before the reset: the projection and the pace line are tinted.
    Q_PROPERTY(bool paceWarns READ paceWarns NOTIFY changed)
    Q_PROPERTY(QString weeklyText READ weeklyText NOTIFY changed)
    Q_PROPERTY(QString statusText READ statusText NOTIFY changed)
    Q_PROPERTY(QString lastUpdateText READ lastUpdateText NOTIFY changed)
    Q_PROPERTY(QString connectionMessage READ connectionMessage NOTIFY changed)
    Q_PROPERTY(bool showsPrivacyLine READ showsPrivacyLine NOTIFY changed)
    Q_PROPERTY(bool connectionBusy READ connectionBusy NOTIFY changed)
    Q_PROPERTY(QString connectionButtonTitle READ connectionButtonTitle NOTIFY changed)
    Q_PROPERTY(QString compactRemainingText READ compactRemainingText NOTIFY changed)
    // The whole card as one sentence for screen readers, and how to move it by keyboard.
    Q_PROPERTY(QString spokenText READ spokenText NOTIFY changed)
    Q_PROPERTY(QString reorderHint READ reorderHint CONSTANT)
    Q_PROPERTY(bool dragged READ dragged NOTIFY draggedChanged)
    // How the card looks while it is being dragged: faded and a little smaller.
    Q_PROPERTY(qreal dragOpacity READ dragOpacity NOTIFY draggedChanged)
    Q_PROPERTY(qreal dragScale READ dragScale NOTIFY draggedChanged)
    Q_PROPERTY(QString percentSuffix READ percentSuffix CONSTANT)
    Q_PROPERTY(QString staleTitle READ staleTitle CONSTANT)
    Q_PROPERTY(QString staleDetail READ staleDetail CONSTANT)
    Q_PROPERTY(QString privacyLine READ privacyLine CONSTANT)
    Q_PROPERTY(QString dragToolTip READ dragToolTip CONSTANT)

public:
    // Which block follows the card's header. (Capitalised: QML reads enumerators by name.)
    enum class Block { Usage, Stale, Message, Connection };
    Q_ENUM(Block)
    // The bar's colour: red at the limit, orange at a fifth or less, else the accent colour.
    enum class Tint { Red, Orange, Accent };
    Q_ENUM(Tint)

    // A card for an id that is not one of the providers is empty: it shows nothing.
    ProviderCardModel(AppModel* model, QString providerID, QObject* parent = nullptr);

    // Reads the model again as of `now`; `changed` follows when anything shown differs.
    void update(const QDateTime& now);
    void setDragged(bool dragged);

    const QString& providerID() const { return m_providerID; }
    bool isEmpty() const { return !isClaude() && !isCodex(); }
    const QString& providerName() const { return m_content.providerName; }
    Block block() const { return m_content.block; }
    bool showsSwitch() const { return m_content.showsSwitch; }
    bool showInMenuBar() const { return m_content.showInMenuBar; }
    void setShowInMenuBar(bool shown);
    const QString& switchLabel() const { return m_content.switchLabel; }
    const QString& percentageText() const { return m_content.percentageText; }
    double barValue() const { return m_content.barValue; }
    Tint tint() const { return m_content.tint; }
    const QString& windowLabel() const { return m_content.windowLabel; }
    // "Resets in 2 hr 15 min"; empty when the window has no reset time.
    const QString& resetText() const { return m_content.resetText; }
    QVariantList sparklinePoints() const;
    QVariantList sparklineProjection() const;
    // "At this pace: limit in 1 hr 20 min"; empty without a kept history.
    const QString& paceText() const { return m_content.paceText; }
    bool paceWarns() const { return m_content.paceWarns; }
    // "Weekly 64% left · resets Mon 09:00" when a weekly window is reported beside the main one.
    const QString& weeklyText() const { return m_content.weeklyText; }
    static QString weeklyText(const UsageSnapshot& snapshot, const QDateTime& now,
                              const QLocale& locale = timeLocale());
    const QString& statusText() const { return m_content.statusText; }
    const QString& lastUpdateText() const { return m_content.lastUpdateText; }
    const QString& connectionMessage() const { return m_content.connectionMessage; }
    bool showsPrivacyLine() const { return m_content.showsPrivacyLine; }
    bool connectionBusy() const { return m_content.connectionBusy; }
    const QString& connectionButtonTitle() const { return m_content.connectionButtonTitle; }
    const QString& compactRemainingText() const { return m_content.compactRemainingText; }
    // "Claude Code, 58 percent left, Session limit, resets in 2 hours 15 minutes".
    const QString& spokenText() const { return m_content.spokenText; }
    // A stretch of whole minutes as a screen reader says it: "2 hours 15 minutes", "1 day 4 hours".
    static QString spokenDuration(qint64 minutes);
    static QString reorderHint();
    bool dragged() const { return m_dragged; }
    qreal dragOpacity() const { return m_dragged ? 0.35 : 1.0; }
    qreal dragScale() const { return m_dragged ? 0.985 : 1.0; }

    static QString percentSuffix() { return tr("% left"); }
    static QString staleTitle() { return tr("Usage needs sync"); }
    static QString staleDetail();
    static QString privacyLine();
    static QString dragToolTip() { return tr("Drag to reorder"); }

    // The texts of the connection block, from the snapshot's provider and the state.
    static QString connectionMessage(const UsageSnapshot& snapshot,
                                     const ProviderConnectionState& state);
    static QString connectionButtonTitle(const UsageSnapshot& snapshot,
                                         const ProviderConnectionState& state);

    // The connection button: the continue-setup action while the user has something to do
    // elsewhere (install, sign in, enable sync), else a fresh readiness check; nothing while one
    // runs.
    Q_INVOKABLE void pressConnectionButton();

    // The card's drag handle and its drop area; the popover's view model does the reordering.
    Q_INVOKABLE void beginDrag() { emit dragBegun(m_providerID); }
    Q_INVOKABLE void dragEnter() { emit dragEntered(m_providerID); }
    Q_INVOKABLE void endDrag() { emit dragEnded(); }
    // A key pressed on the focused card: Alt+Up and Alt+Down move it one place (as a drag over
    // its neighbour does). Returns whether the key was one of those.
    Q_INVOKABLE bool moveByKey(int key, int modifiers);

signals:
    void changed();
    void draggedChanged();
    void dragBegun(const QString& providerID);
    void dragEntered(const QString& providerID);
    void dragEnded();
    void moveRequested(const QString& providerID, int step);

private:
    struct Content {
        QString providerName;
        Block block = Block::Connection;
        bool showsSwitch = false;
        bool showInMenuBar = false;
        QString switchLabel;
        QString percentageText;
        double barValue = 0;
        Tint tint = Tint::Accent;
        QString windowLabel;
        QString resetText;
        QList<QPointF> sparkline;
        QList<QPointF> projection;
        QString paceText;
        bool paceWarns = false;
        QString weeklyText;
        QString statusText;
        QString lastUpdateText;
        QString connectionMessage;
        bool showsPrivacyLine = false;
        bool connectionBusy = false;
        QString connectionButtonTitle;
        QString compactRemainingText;
        QString spokenText;
        bool operator==(const Content&) const = default;
    };
    struct Reading {
        UsageSnapshot snapshot;
        bool enabled;
        bool shownInMenuBar;
        ProviderConnectionState state;
    };
    Reading read() const;
    static QString spokenUsage(const Content& content, const std::optional<QDateTime>& resetsAt,
                               const QDateTime& now);
    bool isClaude() const;
    bool isCodex() const;

    AppModel* m_model;
    QString m_providerID;
    Content m_content;
    bool m_dragged = false;
};

} // namespace lumora
