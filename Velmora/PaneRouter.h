#pragma once

#include "Enums.h"

#include <QObject>
#include <QString>
#include <QUrl>

#include <optional>

// The screens the main window's right pane can carry besides the item and the form.
enum class PaneScreen { connections, rules, ai, people };

template <>
struct EnumWire<PaneScreen> {
    static constexpr auto names =
        std::to_array<std::string_view>({"connections", "rules", "ai", "people"});
    static constexpr std::string_view typeName = "PaneScreen";
};

// What the right pane shows. Shared by the menus, the tray panel and the main window; every
// write skips an equal value so nothing observing it wakes for nothing.
class PaneRouter : public QObject {
    Q_OBJECT
    // The screen's wire name, or "" when the pane belongs to the item or the form.
    Q_PROPERTY(QString screen READ screenText WRITE setScreenText NOTIFY screenChanged)
    Q_PROPERTY(QString connectionsAnchor READ connectionsAnchor NOTIFY connectionsAnchorChanged)
    Q_PROPERTY(bool aiSetupOpen READ aiSetupOpen WRITE setAiSetupOpen NOTIFY aiSetupOpenChanged)
    Q_PROPERTY(QString backToolTip READ backToolTip NOTIFY backToolTipChanged)
    // The code of an invitation link opened on this computer, until the People pane takes it.
    Q_PROPERTY(QString invitationCode READ invitationCode NOTIFY invitationCodeChanged)

public:
    explicit PaneRouter(QObject* parent = nullptr);

    std::optional<PaneScreen> screen() const { return m_screen; }
    QString screenText() const;
    const QString& connectionsAnchor() const { return m_connectionsAnchor; }
    bool aiSetupOpen() const { return m_aiSetupOpen; }
    QString backToolTip() const;

    void setScreen(std::optional<PaneScreen> screen);
    // Unknown text is ignored; "" clears.
    void setScreenText(const QString& text);
    void setConnectionsAnchor(const QString& anchor);
    void setAiSetupOpen(bool open);

    // From connections opened by the setup steps, back to them; otherwise back to the item.
    Q_INVOKABLE void back();
    // From the agent setup guide: "prompts" scrolls connections to the sample prompts.
    Q_INVOKABLE void openFromSetup(const QString& destination);

    // An invitation opened on this computer: the People pane, with the code filled in.
    Q_INVOKABLE void openInvitation(const QString& code);
    // The same from a `velmora://i/<code>` or `<origin>/i/<code>` link; false when the link
    // holds no code (and nothing moves).
    bool openInvitationLink(const QUrl& url);
    const QString& invitationCode() const { return m_invitationCode; }
    // The People pane fills its field with this once; it is empty afterwards.
    Q_INVOKABLE QString takeInvitationCode();

Q_SIGNALS:
    void screenChanged();
    void connectionsAnchorChanged();
    void aiSetupOpenChanged();
    void backToolTipChanged();
    void invitationCodeChanged();

private:
    std::optional<PaneScreen> m_screen;
    QString m_connectionsAnchor;
    bool m_aiSetupOpen = false;
    QString m_invitationCode;
};
