#include "SecretStore.h"

#include <QCoroSignal>
#include <qt6keychain/keychain.h>

#include <memory>

namespace {

QString key(const QString& service, const QString& account) {
    return service + QChar(0) + account;
}

struct DeleteLater {
    void operator()(QObject* object) const { object->deleteLater(); }
};

// Runs a QtKeychain job to its end; the job is deleted later, not under its own signal.
template <typename Job>
QCoro::Task<std::unique_ptr<Job, DeleteLater>> run(std::unique_ptr<Job, DeleteLater> job) {
    job->setAutoDelete(false);
    job->start();
    co_await qCoro(job.get(), &QKeychain::Job::finished);
    co_return job;
}

} // namespace

QCoro::Task<std::optional<QString>> MemorySecretStore::read(QString service, QString account) {
    const auto it = m_secrets.constFind(key(service, account));
    if (it == m_secrets.constEnd())
        co_return std::nullopt;
    co_return *it;
}

QCoro::Task<bool> MemorySecretStore::write(QString service, QString account, QString secret) {
    if (refuseWrites)
        co_return false;
    m_secrets.insert(key(service, account), secret);
    co_return true;
}

QCoro::Task<> MemorySecretStore::remove(QString service, QString account) {
    m_secrets.remove(key(service, account));
    co_return;
}

QCoro::Task<std::optional<QString>> QtKeychainStore::read(QString service, QString account) {
    std::unique_ptr<QKeychain::ReadPasswordJob, DeleteLater> job(
        new QKeychain::ReadPasswordJob(service));
    job->setKey(account);
    auto task = run(std::move(job));
    job = co_await std::move(task);
    if (job->error() != QKeychain::NoError)
        co_return std::nullopt;
    co_return job->textData();
}

QCoro::Task<bool> QtKeychainStore::write(QString service, QString account, QString secret) {
    std::unique_ptr<QKeychain::WritePasswordJob, DeleteLater> job(
        new QKeychain::WritePasswordJob(service));
    job->setKey(account);
    job->setTextData(secret);
    // Never a plain-text file when no Secret Service is running.
    job->setInsecureFallback(false);
    auto task = run(std::move(job));
    job = co_await std::move(task);
    co_return job->error() == QKeychain::NoError;
}

QCoro::Task<> QtKeychainStore::remove(QString service, QString account) {
    std::unique_ptr<QKeychain::DeletePasswordJob, DeleteLater> job(
        new QKeychain::DeletePasswordJob(service));
    job->setKey(account);
    auto task = run(std::move(job));
    co_await std::move(task);
}
