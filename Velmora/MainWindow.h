#pragma once

#include "Clipboard.h"
#include "ItemForms.h"
#include "ItemListModel.h"
#include "PaneRouter.h"
#include "Preferences.h"
#include "Records.h"
#include "SmartInsert.h"
#include "Store.h"
#include "UndoCenter.h"

#include <QCoroTask>
#include <QDateTime>
#include <QObject>
#include <QTimer>
#include <QVariant>

#include <functional>
#include <optional>

// The main window's own state and actions: the add row, the pane, the list's rows and
// selection, the toolbar's words and the dialogs' hand-over. Screens bind to it and call
// it; the rules behind the words live in MainScreen.
class MainWindow : public QObject {
    Q_OBJECT
    // The add row.
    Q_PROPERTY(QString newTitle READ newTitle WRITE setNewTitle NOTIFY addRowChanged)
    Q_PROPERTY(QString newPriority READ newPriorityText NOTIFY addRowChanged)
    Q_PROPERTY(QString newSection READ newSectionText WRITE setNewSectionText NOTIFY addRowChanged)
    Q_PROPERTY(QString newWho READ newWho WRITE setNewWho NOTIFY addRowChanged)
    // null, or the local start of the day.
    Q_PROPERTY(QVariant newDue READ newDueValue WRITE setNewDueValue NOTIFY addRowChanged)
    Q_PROPERTY(QString priorityToolTip READ priorityToolTip NOTIFY addRowChanged)
    // The pane.
    Q_PROPERTY(bool paneOpen READ paneOpen WRITE setPaneOpen NOTIFY paneOpenChanged)
    Q_PROPERTY(QString detailsLabel READ detailsLabel NOTIFY paneOpenChanged)
    Q_PROPERTY(QString detailsToolTip READ detailsToolTip NOTIFY paneOpenChanged)
    Q_PROPERTY(bool draftOpen READ draftOpen NOTIFY draftChanged)
    Q_PROPERTY(QString paneContent READ paneContent NOTIFY paneContentChanged)
    Q_PROPERTY(QString aiTab READ aiTab WRITE setAiTab NOTIFY aiTabChanged)
    Q_PROPERTY(QString smartNotice READ smartNotice NOTIFY draftChanged)
    Q_PROPERTY(bool smartBusy READ smartBusy NOTIFY smartBusyChanged)
    // The list.
    Q_PROPERTY(ItemListModel* rows READ rows CONSTANT)
    Q_PROPERTY(int currentRow READ currentRow NOTIFY currentRowChanged)
    Q_PROPERTY(int dueNowLate READ dueNowLate NOTIFY labelsChanged)
    // Words that follow the document and the view.
    Q_PROPERTY(QString subtitle READ subtitle NOTIFY labelsChanged)
    Q_PROPERTY(QVariantList chips READ chips NOTIFY chipsChanged)
    Q_PROPERTY(QString filterSummary READ filterSummary NOTIFY labelsChanged)
    Q_PROPERTY(bool menuFilterActive READ menuFilterActive NOTIFY labelsChanged)
    Q_PROPERTY(QVariantMap emptyState READ emptyState NOTIFY labelsChanged)
    Q_PROPERTY(QString aiButtonLabel READ aiButtonLabel NOTIFY labelsChanged)
    Q_PROPERTY(QString aiButtonToolTip READ aiButtonToolTip NOTIFY labelsChanged)
    Q_PROPERTY(QString refreshToolTip READ refreshToolTip NOTIFY labelsChanged)
    Q_PROPERTY(QString sortOrderToolTip READ sortOrderToolTip NOTIFY labelsChanged)
    Q_PROPERTY(QString hideDoneToolTip READ hideDoneToolTip NOTIFY labelsChanged)
    Q_PROPERTY(QString offlineText READ offlineText NOTIFY labelsChanged)
    Q_PROPERTY(QString offlineToolTip READ offlineToolTip CONSTANT)
    Q_PROPERTY(bool hasProposal READ hasProposal NOTIFY labelsChanged)
    // How many suggestions wait for review: the number on the Updates tab.
    Q_PROPERTY(int suggestionCount READ suggestionCount NOTIFY labelsChanged)
    Q_PROPERTY(QString keepMineLabel READ keepMineLabel NOTIFY labelsChanged)
    // Under the conflict question: the queued edits at stake and the changes from elsewhere.
    Q_PROPERTY(QString conflictDetail READ conflictDetail NOTIFY labelsChanged)
    // The dialogs.
    Q_PROPERTY(QString limitReason READ limitReason NOTIFY limitReasonChanged)
    Q_PROPERTY(UndoCenter* undo READ undo CONSTANT)

public:
    // `clipboard` and the others outlive this object; `smartInsert` reaches the server's
    // Smart Add.
    MainWindow(Store& store, PaneRouter& router, Preferences& prefs, Clipboard& clipboard,
               SmartAdd::Call smartInsert, QObject* parent = nullptr);

