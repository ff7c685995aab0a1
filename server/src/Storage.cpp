#include "Storage.h"

#include "WireJson.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QSet>

#include <sqlite3.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <utility>

namespace {

[[noreturn]] void failWith(sqlite3* db, const char* what) {
    throw StorageError(std::string(what) + ": " + (db ? sqlite3_errmsg(db) : "no database"));
}

// Equal bytes, in a time that depends on the lengths only.
bool sameInConstantTime(const QByteArray& a, const QByteArray& b) {
    if (a.size() != b.size())
        return false;
    unsigned char differ = 0;
    for (qsizetype i = 0; i < a.size(); ++i)
        differ |= static_cast<unsigned char>(a[i] ^ b[i]);
    return differ == 0;
}

} // namespace

Storage::Statement::Statement(sqlite3* db, const char* sql)
    : m_db(db) {
    if (sqlite3_prepare_v2(db, sql, -1, &m_stmt, nullptr) != SQLITE_OK)
        failWith(db, "prepare");
}

Storage::Statement::Statement(Storage& storage, const char* sql)
    : Statement(storage.m_db, sql) {}

Storage::Statement::~Statement() {
    sqlite3_finalize(m_stmt);
}

Storage::Statement& Storage::Statement::bind(int index, qint64 value) {
    check(sqlite3_bind_int64(m_stmt, index, value));
    return *this;
}

Storage::Statement& Storage::Statement::bind(int index, const QByteArray& value) {
    check(sqlite3_bind_text(m_stmt, index, value.constData(), int(value.size()), SQLITE_TRANSIENT));
    return *this;
}

Storage::Statement& Storage::Statement::bind(int index, std::optional<qint64> value) {
    if (value)
        return bind(index, *value);
    check(sqlite3_bind_null(m_stmt, index));
    return *this;
}

bool Storage::Statement::step() {
    const int rc = sqlite3_step(m_stmt);
    if (rc == SQLITE_ROW)
        return true;
    if (rc != SQLITE_DONE)
        failWith(m_db, "step");
    return false;
}

void Storage::Statement::run() {
    step();
    sqlite3_reset(m_stmt);
}

qint64 Storage::Statement::integer(int column) const {
    return sqlite3_column_int64(m_stmt, column);
}

bool Storage::Statement::isNull(int column) const {
    return sqlite3_column_type(m_stmt, column) == SQLITE_NULL;
}

QByteArray Storage::Statement::bytes(int column) const {
    const auto* data = static_cast<const char*>(sqlite3_column_blob(m_stmt, column));
    return QByteArray(data, sqlite3_column_bytes(m_stmt, column));
}

void Storage::Statement::check(int rc) {
    if (rc != SQLITE_OK)
        failWith(m_db, "bind");
}

