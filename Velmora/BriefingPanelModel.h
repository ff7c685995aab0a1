#pragma once

#include "Briefing.h"
#include "Preferences.h"
#include "Store.h"
#include "UndoCenter.h"

#include <QCoroTask>
#include <QHash>
#include <QObject>
#include <QPointer>
#include <QSet>
#include <QVariantList>

#include <optional>

// The panel's words, worked out from plain values so they can be checked on their own.
namespace BriefingPanelWords {
// "3 findings · 1 observations", or "Couldn't be read" without a body.
QString summary(const Briefing& briefing);
// "Today", "Yesterday", else "Mon, Jan 6"; text that isn't a day stays as it is.
QString dayWord(const QString& localDay, const QDate& today);
// "Today at 9:05", "Yesterday at …", else "Mon 6 Jan at 9:05".
QString stamp(const QDateTime& createdAt, const QDateTime& now);
// "Read 12 open tasks."; empty without a count.
QString readLine(const std::optional<qint64>& itemsSent);
// Every finding and observation answered, here (`answered` keys) or on any device.
bool dealtWith(const BriefingBody& body, const QHash<QString, QString>& answered);
} // namespace BriefingPanelWords

// The AI pane's Briefing tab: the newest briefing's cards and their one-press actions, the
// run row, and the past briefings. It reads and runs on its own client and changes tasks
// only through the Store.
class BriefingPanelModel : public QObject {
    Q_OBJECT
    Q_PROPERTY(Store* store READ store WRITE setStore NOTIFY storeChanged)
    Q_PROPERTY(UndoCenter* undo READ undo WRITE setUndo NOTIFY storeChanged)
    Q_PROPERTY(Preferences* prefs READ prefs WRITE setPrefs NOTIFY storeChanged)
    // "latest", "history" or "past".
    Q_PROPERTY(QString mode READ mode NOTIFY changed)
    Q_PROPERTY(bool loading READ loading NOTIFY changed)
    Q_PROPERTY(bool loadFailed READ loadFailed NOTIFY changed)
    Q_PROPERTY(bool historyFailed READ historyFailed NOTIFY changed)
    Q_PROPERTY(bool running READ running NOTIFY changed)
    Q_PROPERTY(QString notice READ notice NOTIFY changed)
    Q_PROPERTY(QString stamp READ stamp NOTIFY changed)
    Q_PROPERTY(QString readLine READ readLine NOTIFY changed)
    // What the latest mode shows under the stamp: "cards", "dealt", "loading", "none",
    // "clear" or "" (nothing, after a failed first load).
    Q_PROPERTY(QString state READ state NOTIFY changed)
    Q_PROPERTY(bool showHint READ showHint NOTIFY changed)
    // [{kind, title, cards: [{target, title, why, source, due, overdue, high, focused,
    //   buttons: [{label, disposition}]}]}]
    Q_PROPERTY(QVariantList sections READ sections NOTIFY changed)
    // [{slug, text, toggle, expanded, tasks: [{id, title}]}]
    Q_PROPERTY(QVariantList observations READ observations NOTIFY changed)
    // [{title, rows: [{title, why, line}]}] of the dealt-with briefing.
    Q_PROPERTY(QVariantList records READ records NOTIFY changed)
    // [{index, day, summary}]
    Q_PROPERTY(QVariantList historyRows READ historyRows NOTIFY changed)
    // The briefing opened from the history: {stamp, state ("unreadable", "clear",
    // "records"), sections}.
    Q_PROPERTY(QVariantMap past READ past NOTIFY changed)

public:
    explicit BriefingPanelModel(QObject* parent = nullptr);
    static void registerType();

    Store* store() const { return m_store; }
    void setStore(Store* store);
    UndoCenter* undo() const { return m_undo; }
    void setUndo(UndoCenter* undo);
    Preferences* prefs() const { return m_prefs; }
    void setPrefs(Preferences* prefs);

    QString mode() const;
    bool loading() const { return m_loading; }
    bool loadFailed() const { return m_loadFailed; }
    bool historyFailed() const { return m_historyFailed; }
    bool running() const { return m_running; }
    const QString& notice() const { return m_notice; }
    const std::optional<Briefing>& briefing() const { return m_briefing; }
    const QList<Briefing>& history() const { return m_history; }
    const QHash<QString, QString>& answered() const { return m_answered; }
    QString stamp() const;
    QString readLine() const;
    QString state() const;
    bool showHint() const;
    QVariantList sections() const;
    QVariantList observations() const;
    QVariantList records() const;
    QVariantList historyRows() const;
    QVariantMap past() const;

    Q_INVOKABLE void load();
    Q_INVOKABLE void run();
    Q_INVOKABLE void showHistory();
    Q_INVOKABLE void showLatest();
    Q_INVOKABLE void openPast(int index);
    // A card's button: `kind` "critical", "chase", "drop" or "observation"; `target` the
    // task's id or the observation's slug; `disposition` the button's word.
    Q_INVOKABLE void press(const QString& kind, const QString& target, const QString& disposition);
    Q_INVOKABLE void toggleObservation(const QString& slug);
    Q_INVOKABLE void showTask(const QString& id);
    Q_INVOKABLE void dismissHint();

    QCoro::Task<> runLoad();
    QCoro::Task<> runBriefing();
    QCoro::Task<> runLoadHistory();
    QCoro::Task<> act(BriefingKind kind, QString target, QString disposition);

Q_SIGNALS:
    void storeChanged();
    void changed();

private:
    enum class Mode { latest, history, past };
    QCoro::Task<> finish(BriefingKind kind, QString target, QString disposition);
    QCoro::Task<> revive(BriefingKind kind, QString target);
    static QCoro::Task<> undoDrop(QPointer<BriefingPanelModel> self, QPointer<Store> store,
                                  QString id);
    std::optional<QString> briefingId() const;
    QVariantList recordSections(const BriefingBody& body, bool local, bool withWhy) const;

    QPointer<Store> m_store;
    QPointer<UndoCenter> m_undo;
    QPointer<Preferences> m_prefs;
    QMetaObject::Connection m_tokenConnection;
    QMetaObject::Connection m_documentConnection;
    Mode m_mode = Mode::latest;
    std::optional<Briefing> m_briefing;
    QList<Briefing> m_history;
    std::optional<Briefing> m_past;
    bool m_loading = false;
    bool m_loadFailed = false;
    bool m_historyFailed = false;
    bool m_running = false;
    bool m_helpHint = false;
    QString m_notice;
    QHash<QString, QString> m_answered;
    QSet<QString> m_expanded;
};