    const QString& newTitle() const { return m_newTitle; }
    Priority newPriority() const { return m_newPriority; }
    QString newPriorityText() const { return Wire::string(m_newPriority); }
    Section newSection() const { return m_newSection; }
    QString newSectionText() const { return Wire::string(m_newSection); }
    const QString& newWho() const { return m_newWho; }
    const std::optional<QDateTime>& newDue() const { return m_newDue; }
    QVariant newDueValue() const;
    QString priorityToolTip() const;
    void setNewTitle(const QString& text);
    void setNewSection(Section section);
    void setNewSectionText(const QString& text);
    void setNewWho(const QString& text);
    void setNewDue(const std::optional<QDateTime>& due);
    void setNewDueValue(const QVariant& value);
    void setNewPriority(Priority priority);

    bool paneOpen() const { return m_paneOpen; }
    void setPaneOpen(bool open);
    QString detailsLabel() const;
    QString detailsToolTip() const;
    bool draftOpen() const { return m_draftOpen; }
    QString paneContent() const;
    QString aiTab() const { return m_aiTab; }
    void setAiTab(const QString& tab);
    QString smartNotice() const { return m_smartNotice.value_or(QString()); }
    const std::optional<QString>& smartNoticeValue() const { return m_smartNotice; }
    bool smartBusy() const { return m_smartBusy; }
    const std::optional<QDateTime>& deferredStamp() const { return m_deferredStamp; }
    const std::optional<SmartDraft>& smartDraft() const { return m_smartDraft; }
    // What the new-task form starts from: Smart Add's draft, or the add row's text.
    ItemForms::DraftSeed draftSeed() const;

    ItemListModel* rows() const { return &m_rows; }
    int currentRow() const { return m_rows.rowOf(m_store.selection()); }
    int dueNowLate() const { return m_dueNowLate; }

    QString subtitle() const;
    QVariantList chips() const;
    QString filterSummary() const;
    bool menuFilterActive() const;
    QVariantMap emptyState() const;
    QString aiButtonLabel() const;
    QString aiButtonToolTip() const;
    QString refreshToolTip() const;
    QString sortOrderToolTip() const;
    QString hideDoneToolTip() const;
    QString offlineText() const;
    QString offlineToolTip() const;
    bool hasProposal() const { return m_store.proposal().has_value(); }
    int suggestionCount() const {
        return m_store.proposal() ? int(m_store.proposal()->deltas.size()) : 0;
    }
    QString keepMineLabel() const;
    QString conflictDetail() const;

    const QString& limitReason() const { return m_limitReason; }
    UndoCenter* undo() const { return &m_undo; }