namespace {

template <typename T>
QByteArray encodeList(const QList<T>& list) {
    QByteArray out = "[";
    for (qsizetype i = 0; i < list.size(); ++i) {
        if (i)
            out += ',';
        out += WireJson::encode(list[i]);
    }
    return out + ']';
}

template <typename T>
QList<T> decodeList(const QByteArray& json) {
    const auto value = JsonValue::parse(json);
    if (!value || !value->isArray())
        throw StorageError("a stored list is not a JSON array");
    QList<T> out;
    for (const auto& element : value->toArray())
        out.push_back(WireJson::fromJson<T>(element));
    return out;
}

QByteArray encodeStrings(const QStringList& list) {
    JsonValue::Array array;
    for (const auto& s : list)
        array.emplace_back(s);
    return JsonValue(std::move(array)).toJson();
}

QByteArray upsertSql(const char* table) {
    return QByteArray("INSERT INTO ") + table +
           "(user_id, id, seq, body) VALUES(?1, ?2, ?3, ?4) "
           "ON CONFLICT(user_id, id) DO UPDATE SET seq = ?3, body = ?4";
}

// Rows of one record list (items or rules): rewrites a row only when its record or its
// position changed, deletes rows whose record is gone.
template <typename T>
void saveRows(sqlite3* db, const char* table, qint64 userId, const QList<T>& before,
              const QList<T>& after) {
    // The same list, shared by both states: nothing to compare.
    if (before.size() == after.size() && before.constData() == after.constData())
        return;
    QHash<QString, qsizetype> oldIndex;
    for (qsizetype i = 0; i < before.size(); ++i)
        oldIndex.insert(before[i].id, i);

    const QByteArray sql = upsertSql(table);
    Storage::Statement upsert(db, sql.constData());
    QSet<QString> kept;
    for (qsizetype i = 0; i < after.size(); ++i) {
        const T& record = after[i];
        kept.insert(record.id);
        const auto it = oldIndex.constFind(record.id);
        if (it != oldIndex.constEnd() && *it == i && before[i] == record)
            continue;
        upsert.bind(1, userId).bind(2, record.id).bind(3, qint64(i));
        upsert.bind(4, WireJson::encode(record)).run();
    }
    const QByteArray deleteSql =
        QByteArray("DELETE FROM ") + table + " WHERE user_id = ? AND id = ?";
    Storage::Statement remove(db, deleteSql.constData());
    for (const T& record : before)
        if (!kept.contains(record.id))
            remove.bind(1, userId).bind(2, record.id).run();
}

constexpr const char* schema = R"sql(
CREATE TABLE IF NOT EXISTS users(
    id INTEGER PRIMARY KEY,
    name TEXT NOT NULL UNIQUE,
    open_cap INTEGER,
    created_at TEXT NOT NULL);
CREATE TABLE IF NOT EXISTS tokens(
    fingerprint TEXT PRIMARY KEY,
    user_id INTEGER NOT NULL REFERENCES users(id),
    created_at TEXT NOT NULL);
CREATE TABLE IF NOT EXISTS documents(
    user_id INTEGER PRIMARY KEY REFERENCES users(id),
    version INTEGER NOT NULL,
    schema_version INTEGER NOT NULL,
    settings TEXT NOT NULL,
    focus TEXT NOT NULL,
    rejections TEXT NOT NULL,
    suppressions TEXT NOT NULL);
CREATE TABLE IF NOT EXISTS items(
    user_id INTEGER NOT NULL REFERENCES users(id),
    id TEXT NOT NULL,
    seq INTEGER NOT NULL,
    body TEXT NOT NULL,
    PRIMARY KEY(user_id, id));
CREATE TABLE IF NOT EXISTS rules(
    user_id INTEGER NOT NULL REFERENCES users(id),
    id TEXT NOT NULL,
    seq INTEGER NOT NULL,
    body TEXT NOT NULL,
    PRIMARY KEY(user_id, id));
CREATE TABLE IF NOT EXISTS proposals(
    user_id INTEGER PRIMARY KEY REFERENCES users(id),
    created_at TEXT NOT NULL,
    body TEXT NOT NULL);
CREATE TABLE IF NOT EXISTS idempotency(
    user_id INTEGER NOT NULL REFERENCES users(id),
    key TEXT NOT NULL,
    created_at INTEGER NOT NULL,
    status INTEGER NOT NULL,
    body BLOB NOT NULL,
    PRIMARY KEY(user_id, key));
CREATE INDEX IF NOT EXISTS idempotency_age ON idempotency(created_at);
)sql";

} // namespace

