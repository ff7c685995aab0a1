#include "PeopleWords.h"

namespace PeopleWords {

QString inviteURL(const QString& origin, const QString& code) {
    return PeopleFormat::inviteURL(origin, code);
}

QString inviteMessage(const QString& url) {
    return PeopleFormat::inviteMessage(url);
}

QString connectedLine(const QString& date, bool invitedByMe) {
    return QStringLiteral("Connected ") + date +
           (invitedByMe ? QStringLiteral(" · you invited them")
                        : QStringLiteral(" · they invited you"));
}

} // namespace PeopleWords
