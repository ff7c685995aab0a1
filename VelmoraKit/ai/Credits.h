#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QList>
#include <QString>

#include <optional>

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

    // The reply of `api/ai/credits`; throws APIError::decoding for anything else.
    static CreditsSnapshot decode(const QByteArray& body);
};

// The dates of the AI calls: ISO 8601 with or without a fraction, or the database's own
// "yyyy-MM-dd HH:mm:ss" in UTC.
namespace ServerDate {
std::optional<QDateTime> parse(const QString& text);
}

// The Credits screen's words.
namespace CreditWords {
QString title(const CreditLot& lot);
// "2026-03" as "March 2026"; anything else as it stands.
QString monthName(const QString& period);
QString statusLine(const CreditLot& lot);
QString usedLine(const CreditLot& lot);
QString runLine(const CreditRun& run);
// The one short date of the screen, "4 Mar" in the user's locale.
QString shortDate(const QDateTime& at);
QString headerLine(const Credits& credits);
} // namespace CreditWords
