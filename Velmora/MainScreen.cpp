#include "MainScreen.h"

#include "ItemForms.h"
#include "Proposal.h"

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

QString followSelection(const QString& selection, const QList<Item>& rows) {
    if (!selection.isEmpty())
        for (const Item& item : rows)
            if (item.id == selection)
                return selection;
    return rows.isEmpty() ? QString() : rows.first().id;
}

QString keepMineLabel(int queuedEdits) {
    return QStringLiteral("Keep my %1 offline edit%2")
        .arg(queuedEdits)
        .arg(queuedEdits == 1 ? QString() : QStringLiteral("s"));
}

} // namespace MainScreen
