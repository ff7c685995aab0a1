#pragma once

#include "Enums.h"
#include "Records.h"

#include <QDateTime>
#include <QList>
#include <QMap>
#include <QObject>
#include <QString>

#include <optional>

// How the list is read: which items show and in what order, what is due, how many per
// section. Every query recomputes from the document on each call; nothing is cached, so
// nothing can go stale. `now` is always handed in, so a test can fix the clock.

enum class SortField { due, priority, title, who, added };

template <>
struct EnumWire<SortField> {
    static constexpr auto names =
        std::to_array<std::string_view>({"due", "priority", "title", "who", "added"});
    static constexpr std::string_view typeName = "SortField";
};

// What the sort menu shows.
QString label(SortField field);

// The search, sort and filters of the list. Not persisted: each launch starts from these.
struct ViewSettings {
    QString search; // as typed, untrimmed
    SortField sortField = SortField::due;
    bool sortAscending = true;
    bool showAll = true; // false: only what is due ("Today")
    std::optional<Section> sectionFilter;
    std::optional<Channel> channelFilter;
    std::optional<Priority> priorityFilter;
    bool flaggedFilter = false;

    bool operator==(const ViewSettings&) const = default;
};

namespace ListQueries {

// The search as it is matched: spaces and tabs trimmed at both ends (line breaks are kept),
// lower-cased. Empty means no search.
QString searchTerm(const QString& search);

bool isFiltered(const ViewSettings& view);
bool isViewCustomised(const ViewSettings& view);
// Shown under section headings: the plain default view.
bool isGrouped(const ViewSettings& view);

// Due today or earlier, done ones included, in document order.
QList<Item> todayItems(const Document& document, const QDateTime& now);
// The filter pipeline, unsorted.
QList<Item> candidates(const Document& document, const ViewSettings& view, const QDateTime& now,
                       bool applyingSection);
// The candidates with the section filter, in display order (a stable sort: ties keep
// document order).
QList<Item> visibleItems(const Document& document, const ViewSettings& view, const QDateTime& now);

// Open items per section, whatever the section filter; a section without any is absent.
QMap<Section, int> sectionCounts(const Document& document, const ViewSettings& view,
                                 const QDateTime& now);
// Open items due today or earlier (the overdue ones included).
int dueCount(const Document& document, const QDateTime& now);
// Open items due before today.
int overdueCount(const Document& document, const QDateTime& now);

// How many kinds of thing wait for the user (0, 1 or 2), not how many things.
int badgeCount(bool proposalHasDeltas, int sharedWaiting, bool briefingUnread);

// The first item with that id; none for an empty id.
std::optional<Item> item(const Document& document, const QString& id);

} // namespace ListQueries

// The view settings as observable state: every setter notifies only on a real change.
class ViewState : public QObject {
    Q_OBJECT
    Q_PROPERTY(QString search READ search WRITE setSearch NOTIFY searchChanged)
    Q_PROPERTY(QString sortField READ sortFieldText WRITE setSortFieldText NOTIFY sortFieldChanged)
    Q_PROPERTY(
        bool sortAscending READ sortAscending WRITE setSortAscending NOTIFY sortAscendingChanged)
    Q_PROPERTY(bool showAll READ showAll WRITE setShowAll NOTIFY showAllChanged)
    // The section's wire name, or "" for every section.
    Q_PROPERTY(QString sectionFilter READ sectionFilterText WRITE setSectionFilterText NOTIFY
                   sectionFilterChanged)
    // Wire names, or "" for any.
    Q_PROPERTY(QString priorityFilter READ priorityFilterText WRITE setPriorityFilterText NOTIFY
                   priorityFilterChanged)
    Q_PROPERTY(QString channelFilter READ channelFilterText WRITE setChannelFilterText NOTIFY
                   channelFilterChanged)
    Q_PROPERTY(
        bool flaggedFilter READ flaggedFilter WRITE setFlaggedFilter NOTIFY flaggedFilterChanged)
    Q_PROPERTY(bool isFiltered READ isFiltered NOTIFY changed)
    Q_PROPERTY(bool isViewCustomised READ isViewCustomised NOTIFY changed)
    Q_PROPERTY(bool isGrouped READ isGrouped NOTIFY changed)

public:
    explicit ViewState(QObject* parent = nullptr);

    const ViewSettings& settings() const { return m_view; }

    const QString& search() const { return m_view.search; }
    SortField sortField() const { return m_view.sortField; }
    QString sortFieldText() const { return Wire::string(m_view.sortField); }
    bool sortAscending() const { return m_view.sortAscending; }
    bool showAll() const { return m_view.showAll; }
    std::optional<Section> sectionFilter() const { return m_view.sectionFilter; }
    QString sectionFilterText() const;
    std::optional<Channel> channelFilter() const { return m_view.channelFilter; }
    std::optional<Priority> priorityFilter() const { return m_view.priorityFilter; }
    QString priorityFilterText() const;
    QString channelFilterText() const;
    bool flaggedFilter() const { return m_view.flaggedFilter; }

    void setSearch(const QString& text);
    void setSortField(SortField field);
    // Unknown text is ignored.
    void setSortFieldText(const QString& text);
    void setSortAscending(bool value);
    void setShowAll(bool value);
    void setSectionFilter(std::optional<Section> value);
    // "" clears; unknown text is ignored.
    void setSectionFilterText(const QString& text);
    void setChannelFilter(std::optional<Channel> value);
    void setPriorityFilter(std::optional<Priority> value);
    // "" clears; unknown text is ignored.
    void setPriorityFilterText(const QString& text);
    void setChannelFilterText(const QString& text);
    void setFlaggedFilter(bool value);

    bool isFiltered() const { return ListQueries::isFiltered(m_view); }
    bool isViewCustomised() const { return ListQueries::isViewCustomised(m_view); }
    bool isGrouped() const { return ListQueries::isGrouped(m_view); }

    // Drops the filters and the search; keeps "All"/"Today" and the sort. Fields already
    // empty are left unwritten, so nothing observing them wakes.
    void clearFilters();

Q_SIGNALS:
    void searchChanged();
    void sortFieldChanged();
    void sortAscendingChanged();
    void showAllChanged();
    void sectionFilterChanged();
    void channelFilterChanged();
    void priorityFilterChanged();
    void flaggedFilterChanged();
    // Any of the above.
    void changed();

private:
    ViewSettings m_view;
};
