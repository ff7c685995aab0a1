#pragma once

#include "HelpDocument.h"

// What the update review means, in the user's words, and the review's own labels: the
// buttons and the help read from one table so they can't drift apart.
namespace UpdatesHelp {

using Note = HelpNote;
using Action = HelpAction;
struct Kind {
    QString verb;
    QString body;
    bool operator==(const Kind&) const = default;
};

namespace Labels {
inline const QString acceptAll = QStringLiteral("Accept all");
inline const QString accept = QStringLiteral("Accept");
inline const QString rejectAll = QStringLiteral("Reject all");
inline const QString reject = QStringLiteral("Reject");
inline const QString close = QStringLiteral("Close");
inline const QString undo = QStringLiteral("Undo");
inline const QString later = QStringLiteral("Later");
} // namespace Labels

namespace Verbs {
inline const QString add = QStringLiteral("Add");
inline const QString done = QStringLiteral("Done");
inline const QString change = QStringLiteral("Change");
inline const QString remove = QStringLiteral("Remove");
inline const QString rule = QStringLiteral("Rule");
} // namespace Verbs

// The tag of a row: any kind that ends in "_rule", and any kind this client doesn't know,
// reads "Rule".
QString verb(const QString& deltaKind);

const QList<Note>& intro();
const Note& kindsHeading();
const QList<Kind>& kinds();
const QList<Note>& reading();
const Note& actionsHeading();
const QList<Action>& actions();
const Note& swiping();
const QList<Note>& outro();

inline const QString emptyTitle = QStringLiteral("Nothing to review");
inline const QString emptyBody =
    QStringLiteral("When Claude suggests changes, they land here for you to accept or reject. "
                   "So do tasks sent to you by anyone you are connected to.");
inline const QString emptyPeopleButton = QStringLiteral("Connect with someone");

// The page in reading order; without swipes the gestures and their note are left out.
QList<HelpCardData> page(bool showsSwipes);

} // namespace UpdatesHelp
