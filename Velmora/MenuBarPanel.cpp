#include "MenuBarPanel.h"

#include "AppDelegate.h"

MenuBarPanel::MenuBarPanel(AppDelegate& delegate, QObject* parent)
    : QObject(parent)
    , m_delegate(delegate)
    , m_store(*delegate.store())
    , m_rows(this) {
    m_followUp.setSingleShot(true);
    // A burst of edits costs one recompute.
    setShown(false);
    connect(&m_followUp, &QTimer::timeout, this, &MenuBarPanel::recomputeNow);
    const auto follow = [this] { m_followUp.start(); };
    connect(&m_store, &Store::documentChanged, this, follow);
    connect(&m_store, &Store::hasTokenChanged, this, follow);
    // "Due now" moves at midnight even when nothing else changes.
    m_midnight.setSingleShot(true);
    connect(&m_midnight, &QTimer::timeout, this, [this] {
        recomputeNow();
        armMidnight();
    });
    armMidnight();
    recomputeNow();
}

QString MenuBarPanel::icon() const {
    return m_dueCount > 0 ? QStringLiteral("due") : QStringLiteral("clear");
}

QString MenuBarPanel::toolTip() const {
    return m_toolTip;
}

void MenuBarPanel::opened() {
    m_store.refresh(false);
}

void MenuBarPanel::toggle(const QString& id) {
    m_delegate.toggle(id);
}

QString MenuBarPanel::checkToolTip(bool done) {
    return done ? QStringLiteral("Mark as not done") : QStringLiteral("Mark as done");
}

ItemListModel* MenuBarPanel::rows() const {
    if (!m_rowsWanted) {
        m_rowsWanted = true;
        m_rows.setItems(m_store.todayItems(m_now));
    }
    return &m_rows;
}

void MenuBarPanel::recompute(const QDateTime& now) {
    m_now = now;
    if (m_rowsWanted)
        m_rows.setItems(m_store.todayItems(now));
    const int due = m_store.dueCount(now);
    QString tip;
    if (!m_store.hasToken())
        tip = QStringLiteral("Velmora — not connected");
    else if (due == 0)
        tip = QStringLiteral("Velmora — nothing due now");
    else
        tip = QStringLiteral("Velmora — %1 due now").arg(due);
    if (due != m_dueCount) {
        m_dueCount = due;
        Q_EMIT dueCountChanged();
    }
    if (tip != m_toolTip) {
        m_toolTip = tip;
        Q_EMIT toolTipChanged();
    }
}

void MenuBarPanel::recomputeNow() {
    recompute(QDateTime::currentDateTime());
}

void MenuBarPanel::armMidnight() {
    const QDateTime now = QDateTime::currentDateTime();
    const QDateTime next = now.date().addDays(1).startOfDay().addSecs(1);
    m_midnight.start(std::chrono::milliseconds(qMax<qint64>(1000, now.msecsTo(next))));
}
