#include "views/PopoverViewModel.h"

#include "model/AppModel.h"

namespace lumora {

PopoverEntries::PopoverEntries(std::function<ProviderCardModel*(const QString&)> cardFor,
                               QObject* parent)
    : QAbstractListModel(parent), m_cardFor(std::move(cardFor)) {}

void PopoverEntries::setOrder(const QStringList& order) {
    if (order == m_order) {
        return;
    }
    QList<int> differing;
    if (order.size() == m_order.size()) {
        for (int index = 0; index < order.size(); ++index) {
            if (order[index] != m_order[index]) {
                differing.append(index);
            }
        }
    }
    const bool swapped = differing.size() == 2 && order[differing[0]] == m_order[differing[1]] &&
                         order[differing[1]] == m_order[differing[0]];
    if (!swapped) {
        beginResetModel();
        m_order = order;
        endResetModel();
        return;
    }
    // An exchange of rows a < b: b moves up to a, then what was at a moves down to b.
    const int first = differing[0];
    const int second = differing[1];
    beginMoveRows({}, second, second, {}, first);
    m_order.move(second, first);
    endMoveRows();
    if (second - first > 1) {
        beginMoveRows({}, first + 1, first + 1, {}, second + 1);
        m_order.move(first + 1, second);
        endMoveRows();
    }
    // Whether a divider follows belongs to the place, not to the card that moved there.
    emit dataChanged(index(0), index(static_cast<int>(m_order.size()) - 1), {ShowsDividerRole});
}

int PopoverEntries::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(m_order.size());
}

QVariant PopoverEntries::data(const QModelIndex& index, int role) const {
    if (!index.isValid() || index.row() >= m_order.size()) {
        return {};
    }
    switch (role) {
    case CardRole:
        return QVariant::fromValue(m_cardFor(m_order[index.row()]));
    case ProviderIDRole:
        return m_order[index.row()];
    case ShowsDividerRole:
        return index.row() < m_order.size() - 1;
    default:
        return {};
    }
}

QHash<int, QByteArray> PopoverEntries::roleNames() const {
    return {{CardRole, "card"}, {ProviderIDRole, "providerID"}, {ShowsDividerRole, "showsDivider"}};
}

PopoverViewModel::PopoverViewModel(AppModel* model, QObject* parent)
    : QObject(parent), m_model(model), m_codexCard(model, providers::codexID),
      m_claudeCard(model, providers::claudeCodeID), m_emptyCard(model, QString()),
      m_entries([this](const QString& providerID) {
          ProviderCardModel* found = card(providerID);
          return found ? found : &m_emptyCard;
      }),
      m_clock([] { return QDateTime::currentDateTimeUtc(); }) {
    // Relative times change once a minute and staleness to the second.
    m_timer.setInterval(1000);
    connect(&m_timer, &QTimer::timeout, this, &PopoverViewModel::updateCards);
    connect(m_model, &AppModel::changed, this, [this] {
        m_entries.setOrder(m_model->preferences()->providerOrder());
        updateCards();
        emit changed();
    });
    for (ProviderCardModel* each : {&m_codexCard, &m_claudeCard}) {
        connect(each, &ProviderCardModel::dragBegun, this, &PopoverViewModel::beginDrag);
        connect(each, &ProviderCardModel::dragEntered, this, &PopoverViewModel::dragEntered);
        connect(each, &ProviderCardModel::dragEnded, this, &PopoverViewModel::endDrag);
        connect(each, &ProviderCardModel::moveRequested, this, &PopoverViewModel::moveCard);
    }
    m_entries.setOrder(m_model->preferences()->providerOrder());
    updateCards();
}

ProviderCardModel* PopoverViewModel::card(const QString& providerID) {
    if (providerID == providers::codexID) {
        return &m_codexCard;
    }
    if (providerID == providers::claudeCodeID) {
        return &m_claudeCard;
    }
    return nullptr;
}

bool PopoverViewModel::isRefreshing() const {
    return m_model->isRefreshing();
}

QString PopoverViewModel::refreshState() const {
    return isRefreshing() ? tr("Refreshing") : QString();
}

bool PopoverViewModel::showsUpdate() const {
    return m_model->updates()->hasAvailableUpdate();
}

QString PopoverViewModel::updateToolTip() const {
    return tr("Download Lumora %1").arg(m_model->updates()->availableUpdateVersion());
}

void PopoverViewModel::setActive(bool active) {
    if (active) {
        updateCards();
        m_timer.start();
    } else {
        m_timer.stop();
    }
}

void PopoverViewModel::setClock(std::function<QDateTime()> clock) {
    m_clock = std::move(clock);
    updateCards();
}

void PopoverViewModel::updateCards() {
    const QDateTime now = m_clock();
    m_codexCard.update(now);
    m_claudeCard.update(now);
}

void PopoverViewModel::refresh() {
    m_model->refresh(true);
}

void PopoverViewModel::openUpdate() {
    m_model->openAvailableUpdate();
}

void PopoverViewModel::startBreak() {
    emit closeRequested();
    m_model->showBreakWindow();
}

void PopoverViewModel::openSettings() {
    emit settingsRequested();
}

void PopoverViewModel::quit() {
    emit quitRequested();
}

void PopoverViewModel::beginDrag(const QString& providerID) {
    setDraggedProviderID(providerID);
}

void PopoverViewModel::dragEntered(const QString& targetProviderID) {
    if (!m_draggedProviderID.isEmpty() && m_draggedProviderID != targetProviderID) {
        m_model->swapProviders(m_draggedProviderID, targetProviderID);
    }
}

void PopoverViewModel::endDrag() {
    setDraggedProviderID({});
}

void PopoverViewModel::moveCard(const QString& providerID, int step) {
    const QStringList& order = m_entries.order();
    const qsizetype from = order.indexOf(providerID);
    const qsizetype to = from + step;
    if (from >= 0 && to >= 0 && to < order.size()) {
        m_model->swapProviders(providerID, order[to]);
    }
}

void PopoverViewModel::dismiss() {
    emit closeRequested();
}

void PopoverViewModel::setDraggedProviderID(const QString& providerID) {
    if (providerID == m_draggedProviderID) {
        return;
    }
    m_draggedProviderID = providerID;
    m_codexCard.setDragged(providerID == providers::codexID);
    m_claudeCard.setDragged(providerID == providers::claudeCodeID);
    emit draggedProviderIDChanged();
}

} // namespace lumora
