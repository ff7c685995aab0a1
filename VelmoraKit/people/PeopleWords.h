#pragma once

#include "People.h"

#include <QObject>
#include <QString>

// The feature's vocabulary, one table for every screen.
namespace PeopleWords {

inline const QString title = QStringLiteral("People");
inline const QString openLabel = QStringLiteral("People you are connected to");
inline const QString invite = QStringLiteral("Invite someone");
inline const QString copyMessage = QStringLiteral("Copy invitation");
inline const QString copied = QStringLiteral("Copied");
inline const QString enterCode = QStringLiteral("Enter a code");
inline const QString connect = QStringLiteral("Connect");
inline const QString remove = QStringLiteral("Remove");
inline const QString cancelInvite = QStringLiteral("Cancel");
inline const QString openInApp = QStringLiteral("Open in the app");
inline const QString getTheApp = QStringLiteral("Get the app");
inline const QString continueOnWeb = QStringLiteral("Continue in the browser");
inline const QString blurb =
    QStringLiteral("People you can send things to. They see the name you choose here — not "
                   "your email, not your list, not anything else.");
inline const QString empty =
    QStringLiteral("Nobody yet. Invite someone and you will be able to send things to each other.");
inline const QString namePromptTitle = QStringLiteral("What should people call you?");
inline const QString namePromptBody =
    QStringLiteral("This is the name the people you connect with will see. It does not have to "
                   "be unique, and you can change it whenever you like.");
inline const QString namePlaceholder = QStringLiteral("Your name");
inline const QString invitePath = QStringLiteral("/i/");

QString inviteURL(const QString& origin, const QString& code);
QString inviteMessage(const QString& url);
// The line under a person's name; `date` is already formatted.
QString connectedLine(const QString& date, bool invitedByMe);

} // namespace PeopleWords

// Lets screens notice that something about people changed without holding a snapshot: an
// observer reads again when the revision moves. Kept for front ends that want it.
class PeopleCenter : public QObject {
    Q_OBJECT
    Q_PROPERTY(int revision READ revision NOTIFY revisionChanged)

public:
    using QObject::QObject;
    int revision() const { return m_revision; }
    void changed() {
        ++m_revision;
        Q_EMIT revisionChanged();
    }

Q_SIGNALS:
    void revisionChanged();

private:
    int m_revision = 0;
};
