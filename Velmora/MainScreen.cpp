#include "MainScreen.h"

#include "ItemForms.h"
#include "Proposal.h"
#include "UndoCenter.h"

#include <algorithm>

namespace MainScreen {

QString subtitle(int dueCount, int overdueCount) {
    if (dueCount == 0 && overdueCount == 0)
        return QStringLiteral("Nothing due");
    if (overdueCount == 0)
        return QStringLiteral("%1 due now").arg(dueCount);
    return QStringLiteral("%1 due now · %2 late").arg(dueCount).arg(overdueCount);
}

namespace {
bool hasDeltas(const std::optional<Proposal>& proposal) {
    return proposal && !proposal->deltas.isEmpty();
}
} // namespace

QString aiButtonLabel(const std::optional<Proposal>& proposal) {
    if (!hasDeltas(proposal))
        return QStringLiteral("AI Assistant");
    return QStringLiteral("%1 suggested").arg(proposal->deltas.size());
}

QString aiButtonToolTip(const std::optional<Proposal>& proposal) {
    if (!hasDeltas(proposal))
        return QStringLiteral("Briefings, updates, credits and tuning");
    return proposal->agentName() + QStringLiteral(" suggests some changes");
}

QString refreshToolTip(const std::optional<QDateTime>& lastRefresh, const QLocale& locale) {
    if (!lastRefresh || !lastRefresh->isValid())
        return {};
    return QStringLiteral("Last refreshed ") +
           locale.toString(lastRefresh->toLocalTime().time(), QLocale::ShortFormat);
}

QString detailsButtonLabel(bool paneOpen) {
    return paneOpen ? QStringLiteral("Hide details") : QStringLiteral("Show details");
}

QString detailsButtonToolTip(bool paneOpen) {
    return paneOpen ? QStringLiteral("Hide the details pane")
                    : QStringLiteral("Show the details pane");
}

QString sortOrderToolTip(bool ascending) {
    return ascending ? QStringLiteral("Ascending — click for descending")
                     : QStringLiteral("Descending — click for ascending");
}

QString hideDoneToolTip(bool hideDone) {
    return hideDone ? QStringLiteral("Show done items") : QStringLiteral("Hide done items");
}

Priority nextPriority(Priority priority) {
    switch (priority) {
    case Priority::medium:
        return Priority::high;
    case Priority::high:
        return Priority::low;
    case Priority::low:
        return Priority::medium;
    }
    return Priority::medium;
}

QString priorityToolTip(Priority priority) {
    return QStringLiteral("Priority: ") + ItemForms::priorityTitle(priority) +
           QStringLiteral(". Click to change.");
}

QList<Chip> chips(const std::optional<Section>& filter, const QMap<Section, int>& counts) {
    QList<Chip> out;
    out.append(Chip{QStringLiteral("All"), std::nullopt, std::nullopt, !filter.has_value(),
                    QStringLiteral("Show everything"), QStringLiteral("All")});
    for (const Section section : Wire::allValues<Section>()) {
        Chip chip;
        chip.title = plural(section);
        chip.section = section;
        chip.count = counts.value(section, 0);
        chip.selected = filter == section;
        chip.toolTip = chip.selected
                           ? QStringLiteral("Showing ") + chip.title +
                                 QStringLiteral(" only — click to show everything")
                           : QStringLiteral("Show ") + chip.title + QStringLiteral(" only");
        chip.accessibleName = chip.title + QStringLiteral(": ") + QString::number(*chip.count) +
                              QStringLiteral(" outstanding");
        out.append(chip);
    }
    return out;
}

std::optional<Section> chipClicked(const std::optional<Section>& filter,
                                   const std::optional<Section>& chip) {
    if (chip && filter == chip)
        return std::nullopt;
    return chip;
}

QString filterSummary(const ViewSettings& view) {
    QStringList parts;
    if (view.flaggedFilter)
        parts << QStringLiteral("flagged");
    if (view.sectionFilter)
        parts << plural(*view.sectionFilter).toLower();
    if (view.priorityFilter)
        parts << Wire::string(*view.priorityFilter) + QStringLiteral(" priority");
    if (view.channelFilter)
        parts << QStringLiteral("from ") + label(*view.channelFilter).toLower();
    if (!ListQueries::searchTerm(view.search).isEmpty())
        parts << QStringLiteral("matching \u201C") + view.search + QStringLiteral("\u201D");
    if (parts.isEmpty())
        return QStringLiteral("Showing everything");
    return QStringLiteral("Showing ") + parts.join(QStringLiteral(", "));
}

bool menuFilterActive(const ViewSettings& view) {
    return view.flaggedFilter || view.priorityFilter || view.channelFilter;
}

EmptyState emptyState(bool isFiltered, bool showAll) {
    if (isFiltered)
        return {QStringLiteral("Nothing matches"),
                QStringLiteral("No items match the filters you have on."),
                QStringLiteral("Clear filters")};
    if (showAll)
        return {
            QStringLiteral("Nothing here"), QStringLiteral("Add something in the row above."), {}};
    return {QStringLiteral("Nothing due now"),
            QStringLiteral("Switch to All to see the rest of your list."),
            {}};
}

Rows rows(QList<Item> visible, const ViewSettings& view, const QDateTime& now) {
    Rows out;
    if (ListQueries::isViewCustomised(view)) {
        out.placements =
            QList<RowPlacement>(visible.size(), RowPlacement{{}, view.sectionFilter.has_value()});
        out.items = std::move(visible);
        return out;
    }
    // The order is worked out first, so each task is moved, not copied, into its group.
    QList<bool> today(visible.size());
    for (qsizetype i = 0; i < visible.size(); ++i)
        today[i] = visible.at(i).isToday(now);
    QList<qsizetype> order;
    order.reserve(visible.size());
    // Done items due today stay under "Due Now", below the open ones.
    for (const bool done : {false, true})
        for (qsizetype i = 0; i < visible.size(); ++i)
            if (today.at(i) && visible.at(i).isDone() == done) {
                order.append(i);
                if (!done && visible.at(i).isOverdue(now))
                    ++out.dueNowLate;
            }
    const qsizetype dueNow = order.size();
    for (const Section section : Wire::allValues<Section>())
        for (qsizetype i = 0; i < visible.size(); ++i)
            if (!today.at(i) && visible.at(i).section == section)
                order.append(i);
    out.items.reserve(order.size());
    out.placements.reserve(order.size());
    for (qsizetype at = 0; at < order.size(); ++at) {
        Item& item = visible[order.at(at)];
        // The heading already names the section, so the stripe would repeat it.
        out.placements.append(at < dueNow ? RowPlacement{dueNowGroup, false}
                                          : RowPlacement{plural(item.section), true});
        out.items.append(std::move(item));
    }
    return out;
}

QString followSelection(const QString& selection, const QList<Item>& rows,
                        const QList<Item>& before) {
    const auto listed = [&rows](const QString& id) {
        return std::any_of(rows.begin(), rows.end(),
                           [&id](const Item& row) { return row.id == id; });
    };
    if (selection.isEmpty() || rows.isEmpty())
        return rows.isEmpty() ? QString() : rows.first().id;
    if (listed(selection))
        return selection;
    const auto at = std::find_if(before.begin(), before.end(),
                                 [&selection](const Item& row) { return row.id == selection; });
    if (at != before.end()) {
        for (auto next = at + 1; next != before.end(); ++next)
            if (listed(next->id))
                return next->id;
        for (auto previous = at; previous != before.begin();)
            if (listed((--previous)->id))
                return previous->id;
    }
    return rows.first().id;
}

QString addedOutOfView(const QString& title, Section section) {
    return QStringLiteral("Added “%1” to %2 — not shown in this view")
        .arg(UndoCenter::toastTitle(title), plural(section));
}

QString queuedEditLine(const PendingOp& op, const std::optional<QString>& title) {
    const QString what = title ? QStringLiteral("“%1”").arg(UndoCenter::toastTitle(*title))
                               : QStringLiteral("a task");
    if (const auto* done = std::get_if<PendingOps::SetDone>(&op))
        return (done->done ? QStringLiteral("Marked %1 done")
                           : QStringLiteral("Marked %1 not done"))
            .arg(what);
    if (const auto* flag = std::get_if<PendingOps::SetFlagged>(&op))
        return (flag->flagged ? QStringLiteral("Flagged %1") : QStringLiteral("Unflagged %1"))
            .arg(what);
    if (std::holds_alternative<PendingOps::Delete>(op))
        return QStringLiteral("Deleted %1").arg(what);
    if (std::holds_alternative<PendingOps::Add>(op))
        return QStringLiteral("Added %1").arg(what);
    return QStringLiteral("Edited %1").arg(what);
}

QString conflictDetail(const QStringList& edits, qint64 changesElsewhere) {
    constexpr qsizetype shown = 8;
    QStringList lines{QStringLiteral("Your offline edits:")};
    for (qsizetype i = 0; i < std::min(shown, edits.size()); ++i)
        lines << QStringLiteral("• ") + edits[i];
    if (edits.size() > shown)
        lines << QStringLiteral("• and %1 more").arg(edits.size() - shown);
    lines << (changesElsewhere == 1
                  ? QStringLiteral("1 change was made elsewhere.")
                  : QStringLiteral("%1 changes were made elsewhere.").arg(changesElsewhere));
    return lines.join(QLatin1Char('\n'));
}

QString keepMineLabel(int queuedEdits) {
    return QStringLiteral("Keep my %1 offline edit%2")
        .arg(queuedEdits)
        .arg(queuedEdits == 1 ? QString() : QStringLiteral("s"));
}

} // namespace MainScreen
