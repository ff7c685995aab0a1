#pragma once

#include "DocumentReply.h"
#include "ReplyEncoding.h"
#include "Storage.h"
#include "UserState.h"

#include <QByteArray>
#include <QString>

#include <atomic>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

// An HTTP answer: status and JSON body.
struct Reply {
    int status = 200;
    QByteArray body;
    // The version of the whole document this reply carries (a load's); 0 for any other.
    qint64 document = 0;
    // A load's body in blocks, for codings that work by block.
    std::shared_ptr<const DocumentBody> documentBody = nullptr;
};

// The server's state behind one mutex: every call from any HTTP thread goes through here,
// so SQLite sees one caller at a time. Recently used users' states are kept in memory
// (bounded by their items, least recently used out first), each with its last load reply;
// the database is written in one transaction per change, rows of what changed only. Route families
// other than the document reach the state and their own tables through `read` and `transact`.
class Service {
public:
    explicit Service(Storage& storage);

    // The user a bearer token belongs to, by its fingerprint.
    std::optional<qint64> authenticate(const QByteArray& token);

    // One `api/store` call from its raw body. A write with an idempotency key is applied
    // at most once per user and key; a repeat gets the first reply. A load's reply carries
    // its body in blocks too (`documentBody`); without `joinDocument` its `body` is left
    // empty, for a caller that may need only a coding made from the blocks.
    Reply call(qint64 userId, const QByteArray& body, const std::optional<QString>& idempotencyKey,
               bool joinDocument = true);
    Reply version(qint64 userId);

    // A family's read, under the lock: `work` sees the user's state and may read the
    // family's tables; it must not call back into the Service. An RpcError it throws
    // answers with its status and message; any other exception answers 500.
    using ReadWork = std::function<Reply(const UserState& state, Storage& storage)>;
    Reply read(qint64 userId, const ReadWork& work);
    // A family's write, under the lock and in one transaction: `work` changes a copy of the
    // user's state and may write the family's tables. A 2xx reply commits all of it and
    // moves the version on if the document or the proposal changed; any other reply, or an
    // exception (answered as by `read`), rolls everything back.
    using WriteWork = std::function<Reply(UserState& next, Storage& storage)>;
    Reply transact(qint64 userId, const WriteWork& work);
    // Schema work at start (a family's tables, a column added later), in one transaction.
    void migrate(const std::function<void(Storage& storage)>& work);

    // Administration, from the command line and the admin listener.
    struct NewToken {
        QString user;
        QString token;
    };
    // The id of the user of that name (for the admin's routes), under the lock.
    std::optional<qint64> findUser(const QString& name);
    // Creates the user if needed and gives a fresh token for it; `onlyOne` revokes the
    // user's other tokens.
    NewToken issueToken(const QString& name, bool onlyOne = false);
    // The id of the user of that name, made with an empty list when missing.
    qint64 ensureUser(const QString& name);
    // False when there is no such user.
    bool setOpenCap(const QString& name, std::optional<qint64> cap);
    // Smart Adds each user may make in a month; SmartReading::defaultMonthlyCap at first.
    void setSmartInsertCap(qint64 cap) { m_smartInsertCap = cap; }
    qint64 smartInsertCap() const { return m_smartInsertCap; }
    std::optional<UserState> state(const QString& name);
    // Replaces the document as another device would; gives the new version.
    std::optional<qint64> replaceDocument(const QString& name, const WireDocument& document);
    // Files `proposal` as the pending one (replacing any), through the suppressions and
    // the user's active rules; a null proposal clears the slot. Gives what is stored now
    // (null when nothing is pending) and the new version; throws RpcError 400 for a
    // proposal the client could not read.
    struct FiledProposal {
        JsonValue proposal;
        qint64 version = 0;
    };
    std::optional<FiledProposal> setProposal(const QString& name,
                                             std::optional<JsonValue> proposal);

    // --- changes that reach several users (people and sharing) ---
    // The states a cross-user change has touched, each a copy of the cached one.
    class Staged {
    public:
        UserState& of(qint64 userId);

