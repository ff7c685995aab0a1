#pragma once

#include "Enums.h"
#include "Records.h"

#include <QByteArray>
#include <QDateTime>
#include <QList>
#include <QString>

#include <optional>
#include <variant>

// The records the AI calls exchange with the server, and their strict readers. Readers
// throw DecodingError; the client turns it into APIError::decoding.

// The draft that fills the new-task form.
struct SmartDraft {
    QString title;
    std::optional<QString> details; // the note
    std::optional<QString> who;     // the source
    std::optional<QDateTime> due;   // local midnight of the due day
    Section section = Section::action;
    Priority priority = Priority::medium;
    QList<ItemLink> links;
    bool operator==(const SmartDraft&) const = default;
};

// Why the server drew nothing.
enum class SmartInsertRefusal { noAllowance, notConfigured, failed };

template <>
struct EnumWire<SmartInsertRefusal> {
    static constexpr auto names =
        std::to_array<std::string_view>({"no_allowance", "not_configured", "failed"});
    static constexpr std::string_view typeName = "SmartInsertRefusal";
};

struct SmartInsertDrafted {
    SmartDraft draft;
    bool truncated = false;
    qint64 used = 0;
    qint64 cap = 0;
    bool operator==(const SmartInsertDrafted&) const = default;
};

struct SmartInsertRefused {
    SmartInsertRefusal refusal = SmartInsertRefusal::failed;
    qint64 used = 0;
    qint64 cap = 0;
    bool operator==(const SmartInsertRefused&) const = default;
};

// What one call of the server's Smart Add gives.
using SmartInsertOutcome = std::variant<SmartInsertDrafted, SmartInsertRefused>;

namespace SmartInsert {
// Reads the server's reply. A body that is not the expected JSON throws DecodingError; a
// reply without a draft is a refusal ("failed" unless it says why).
SmartInsertOutcome decode(const QByteArray& body);
} // namespace SmartInsert

// What the account has used of its caps, as the server counts it.
struct Usage {
    qint64 openTasks = 0;
    std::optional<qint64> taskCap; // none: no limit
    qint64 mcpUsedToday = 0;       // agent calls today
    qint64 mcpCap = 0;             // agent calls allowed a day
    std::optional<QString> email;
    std::optional<QString> name;
    bool operator==(const Usage&) const = default;

    bool tasksFull() const;
    // Close to the cap but not at it: full isn't near.
    bool tasksNearCap() const;
    bool mcpExhausted() const;

    // The reply of `api/usage`; throws DecodingError for anything else, a count out of
    // range included.
    static Usage decode(const QByteArray& body);
};

// The balance of AI credits. The server keeps the ledger; the client only shows it.
struct Credits {
    qint64 included = 0; // left of the monthly allowance
    std::optional<QDateTime> includedExpiresAt;
    qint64 extra = 0; // bought credits left, which don't expire
    qint64 creditsPerMonth = 0;
    bool operator==(const Credits&) const = default;
    qint64 total() const { return included + extra; }
};

// One grant of credits.
struct CreditLot {
    QString id;
    QString kind; // "plan", "purchase", "refund", or another word
    qint64 amount = 0;
    qint64 used = 0;
    qint64 remaining = 0;
    qint64 lost = 0;
    std::optional<QString> period; // "yyyy-MM" for a monthly allowance
    std::optional<QDateTime> expiresAt;
    QDateTime createdAt;
    QString status;
    bool operator==(const CreditLot&) const = default;
    bool isAllowance() const { return kind == u"plan"; }
    bool isSpent() const { return remaining == 0 && lost == 0; }
};

// One AI run.
struct CreditRun {
    QString id;
    QString capability;
    QString triggerKind; // "on_demand" when the user asked; anything else is scheduled
    QString status;
    QDateTime startedAt;
    std::optional<QDateTime> finishedAt;
    bool operator==(const CreditRun&) const = default;
    bool succeeded() const { return status == u"succeeded"; }
    bool failed() const { return status == u"failed"; }
};

struct CreditsSnapshot {
    Credits credits;
    QList<CreditLot> lots;
    QList<CreditRun> runs;
    bool operator==(const CreditsSnapshot&) const = default;

    // The reply of `api/ai/credits`; throws DecodingError for anything else.
    static CreditsSnapshot decode(const QByteArray& body);
};

// The dates of the AI calls: ISO 8601 with or without a fraction, or the database's own
// "yyyy-MM-dd HH:mm:ss" in UTC.
namespace ServerDate {
std::optional<QDateTime> parse(const QString& text);
}

// A briefing finding the user acted on, which the server leaves alone for a while.
struct HandledFinding {
    QString target;           // the task's id, or the observation's slug
    QString finding;          // "critical", "chase", "drop" or "observation"
    QString label;            // the server's text for it
    bool approximate = false; // the label is a summary, not the task's own words
    QString createdAt;        // as the server wrote it
    bool operator==(const HandledFinding&) const = default;
    QString id() const { return target + QLatin1Char(':') + finding; }

    // `{"dismissals": [...]}` of `api/ai/dismiss`; throws DecodingError otherwise.
    static QList<HandledFinding> decodeList(const QByteArray& body);
};
