#pragma once

#include "HelpDocument.h"

// What a briefing means, in the user's words.
namespace BriefingHelp {

using Note = HelpNote;
using Action = HelpAction;
struct Group {
    QString kind;
    QString title;
    QString what;
    QList<Action> actions;
    bool operator==(const Group&) const = default;
};

const QList<Note>& intro();
const Note& groupsHeading();
const QList<Group>& groups();
const Note& swiping();
const QList<Note>& outro();

// A briefing section's title: "critical" -> "What's critical"; "" for an unknown one.
QString sectionTitle(const QString& kind);

// The page in reading order; without swipes the gestures and their note are left out.
QList<HelpCardData> page(bool showsSwipes);

// The disposition words the service records for each button, and the buttons' labels.
namespace Dispositions {
inline constexpr char16_t doToday[] = u"doToday";
inline constexpr char16_t chase[] = u"chase";
inline constexpr char16_t escalate[] = u"escalate";
inline constexpr char16_t drop[] = u"drop";
inline constexpr char16_t ignore[] = u"ignore";
inline constexpr char16_t gotIt[] = u"gotIt";
inline constexpr char16_t stopTelling[] = u"stopTelling";
} // namespace Dispositions
namespace Labels {
inline constexpr char16_t doToday[] = u"Flag it";
inline constexpr char16_t chase[] = u"Chase";
inline constexpr char16_t escalate[] = u"Escalate";
inline constexpr char16_t drop[] = u"Drop";
inline constexpr char16_t ignore[] = u"Ignore";
inline constexpr char16_t gotIt[] = u"Got it";
inline constexpr char16_t stopTelling[] = u"Stop telling me";
} // namespace Labels

// A disposition's button text ("doToday" -> "Flag it"); null outside the table.
std::optional<QString> dispositionLabel(const QString& disposition);
// A disposition's word in a record ("doToday" -> "Flagged"); null outside the table.
std::optional<QString> historyWord(const QString& disposition);

} // namespace BriefingHelp
