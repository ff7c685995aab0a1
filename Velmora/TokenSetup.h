#pragma once

#include <QObject>
#include <QStringList>
#include <QTimer>
#include <QUrl>

#include <functional>

class Store;

// The signed-out window: the brand column with its doors and the token field, and the
// rotating showcase. A door opens the server's start page in the browser; the code comes
// back as a `velmora://` address handed to acceptCode, and is traded for a token.
class TokenSetup : public QObject {
    Q_OBJECT
    Q_PROPERTY(int panel READ panel NOTIFY panelChanged)
    Q_PROPERTY(bool pinned READ pinned NOTIFY pinnedChanged)
    Q_PROPERTY(int panelCount READ panelCount CONSTANT)
    Q_PROPERTY(bool busy READ busy NOTIFY busyChanged)
    Q_PROPERTY(QString warning READ warning NOTIFY warningChanged)
    Q_PROPERTY(bool doorsEnabled READ doorsEnabled NOTIFY busyChanged)
    // Waiting for the browser to come back: only then is a code taken, and Cancel shown.
    Q_PROPERTY(bool waitingForBrowser READ waitingForBrowser NOTIFY waitingForBrowserChanged)
    Q_PROPERTY(QStringList showcaseRules READ showcaseRules CONSTANT)
    // While true and motion is allowed, the showcase moves on every 8 seconds.
    Q_PROPERTY(bool active READ active WRITE setActive NOTIFY activeChanged)
    Q_PROPERTY(bool reduceMotion READ reduceMotion WRITE setReduceMotion NOTIFY reduceMotionChanged)
    // While busy: what the sign-in waits for, and a line on what the person may see meanwhile.
    Q_PROPERTY(QString progress READ progress NOTIFY progressChanged)
    Q_PROPERTY(QString progressDetail READ progressDetail NOTIFY progressChanged)

public:
    static constexpr int rotationMs = 8000;

    explicit TokenSetup(Store& store, QObject* parent = nullptr);

    int panel() const { return m_panel; }
    bool pinned() const { return m_pinned; }
    int panelCount() const { return 3; }
    bool busy() const { return m_busy; }
    // The sign-in's own failure, else the Store's last error.
    QString warning() const;
    bool doorsEnabled() const { return !m_busy; }
    bool waitingForBrowser() const { return m_waiting; }
    // The sample rules in the words of the rules screen.
    QStringList showcaseRules() const;
    bool active() const { return m_active; }
    void setActive(bool active);
    bool reduceMotion() const { return m_reduceMotion; }
    void setReduceMotion(bool value);
    QString progress() const;
    QString progressDetail() const;

    // The arrows: -1 or +1, wrapping; pins the showcase for the life of the screen.
    Q_INVOKABLE void step(int delta);
    // A dot: that panel, pinned.
    Q_INVOKABLE void select(int panel);
    // The rotation's tick: the next panel unless pinned.
    void advance();
    // "Paste a token or connection URL" and Connect.
    Q_INVOKABLE void connectWith(const QString& text);

    // A door: "apple" or "google". Both doors are inert while busy.
    Q_INVOKABLE void signIn(const QString& provider);
    // Stops waiting for the browser; a code that comes later is ignored.
    Q_INVOKABLE void cancelSignIn();
    // A code from the browser's callback. Taken only while waiting for one; true when taken.
    bool acceptCode(const QString& code);
    // Opens the start page; the desktop's browser unless a test sets another.
    void setBrowser(std::function<bool(const QUrl&)> open) { m_openBrowser = std::move(open); }

Q_SIGNALS:
    void panelChanged();
    void pinnedChanged();
    void busyChanged();
    void warningChanged();
    void activeChanged();
    void reduceMotionChanged();
    void waitingForBrowserChanged();
    void progressChanged();

private:
    void setPanel(int panel);
    void setBusy(bool busy);
    void setFailure(const QString& failure);
    void updateRotation();
    void setWaiting(bool waiting);
    void openStartPage(const QString& provider, const QString& deviceName);

    Store& m_store;
    int m_panel = 0;
    bool m_pinned = false;
    bool m_busy = false;
    QString m_failure;
    bool m_active = false;
    bool m_reduceMotion = false;
    QTimer m_rotation;
    bool m_waiting = false;
    // Moves on with every sign-in, so a late device name of a cancelled one is dropped.
    int m_attempt = 0;
    QTimer m_giveUp;
    std::function<bool(const QUrl&)> m_openBrowser;
};
