#pragma once

#include "UserState.h"

#include <QByteArray>
#include <QString>

#include <optional>
#include <stdexcept>

struct sqlite3;

class StorageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// The SQLite database. Not thread-safe: the Service serialises every call. Each user's
// document is kept as one row per item and per rule, so a write touches only the rows it
// changed, plus one row of document-wide fields.
class Storage {
public:
    // `path` may be ":memory:".
    explicit Storage(const QString& path);
    ~Storage();
    Storage(const Storage&) = delete;
    Storage& operator=(const Storage&) = delete;

    // A transaction that rolls back unless committed.
    class Transaction {
    public:
        explicit Transaction(Storage& storage);
        ~Transaction();
        void commit();

    private:
        Storage& m_storage;
        bool m_done = false;
    };

    struct User {
        qint64 id = 0;
        QString name;
        std::optional<qint64> openCap;
    };

    std::optional<User> findUser(const QString& name);
    std::optional<User> userForFingerprint(const QByteArray& fingerprint);
    // Creates the user with an empty document at version 1.
    User createUser(const QString& name, const QString& now);
    void setOpenCap(qint64 userId, std::optional<qint64> cap);
    std::optional<qint64> openCap(qint64 userId);
    void addToken(qint64 userId, const QByteArray& fingerprint, const QString& now);
    void removeTokens(qint64 userId);

    UserState loadState(qint64 userId);
    // Writes what differs between the two states (the version always).
    void saveState(qint64 userId, const UserState& before, const UserState& after);

    struct StoredReply {
        int status = 200;
        QByteArray body;
    };
    std::optional<StoredReply> findReply(qint64 userId, const QString& key);
    void storeReply(qint64 userId, const QString& key, qint64 now, const StoredReply& reply);
    void purgeReplies(qint64 olderThan);

    // Smart Adds counted per user and calendar month (`yyyy-MM`).
    qint64 smartInsertsUsed(qint64 userId, const QString& month);
    void countSmartInsert(qint64 userId, const QString& month);

private:
    void exec(const char* sql);
    sqlite3* m_db = nullptr;
};