namespace {

// The database holds every user's list and token fingerprints: it is its owner's alone, in a
// folder of its owner's when the server makes that folder. A folder that exists is left as
// it is, as it may be anyone's (the working directory, /tmp).
void makePrivate(const QString& path) {
    if (path == u":memory:" || path.startsWith(u"file:"))
        return;
    const QByteArray file = QFile::encodeName(path);
    const QFileInfo info(path);
    if (!info.absoluteDir().exists()) {
        if (!QDir().mkpath(info.absolutePath()) ||
            ::chmod(QFile::encodeName(info.absolutePath()).constData(), 0700) != 0)
            throw StorageError("cannot make the folder of " + file.toStdString());
    }
    const int fd = ::open(file.constData(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (fd < 0 || ::fchmod(fd, 0600) != 0) {
        if (fd >= 0)
            ::close(fd);
        throw StorageError("cannot open " + file.toStdString() + " for its owner only");
    }
    ::close(fd);
}

} // namespace

Storage::Storage(const QString& path) {
    makePrivate(path);
    const QByteArray file = path.toUtf8();
    if (sqlite3_open_v2(file.constData(), &m_db,
                        SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX,
                        nullptr) != SQLITE_OK) {
        const std::string message = m_db ? sqlite3_errmsg(m_db) : "out of memory";
        sqlite3_close(m_db);
        m_db = nullptr;
        throw StorageError("cannot open " + file.toStdString() + ": " + message);
    }
    sqlite3_busy_timeout(m_db, 5000);
    exec("PRAGMA journal_mode=WAL");
    exec("PRAGMA synchronous=NORMAL");
    exec("PRAGMA foreign_keys=ON");
    exec(schema);
    // Tokens made before they had names and kinds are devices; last use is stamped lazily.
    addColumnIfMissing("tokens", "name", "TEXT");
    addColumnIfMissing("tokens", "kind", "TEXT NOT NULL DEFAULT 'device'");
    addColumnIfMissing("tokens", "last_used_at", "TEXT");
}

Storage::~Storage() {
    sqlite3_close(m_db);
}

bool Storage::addColumnIfMissing(const char* table, const char* column, const char* definition) {
    const QByteArray info = QByteArray("PRAGMA table_info(") + table + ')';
    Statement columns(m_db, info.constData());
    bool found = false;
    while (!found && columns.step())
        found = columns.text(1) == QLatin1String(column);
    if (found)
        return false;
    const QByteArray alter =
        QByteArray("ALTER TABLE ") + table + " ADD COLUMN " + column + ' ' + definition;
    exec(alter.constData());
    return true;
}

void Storage::exec(const char* sql) {
    char* error = nullptr;
    if (sqlite3_exec(m_db, sql, nullptr, nullptr, &error) != SQLITE_OK) {
        const std::string message = error ? error : "unknown error";
        sqlite3_free(error);
        throw StorageError(message);
    }
}

Storage::Transaction::Transaction(Storage& storage)
    : m_storage(storage) {
    m_storage.exec("BEGIN IMMEDIATE");
}

Storage::Transaction::~Transaction() {
    if (!m_done)
        sqlite3_exec(m_storage.m_db, "ROLLBACK", nullptr, nullptr, nullptr);
}

void Storage::Transaction::commit() {
    m_storage.exec("COMMIT");
    m_done = true;
}

std::optional<Storage::User> Storage::findUser(const QString& name) {
    Statement s(m_db, "SELECT id, name, open_cap FROM users WHERE name = ?");
    s.bind(1, name);
    if (!s.step())
        return std::nullopt;
    User user{s.integer(0), s.text(1), std::nullopt};
    if (!s.isNull(2))
        user.openCap = s.integer(2);
    return user;
}

std::optional<Storage::User> Storage::userForFingerprint(const QByteArray& fingerprint) {
    // The index search compares digests, never tokens: what its timing could tell is how far
    // a guess's SHA-256 agrees with a stored one, which leads no closer to a token. The row
    // found is still confirmed in constant time, so no early exit depends on a secret.
    Statement s(m_db, "SELECT u.id, u.name, u.open_cap, t.fingerprint FROM tokens t JOIN users u "
                      "ON u.id = t.user_id WHERE t.fingerprint = ?");
    s.bind(1, fingerprint);
    if (!s.step() || !sameInConstantTime(s.bytes(3), fingerprint))
        return std::nullopt;
    User user{s.integer(0), s.text(1), std::nullopt};
    if (!s.isNull(2))
        user.openCap = s.integer(2);
    return user;
}

Storage::User Storage::createUser(const QString& name, const QString& now) {
    Statement insert(m_db, "INSERT INTO users(name, created_at) VALUES(?, ?)");
    insert.bind(1, name).bind(2, now).run();
    const qint64 id = sqlite3_last_insert_rowid(m_db);
    const WireDocument empty;
    Statement doc(m_db, "INSERT INTO documents(user_id, version, schema_version, settings, focus, "
                        "rejections, suppressions) VALUES(?, 1, ?, ?, '[]', '[]', '[]')");
    doc.bind(1, id).bind(2, empty.schemaVersion).bind(3, WireJson::encode(empty.settings)).run();
    return User{id, name, std::nullopt};
}

void Storage::setOpenCap(qint64 userId, std::optional<qint64> cap) {
    Statement s(m_db, "UPDATE users SET open_cap = ? WHERE id = ?");
    s.bind(1, cap).bind(2, userId).run();
}

std::optional<qint64> Storage::openCap(qint64 userId) {
    Statement s(m_db, "SELECT open_cap FROM users WHERE id = ?");
    s.bind(1, userId);
    if (s.step() && !s.isNull(0))
        return s.integer(0);
    return std::nullopt;
}

void Storage::addToken(qint64 userId, const QByteArray& fingerprint, const QString& now) {
    Statement s(m_db, "INSERT INTO tokens(fingerprint, user_id, created_at) VALUES(?, ?, ?)");
    s.bind(1, fingerprint).bind(2, userId).bind(3, now).run();
}

void Storage::addToken(qint64 userId, const QByteArray& fingerprint, const QString& now,
                       const QString& name, const QString& kind) {
    Statement s(m_db, "INSERT INTO tokens(fingerprint, user_id, created_at, name, kind) "
                      "VALUES(?, ?, ?, ?, ?)");
    s.bind(1, fingerprint).bind(2, userId).bind(3, now).bind(4, name).bind(5, kind).run();
}

void Storage::touchToken(const QByteArray& fingerprint, const QString& now) {
    Statement s(m_db, "UPDATE tokens SET last_used_at = ? WHERE fingerprint = ?");
    s.bind(1, now).bind(2, fingerprint).run();
}

void Storage::removeTokens(qint64 userId) {
    Statement s(m_db, "DELETE FROM tokens WHERE user_id = ?");
    s.bind(1, userId).run();
}

UserState Storage::loadState(qint64 userId) {
    UserState state;
    {
        Statement s(m_db, "SELECT version, schema_version, settings, focus, rejections, "
                          "suppressions FROM documents WHERE user_id = ?");
        s.bind(1, userId);
        if (!s.step())
            throw StorageError("the user has no document");
        state.version = s.integer(0);
        state.document.schemaVersion = s.integer(1);
        state.document.settings = WireJson::decode<WireSettings>(s.bytes(2));
        state.document.focus = WireJson::decode<QStringList>(s.bytes(3));
        state.document.rejections = decodeList<WireRejection>(s.bytes(4));
        state.document.suppressions = decodeList<WireSuppression>(s.bytes(5));
    }
    {
        Statement s(m_db, "SELECT body FROM items WHERE user_id = ? ORDER BY seq");
        s.bind(1, userId);
        while (s.step())
            state.document.items.push_back(WireJson::decode<WireItem>(s.bytes(0)));
    }
    {
        Statement s(m_db, "SELECT body FROM rules WHERE user_id = ? ORDER BY seq");
        s.bind(1, userId);
        while (s.step())
            state.document.rules.push_back(WireJson::decode<WireRule>(s.bytes(0)));
    }
    {
        Statement s(m_db, "SELECT body FROM proposals WHERE user_id = ?");
        s.bind(1, userId);
        if (s.step())
            state.proposal = JsonValue::parse(s.bytes(0));
    }
    state.openCap = openCap(userId);
    return state;
}

void Storage::saveState(qint64 userId, const UserState& before, const UserState& after,
                        const std::vector<qsizetype>* changedItems) {
    const WireDocument& a = before.document;
    const WireDocument& b = after.document;
    if (changedItems) {
        const QByteArray sql = upsertSql("items");
        Statement upsert(m_db, sql.constData());
        for (const qsizetype i : *changedItems) {
            upsert.bind(1, userId).bind(2, b.items[i].id).bind(3, qint64(i));
            upsert.bind(4, WireJson::encode(b.items[i])).run();
        }
    } else {
        saveRows(m_db, "items", userId, a.items, b.items);
    }
    saveRows(m_db, "rules", userId, a.rules, b.rules);

    Statement doc(m_db, "UPDATE documents SET version = ?, schema_version = ?, settings = ?, "
                        "focus = ?, rejections = ?, suppressions = ? WHERE user_id = ?");
    doc.bind(1, after.version).bind(2, b.schemaVersion).bind(3, WireJson::encode(b.settings));
    doc.bind(4, encodeStrings(b.focus)).bind(5, encodeList(b.rejections));
    doc.bind(6, encodeList(b.suppressions)).bind(7, userId).run();

    if (before.proposal != after.proposal) {
        if (after.proposal) {
            const JsonValue* created = after.proposal->find(u"created_at");
            Statement s(m_db, "INSERT INTO proposals(user_id, created_at, body) VALUES(?1, ?2, ?3) "
                              "ON CONFLICT(user_id) DO UPDATE SET created_at = ?2, body = ?3");
            s.bind(1, userId).bind(2, created ? created->toString() : QString());
            s.bind(3, after.proposal->toJson()).run();
        } else {
            Statement s(m_db, "DELETE FROM proposals WHERE user_id = ?");
            s.bind(1, userId).run();
        }
    }
}

std::optional<Storage::StoredReply> Storage::findReply(qint64 userId, const QString& key) {
    Statement s(m_db, "SELECT status, body FROM idempotency WHERE user_id = ? AND key = ?");
    s.bind(1, userId).bind(2, key);
    if (!s.step())
        return std::nullopt;
    return StoredReply{int(s.integer(0)), s.bytes(1)};
}

void Storage::storeReply(qint64 userId, const QString& key, qint64 now, const StoredReply& reply) {
    Statement s(m_db, "INSERT OR REPLACE INTO idempotency(user_id, key, created_at, status, body) "
                      "VALUES(?, ?, ?, ?, ?)");
    s.bind(1, userId).bind(2, key).bind(3, now).bind(4, qint64(reply.status));
    s.bind(5, reply.body).run();
}

void Storage::purgeReplies(qint64 olderThan) {
    Statement s(m_db, "DELETE FROM idempotency WHERE created_at < ?");
    s.bind(1, olderThan).run();
}
