#pragma once

#include <QCoroTask>
#include <QHash>
#include <QString>

#include <optional>

// One secret string per service and account. The Linux implementation talks to the
// Secret Service over QtKeychain; tests use the in-memory one.
class SecretStore {
public:
    virtual ~SecretStore() = default;
    virtual QCoro::Task<std::optional<QString>> read(QString service, QString account) = 0;
    // False when the store refuses (no Secret Service running, locked, denied).
    virtual QCoro::Task<bool> write(QString service, QString account, QString secret) = 0;
    virtual QCoro::Task<> remove(QString service, QString account) = 0;
};

class MemorySecretStore final : public SecretStore {
public:
    QCoro::Task<std::optional<QString>> read(QString service, QString account) override;
    QCoro::Task<bool> write(QString service, QString account, QString secret) override;
    QCoro::Task<> remove(QString service, QString account) override;

    // Makes every write fail, as a keychain that refuses.
    bool refuseWrites = false;

private:
    QHash<QString, QString> m_secrets;
};

class QtKeychainStore final : public SecretStore {
public:
    QCoro::Task<std::optional<QString>> read(QString service, QString account) override;
    QCoro::Task<bool> write(QString service, QString account, QString secret) override;
    QCoro::Task<> remove(QString service, QString account) override;
};
