#include "Preferences.h"

#include "Choices.h"

#include "LoginItems.h"

#include <QVariantMap>

#include <cmath>
#include <cstdio>

namespace {

bool isText(const QVariant& value) {
    return value.typeId() == QMetaType::QString || value.typeId() == QMetaType::QByteArray;
}

bool isInteger(const QVariant& value) {
    switch (value.typeId()) {
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::Long:
    case QMetaType::ULong:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Short:
    case QMetaType::UShort:
        return true;
    default:
        return false;
    }
}

} // namespace

namespace SettingsRead {

// Each reader asks for the object first: an absent key is not the same as false or 0.

bool boolean(const QSettings& settings, const QString& key, bool fallback) {
    const QVariant value = settings.value(key);
    if (value.typeId() == QMetaType::Bool)
        return value.toBool();
    if (!isText(value))
        return fallback;
    const QString text = value.toString().trimmed();
    if (text.compare(QLatin1String("true"), Qt::CaseInsensitive) == 0)
        return true;
    if (text.compare(QLatin1String("false"), Qt::CaseInsensitive) == 0)
        return false;
    return fallback;
}

int integer(const QSettings& settings, const QString& key, int min, int max, int fallback) {
    const QVariant value = settings.value(key);
    bool ok = false;
    qlonglong number = 0;
    if (isInteger(value))
        number = value.toLongLong(&ok);
    else if (isText(value))
        number = value.toString().trimmed().toLongLong(&ok);
    if (!ok || number < min || number > max)
        return fallback;
    return static_cast<int>(number);
}

double real(const QSettings& settings, const QString& key, double min, double max,
            double fallback) {
    const QVariant value = settings.value(key);
    bool ok = false;
    double number = 0;
    if (value.typeId() == QMetaType::Double || value.typeId() == QMetaType::Float ||
        isInteger(value))
        number = value.toDouble(&ok);
    else if (isText(value))
        number = value.toString().trimmed().toDouble(&ok);
    if (!ok || !std::isfinite(number) || number < min || number > max)
        return fallback;
    return number;
}

QString text(const QSettings& settings, const QString& key, const QString& fallback) {
    const QVariant value = settings.value(key);
    return isText(value) ? value.toString() : fallback;
}

} // namespace SettingsRead

QString label(Appearance appearance) {
    switch (appearance) {
    case Appearance::system:
        return QStringLiteral("Match system");
    case Appearance::light:
        return QStringLiteral("Light");
    case Appearance::dark:
        return QStringLiteral("Dark");
    }
    return {};
}

namespace {
const QString appearanceKey = QStringLiteral("appearance");
const QString showInDockKey = QStringLiteral("showInDock");
const QString launchAtLoginKey = QStringLiteral("launchAtLogin");
const QString dailyReminderKey = QStringLiteral("dailyReminder");
const QString reminderHourKey = QStringLiteral("reminderHour");
const QString paneFractionKey = QStringLiteral("paneFraction");
const QString briefingHelpHintDoneKey = QStringLiteral("briefingHelpHintDone");
const QString urgentAgentAlertsKey = QStringLiteral("urgentAgentAlerts");
} // namespace

Preferences::Preferences(QSettings& settings, LoginItems& loginItems, QObject* parent)
    : QObject(parent)
    , m_settings(settings)
    , m_loginItems(loginItems) {
    const QString appearance =
        SettingsRead::text(settings, appearanceKey, Wire::string(Appearance::system));
    m_appearance = Wire::parse<Appearance>(appearance).value_or(Appearance::system);
    m_showInDock = SettingsRead::boolean(settings, showInDockKey, true);
    m_launchAtLogin = SettingsRead::boolean(settings, launchAtLoginKey, false);
    m_dailyReminder = SettingsRead::boolean(settings, dailyReminderKey, false);
    m_reminderHour = SettingsRead::integer(settings, reminderHourKey, 0, 23, 9);
    m_paneFraction = SettingsRead::real(settings, paneFractionKey, PaneSplit::minFraction,
                                        PaneSplit::maxFraction, PaneSplit::defaultFraction);
    m_briefingHelpHintDone = SettingsRead::boolean(settings, briefingHelpHintDoneKey, false);
    m_urgentAgentAlerts = SettingsRead::boolean(settings, urgentAgentAlertsKey, true);
    // The login item is deliberately not applied here: only a change by the user touches it,
    // so a choice made in the desktop's own settings is left alone.
}

QString Preferences::appearanceText() const {
    return Wire::string(m_appearance);
}

// Each write is flushed at once, so a crash right after a change doesn't undo it.
void Preferences::setAppearance(Appearance value) {
    if (value == m_appearance)
        return;
    m_appearance = value;
    m_settings.setValue(appearanceKey, Wire::string(value));
    m_settings.sync();
    Q_EMIT appearanceChanged();
}

void Preferences::setAppearanceText(const QString& text) {
    if (const auto value = Wire::parse<Appearance>(text))
        setAppearance(*value);
}

void Preferences::setShowInDock(bool value) {
    if (value == m_showInDock)
        return;
    m_showInDock = value;
    m_settings.setValue(showInDockKey, value);
    m_settings.sync();
    Q_EMIT showInDockChanged();
}

void Preferences::setLaunchAtLogin(bool value) {
    if (value == m_launchAtLogin)
        return;
    m_launchAtLogin = value;
    m_settings.setValue(launchAtLoginKey, value);
    m_settings.sync();
    Q_EMIT launchAtLoginChanged();
    applyLaunchAtLogin();
}

void Preferences::setDailyReminder(bool value) {
    if (value == m_dailyReminder)
        return;
    m_dailyReminder = value;
    m_settings.setValue(dailyReminderKey, value);
    m_settings.sync();
    Q_EMIT dailyReminderChanged();
}

void Preferences::setReminderHour(int hour) {
    if (hour < 0 || hour > 23 || hour == m_reminderHour)
        return;
    m_reminderHour = hour;
    m_settings.setValue(reminderHourKey, hour);
    m_settings.sync();
    Q_EMIT reminderHourChanged();
}

void Preferences::setBriefingHelpHintDone(bool value) {
    if (value == m_briefingHelpHintDone)
        return;
    m_briefingHelpHintDone = value;
    m_settings.setValue(briefingHelpHintDoneKey, value);
    m_settings.sync();
    Q_EMIT briefingHelpHintDoneChanged();
}

void Preferences::setUrgentAgentAlerts(bool value) {
    if (value == m_urgentAgentAlerts)
        return;
    m_urgentAgentAlerts = value;
    m_settings.setValue(urgentAgentAlertsKey, value);
    m_settings.sync();
    Q_EMIT urgentAgentAlertsChanged();
}

QVariantList Preferences::appearanceChoices() const {
    return wireChoices<Appearance>();
}

// A failure is for the log only: the toggle keeps the user's choice and nothing is shown.
void Preferences::applyLaunchAtLogin() {
    const auto error = m_loginItems.setEnabled(m_launchAtLogin);
    if (!error)
        return;
    QString line = QStringLiteral("launch-at-login failed: ") + *error;
    line.replace(QLatin1Char('\n'), QLatin1Char(' '));
    std::fprintf(stderr, "%s\n", line.toLocal8Bit().constData());
    std::fflush(stderr);
}

void Preferences::setPaneFraction(double fraction) {
    const double clamped = PaneSplit::clamp(fraction);
    if (qFuzzyCompare(clamped, m_paneFraction))
        return;
    m_paneFraction = clamped;
    m_settings.setValue(paneFractionKey, clamped);
    Q_EMIT paneFractionChanged();
}
