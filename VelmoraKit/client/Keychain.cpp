#include "Keychain.h"

QCoro::Task<std::optional<QString>> Keychain::readToken() {
    co_return co_await m_store.read(m_service, QString::fromLatin1(account));
}

QCoro::Task<bool> Keychain::store(QString token) {
    co_await deleteToken();
    co_return co_await m_store.write(m_service, QString::fromLatin1(account), token);
}

QCoro::Task<> Keychain::deleteToken() {
    co_await m_store.remove(m_service, QString::fromLatin1(account));
}
