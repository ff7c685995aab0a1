#pragma once

#include "Secrets.h"

#include <QHash>

// The keyring over QtKeychain (the Secret Service), and an in-memory one for tests.
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
