#include "BriefingRules.h"

#include <QMap>

#include <algorithm>

namespace BriefingRules {

namespace {

QString days(qint64 n) {
    return n == 1 ? QStringLiteral("1 day") : QStringLiteral("%1 days").arg(n);
}

bool isWordChar(QChar c) {
    return c.isLetterOrNumber() || c.isMark();
}

// A task as the rules see it.
struct Seen {
    const WireItem* item = nullptr;
    std::optional<qint64> dueIn; // days from today; negative when overdue
    qint64 age = 0;              // whole days since it was made
    bool focused = false;
};

bool focused(const WireItem& item, const QStringList& terms) {
    QStringList fields{item.title};
    if (item.note)
        fields << *item.note;
    if (item.source)
        fields << *item.source;
    // Joined by a line feed so that a term never matches across two fields.
    const QString text = fields.join(u'\n');
    return std::any_of(terms.begin(), terms.end(),
                       [&](const QString& term) { return matchesTerm(text, term); });
}

// Focus hits lead; then the soonest due, undated last; then the oldest.
bool before(const Seen& a, const Seen& b) {
    if (a.focused != b.focused)
        return a.focused;
    if (a.dueIn.has_value() != b.dueIn.has_value())
        return a.dueIn.has_value();
    if (a.dueIn && *a.dueIn != *b.dueIn)
        return *a.dueIn < *b.dueIn;
    if (a.age != b.age)
        return a.age > b.age;
    return a.item->id < b.item->id;
}

std::optional<QString> criticalWhy(const Seen& s) {
    if (s.item->section != Section::action)
        return std::nullopt;
    if (s.dueIn && *s.dueIn < 0)
        return QStringLiteral("Overdue by %1").arg(days(-*s.dueIn));
    if (s.dueIn == 0 && s.item->priority == Priority::high)
        return QStringLiteral("Due today and high priority");
    if (s.item->flagged.value_or(false))
        return s.dueIn == 0 ? QStringLiteral("Flagged and due today") : QStringLiteral("Flagged");
    return std::nullopt;
}

std::optional<QString> chaseWhy(const Seen& s) {
    if (s.item->section != Section::waiting)
        return std::nullopt;
    if (s.dueIn && *s.dueIn < 0)
        return QStringLiteral("Was due %1 ago").arg(days(-*s.dueIn));
    if (s.dueIn == 0)
        return QStringLiteral("Due today");
    if (!s.dueIn && s.age >= chaseAfterDays)
        return QStringLiteral("Waiting %1 with no date").arg(days(s.age));
    return std::nullopt;
}

std::optional<QString> dropWhy(const Seen& s) {
    if (s.item->flagged.value_or(false) || s.age < dropAfterDays)
        return std::nullopt;
    if (s.item->priority == Priority::low)
        return QStringLiteral("Open %1, low priority").arg(days(s.age));
    if (!s.dueIn)
        return QStringLiteral("Open %1 with no date").arg(days(s.age));
    return std::nullopt;
}

// Keeps the first `maxPerList`; the rest become one remark, so nothing vanishes unsaid.
void cut(QList<Finding>& list, QList<const WireItem*>& items, const QString& slug,
         const QString& text, QList<Observation>& overflow) {
    if (list.size() <= maxPerList)
        return;
    Observation more{
        slug,
        text.arg(list.size() - maxPerList).arg(list.size() - maxPerList == 1 ? u"task" : u"tasks"),
        {}};
    for (qsizetype i = maxPerList; i < list.size() && more.itemIds.size() < 20; ++i)
        more.itemIds << items[i]->id;
    list.resize(maxPerList);
    overflow << more;
}

QString headline(const Body& body) {
    if (body.critical.size() == 1)
        return QStringLiteral("One thing is critical today.");
    if (!body.critical.isEmpty())
        return QStringLiteral("%1 things are critical today.").arg(body.critical.size());
    if (!body.chase.isEmpty())
        return QStringLiteral("Nothing critical; %1 to chase.").arg(body.chase.size());
    if (!body.drop.isEmpty())
        return QStringLiteral("Nothing critical; %1 you could drop.").arg(body.drop.size());
    return QStringLiteral("Nothing needs you today.");
}

JsonValue findings(const QList<Finding>& list) {
    JsonValue::Array out;
    for (const Finding& f : list)
        out.push_back(JsonValue::object({{QStringLiteral("item_id"), f.itemId},
                                         {QStringLiteral("why"), f.why},
                                         {QStringLiteral("disposition"), nullptr}}));
    return out;
}

} // namespace

bool matchesTerm(const QString& text, const QString& term) {
    const QString haystack = text.toLower();
    const QString needle = term.trimmed().toLower();
    if (haystack.isEmpty() || needle.isEmpty())
        return false;
    for (qsizetype at = haystack.indexOf(needle); at >= 0; at = haystack.indexOf(needle, at + 1)) {
        const qsizetype end = at + needle.size();
        if ((at == 0 || !isWordChar(haystack[at - 1])) &&
            (end == haystack.size() || !isWordChar(haystack[end])))
            return true;
    }
    return false;
}

QList<WireItem> openItems(const WireDocument& document) {
    QList<WireItem> out;
    for (const WireItem& item : document.items)
        if (item.status == ItemStatus::open && !item.deletedAt)
            out << item;
    return out;
}

Body generate(const WireDocument& document, const QDate& today, const QDateTime& now,
              const QSet<QString>& handled) {
    const QList<WireItem> open = openItems(document);
    QList<Seen> seen;
    for (const WireItem& item : open) {
        Seen s{&item, std::nullopt, 0, focused(item, document.focus)};
        if (item.due) {
            const QDate due = QDate::fromString(*item.due, Qt::ISODate);
            if (due.isValid())
                s.dueIn = today.daysTo(due);
        }
        const QDateTime created = QDateTime::fromString(item.createdAt, Qt::ISODateWithMs);
        if (created.isValid())
            s.age = std::max<qint64>(0, created.secsTo(now) / 86400);
        seen << s;
    }
    std::sort(seen.begin(), seen.end(), before);

    Body body;
    QList<const WireItem*> critical, chase, drop;
    const auto add = [&](const char* finding, QList<Finding>& list, QList<const WireItem*>& items,
                         const Seen& s, const QString& why) {
        if (handled.contains(handledKey(QString::fromLatin1(finding), s.item->id)))
            return;
        list << Finding{s.item->id, why};
        items << s.item;
    };
    for (const Seen& s : seen) {
        // Each task sits in one list at most: the most pressing that fits it. A handled
        // finding stays out without falling to a milder list.
        if (const auto why = criticalWhy(s))
            add("critical", body.critical, critical, s, *why);
        else if (const auto why = chaseWhy(s))
            add("chase", body.chase, chase, s, *why);
        else if (const auto why = dropWhy(s))
            add("drop", body.drop, drop, s, *why);
    }

    // Three or more waiting tasks from one person say more together than one by one.
    QMap<QString, QList<const WireItem*>> byPerson;
    for (const Seen& s : seen) {
        const QString who = s.item->source.value_or(QString()).simplified();
        if (s.item->section == Section::waiting && !who.isEmpty())
            byPerson[who.toLower()] << s.item;
    }
    QList<Observation> remarks;
    for (auto it = byPerson.cbegin(); it != byPerson.cend(); ++it) {
        if (it.value().size() < pileOfWaiting)
            continue;
        Observation o{(QStringLiteral("waiting-on:") + it.key()).left(maxSlug),
                      QStringLiteral("You're waiting on %1 for %2 things.")
                          .arg(it.value().first()->source->simplified())
                          .arg(it.value().size()),
                      {}};
        for (const WireItem* item : it.value())
            o.itemIds << item->id;
        remarks << o;
    }
    std::stable_sort(remarks.begin(), remarks.end(), [](const auto& a, const auto& b) {
        return a.itemIds.size() > b.itemIds.size();
    });
    cut(body.critical, critical, QStringLiteral("more-critical"),
        QStringLiteral("%1 more critical %2 didn't fit in this briefing."), remarks);
    cut(body.chase, chase, QStringLiteral("more-chase"),
        QStringLiteral("%1 more %2 to chase didn't fit in this briefing."), remarks);
    cut(body.drop, drop, QStringLiteral("more-drop"),
        QStringLiteral("%1 more %2 you could drop didn't fit in this briefing."), remarks);
    for (const Observation& o : remarks)
        if (body.observations.size() < maxObservations &&
            !handled.contains(handledKey(QStringLiteral("observation"), o.slug)))
            body.observations << o;
    body.headline = headline(body);
    return body;
}

JsonValue toJson(const Body& body) {
    JsonValue::Array observations;
    for (const Observation& o : body.observations) {
        JsonValue::Array ids;
        for (const QString& id : o.itemIds)
            ids.push_back(id);
        observations.push_back(JsonValue::object({{QStringLiteral("slug"), o.slug},
                                                  {QStringLiteral("text"), o.text},
                                                  {QStringLiteral("disposition"), nullptr},
                                                  {QStringLiteral("item_ids"), std::move(ids)}}));
    }
    return JsonValue::object({{QStringLiteral("headline"), body.headline},
                              {QStringLiteral("critical"), findings(body.critical)},
                              {QStringLiteral("chase"), findings(body.chase)},
                              {QStringLiteral("drop"), findings(body.drop)},
                              {QStringLiteral("observations"), std::move(observations)}});
}

} // namespace BriefingRules
