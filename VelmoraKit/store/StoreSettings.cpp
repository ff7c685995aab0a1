// The Store's part in the welcome and the account's deletion.

#include "Store.h"
#include "StoreDetail_p.h"

using StoreDetail::describe;

void Store::setNeedsWelcome(std::optional<bool> value) {
    if (m_needsWelcome == value)
        return;
    m_needsWelcome = value;
    Q_EMIT needsWelcomeChanged();
}

QCoro::Task<> Store::refreshWelcome() {
    QPointer<Store> self(this);
    try {
        auto task = m_client->hasBeenWelcomed();
        const bool welcomed = co_await std::move(task);
        if (self)
            setNeedsWelcome(!welcomed);
    } catch (...) {
        // The welcome is never worth an error; the next launch asks again.
    }
}

QCoro::Task<> Store::dismissWelcome() {
    setNeedsWelcome(false);
    try {
        auto task = m_client->markWelcomed();
        co_await std::move(task);
    } catch (...) {
        // Unsent, the server asks again at the next launch.
    }
}

QCoro::Task<Store::AccountDeletion> Store::deleteAccount(std::optional<QString> appleCode,
                                                         bool force) {
    QPointer<Store> self(this);
    try {
        auto task = m_client->deleteAccount(std::move(appleCode), force);
        const DeleteAccountOutcome outcome = co_await std::move(task);
        if (!self)
            co_return AccountDeletion::failed;
        if (std::holds_alternative<AppleAuthRequired>(outcome))
            co_return AccountDeletion::appleAuthRequired;
        auto disconnected = disconnect();
        co_await std::move(disconnected);
        co_return AccountDeletion::deleted;
    } catch (const APIError& error) {
        if (self)
            setLastError(error.kind() == APIError::Kind::server ? Sync::limitText(error.body())
                                                                : error.errorDescription());
    } catch (...) {
        const auto error = std::current_exception();
        if (self)
            setLastError(describe(error));
    }
    co_return AccountDeletion::failed;
}
