#pragma once

#include "views/ProviderCardModel.h"

#include <QAbstractListModel>
#include <QDateTime>
#include <QObject>
#include <QStringList>
#include <QTimer>
#include <QtQml/qqmlregistration.h>

#include <functional>

namespace lumora {

class AppModel;

// The popover's provider list: one row per entry of the provider order, in order, with the card
// of that provider (an empty card for an id the popover does not know) and whether a
// divider follows it (between cards only). Two entries changing places is reported as a move,
// so that the views keep their items and can animate the exchange.
class PopoverEntries : public QAbstractListModel {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Entries belong to the popover's view model.")

public:
    enum Role { CardRole = Qt::UserRole + 1, ProviderIDRole, ShowsDividerRole };

    explicit PopoverEntries(std::function<ProviderCardModel*(const QString&)> cardFor,
                            QObject* parent = nullptr);

    void setOrder(const QStringList& order);
    const QStringList& order() const { return m_order; }

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

private:
    std::function<ProviderCardModel*(const QString&)> m_cardFor;
    QStringList m_order;
};

// Everything the popover shows and does, for the QML view: the header (update offer, refresh),
// the provider cards in the user's order, the action row, and dragging cards to reorder them.
// Time-dependent texts are worked out against `now`, which a timer advances only while the
// popover is visible (setActive).
class PopoverViewModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Made by the popover window.")
    Q_PROPERTY(lumora::PopoverEntries* entries READ entries CONSTANT)
    Q_PROPERTY(bool isRefreshing READ isRefreshing NOTIFY changed)
    // What a screen reader adds to the Refresh button: "Refreshing" while one runs.
    Q_PROPERTY(QString refreshState READ refreshState NOTIFY changed)
    Q_PROPERTY(bool showsUpdate READ showsUpdate NOTIFY changed)
    Q_PROPERTY(QString updateToolTip READ updateToolTip NOTIFY changed)
    Q_PROPERTY(QString draggedProviderID READ draggedProviderID NOTIFY draggedProviderIDChanged)
    Q_PROPERTY(QString title READ title CONSTANT)
    Q_PROPERTY(QString subtitle READ subtitle CONSTANT)
    Q_PROPERTY(QString updateTitle READ updateTitle CONSTANT)
    Q_PROPERTY(QString refreshToolTip READ refreshToolTip CONSTANT)
    Q_PROPERTY(QString breakTitle READ breakTitle CONSTANT)
    Q_PROPERTY(QString settingsToolTip READ settingsToolTip CONSTANT)
    Q_PROPERTY(QString quitToolTip READ quitToolTip CONSTANT)

public:
    explicit PopoverViewModel(AppModel* model, QObject* parent = nullptr);

    PopoverEntries* entries() { return &m_entries; }
    // The card of a provider id; none for an id the popover does not know.
    ProviderCardModel* card(const QString& providerID);

    bool isRefreshing() const;
    QString refreshState() const;
    bool showsUpdate() const;
    QString updateToolTip() const;
    const QString& draggedProviderID() const { return m_draggedProviderID; }

    static QString title() { return QStringLiteral("LUMORA"); }
    static QString subtitle() { return tr("AI usage at a glance"); }
    static QString updateTitle() { return tr("Update"); }
    static QString refreshToolTip() { return tr("Refresh"); }
    static QString breakTitle() { return tr("Break"); }
    static QString settingsToolTip() { return tr("Settings"); }
    static QString quitToolTip() { return tr("Quit Lumora"); }

    // While active the cards' relative times and staleness follow the clock; while inactive
    // nothing runs. Activating re-reads everything at once.
    void setActive(bool active);
    bool isActive() const { return m_timer.isActive(); }
    // Where the current time comes from (tests fix it); re-reads the cards.
    void setClock(std::function<QDateTime()> clock);
    QDateTime now() const { return m_clock(); }

    // The header's buttons.
    Q_INVOKABLE void refresh();
    Q_INVOKABLE void openUpdate();
    // The action row: the break closes the popover first; settings and quit are the window's.
    Q_INVOKABLE void startBreak();
    Q_INVOKABLE void openSettings();
    Q_INVOKABLE void quit();

    // Dragging a card by its handle: entering another card exchanges the two at once (the
    // dragged id stays, so a drag on across several cards moves step by step); the drop ends it.
    Q_INVOKABLE void beginDrag(const QString& providerID);
    Q_INVOKABLE void dragEntered(const QString& targetProviderID);
    Q_INVOKABLE void endDrag();
    // Moves a card one place up (-1) or down (+1) in the provider order, as a drag over its
    // neighbour does; nothing at either end.
    void moveCard(const QString& providerID, int step);
    // Escape: the popover closes.
    Q_INVOKABLE void dismiss();

signals:
    void changed();
    void draggedProviderIDChanged();
    void closeRequested();
    void settingsRequested();
    void quitRequested();

private:
    void updateCards();
    void setDraggedProviderID(const QString& providerID);

    AppModel* m_model;
    ProviderCardModel m_codexCard;
    ProviderCardModel m_claudeCard;
    ProviderCardModel m_emptyCard;
    PopoverEntries m_entries;
    QString m_draggedProviderID;
    QTimer m_timer;
    std::function<QDateTime()> m_clock;
};

} // namespace lumora
