#include "TunePanelModel.h"

#include "CreditsPanelModel.h"
#include "Focus.h"
#include "HandledFindings.h"

#include <QQmlEngine>

TunePanelModel::TunePanelModel(QObject* parent)
    : QObject(parent) {}

void TunePanelModel::registerType() {
    static const int ids[] = {
        qmlRegisterType<TunePanelModel>("Velmora.AI", 1, 0, "TunePanelModel"),
        qmlRegisterType<CreditsPanelModel>("Velmora.AI", 1, 0, "CreditsPanelModel")};
    Q_UNUSED(ids)
}

void TunePanelModel::setStore(Store* store) {
    if (m_store == store)
        return;
    for (const auto& connection : m_connections)
        QObject::disconnect(connection);
    m_connections.clear();
    m_store = store;
    if (store) {
        m_connections << connect(store, &Store::documentChanged, this,
                                 &TunePanelModel::stateChanged)
                      << connect(store, &Store::hasTokenChanged, this, &TunePanelModel::loadHandled)
                      << connect(&store->client(), &APIClient::tokenChanged, this,
                                 &TunePanelModel::restart);
    }
    Q_EMIT storeChanged();
    Q_EMIT stateChanged();
    restart();
}

void TunePanelModel::restart() {
    ++m_generation;
    m_handled.reset();
    m_handledFailed = false;
    m_removing.clear();
    Q_EMIT handledChanged();
    loadHandled();
}

void TunePanelModel::setDraft(const QString& text) {
    if (m_draft == text)
        return;
    m_draft = text;
    Q_EMIT stateChanged();
}

void TunePanelModel::setSaving(bool saving) {
    if (m_saving == saving)
        return;
    m_saving = saving;
    Q_EMIT stateChanged();
}

QStringList TunePanelModel::focus() const {
    return m_store ? m_store->focus() : QStringList();
}

QString TunePanelModel::countText() const {
    return QStringLiteral("%1/%2").arg(focus().size()).arg(FocusLimits::maxTerms);
}

bool TunePanelModel::full() const {
    return focus().size() >= FocusLimits::maxTerms;
}

bool TunePanelModel::duplicate() const {
    return FocusLimits::isDuplicate(m_draft, focus());
}

bool TunePanelModel::addable() const {
    return m_store && FocusLimits::addable(m_draft, focus(), m_saving);
}

QVariantList TunePanelModel::handledRows() const {
    QVariantList rows;
    for (const HandledFinding& finding : m_handled.value_or(QList<HandledFinding>()))
        rows.append(QVariantMap{{QStringLiteral("id"), finding.id()},
                                {QStringLiteral("label"), finding.label},
                                {QStringLiteral("subtitle"), FindingWords::subtitle(finding)}});
    return rows;
}

void TunePanelModel::add() {
    runAdd();
}

void TunePanelModel::remove(const QString& term) {
    runRemove(term);
}

void TunePanelModel::loadHandled() {
    runLoadHandled();
}

void TunePanelModel::letComeBack(const QString& id) {
    runLetComeBack(id);
}

QCoro::Task<> TunePanelModel::runAdd() {
    if (!addable())
        co_return;
    const QStringList current = focus();
    const QStringList next = FocusLimits::normalise(current + QStringList{m_draft});
    // Nothing new survived the cleaning: the draft stays for the user to change.
    if (next.size() == current.size())
        co_return;
    setDraft({});
    auto task = save(next);
    co_await std::move(task);
}

QCoro::Task<> TunePanelModel::runRemove(QString term) {
    if (m_saving || !m_store)
        co_return;
    QStringList next = focus();
    next.removeAll(term);
    auto task = save(next);
    co_await std::move(task);
}

QCoro::Task<> TunePanelModel::save(QStringList terms) {
    QPointer<TunePanelModel> self(this);
    QPointer<Store> store = m_store;
    setSaving(true);
    auto task = store->setFocus(std::move(terms));
    co_await std::move(task);
    if (self)
        setSaving(false);
}

QCoro::Task<> TunePanelModel::runLoadHandled() {
    // The client's token empties before hasToken falls, while the Store signs out.
    if (!m_store || !m_store->hasToken() || m_store->client().token().isEmpty())
        co_return;
    QPointer<TunePanelModel> self(this);
    const quint64 generation = m_generation;
    m_handledFailed = false;
    Q_EMIT handledChanged();
    const std::unique_ptr<APIClient> client = m_store->freshClient();
    try {
        auto task = client->handledFindings();
        QList<HandledFinding> handled = co_await std::move(task);
        if (!self || generation != m_generation)
            co_return;
        m_handled = std::move(handled);
    } catch (...) {
        if (!self || generation != m_generation)
            co_return;
        m_handledFailed = true;
    }
    Q_EMIT handledChanged();
}

QCoro::Task<> TunePanelModel::runLetComeBack(QString id) {
    if (!m_store || !m_removing.isEmpty() || !m_handled)
        co_return;
    const auto found = std::find_if(m_handled->cbegin(), m_handled->cend(),
                                    [&](const HandledFinding& f) { return f.id() == id; });
    if (found == m_handled->cend())
        co_return;
    const HandledFinding finding = *found;
    QPointer<TunePanelModel> self(this);
    const quint64 generation = m_generation;
    m_removing = id;
    Q_EMIT handledChanged();
    const std::unique_ptr<APIClient> client = m_store->freshClient();
    try {
        auto task = client->undismissFinding(finding.target, finding.finding, std::nullopt);
        co_await std::move(task);
        if (!self || generation != m_generation)
            co_return;
        if (m_handled)
            m_handled->removeIf([&](const HandledFinding& f) { return f.id() == id; });
    } catch (...) {
        if (!self || generation != m_generation)
            co_return;
        m_handledFailed = true;
    }
    m_removing.clear();
    Q_EMIT handledChanged();
}
