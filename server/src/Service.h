#pragma once

#include "Storage.h"
#include "UserState.h"

#include <QByteArray>
#include <QString>

#include <map>
#include <mutex>
#include <optional>

// An HTTP answer: status and JSON body.
struct Reply {
    int status = 200;
    QByteArray body;
};

// The server's state behind one mutex: every call from any HTTP thread goes through here,
// so SQLite sees one caller at a time. Users' states are cached after the first read; the
// database is written in one transaction per change.
class Service {
public:
    explicit Service(Storage& storage);

    // The user a bearer token belongs to, by its fingerprint.
    std::optional<qint64> authenticate(const QByteArray& token);

    // One `api/store` call from its raw body. A write with an idempotency key is applied
    // at most once per user and key; a repeat gets the first reply.
    Reply call(qint64 userId, const QByteArray& body, const std::optional<QString>& idempotencyKey);
    Reply version(qint64 userId);
    // `api/ai/smart-insert`: the server's draft of `{"text": ...}`, metered per user and
    // calendar month (UTC) against the monthly cap.
    Reply smartInsert(qint64 userId, const QByteArray& body);

    // Administration, from the command line and the admin listener.
    struct NewToken {
        QString user;
        QString token;
    };
    // Creates the user if needed and gives a fresh token for it; `onlyOne` revokes the
    // user's other tokens.
    NewToken issueToken(const QString& name, bool onlyOne = false);
    // False when there is no such user.
    bool setOpenCap(const QString& name, std::optional<qint64> cap);
    // Smart Adds each user may make in a month; SmartReading::defaultMonthlyCap at first.
    void setSmartInsertCap(qint64 cap);
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

    static QByteArray fingerprint(const QString& token);
    static QString newToken();
    static QString now();

private:
    UserState& stateOf(qint64 userId);
    // Applies a change in one transaction and moves the version on.
    void commit(qint64 userId, UserState next, const std::optional<QString>& key = {},
                const Reply* reply = nullptr);
    std::optional<qint64> userId(const QString& name);

    std::mutex m_mutex;
    Storage& m_storage;
    std::map<qint64, UserState> m_cache;
    qint64 m_lastPurge = 0;
    qint64 m_smartInsertCap;
};

// `{"message": text}`.
QByteArray messageBody(const QString& text);
