#pragma once

#include "Secrets.h"

#include <QCoroTask>
#include <QString>

#include <optional>

// The one stored token of an environment: account "access-token" under the environment's
// service name.
class Keychain {
public:
    static constexpr auto account = "access-token";

    Keychain(SecretStore& store, QString service)
        : m_store(store)
        , m_service(std::move(service)) {}

    const QString& service() const { return m_service; }

    QCoro::Task<std::optional<QString>> readToken();
    // Deletes any old token first; false when the store refuses.
    QCoro::Task<bool> store(QString token);
    QCoro::Task<> deleteToken();

private:
    SecretStore& m_store;
    QString m_service;
};
