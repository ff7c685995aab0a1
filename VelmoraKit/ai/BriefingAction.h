#pragma once

#include "Briefing.h"
#include "Records.h"

#include <QDateTime>
#include <QString>

#include <optional>

// What a briefing card's buttons do to the task it names, and the words they leave behind.
// The steps on the Store are the panel's; these are the pure parts they rest on.
namespace BriefingAction {

using Kind = BriefingKind;

inline constexpr bool flagValue = true;
inline constexpr int chaseDays = 7;
inline constexpr Section escalationSection = Section::action;

// A week after `now` by calendar days, so the time of day survives a change of clocks.
QDateTime chaseDue(const QDateTime& now);
// "Schedule a call with <person> about <title>", or without the person.
QString escalationTitle(const Item& item);
// The human in a task's source: what a handover arrow points at, or the text itself unless
// it names an event (a standup, a meeting, a review...).
std::optional<QString> person(const std::optional<QString>& source);
// "No action", or the record word, then " · done since" or " · still open" with an item.
QString recordLine(const std::optional<QString>& disposition, const std::optional<Item>& item);
// Answered here, or on any device as the server says.
bool isAnswered(bool locally, const std::optional<QString>& disposition);
// The key of a card in the panel's answers: "<kind>:<target>".
QString answerKey(Kind kind, const QString& target);

namespace Receipt {
// Deleted “title”
QString dropped(const QString& title);
} // namespace Receipt

} // namespace BriefingAction
