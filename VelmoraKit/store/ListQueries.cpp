#include "ListQueries.h"

#include <QCollator>
#include <QHash>
#include <QLocale>

#include <unicode/ucol.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <string>
#include <utility>
#include <vector>

QString label(SortField field) {
    switch (field) {
    case SortField::due:
        return QStringLiteral("Date");
    case SortField::priority:
        return QStringLiteral("Priority");
    case SortField::title:
        return QStringLiteral("Title");
    case SortField::who:
        return QStringLiteral("Who");
    case SortField::added:
        return QStringLiteral("Added");
    }
    return {};
}

namespace ListQueries {

namespace {

// Today as a day in the system zone, read at each query: a change of zone moves "today" at
// the next call. Dues are local midnights, so their own day needs no conversion.
QDate dayOf(const QDateTime& instant) {
    return instant.toLocalTime().date();
}

bool isTodayOn(const Item& item, const QDate& today) {
    return item.due && dayOf(*item.due) <= today;
}

bool isOverdueOn(const Item& item, const QDate& today) {
    return !item.isDone() && item.due && dayOf(*item.due) < today;
}

// Locale-aware, case-insensitive, digits as numbers: "Item 2" before "Item 10". Opening a
// collator costs milliseconds, so one is kept per thread and reopened when the user's
// locale changes.
const QCollator& collatorFor(const QLocale& locale) {
    thread_local std::optional<QCollator> collator;
    if (!collator || collator->locale() != locale) {
        collator.emplace(locale);
        collator->setNumericMode(true);
        collator->setCaseSensitivity(Qt::CaseInsensitive);
    }
    return *collator;
}

// Collation keys of the texts sorted lately, under ICU's collator with the settings above,
// and their order. A key costs about as much to make as a sort's worth of comparisons of its
// text, so keys are kept across queries (a list is sorted again on every change, with the same
// titles), and so is their order: each kept text has a rank, equal keys an equal one, and a
// query sorts integers. Only a text not seen before is compared, when it is placed.
class KeyCache {
public:
    ~KeyCache() { close(); }

