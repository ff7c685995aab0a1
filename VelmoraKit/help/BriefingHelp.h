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

} // namespace BriefingHelp
