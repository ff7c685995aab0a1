#include "PaneRouter.h"

#include "People.h"

PaneRouter::PaneRouter(QObject* parent)
    : QObject(parent) {}

QString PaneRouter::screenText() const {
    return m_screen ? Wire::string(*m_screen) : QString();
}

QString PaneRouter::backToolTip() const {
    return m_screen == PaneScreen::connections && m_aiSetupOpen
               ? QStringLiteral("Back to the setup steps")
               : QStringLiteral("Back to the selected task");
}

void PaneRouter::setScreen(std::optional<PaneScreen> screen) {
    if (screen == m_screen)
        return;
    const QString before = backToolTip();
    m_screen = screen;
    Q_EMIT screenChanged();
    if (backToolTip() != before)
        Q_EMIT backToolTipChanged();
}

void PaneRouter::setScreenText(const QString& text) {
    if (text.isEmpty())
        return setScreen(std::nullopt);
    if (const auto screen = Wire::parse<PaneScreen>(text))
        setScreen(*screen);
}

void PaneRouter::setConnectionsAnchor(const QString& anchor) {
    if (anchor == m_connectionsAnchor)
        return;
    m_connectionsAnchor = anchor;
    Q_EMIT connectionsAnchorChanged();
}

void PaneRouter::setAiSetupOpen(bool open) {
    if (open == m_aiSetupOpen)
        return;
    const QString before = backToolTip();
    m_aiSetupOpen = open;
    Q_EMIT aiSetupOpenChanged();
    if (backToolTip() != before)
        Q_EMIT backToolTipChanged();
}

void PaneRouter::back() {
    if (m_screen == PaneScreen::connections && m_aiSetupOpen) {
        setConnectionsAnchor({});
        setScreen(PaneScreen::ai);
        return;
    }
    setAiSetupOpen(false);
    setScreen(std::nullopt);
}

void PaneRouter::openFromSetup(const QString& destination) {
    setConnectionsAnchor(destination == u"prompts" ? QStringLiteral("prompts") : QString());
    setScreen(PaneScreen::connections);
}

void PaneRouter::openInvitation(const QString& code) {
    // Bounded: a link is input from anywhere on this computer.
    const QString cut = code.trimmed().left(64);
    if (cut.isEmpty())
        return;
    if (cut != m_invitationCode) {
        m_invitationCode = cut;
        Q_EMIT invitationCodeChanged();
    }
    setAiSetupOpen(false);
    setScreen(PaneScreen::people);
}

bool PaneRouter::openInvitationLink(const QUrl& url) {
    const auto code = PeopleFormat::inviteCode(url);
    if (!code || code->trimmed().isEmpty())
        return false;
    openInvitation(*code);
    return true;
}

QString PaneRouter::takeInvitationCode() {
    const QString code = std::exchange(m_invitationCode, QString());
    if (!code.isEmpty())
        Q_EMIT invitationCodeChanged();
    return code;
}
