#pragma once

#include <QByteArrayView>
#include <QDateTime>
#include <QList>
#include <QString>
#include <QStringList>

#include <exception>
#include <optional>

// The section of a briefing a card belongs to; its text is the `finding` of a dismissal.
enum class BriefingKind { critical, chase, drop, observation };

namespace BriefingKinds {
QString text(BriefingKind kind);
std::optional<BriefingKind> parse(QStringView text);
} // namespace BriefingKinds

// One finding about one task.
struct BriefingFinding {
    QString itemId;
    QString why;
    // What the user already did about it, on any device.
    std::optional<QString> disposition;
    bool operator==(const BriefingFinding&) const = default;
};

// A remark that isn't about one task; its slug is its identity.
struct BriefingObservation {
    QString slug;
    QString text;
    std::optional<QString> disposition;
    QStringList itemIds;
    bool operator==(const BriefingObservation&) const = default;
};

struct BriefingBody {
    QString headline; // kept, never shown
    QList<BriefingFinding> critical;
    QList<BriefingFinding> chase;
    QList<BriefingFinding> drop;
    QList<BriefingObservation> observations;
    bool operator==(const BriefingBody&) const = default;

    // No finding and no observation; the headline doesn't count.
    bool isEmpty() const;
    const QList<BriefingFinding>& findings(BriefingKind kind) const;
    qsizetype findingCount() const { return critical.size() + chase.size() + drop.size(); }
};

struct Briefing {
    QString id;
    QDateTime createdAt;
    QString localDay; // yyyy-MM-dd in the user's zone
    std::optional<qint64> itemsSent;
    // Null for a run that couldn't be read.
    std::optional<BriefingBody> body;
    bool operator==(const Briefing&) const = default;
};

// The reply of the read and the run; every key is optional.
struct BriefingReply {
    std::optional<Briefing> briefing;
    std::optional<bool> ok;
    std::optional<bool> queued;
    std::optional<QString> reason;
    std::optional<QString> message;
    std::optional<bool> unread;
    std::optional<bool> helpHint;
    bool operator==(const BriefingReply&) const = default;
};

struct BriefingRead {
    std::optional<Briefing> briefing;
    bool helpHint = false;
    bool unread = false;
    bool operator==(const BriefingRead&) const = default;
};

// A run the server declined, with its sentence for the user.
class BriefingRefused : public std::exception {
public:
    BriefingRefused(QString reason, QString message);
    const QString& reason() const { return m_reason; }
    const QString& message() const { return m_message; }
    bool isNothingToDo() const { return m_reason == u"nothing_to_do"; }
    const char* what() const noexcept override { return m_what.constData(); }

private:
    QString m_reason;
    QString m_message;
    QByteArray m_what;
};

// The briefing calls' readers. Dates take three forms: ISO 8601 with or without a fraction,
// and the database's "yyyy-MM-dd HH:mm:ss" in UTC. Every failure throws DecodingError.
namespace BriefingDecoder {

// Bounds on what one reply may hold; more is refused as bad data.
inline constexpr qsizetype maxFindings = 500;
inline constexpr qsizetype maxItemIds = 1000;
inline constexpr qsizetype maxBriefings = 200;

QDateTime date(const QString& text);
BriefingReply reply(QByteArrayView json);
// `{"briefings": [...]}`.
QList<Briefing> history(QByteArrayView json);

} // namespace BriefingDecoder
