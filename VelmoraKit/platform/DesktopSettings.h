#pragma once

#include <QDBusVariant>
#include <QObject>

// The desktop's colour scheme and reduce-motion setting, read from the XDG settings portal
// and followed while the app runs. Without a portal (or a session bus) the scheme falls back
// to the lightness of the application palette, and motion stays on.
class DesktopSettings : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool prefersDark READ prefersDark NOTIFY prefersDarkChanged)
    Q_PROPERTY(bool reduceMotion READ reduceMotion NOTIFY reduceMotionChanged)

public:
    explicit DesktopSettings(QObject* parent = nullptr);

    bool prefersDark() const { return m_prefersDark; }
    bool reduceMotion() const { return m_reduceMotion; }

    // What a portal value means. `colorScheme`: 1 prefers dark, 2 prefers light, 0 (or
    // anything else) has no preference and defers to `paletteIsDark`.
    static bool darkFromScheme(uint colorScheme, bool paletteIsDark);

Q_SIGNALS:
    void prefersDarkChanged();
    void reduceMotionChanged();

private Q_SLOTS:
    void settingChanged(const QString& group, const QString& key, const QDBusVariant& value);

private:
    void read(const QString& group, const QString& key);
    void apply(const QString& group, const QString& key, const QVariant& value);
    void setPrefersDark(bool value);
    void setReduceMotion(bool value);

    bool m_prefersDark = false;
    bool m_reduceMotion = false;
};
