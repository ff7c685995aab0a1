#pragma once

#include "People.h"

#include <QDateTime>
#include <QString>

#include <exception>

// The words and rules of the people screens, as plain functions.
namespace PeopleScreen {

inline const QString loadFailed = QStringLiteral("Couldn't load people.");
inline const QString mintFailed = QStringLiteral("Couldn't make an invite just now.");
inline const QString redeemFailed = QStringLiteral("Couldn't use that code just now.");
inline const QString shareFailed = QStringLiteral("That did not work. Try again in a moment.");

// A code or a first name counts once it has more than blanks; it is sent as typed.
bool hasText(const QString& text);
// The sentence for a failed action: the server's refusal of that family as it stands,
// else `fallback` (never the text of a technical error).
QString peopleFailure(const std::exception_ptr& error, const QString& fallback);
QString shareFailure(const std::exception_ptr& error);
// A date in the user's zone, abbreviated, with no time ("25 Nov 2026").
QString shortDate(const QDateTime& at);
QString worksOnce(qint64 ttlDays);
QString expiresLine(const QDateTime& at);
// The line under an incoming task's title, and under a returned one's.
QString incomingLine(const Incoming& incoming);
QString returnedLine(const Returned& returned);
QString removeTitle(const QString& name);

} // namespace PeopleScreen
