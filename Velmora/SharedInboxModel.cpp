#include "SharedInboxModel.h"

#include "PeopleScreen.h"

SharedInboxModel::SharedInboxModel(QObject* parent)
    : QObject(parent) {}

void SharedInboxModel::setStore(Store* store) {
    if (m_store == store)
        return;
    if (m_store)
        disconnect(m_store, nullptr, this, nullptr);
    m_store = store;
    // A refresh that finds another count means the inbox moved elsewhere: look again.
    if (store)
        connect(store, &Store::sharedWaitingChanged, this, &SharedInboxModel::load);
    Q_EMIT storeChanged();
    load();
}

QVariantList SharedInboxModel::incoming() const {
    QVariantList rows;
    if (m_inbox)
        for (const Incoming& in : m_inbox->incoming)
            rows.push_back(QVariantMap{{QStringLiteral("id"), in.id},
                                       {QStringLiteral("title"), in.item.title},
                                       {QStringLiteral("line"), PeopleScreen::incomingLine(in)}});
    return rows;
}

QVariantList SharedInboxModel::returned() const {
    QVariantList rows;
    if (m_inbox)
        for (const Returned& back : m_inbox->returned)
            rows.push_back(QVariantMap{{QStringLiteral("id"), back.id},
                                       {QStringLiteral("title"), back.title},
                                       {QStringLiteral("line"), PeopleScreen::returnedLine(back)}});
    return rows;
}

void SharedInboxModel::load() {
    runLoad();
}

QCoro::Task<> SharedInboxModel::runLoad() {
    if (!m_store || !m_store->hasToken())
        co_return;
    QPointer<SharedInboxModel> self(this);
    const auto client = m_store->freshClient();
    std::optional<ShareInbox> inbox;
    try {
        auto task = client->shareInbox();
        inbox = co_await std::move(task);
    } catch (...) {
        // Unknown hides the block, as an empty inbox does.
    }
    if (!self)
        co_return;
    if (inbox && m_store)
        m_store->setSharedWaitingFromInbox(*inbox);
    m_inbox = std::move(inbox);
    Q_EMIT changed();
}

void SharedInboxModel::accept(const QString& id) {
    if (!m_store)
        return;
    auto client = m_store->freshClient();
    auto op = client->acceptShared(id);
    act(id, std::move(op), std::move(client));
}

void SharedInboxModel::decline(const QString& id) {
    if (!m_store)
        return;
    auto client = m_store->freshClient();
    auto op = client->declineShared(id);
    act(id, std::move(op), std::move(client));
}

void SharedInboxModel::answer(const QString& id, bool agree) {
    if (!m_store)
        return;
    auto client = m_store->freshClient();
    auto op = client->answerCompletion(id, agree);
    act(id, std::move(op), std::move(client));
}

QCoro::Task<> SharedInboxModel::act(QString id, QCoro::Task<> op,
                                    std::unique_ptr<APIClient> client) {
    QPointer<SharedInboxModel> self(this);
    m_busy = id;
    m_refusal.reset();
    Q_EMIT changed();
    std::exception_ptr error;
    try {
        co_await std::move(op);
    } catch (...) {
        error = std::current_exception();
    }
    if (!self)
        co_return;
    if (error) {
        m_refusal = PeopleScreen::shareFailure(error);
    } else {
        try {
            auto look = client->shareInbox();
            ShareInbox inbox = co_await std::move(look);
            if (!self)
                co_return;
            m_inbox = std::move(inbox);
            if (m_store)
                m_store->setSharedWaitingFromInbox(*m_inbox);
        } catch (...) {
            // The answered row stays until the next look.
        }
        if (!self)
            co_return;
        if (m_store) {
            auto refresh = m_store->refresh(false);
            co_await std::move(refresh);
            if (!self)
                co_return;
        }
    }
    m_busy.clear();
    Q_EMIT changed();
}
