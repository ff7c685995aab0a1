#pragma once

#include "Json.h"
#include "Proposal.h"

#include <QByteArray>
#include <QDateTime>
#include <QList>
#include <QString>
#include <QUrl>

#include <exception>
#include <optional>

// The records of people and task sharing as the server sends them. Dates follow one rule:
// an internet date-time with or without fractional seconds, nothing else. Readers throw
// DecodingError on anything else, a missing required key included.

struct Person {
    QString id;
    QString name;
    QDateTime connectedAt;
    bool invitedByMe = false;
    bool operator==(const Person&) const = default;
};

struct OutstandingInvite {
    QString codeHash;
    QDateTime createdAt;
    QDateTime expiresAt;
    bool operator==(const OutstandingInvite&) const = default;
};

struct PeopleProfile {
    std::optional<QString> displayName;
    QString suggestion;
    bool needsName = false;
    bool operator==(const PeopleProfile&) const = default;
};

struct PeopleSnapshot {
    PeopleProfile profile;
    QList<Person> people;
    QList<OutstandingInvite> invites;
    QString origin;
    qint64 ttlDays = 0;
    bool operator==(const PeopleSnapshot&) const = default;
};

struct MintedInvite {
    QString code;
    QDateTime expiresAt;
    QString url(const QString& origin) const;
    QString message(const QString& origin) const;
    bool operator==(const MintedInvite&) const = default;
};

struct Connected {
    Person person;
    bool already = false;
    bool operator==(const Connected&) const = default;
};

struct InviteLook {
    QString state;
    std::optional<QString> inviterName;
    bool isOpen() const { return state == QLatin1String("ok"); }
    // The sentence for a code that cannot be used; null when it can.
    std::optional<QString> refusal() const;
    bool operator==(const InviteLook&) const = default;
};

// A task someone sent this user, waiting for an answer.
struct Incoming {
    QString id;
    QString from;
    WireNewItem item;
    std::optional<QString> message;
    QDateTime createdAt;
    bool operator==(const Incoming&) const = default;
};

// A task this user sent that the other person says is done.
struct Returned {
    QString id;
    QString from;
    QString title;
    QString itemID;
    QDateTime completedAt;
    bool operator==(const Returned&) const = default;
};

struct ShareInbox {
    QList<Incoming> incoming;
    QList<Returned> returned;
    bool isEmpty() const { return incoming.isEmpty() && returned.isEmpty(); }
    qsizetype count() const { return incoming.size() + returned.size(); }
    bool operator==(const ShareInbox&) const = default;
};

// The server refused a people call with a sentence for the user.
class PeopleRefusal : public std::exception {
public:
    PeopleRefusal(QString message, std::optional<QString> reason);
    const QString& message() const { return m_message; }
    const std::optional<QString>& reason() const { return m_reason; }
    const char* what() const noexcept override { return m_what.constData(); }

private:
    QString m_message;
    std::optional<QString> m_reason;
    QByteArray m_what;
};

// The server refused a share call with a sentence for the user.
class ShareRefusal : public std::exception {
public:
    explicit ShareRefusal(QString message);
    const QString& message() const { return m_message; }
    const char* what() const noexcept override { return m_what.constData(); }

private:
    QString m_message;
    QByteArray m_what;
};

namespace PeopleFormat {

// The date rule of both families; throws DecodingError "unparseable date: <text>".
QDateTime parseDate(const QString& text);

PeopleSnapshot snapshot(QByteArrayView body);
MintedInvite minted(QByteArrayView body);
Connected connected(QByteArrayView body);
InviteLook look(QByteArrayView body);
// The reply to a name change, as a profile: no suggestion, a name is needed when null.
PeopleProfile nameReply(QByteArrayView body);
// Checks that `key` holds a boolean (its value means nothing to the caller).
void requireBool(QByteArrayView body, const char* key);
// The refusal bodies; null when the body is not one.
std::optional<PeopleRefusal> peopleRefusal(QByteArrayView body);
std::optional<ShareRefusal> shareRefusal(QByteArrayView body);

ShareInbox inbox(QByteArrayView body);
// The reply to a send: the new share's id.
QString sentId(QByteArrayView body);
// The reply to an accept: the task as it now stands in this user's list.
WireItem acceptedItem(QByteArrayView body);

// The invitation's link: the origin without trailing slashes, "/i/" and the code as it is.
QString inviteURL(const QString& origin, const QString& code);
QString inviteMessage(const QString& url);
// The code in a web or `velmora://` invitation link; null when there is none.
std::optional<QString> inviteCode(const QUrl& url);

} // namespace PeopleFormat
