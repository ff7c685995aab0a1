// The count of shared tasks waiting for this user's answer.

#include "Store.h"

namespace {

// Not awaited by the refresh; the Store may be gone by the time the inbox answers.
QCoro::Task<> lookAtInbox(QPointer<Store> store, std::unique_ptr<APIClient> client) {
    try {
        auto task = client->shareInbox();
        const ShareInbox inbox = co_await std::move(task);
        if (store)
            store->setSharedWaitingFromInbox(inbox);
    } catch (...) {
        // A brief loss of the network must not clear the badge: the old count stays.
    }
}

} // namespace

void Store::refreshShared() {
    if (!m_hasToken)
        return;
    lookAtInbox(this, m_client->fresh());
}

void Store::setSharedWaitingFromInbox(const ShareInbox& inbox) {
    setSharedWaiting(int(qMin<qsizetype>(inbox.count(), 1000000)));
}

void Store::setSharedWaiting(int count) {
    if (m_sharedWaiting == count)
        return;
    m_sharedWaiting = count;
    Q_EMIT sharedWaitingChanged();
}