    private:
        friend class Service;
        explicit Staged(Service& service)
            : m_service(service) {}
        Service& m_service;
        std::map<qint64, UserState> m_states;
    };
    // A write across users, under the lock and in one transaction: `work` stages the states
    // it changes and may write its family's tables. A 2xx reply commits all of it and moves
    // the version of every staged user, changed or not, so each side looks again.
    using CrossWork = std::function<Reply(Staged& staged, Storage& storage)>;
    Reply transactAcross(const CrossWork& work);
    // Runs inside every committed change of a user's document made through `api/store` or
    // the admin, before its transaction ends (after an `api/store` write that changed
    // nothing too: telling would cost a comparison of the list); it may stage other users'
    // states.
    using Follower = std::function<void(qint64 userId, const WireDocument& after, Staged& staged,
                                        Storage& storage)>;
    void addFollower(Follower follower) { m_followers.push_back(std::move(follower)); }
    // Drops the cached state of a user whose rows are gone (a deleted account), so that a
    // later user given the same id starts empty.
    void forget(qint64 userId);
    // Full-document replies, per user, version and coding; shared by the route families.
    ReplyCache& documentReplies() { return m_documentReplies; }
    // Deflated blocks of those replies, by content, for the gzip coding.
    DeflatedBlocks& deflatedBlocks() { return m_deflatedBlocks; }
    // Items (and rules) of all users whose states stay in memory together; at least the
    // last used user stays, however large.
    void setCacheBound(std::size_t items);

    static QByteArray fingerprint(const QString& token);
    static QString newToken();
    static QString now();

private:
    struct Cached {
        UserState state;
        DocumentWriter writer;
        // Item ids to positions, as last seen: a hint, checked before use.
        QHash<QString, qsizetype> positions;
        std::list<qint64>::iterator use;
        std::size_t weight = 0;
    };
    Cached& cachedOf(qint64 userId);
    UserState& stateOf(qint64 userId) { return cachedOf(userId).state; }
    // Drops the least recently used states beyond the bound; only between calls, when no
    // reference into the cache is held.
    void trimCache();
    struct TrimAfter {
        Service& service;
        ~TrimAfter() { service.trimCache(); }
    };
    // One `api/store` write that changes the cached state in place (see Service.cpp).
    Reply writeInPlace(qint64 userId, const QString& name, const JsonValue::Array& args,
                       const std::optional<QString>& key);
    static qsizetype position(Cached& cached, const QList<WireItem>& items, const QString& id);
    // Applies a change in one transaction and moves the version on. `changedItems` lists
    // the only items that changed, by position in `next`; without it every item is
    // compared. `next` is taken only once the change is stored.
    void commit(qint64 userId, UserState&& next, const std::optional<QString>& key = {},
                const Reply* reply = nullptr, const std::vector<qsizetype>* changedItems = nullptr);
    std::optional<qint64> userId(const QString& name);
    // Saves what `staged` holds, each with its version moved on; the caller commits.
    void saveStaged(Staged& staged);
    void adoptStaged(Staged& staged);

    std::mutex m_mutex;
    Storage& m_storage;
    std::map<qint64, Cached> m_cache;
    std::list<qint64> m_uses; // most recently used first
    std::vector<qint64> m_reweigh;
    std::size_t m_cacheWeight = 0;
    std::size_t m_cacheBound = 100000;
    qint64 m_lastPurge = 0;
    std::atomic<qint64> m_smartInsertCap;
    // When each token's last use was last written (seconds): at most once a minute.
    std::map<QByteArray, qint64> m_touched;
    std::vector<Follower> m_followers;
    // A few large documents' worth, in every coding.
    ReplyCache m_documentReplies{64 * 1024 * 1024};
    DeflatedBlocks m_deflatedBlocks{64 * 1024 * 1024};
};

// `{"message": text}`.
QByteArray messageBody(const QString& text);
// A refusal: `status` with `{"message": text}`.
Reply messageReply(int status, const QString& text);