    // Reads the add row, resets it at once and adds in the background. Nothing happens for
    // a blank title.
    Q_INVOKABLE void submit();
    Q_INVOKABLE void cyclePriority();
    // "New Task", the add row's detail button and Ctrl+N / Ctrl+Return.
    Q_INVOKABLE void openNewTask();
    // The form ended: done or cancelled. A form that came from the add row used its text
    // once it was added.
    Q_INVOKABLE void closeDraft(bool added);
    // A task just added under `localID`: when the view doesn't show it, a notice says where
    // it went, so it doesn't vanish without a word.
    Q_INVOKABLE void noteAdded(const QString& localID);
    // Starts the form given (a DraftEditor) from draftSeed().
    Q_INVOKABLE void fillDraft(QObject* editor) const;
    // Turns the clipboard's text into a filled-in form; the paste is never lost.
    Q_INVOKABLE void smartAdd();
    QCoro::Task<> runSmartAdd();
    Q_INVOKABLE void showScreen(const QString& screen);
    // The AI button: with suggestions waiting it opens on them.
    Q_INVOKABLE void openAI();
    // "Later" on the review screen: this proposal doesn't pull the pane open again.
    Q_INVOKABLE void deferProposal();
    // The review closed on the proposal stamped `createdAt` (a date, or null), which may no
    // longer be the Store's.
    Q_INVOKABLE void deferProposalAt(const QVariant& createdAt);

    // The seam: `x` is the cursor's distance from the columns' left edge.
    Q_INVOKABLE void dragSeam(double x, double width);
    Q_INVOKABLE void resetSeam();
    Q_INVOKABLE static double paneWidth(double total, double fraction);

    Q_INVOKABLE void clickChip(const QString& section);
    Q_INVOKABLE void select(int row);
    // Arrow keys: one row up or down, held at the ends.
    Q_INVOKABLE void moveSelection(int delta);
    Q_INVOKABLE void toggle(const QString& id);
    Q_INVOKABLE void toggleSelected();
    Q_INVOKABLE void flag(const QString& id);
    Q_INVOKABLE void copyTitle(const QString& id);
    Q_INVOKABLE void deleteWithUndo(const QString& id);
    Q_INVOKABLE void deleteSelected();
    Q_INVOKABLE void undoLast();

    // The offline badge's "Retry": asks the server at once.
    Q_INVOKABLE void retryConnection();
    // Without a connectivity monitor nothing says when the network is back, so the server is
    // asked this often while offline (and only then).
    static constexpr int offlineProbeMs = 30000;
    void setOfflineProbeInterval(int ms) { m_offlineProbe.setInterval(ms); }

    Q_INVOKABLE void keepMine();
    Q_INVOKABLE void keepOnline();
    Q_INVOKABLE void clearLimitReason();

    // What the list shows now; runs on every change of the document or the view, and at
    // midnight.
    void recompute();

Q_SIGNALS:
    void addRowChanged();
    void paneOpenChanged();
    void draftChanged();
    void paneContentChanged();
    void aiTabChanged();
    void smartBusyChanged();
    void currentRowChanged();
    void labelsChanged();
    void chipsChanged();
    void limitReasonChanged();
    // A new draft arrived for a form that may already be open.
    void draftFilled();

private:
    void recomputeRows(bool toNeighbour);
    void setSmartBusy(bool busy);
    void openDraft(std::optional<SmartDraft> draft, std::optional<QString> notice);
    void proposalChanged();
    void takeLimitMessage();
    void scheduleMidnight();
    // Notifies the words that really changed, so bindings and the chips' views rest
    // otherwise.
    void refreshLabels(bool listChanged = false);

    Store& m_store;
    PaneRouter& m_router;
    Preferences& m_prefs;
    Clipboard& m_clipboard;
    SmartAdd::Call m_smartInsert;

    QString m_newTitle;
    Priority m_newPriority = Priority::medium;
    Section m_newSection = Section::action;
    QString m_newWho;
    std::optional<QDateTime> m_newDue;
    bool m_paneOpen = true;
    bool m_draftOpen = false;
    QString m_aiTab = QStringLiteral("briefing");
    std::optional<SmartDraft> m_smartDraft;
    std::optional<QString> m_smartNotice;
    bool m_smartBusy = false;
    std::optional<QDateTime> m_deferredStamp;
    std::optional<QDateTime> m_proposalStamp;
    QString m_limitReason;
    QString m_lastSelection;
    int m_dueNowLate = 0;
    QVariantList m_shownLabels;
    QString m_subtitle; // counted over the whole list: only when it changed
    QVariantList m_shownChips;
    mutable UndoCenter m_undo;
    mutable ItemListModel m_rows;
    QTimer m_midnight;
    QTimer m_offlineProbe;
};
