#include "TokenSetup.h"

#include "APIClient.h"
#include "DeviceName.h"
#include "Rules.h"
#include "SignIn.h"
#include "Store.h"

#include <QDesktopServices>
#include <QPointer>

TokenSetup::TokenSetup(Store& store, QObject* parent)
    : QObject(parent)
    , m_store(store) {
    m_rotation.setInterval(rotationMs);
    connect(&m_rotation, &QTimer::timeout, this, &TokenSetup::advance);
    connect(&m_store, &Store::lastErrorChanged, this, &TokenSetup::warningChanged);
    connect(&m_store, &Store::waitingForKeyringChanged, this, &TokenSetup::progressChanged);
    connect(this, &TokenSetup::busyChanged, this, &TokenSetup::progressChanged);
    // No browser tells when it was closed, so the wait ends by itself.
    m_giveUp.setSingleShot(true);
    m_giveUp.setInterval(SignIn::waitMs);
    connect(&m_giveUp, &QTimer::timeout, this, &TokenSetup::cancelSignIn);
    m_openBrowser = [](const QUrl& url) { return QDesktopServices::openUrl(url); };
}

QString TokenSetup::warning() const {
    return m_failure.isEmpty() ? m_store.lastError() : m_failure;
}

QString TokenSetup::progress() const {
    if (!m_busy)
        return {};
    return m_store.waitingForKeyring() ? QStringLiteral("Waiting for the keyring\u2026")
                                       : QStringLiteral("Signing in\u2026");
}

QString TokenSetup::progressDetail() const {
    if (!m_busy || !m_store.waitingForKeyring())
        return {};
    return QStringLiteral("Your desktop may ask for the keyring\u2019s password, to keep "
                          "your sign-in safe.");
}

QStringList TokenSetup::showcaseRules() const {
    QStringList texts;
    for (const WireNewRule& rule : ::showcaseRules())
        texts << Rule::describe(rule.action, rule.match);
    return texts;
}

void TokenSetup::setActive(bool active) {
    if (active == m_active)
        return;
    m_active = active;
    Q_EMIT activeChanged();
    updateRotation();
}

void TokenSetup::setReduceMotion(bool value) {
    if (value == m_reduceMotion)
        return;
    m_reduceMotion = value;
    Q_EMIT reduceMotionChanged();
    updateRotation();
}

void TokenSetup::updateRotation() {
    if (m_active && !m_reduceMotion) {
        if (!m_rotation.isActive())
            m_rotation.start();
    } else {
        m_rotation.stop();
    }
}

void TokenSetup::setPanel(int panel) {
    if (panel == m_panel)
        return;
    m_panel = panel;
    Q_EMIT panelChanged();
}

void TokenSetup::step(int delta) {
    setPanel(((m_panel + delta) % panelCount() + panelCount()) % panelCount());
    if (!m_pinned) {
        m_pinned = true;
        Q_EMIT pinnedChanged();
    }
}

void TokenSetup::select(int panel) {
    if (panel < 0 || panel >= panelCount())
        return;
    setPanel(panel);
    if (!m_pinned) {
        m_pinned = true;
        Q_EMIT pinnedChanged();
    }
}

void TokenSetup::advance() {
    if (!m_pinned)
        setPanel((m_panel + 1) % panelCount());
}

void TokenSetup::setBusy(bool busy) {
    if (busy == m_busy)
        return;
    m_busy = busy;
    Q_EMIT busyChanged();
}

void TokenSetup::setFailure(const QString& failure) {
    if (failure == m_failure)
        return;
    const QString before = warning();
    m_failure = failure;
    if (warning() != before)
        Q_EMIT warningChanged();
}

void TokenSetup::connectWith(const QString& text) {
    if (m_busy)
        return;
    setBusy(true);
    setFailure({});
    [](QPointer<TokenSetup> self, Store* store, QString text) -> QCoro::Task<> {
        auto connecting = store->connect(std::move(text));
        const bool connected = co_await std::move(connecting);
        if (!self)
            co_return;
        if (!connected && store->lastError().isEmpty())
            self->setFailure(QStringLiteral("The server rejected the sign-in."));
        self->setBusy(false);
    }(this, &m_store, text);
}

void TokenSetup::setWaiting(bool waiting) {
    if (waiting == m_waiting)
        return;
    m_waiting = waiting;
    if (waiting)
        m_giveUp.start();
    else
        m_giveUp.stop();
    Q_EMIT waitingForBrowserChanged();
}

void TokenSetup::signIn(const QString& provider) {
    if (m_busy)
        return;
    setBusy(true);
    setFailure({});
    setWaiting(true);
    const int attempt = ++m_attempt;
    DeviceName::fetch(this, [this, attempt, provider](QString deviceName) {
        if (attempt == m_attempt && m_waiting)
            openStartPage(provider, deviceName);
    });
}

void TokenSetup::openStartPage(const QString& provider, const QString& deviceName) {
    const QUrl url = SignIn::startURL(APIClient::defaultBaseURL(), provider, deviceName);
    // A page that cannot be opened ends as a closed one would: quietly.
    if (!url.isValid() || !m_openBrowser(url))
        cancelSignIn();
}

void TokenSetup::cancelSignIn() {
    if (!m_waiting)
        return;
    ++m_attempt;
    setWaiting(false);
    setBusy(false);
}

bool TokenSetup::acceptCode(const QString& code) {
    if (!m_waiting)
        return false;
    ++m_attempt;
    setWaiting(false);
    [](QPointer<TokenSetup> self, Store* store, QString code) -> QCoro::Task<> {
        QString token;
        try {
            APIClient client(APIClient::defaultBaseURL());
            auto pairing = client.pair(std::move(code));
            token = co_await std::move(pairing);
        } catch (const std::exception&) {
            if (self) {
                self->setFailure(QStringLiteral("Sign-in didn't complete. Try again."));
                self->setBusy(false);
            }
            co_return;
        }
        if (!self)
            co_return;
        auto connecting = store->connect(std::move(token));
        const bool connected = co_await std::move(connecting);
        if (!self)
            co_return;
        if (!connected && store->lastError().isEmpty())
            self->setFailure(QStringLiteral("The server rejected the sign-in."));
        self->setBusy(false);
    }(this, &m_store, code);
    return true;
}
