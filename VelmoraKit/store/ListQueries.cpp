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

// Collation keys of the texts sorted lately, under ICU's collator with the settings above.
// A key costs about as much to make as a sort's worth of comparisons of its text, so keys are
// kept across queries (a list is sorted again on every change, with the same titles) and two
// keys compare as C strings. Qt's own keys cost an allocation each and are not kept.
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
    // Forgets every key once the cache outgrows its bound; call before a query's keys.
    void trim() {
        if (m_offsets.size() > 50'000 || m_keys.size() > 8 * 1024 * 1024) {
            m_offsets.clear();
            m_keys.clear();
        }
    }
    // Where `text`'s key starts in keys(); valid until the next trim().
    std::size_t offset(const QString& text) {
        if (const auto found = m_offsets.constFind(text); found != m_offsets.cend())
            return found.value();
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
                break;
            }
            if (std::size_t(needed) <= room) {
                m_keys.resize(at + std::size_t(needed));
                break;
            }
            room = std::size_t(needed);
        }
        m_offsets.insert(text, at);
        return at;
    }
    const char* keys() const { return m_keys.data(); }

private:
    void close() {
        if (m_collator)
            ucol_close(m_collator);
        m_collator = nullptr;
        m_offsets.clear();
        m_keys.clear();
    }

    QLocale m_locale;
    UCollator* m_collator = nullptr;
    std::string m_keys; // every key ends in a zero byte
    QHash<QString, std::size_t> m_offsets;
};

// What the orderings read, taken once per item rather than once per comparison.
struct SortKey {
    const Item* item;
    bool done;
    int rank;
    qint64 due;           // a missing due is the far future
    qint64 created;       //
    qint64 completed;     // a missing completion is the distant past
    std::size_t text = 0; // its collation key, for the sorts that compare text
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

// The flat sort; the descending direction calls it with the arguments swapped, which
// reverses its tie-breaks as well.
const QString& textOf(const Item& item, SortField field) {
    static const QString none;
    if (field == SortField::title)
        return item.title;
    return item.source ? *item.source : none;
}

// How the text sorts compare: by the keys in one buffer (each ends in a zero byte), or, if
// ICU could not open a collator, by Qt's.
struct TextOrder {
    const char* keys = nullptr;
    const QCollator* collator = nullptr;
};

bool flatBefore(const SortKey& a, const SortKey& b, SortField field, const TextOrder& text) {
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
        if (text.keys)
            return std::strcmp(text.keys + a.text, text.keys + b.text) < 0;
        return text.collator->compare(textOf(*a.item, field), textOf(*b.item, field)) < 0;
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

QList<Item> visibleItems(const Document& document, const ViewSettings& view, const QDateTime& now) {
    const auto items = filtered(document, view, now, true);
    const bool grouped = isGrouped(view);
    const SortField field = view.sortField;
    const bool ascending = view.sortAscending;

    std::vector<SortKey> keys;
    keys.reserve(items.size());
    for (const Item* item : items)
        keys.push_back(keyOf(*item));

    // The sorts that compare text compare collation keys rather than collating both strings
    // on every comparison of the sort.
    TextOrder text;
    if (!grouped && (field == SortField::title || field == SortField::who)) {
        thread_local KeyCache cache;
        if (cache.open(QLocale())) {
            cache.trim();
            for (SortKey& key : keys)
                key.text = cache.offset(textOf(*key.item, field));
            text.keys = cache.keys();
        } else {
            text.collator = &collatorFor(QLocale());
        }
    }

    // Stable, so items the ordering calls equal keep document order.
    std::stable_sort(keys.begin(), keys.end(), [&](const SortKey& a, const SortKey& b) {
        // Done items sink to the bottom in every sort and direction.
        if (a.done != b.done)
            return !a.done;
        if (grouped)
            return sectionBefore(a, b);
        return ascending ? flatBefore(a, b, field, text) : flatBefore(b, a, field, text);
    });

    QList<Item> out;
    out.reserve(qsizetype(keys.size()));
    for (const auto& key : keys)
        out.push_back(*key.item);
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
