#include "Keychain.h"

QCoro::Task<std::optional<QString>> Keychain::readToken() {
    auto task = m_store.read(m_service, QString::fromLatin1(account));
    co_return co_await std::move(task);
}

QCoro::Task<bool> Keychain::store(QString token) {
    co_await deleteToken();
    auto task = m_store.write(m_service, QString::fromLatin1(account), token);
    co_return co_await std::move(task);
}

QCoro::Task<> Keychain::deleteToken() {
    auto task = m_store.remove(m_service, QString::fromLatin1(account));
    co_await std::move(task);
}
