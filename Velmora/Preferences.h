#pragma once

#include "Enums.h"

#include "Panes.h"

#include <QObject>
#include <QSettings>

class LoginItems;

// Typed reads of the settings file. The INI backend gives numbers and booleans back as
// strings after a restart, so each read accepts its type or its text form, and anything
// else (absent, wrong type, out of range) is the fallback.
namespace SettingsRead {
bool boolean(const QSettings& settings, const QString& key, bool fallback);
int integer(const QSettings& settings, const QString& key, int min, int max, int fallback);
double real(const QSettings& settings, const QString& key, double min, double max, double fallback);
QString text(const QSettings& settings, const QString& key, const QString& fallback);
} // namespace SettingsRead

enum class Appearance { system, light, dark };

template <>
struct EnumWire<Appearance> {
    static constexpr auto names = std::to_array<std::string_view>({"system", "light", "dark"});
    static constexpr std::string_view typeName = "Appearance";
};

// "Match system", "Light", "Dark".
QString label(Appearance appearance);

// What belongs to this machine rather than to the account. Every property writes through to
// the settings at the moment it is set, and notifies only on a real change.
class Preferences : public QObject {
    Q_OBJECT
    Q_PROPERTY(
        QString appearance READ appearanceText WRITE setAppearanceText NOTIFY appearanceChanged)
    Q_PROPERTY(bool showInDock READ showInDock WRITE setShowInDock NOTIFY showInDockChanged)
    Q_PROPERTY(
        bool launchAtLogin READ launchAtLogin WRITE setLaunchAtLogin NOTIFY launchAtLoginChanged)
    Q_PROPERTY(
        bool dailyReminder READ dailyReminder WRITE setDailyReminder NOTIFY dailyReminderChanged)
    Q_PROPERTY(int reminderHour READ reminderHour WRITE setReminderHour NOTIFY reminderHourChanged)
    // The right pane's share of the main window, kept across launches.
    Q_PROPERTY(
        double paneFraction READ paneFraction WRITE setPaneFraction NOTIFY paneFractionChanged)
    // The briefing's "New to briefings?" hint was closed.
    Q_PROPERTY(bool briefingHelpHintDone READ briefingHelpHintDone WRITE setBriefingHelpHintDone
                   NOTIFY briefingHelpHintDoneChanged)

    // A notification when an agent adds a task as urgent.
    Q_PROPERTY(bool urgentAgentAlerts READ urgentAgentAlerts WRITE setUrgentAgentAlerts NOTIFY
                   urgentAgentAlertsChanged)

public:
    // Reads the five keys. `settings` and `loginItems` outlive this object.
    Preferences(QSettings& settings, LoginItems& loginItems, QObject* parent = nullptr);

    Appearance appearance() const { return m_appearance; }
    QString appearanceText() const;
    bool showInDock() const { return m_showInDock; }
    bool launchAtLogin() const { return m_launchAtLogin; }
    bool dailyReminder() const { return m_dailyReminder; }
    int reminderHour() const { return m_reminderHour; }
    double paneFraction() const { return m_paneFraction; }
    bool briefingHelpHintDone() const { return m_briefingHelpHintDone; }
    bool urgentAgentAlerts() const { return m_urgentAgentAlerts; }
    void setUrgentAgentAlerts(bool value);
    void setBriefingHelpHintDone(bool value);

    void setAppearance(Appearance value);
    // Unknown text is ignored.
    void setAppearanceText(const QString& text);
    void setShowInDock(bool value);
    // Stores, then registers or unregisters the login item; a failure is logged only.
    void setLaunchAtLogin(bool value);
    void setDailyReminder(bool value);
    // Outside 0...23 is ignored.
    void setReminderHour(int hour);
    // Clamped to the split's range before it is stored.
    void setPaneFraction(double fraction);

    // The choices for the appearance picker, in order: [{value, label}].
    Q_INVOKABLE QVariantList appearanceChoices() const;

Q_SIGNALS:
    void appearanceChanged();
    void showInDockChanged();
    void launchAtLoginChanged();
    void dailyReminderChanged();
    void reminderHourChanged();
    void paneFractionChanged();
    void briefingHelpHintDoneChanged();
    void urgentAgentAlertsChanged();

private:
    void applyLaunchAtLogin();

    QSettings& m_settings;
    LoginItems& m_loginItems;
    Appearance m_appearance = Appearance::system;
    bool m_showInDock = true;
    bool m_launchAtLogin = false;
    bool m_dailyReminder = false;
    int m_reminderHour = 9;
    double m_paneFraction = PaneSplit::defaultFraction;
    bool m_briefingHelpHintDone = false;
    bool m_urgentAgentAlerts = true;
};
