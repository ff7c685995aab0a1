#pragma once

#include "UserState.h"

#include <QByteArray>
#include <QString>

#include <optional>
#include <stdexcept>
#include <vector>

struct sqlite3;
struct sqlite3_stmt;

class StorageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// The SQLite database. Not thread-safe: the Service serialises every call. Each user's
// document is kept as one row per item and per rule, so a write touches only the rows it
// changed, plus one row of document-wide fields. Route families keep their own tables
// beside these, made by `exec` and `addColumnIfMissing` through Service::migrate.
class Storage {
public:
    // One prepared statement; parameters count from 1 and columns from 0, as in SQLite.
    // Every failure throws StorageError.
    class Statement {
    public:
        Statement(Storage& storage, const char* sql);
        Statement(sqlite3* db, const char* sql);
        ~Statement();
        Statement(const Statement&) = delete;
        Statement& operator=(const Statement&) = delete;

        Statement& bind(int index, qint64 value);
        Statement& bind(int index, const QByteArray& value);
        Statement& bind(int index, const QString& value) { return bind(index, value.toUtf8()); }
        // Null when empty.
        Statement& bind(int index, std::optional<qint64> value);

        // True while there is a row to read.
        bool step();
        // Steps once and resets, for statements that return no rows.
        void run();

        qint64 integer(int column) const;
        bool isNull(int column) const;
        QByteArray bytes(int column) const;
        QString text(int column) const { return QString::fromUtf8(bytes(column)); }

    private:
        void check(int rc);
        sqlite3* m_db;
        sqlite3_stmt* m_stmt = nullptr;
    };

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
    // A named token of a kind ("device", "mcp").
    void addToken(qint64 userId, const QByteArray& fingerprint, const QString& now,
                  const QString& name, const QString& kind);
    void touchToken(const QByteArray& fingerprint, const QString& now);

    UserState loadState(qint64 userId);
    // Writes what differs between the two states (the version always). With `changedItems`
    // (positions in `after`), only those items' rows are written and `before`'s items are
    // not read: the caller knows the rest are as stored.
    void saveState(qint64 userId, const UserState& before, const UserState& after,
                   const std::vector<qsizetype>* changedItems = nullptr);

    struct StoredReply {
        int status = 200;
        QByteArray body;
    };
    std::optional<StoredReply> findReply(qint64 userId, const QString& key);
    void storeReply(qint64 userId, const QString& key, qint64 now, const StoredReply& reply);
    void purgeReplies(qint64 olderThan);

    // Runs SQL that returns no rows: a family's `CREATE TABLE IF NOT EXISTS ...`.
    void exec(const char* sql);
    // Adds `column` (with its type and default, as `definition`) to an existing table
    // unless the table has it already; true when it was added. The names are the code's
    // own, never input: they go into the SQL as they are.
    bool addColumnIfMissing(const char* table, const char* column, const char* definition);

private:
    sqlite3* m_db = nullptr;
};
