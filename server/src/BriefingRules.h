#pragma once

#include "Json.h"
#include "Wire.h"

#include <QDateTime>
#include <QList>
#include <QSet>
#include <QString>
#include <QStringList>

// The reference briefing: plain rules over the open list, not a model. Deterministic for a
// given document, handled set and moment, so a test can hold it to a table.
namespace BriefingRules {

inline constexpr qsizetype maxPerList = 5;
inline constexpr qsizetype maxObservations = 5;
// Days before an undated waiting task is worth chasing, and before an idle task may go.
inline constexpr qint64 chaseAfterDays = 7;
inline constexpr qint64 dropAfterDays = 30;
// Waiting tasks from one person that make a pattern worth a remark.
inline constexpr qsizetype pileOfWaiting = 3;
// Dismissal targets are at most this long, so a slug must be too.
inline constexpr qsizetype maxSlug = 200;

struct Finding {
    QString itemId;
    QString why;
    bool operator==(const Finding&) const = default;
};

struct Observation {
    QString slug;
    QString text;
    QStringList itemIds;
    bool operator==(const Observation&) const = default;
};

struct Body {
    QString headline;
    QList<Finding> critical;
    QList<Finding> chase;
    QList<Finding> drop;
    QList<Observation> observations;
    bool operator==(const Body&) const = default;
};

// "<finding>:<target>", as a dismissal names what it keeps out.
inline QString handledKey(const QString& finding, const QString& target) {
    return finding + u':' + target;
}

// The open tasks a run reads: not done, not deleted.
QList<WireItem> openItems(const WireDocument& document);

// The briefing for `document` at `now`, whose day is `today` in the user's zone. Tasks that
// match a focus term lead each list; `handled` keys stay out.
Body generate(const WireDocument& document, const QDate& today, const QDateTime& now,
              const QSet<QString>& handled);

// Whole-word, case-blind: "dana" is in "Call Dana" and "dana-ops", not in "Danatech".
bool matchesTerm(const QString& text, const QString& term);

// The body as the client reads it, every disposition null.
JsonValue toJson(const Body& body);

} // namespace BriefingRules
