#pragma once

#include "ItemListModel.h"
#include "ListQueries.h"
#include "PendingOp.h"
#include "Records.h"

#include <QDateTime>
#include <QList>
#include <QLocale>
#include <QMap>
#include <QString>

#include <optional>

struct Proposal;

// The words and shapes of the main window, as free functions of the state they show.
namespace MainScreen {

// "Nothing due", "3 due now", "3 due now · 1 late".
QString subtitle(int dueCount, int overdueCount);

// The toolbar's AI button: with a proposal holding deltas, how many are suggested and by whom.
QString aiButtonLabel(const std::optional<Proposal>& proposal);
QString aiButtonToolTip(const std::optional<Proposal>& proposal);
// "Last refreshed 14:05"; empty before the first refresh.
QString refreshToolTip(const std::optional<QDateTime>& lastRefresh,
                       const QLocale& locale = QLocale());
QString detailsButtonLabel(bool paneOpen);
QString detailsButtonToolTip(bool paneOpen);
QString sortOrderToolTip(bool ascending);
QString hideDoneToolTip(bool hideDone);

// The add row's priority button: medium, high, low, medium…
Priority nextPriority(Priority priority);
QString priorityToolTip(Priority priority);

struct Chip {
    QString title;
    std::optional<Section> section; // none for "All"
    std::optional<int> count;       // none for "All"
    bool selected = false;
    QString toolTip;
    QString accessibleName;
    bool operator==(const Chip&) const = default;
};
QList<Chip> chips(const std::optional<Section>& filter, const QMap<Section, int>& counts);
// What a click on a chip leaves as the section filter: a second click on the selected one
// shows everything again.
std::optional<Section> chipClicked(const std::optional<Section>& filter,
                                   const std::optional<Section>& chip);
// "Showing flagged, actions, high priority, from teams, matching “x”".
QString filterSummary(const ViewSettings& view);
// The filter menu's icon is solid while one of its own filters is on.
bool menuFilterActive(const ViewSettings& view);

struct EmptyState {
    QString title;
    QString description;
    QString button; // empty: none
    bool operator==(const EmptyState&) const = default;
};
EmptyState emptyState(bool isFiltered, bool showAll);

// The rows as the list shows them: flat when the view is customised, otherwise "Due Now"
// (open before done) followed by the sections in order.
struct Rows {
    QList<Item> items;
    QList<RowPlacement> placements;
    int dueNowLate = 0;
};
inline const QString dueNowGroup = QStringLiteral("Due Now");
Rows rows(QList<Item> visible, const ViewSettings& view, const QDateTime& now);

// Where the selection goes when the list changes: kept while its id is still listed. An item
// that left the list (deleted, or ticked while done ones are hidden) hands it to its nearest
// neighbour in `before`, the next row first; otherwise the first row, or none when empty.
QString followSelection(const QString& selection, const QList<Item>& rows,
                        const QList<Item>& before = {});

// A new task the list doesn't show: "Added “Call Dana” to Notes — not shown in this view".
QString addedOutOfView(const QString& title, Section section);

// One queued edit as the conflict question lists it: "Added “Call Dana”", "Deleted a task".
QString queuedEditLine(const PendingOp& op, const std::optional<QString>& title);
// The lines under the conflict question: what keeping the online version would throw away
// (the first eight, then how many more) and how many changes came from elsewhere.
QString conflictDetail(const QStringList& edits, qint64 changesElsewhere);

// "Keep my 3 offline edits", "Keep my 1 offline edit".
QString keepMineLabel(int queuedEdits);

} // namespace MainScreen
