#pragma once

#include "ItemListModel.h"

#include <QDateTime>
#include <QObject>
#include <QTimer>

class AppDelegate;
class Store;

// The tray's quick look: what is due now, with ticks, and the way into the main window. It
// answers the same whatever the main window's search, filters or "Hide done" say. Also
// decides the tray icon, which is the whole of the tray's message.
class MenuBarPanel : public QObject {
    Q_OBJECT
    Q_PROPERTY(ItemListModel* rows READ rows CONSTANT)
    Q_PROPERTY(int dueCount READ dueCount NOTIFY dueCountChanged)
    // "due" while something is due, else "clear".
    Q_PROPERTY(QString icon READ icon NOTIFY dueCountChanged)
    Q_PROPERTY(QString toolTip READ toolTip NOTIFY toolTipChanged)

public:
    MenuBarPanel(AppDelegate& delegate, QObject* parent = nullptr);

    // Filled from the first call on: until the panel is built nothing reads them, and at tens
    // of thousands of tasks today's list is megabytes, copied again on every change.
    ItemListModel* rows() const;
    int dueCount() const { return m_dueCount; }
    QString icon() const;
    QString toolTip() const;

    // Each time the panel opens: refresh in the background so what shows is fresh.
    Q_INVOKABLE void opened();
    Q_INVOKABLE void toggle(const QString& id);
    // "Mark as done", or "Mark as not done" for a done item.
    Q_INVOKABLE static QString checkToolTip(bool done);

    // The rows and count as of `now`; called on each change of the document and at midnight.
    void recompute(const QDateTime& now);
    // While the panel shows, a tick in it is answered at once; otherwise the panel follows
    // shortly after, once the main window has drawn the edit.
    void setShown(bool shown) { m_followUp.setInterval(shown ? 0 : 100); }

Q_SIGNALS:
    void dueCountChanged();
    void toolTipChanged();

private:
    void recomputeNow();
    void armMidnight();

    AppDelegate& m_delegate;
    Store& m_store;
    mutable ItemListModel m_rows;
    mutable bool m_rowsWanted = false;
    QDateTime m_now; // of the last recompute
    int m_dueCount = 0;
    QString m_toolTip;
    QTimer m_midnight;
    QTimer m_followUp;
};
