#pragma once

#include "Json.h"
#include "Wire.h"

#include <QDate>
#include <QList>
#include <QString>

#include <optional>

// The user's standing rules applied to what an agent files. Pure functions over the
// rules, the suggestion and the user's day, so that the whole evaluation can be checked
// as a table; storage and the clock stay with the caller.
namespace RuleEngine {

// Where a due day falls as seen from `today`: "overdue" (before today), "today",
// "this_week" (the six days after today), "later", or "none" (no day, or text that is not
// a day written yyyy-MM-dd).
QString dueRelative(const std::optional<QString>& due, QDate today);

// Whether the conditions hold for `item`, whatever the rule's status. Text is compared
// trimmed and case-insensitively; blank values in a condition are left out. A match with
// no conditions holds for nothing, so an empty rule can never drop everything.
bool matches(const WireRuleMatch& match, const WireItem& item, QDate today);

// What the active rules make of one suggested task.
struct Verdict {
    bool dropped = false;
    Section section = Section::action;
    Priority priority = Priority::medium;
    QList<qsizetype> fired; // indices into the rules, ascending
    bool operator==(const Verdict&) const = default;
};
Verdict evaluate(const QList<WireRule>& rules, const WireItem& item, QDate today);

// The task that an "add" delta's `item` would create, read strictly as the agent wrote it
// (title, section, channel, priority and links required), with placeholders for the
// server's own fields. Throws DecodingError naming the key.
WireItem readNewItem(const JsonValue& item);
// The same for a whole delta; null when it is no "add" or its item does not read.
std::optional<WireItem> suggestedItem(const JsonValue& delta);

// `evaluate` over every "add" of a proposal: dropped deltas leave the array, moved and
// raised ones get their new `section` and `priority` in place (all other keys survive),
// and every rule that fired counts once per delta with `last_applied_at` set to `now`.
struct Outcome {
    JsonValue proposal;
    QList<WireRule> rules;
    QList<qsizetype> dropped; // positions in the proposal as filed
    // What the rules made of each "add", by its position as filed, so a filer can say why.
    QList<std::pair<qsizetype, Verdict>> verdicts;
};
Outcome applyToProposal(JsonValue proposal, QList<WireRule> rules, QDate today, const QString& now);

} // namespace RuleEngine
