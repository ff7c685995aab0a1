#pragma once

#include <QCoroTask>
#include <QString>

#include <optional>

// One secret string per service and account. The keyring behind it is the platform's
// (platform/SecretStore.h); tests use the in-memory one.
class SecretStore {
public:
    virtual ~SecretStore() = default;
    virtual QCoro::Task<std::optional<QString>> read(QString service, QString account) = 0;
    // False when the store refuses (no Secret Service running, locked, denied).
    virtual QCoro::Task<bool> write(QString service, QString account, QString secret) = 0;
    virtual QCoro::Task<> remove(QString service, QString account) = 0;
};