    // False for the C locale, which Qt orders by code points, or when ICU fails.
    bool open(const QLocale& locale) {
        if (m_collator && m_locale == locale)
            return true;
        close();
        m_locale = locale;
        if (locale.language() == QLocale::C)
            return false;
        UErrorCode status = U_ZERO_ERROR;
        m_collator = ucol_open(locale.name().toLatin1().constData(), &status);
        ucol_setAttribute(m_collator, UCOL_NORMALIZATION_MODE, UCOL_ON, &status);
        ucol_setAttribute(m_collator, UCOL_STRENGTH, UCOL_SECONDARY, &status); // any case
        ucol_setAttribute(m_collator, UCOL_NUMERIC_COLLATION, UCOL_ON, &status);
        if (U_FAILURE(status))
            close();
        return m_collator != nullptr;
    }
    // Forgets every text once the cache outgrows its bound; call before a query's texts.
    void trim() {
        if (m_ids.size() > 50'000 || m_keys.size() > 8 * 1024 * 1024)
            forget();
    }
    // The text's number in this cache, kept until the next trim(); a new text gets its key.
    quint32 id(const QString& text) {
        if (const auto found = m_ids.constFind(text); found != m_ids.cend())
            return found.value();
        const auto id = quint32(m_keyAt.size());
        m_keyAt.push_back(makeKey(text));
        m_rank.push_back(0);
        m_ids.insert(text, id);
        return id;
    }
    // Places the texts added since the last call; then rank() holds for every id.
    void rankNew() {
        const std::size_t placed = m_order.size();
        if (placed == m_keyAt.size())
            return;
        const auto before = [this](quint32 a, quint32 b) { return compare(a, b) < 0; };
        for (auto id = quint32(placed); id < m_keyAt.size(); ++id)
            m_order.push_back(id);
        std::sort(m_order.begin() + std::ptrdiff_t(placed), m_order.end(), before);
        std::inplace_merge(m_order.begin(), m_order.begin() + std::ptrdiff_t(placed), m_order.end(),
                           before);
        quint32 rank = 0;
        for (std::size_t i = 0; i < m_order.size(); ++i) {
            if (i > 0 && compare(m_order[i - 1], m_order[i]) != 0)
                ++rank;
            m_rank[m_order[i]] = rank;
        }
        m_ranks = m_order.empty() ? 0 : rank + 1;
    }
    quint32 rank(quint32 id) const { return m_rank[id]; }
    // How many distinct ranks there are.
    quint32 ranks() const { return m_ranks; }

private:
    int compare(quint32 a, quint32 b) const {
        return std::strcmp(m_keys.data() + m_keyAt[a], m_keys.data() + m_keyAt[b]);
    }
    std::size_t makeKey(const QString& text) {
        const std::size_t at = m_keys.size();
        std::size_t room = std::size_t(text.size()) * 3 + 16;
        for (;;) {
            m_keys.resize(at + room);
            const int32_t needed = ucol_getSortKey(
                m_collator, reinterpret_cast<const UChar*>(text.utf16()), int32_t(text.size()),
                reinterpret_cast<uint8_t*>(m_keys.data() + at), int32_t(room));
            if (needed <= 0) { // no key: it sorts first
                m_keys.resize(at + 1);
                m_keys[at] = '\0';
                return at;
            }
            if (std::size_t(needed) <= room) {
                m_keys.resize(at + std::size_t(needed));
                return at;
            }
            room = std::size_t(needed);
        }
    }
    void close() {
        if (m_collator)
            ucol_close(m_collator);
        m_collator = nullptr;
        forget();
    }
    void forget() {
        m_ids.clear();
        m_keyAt.clear();
        m_rank.clear();
        m_order.clear();
        m_keys.clear();
        m_ranks = 0;
    }

    QLocale m_locale;
    UCollator* m_collator = nullptr;
    std::string m_keys;               // every key ends in a zero byte
    std::vector<std::size_t> m_keyAt; // by id: where its key starts in m_keys
    std::vector<quint32> m_rank;      // by id: its place in collation order
    std::vector<quint32> m_order;     // the placed ids in collation order
    quint32 m_ranks = 0;
    QHash<QString, quint32> m_ids;
};

// What the orderings read, taken once per item rather than once per comparison.
struct SortKey {
    const Item* item;
    bool done;
    int rank;
    qint64 due;       // a missing due is the far future
    qint64 created;   //
    qint64 completed; // a missing completion is the distant past
};

// A due day as local wall-clock milliseconds. Dues are local midnights, which order as
// their instants do; reading the wall clock avoids a zone lookup per item, which for local
// times is what toMSecsSinceEpoch() costs.
qint64 dueKey(const std::optional<QDateTime>& due) {
    if (!due || !due->isValid())
        return std::numeric_limits<qint64>::max();
    const QDateTime local = due->timeSpec() == Qt::LocalTime ? *due : due->toLocalTime();
    return local.date().toJulianDay() * 86400000 + local.time().msecsSinceStartOfDay();
}

SortKey keyOf(const Item& item) {
    return {&item,
            item.isDone(),
            item.priorityRank(),
            dueKey(item.due),
            item.createdAt.toMSecsSinceEpoch(),
            item.completedAt ? item.completedAt->toMSecsSinceEpoch()
                             : std::numeric_limits<qint64>::min()};
}

const QString& textOf(const Item& item, SortField field) {
    static const QString none;
    if (field == SortField::title)
        return item.title;
    return item.source ? *item.source : none;
}

// The flat sort; the descending direction calls it with the arguments swapped, which
// reverses its tie-breaks as well. The text sorts compare by Qt's collator only where ICU
// could not open one (see below).
bool flatBefore(const SortKey& a, const SortKey& b, SortField field, const QCollator* collator) {
    switch (field) {
    case SortField::due:
        if (a.due == b.due)
            return a.rank < b.rank;
        return a.due < b.due;
    case SortField::priority:
        if (a.rank != b.rank)
            return a.rank < b.rank;
        return a.due < b.due;
    case SortField::title:
    case SortField::who:
        return collator->compare(textOf(*a.item, field), textOf(*b.item, field)) < 0;
    case SortField::added:
        return a.created < b.created;
    }
    return false;
}

// The grouped view's order within a section; only reached for two items of one done state.
bool sectionBefore(const SortKey& a, const SortKey& b) {
    if (a.done)
        return a.completed > b.completed;
    if (a.due == b.due) {
        if (a.rank != b.rank)
            return a.rank < b.rank;
        return a.created > b.created;
    }
    return a.due < b.due;
}

bool isBlank(QChar c) {
    return c == QLatin1Char(' ') || c == QLatin1Char('\t');
}

// The lower-cased text contains the (already lower-cased) term. For plain ASCII this is
// Qt's case-insensitive search, which needs no lower-cased copy of every item.
bool lowerContains(const QString& text, const QString& term, bool asciiTerm) {
    if (asciiTerm && QtPrivate::isAscii(QStringView(text)))
        return text.contains(term, Qt::CaseInsensitive);
    return text.toLower().contains(term);
}

bool contains(const std::optional<QString>& field, const QString& term, bool asciiTerm) {
    return field && lowerContains(*field, term, asciiTerm);
}

} // namespace

QString searchTerm(const QString& search) {
    qsizetype begin = 0;
    qsizetype end = search.size();
    while (begin < end && isBlank(search.at(begin)))
        ++begin;
    while (end > begin && isBlank(search.at(end - 1)))
        --end;
    return search.mid(begin, end - begin).toLower();
}

bool isFiltered(const ViewSettings& view) {
    return view.sectionFilter || view.channelFilter || view.priorityFilter || view.flaggedFilter ||
           !searchTerm(view.search).isEmpty();
}

bool isViewCustomised(const ViewSettings& view) {
    return isFiltered(view) || !view.showAll || view.sortField != SortField::due ||
           !view.sortAscending;
}

bool isGrouped(const ViewSettings& view) {
    return !isViewCustomised(view);
}

QList<Item> todayItems(const Document& document, const QDateTime& now) {
    const QDate today = dayOf(now);
    QList<Item> out;
    for (const auto& item : document.items)
        if (isTodayOn(item, today))
            out.push_back(item);
    return out;
}

namespace {

// The filter pipeline without copies: the queries copy only what they hand out.
std::vector<const Item*> filtered(const Document& document, const ViewSettings& view,
                                  const QDateTime& now, bool applyingSection) {
    const QDate today = dayOf(now);
    const QString term = searchTerm(view.search);
    const bool asciiTerm = QtPrivate::isAscii(QStringView(term));
    std::vector<const Item*> out;
    out.reserve(std::size_t(document.items.size()));
    for (const auto& item : document.items) {
        if (!view.showAll && !isTodayOn(item, today))
            continue;
        if (document.settings.hideDone && item.isDone())
            continue;
        if (applyingSection && view.sectionFilter && item.section != *view.sectionFilter)
            continue;
        if (view.channelFilter && item.channel != *view.channelFilter)
            continue;
        if (view.priorityFilter && item.priority != *view.priorityFilter)
            continue;
        if (view.flaggedFilter && !item.flagged)
            continue;
        // Title, then who, then note; links are never searched.
        if (!term.isEmpty() && !lowerContains(item.title, term, asciiTerm) &&
            !contains(item.source, term, asciiTerm) && !contains(item.note, term, asciiTerm))
            continue;
        out.push_back(&item);
    }
    return out;
}

} // namespace

QList<Item> candidates(const Document& document, const ViewSettings& view, const QDateTime& now,
                       bool applyingSection) {
    QList<Item> out;
    for (const Item* item : filtered(document, view, now, applyingSection))
        out.push_back(*item);
    return out;
}

namespace {

// The text sorts by the kept ranks: done items last, then the rank (reversed when
// descending), then document order, in time linear in the items and the kept texts. False
// when ICU has no collator for the locale.
bool sortByRank(std::vector<const Item*>& items, SortField field, bool ascending) {
    thread_local KeyCache cache;
    if (!cache.open(QLocale()))
        return false;
    cache.trim();
    std::vector<quint32> ids;
    ids.reserve(items.size());
    for (const Item* item : items)
        ids.push_back(cache.id(textOf(*item, field)));
    cache.rankNew();
    // A counting sort over (done, rank), which keeps document order within a bucket: open
    // items take the first half of the buckets, done ones the second.
    const quint32 ranks = cache.ranks();
    std::vector<quint32> starts(std::size_t(ranks) * 2 + 1);
    for (std::size_t i = 0; i < items.size(); ++i) {
        const quint32 rank = cache.rank(ids[i]);
        ids[i] = (items[i]->isDone() ? ranks : 0) + (ascending ? rank : ranks - 1 - rank);
        ++starts[ids[i] + 1];
    }
    for (std::size_t bucket = 1; bucket < starts.size(); ++bucket)
        starts[bucket] += starts[bucket - 1];
    std::vector<const Item*> sorted(items.size());
    for (std::size_t i = 0; i < items.size(); ++i)
        sorted[starts[ids[i]]++] = items[i];
    items = std::move(sorted);
    return true;
}

std::vector<const Item*> visibleOrder(const Document& document, const ViewSettings& view,
                                      const QDateTime& now) {
    auto items = filtered(document, view, now, true);
    const bool grouped = isGrouped(view);
    const SortField field = view.sortField;
    const bool ascending = view.sortAscending;
    const bool byText = !grouped && (field == SortField::title || field == SortField::who);
    if (byText && sortByRank(items, field, ascending))
        return items;

    std::vector<SortKey> keys;
    keys.reserve(items.size());
    for (const Item* item : items)
        keys.push_back(keyOf(*item));
    const QCollator* collator = byText ? &collatorFor(QLocale()) : nullptr;
    // Stable, so items the ordering calls equal keep document order.
    std::stable_sort(keys.begin(), keys.end(), [&](const SortKey& a, const SortKey& b) {
        // Done items sink to the bottom in every sort and direction.
        if (a.done != b.done)
            return !a.done;
        if (grouped)
            return sectionBefore(a, b);
        return ascending ? flatBefore(a, b, field, collator) : flatBefore(b, a, field, collator);
    });
    for (std::size_t i = 0; i < keys.size(); ++i)
        items[i] = keys[i].item;
    return items;
}

} // namespace

QList<Item> visibleItems(const Document& document, const ViewSettings& view, const QDateTime& now) {
    const auto items = visibleOrder(document, view, now);
    QList<Item> out;
    out.reserve(qsizetype(items.size()));
    for (const Item* item : items)
        out.push_back(*item);
    return out;
}

QMap<Section, int> sectionCounts(const Document& document, const ViewSettings& view,
                                 const QDateTime& now) {
    std::array<int, 3> counts{};
    for (const Item* item : filtered(document, view, now, false))
        if (!item->isDone())
            ++counts[std::size_t(item->section)];
    // A section without an open item has no entry.
    QMap<Section, int> out;
    for (const auto section : Wire::allValues<Section>())
        if (counts[std::size_t(section)])
            out.insert(section, counts[std::size_t(section)]);
    return out;
}

int dueCount(const Document& document, const QDateTime& now) {
    const QDate today = dayOf(now);
    return int(std::count_if(document.items.cbegin(), document.items.cend(),
                             [&](const Item& i) { return !i.isDone() && isTodayOn(i, today); }));
}

int overdueCount(const Document& document, const QDateTime& now) {
    const QDate today = dayOf(now);
    return int(std::count_if(document.items.cbegin(), document.items.cend(),
                             [&](const Item& i) { return isOverdueOn(i, today); }));
}

int badgeCount(bool proposalHasDeltas, int sharedWaiting, bool briefingUnread) {
    // Suggestions and shared tasks are one kind of waiting thing between them.
    const int waiting = proposalHasDeltas || sharedWaiting > 0 ? 1 : 0;
    return waiting + (briefingUnread ? 1 : 0);
}

std::optional<Item> item(const Document& document, const QString& id) {
    if (id.isEmpty())
        return std::nullopt;
    for (const auto& item : document.items)
        if (item.id == id)
            return item;
    return std::nullopt;
}

} // namespace ListQueries

// --- ViewState ---

ViewState::ViewState(QObject* parent)
    : QObject(parent) {}

#define VELMORA_VIEW_SETTER(name, field, type, signal)                                             \
    void ViewState::name(type value) {                                                             \
        if (m_view.field == value)                                                                 \
            return;                                                                                \
        m_view.field = value;                                                                      \
        Q_EMIT signal();                                                                           \
        Q_EMIT changed();                                                                          \
    }
VELMORA_VIEW_SETTER(setSearch, search, const QString&, searchChanged)
VELMORA_VIEW_SETTER(setSortField, sortField, SortField, sortFieldChanged)
VELMORA_VIEW_SETTER(setSortAscending, sortAscending, bool, sortAscendingChanged)
VELMORA_VIEW_SETTER(setShowAll, showAll, bool, showAllChanged)
VELMORA_VIEW_SETTER(setSectionFilter, sectionFilter, std::optional<Section>, sectionFilterChanged)
VELMORA_VIEW_SETTER(setChannelFilter, channelFilter, std::optional<Channel>, channelFilterChanged)
VELMORA_VIEW_SETTER(setPriorityFilter, priorityFilter, std::optional<Priority>,
                    priorityFilterChanged)
VELMORA_VIEW_SETTER(setFlaggedFilter, flaggedFilter, bool, flaggedFilterChanged)
#undef VELMORA_VIEW_SETTER

void ViewState::setSortFieldText(const QString& text) {
    if (const auto field = Wire::parse<SortField>(text))
        setSortField(*field);
}

void ViewState::clearFilters() {
    setSectionFilter(std::nullopt);
    setChannelFilter(std::nullopt);
    setPriorityFilter(std::nullopt);
    setFlaggedFilter(false);
    setSearch(QString());
}

namespace {
template <typename E>
QString optionalText(const std::optional<E>& value) {
    return value ? Wire::string(*value) : QString();
}
} // namespace

QString ViewState::sectionFilterText() const {
    return optionalText(m_view.sectionFilter);
}

QString ViewState::priorityFilterText() const {
    return optionalText(m_view.priorityFilter);
}

QString ViewState::channelFilterText() const {
    return optionalText(m_view.channelFilter);
}

void ViewState::setPriorityFilterText(const QString& text) {
    if (text.isEmpty())
        return setPriorityFilter(std::nullopt);
    if (const auto priority = Wire::parse<Priority>(text))
        setPriorityFilter(*priority);
}

void ViewState::setChannelFilterText(const QString& text) {
    if (text.isEmpty())
        return setChannelFilter(std::nullopt);
    if (const auto channel = Wire::parse<Channel>(text))
        setChannelFilter(*channel);
}

void ViewState::setSectionFilterText(const QString& text) {
    if (text.isEmpty())
        return setSectionFilter(std::nullopt);
    if (const auto section = Wire::parse<Section>(text))
        setSectionFilter(*section);
}
