#include "PendingOp.h"

#include "WireFormats.h"

#include <QUrl>

QList<ItemLink> itemLinks(const QList<SavedLink>& links) {
    QList<ItemLink> out;
    out.reserve(links.size());
    for (const auto& link : links) {
        const QUrl url(link.url, QUrl::StrictMode);
        if (url.isValid() && !url.isEmpty())
            out.push_back({link.label, url});
    }
    return out;
}

QList<SavedLink> savedLinks(const QList<ItemLink>& links) {
    QList<SavedLink> out;
    out.reserve(links.size());
    for (const auto& link : links)
        out.push_back({link.label, link.id()});
    return out;
}

namespace {

template <typename... Ts>
struct Overloaded : Ts... {
    using Ts::operator()...;
};
// clang 14 (the fuzz build) does not deduce an aggregate's arguments by itself.
template <typename... Ts>
Overloaded(Ts...) -> Overloaded<Ts...>;

size_t hashOptional(const std::optional<QString>& value, size_t seed) {
    return value ? ::qHash(*value, seed) : seed ^ 0x9e3779b9u;
}

size_t hashLinks(const QList<SavedLink>& links, size_t seed) {
    for (const auto& link : links)
        seed = qHashMulti(seed, link.label, link.url);
    return seed;
}

Item* firstWithID(Document& document, const QString& id) {
    for (auto& item : document.items)
        if (item.id == id)
            return &item;
    return nullptr;
}

// --- JSON -----------------------------------------------------------------------------

JsonValue linksJson(const QList<SavedLink>& links) {
    JsonValue::Array array;
    for (const auto& link : links)
        array.push_back(JsonValue::object(
            {{QStringLiteral("label"), link.label}, {QStringLiteral("url"), link.url}}));
    return array;
}

void putOptional(JsonValue::Object& object, const char* key, const std::optional<QString>& value) {
    if (value)
        object.push_back({QString::fromLatin1(key), *value});
}

// Strict reading of one kind's fields: a missing or mistyped required field fails.
class Fields {
public:
    explicit Fields(const JsonValue& value)
        : m_value(value)
        , m_ok(value.isObject()) {}
    bool ok() const { return m_ok; }

    QString text(const char* key) {
        const JsonValue* v = m_value.find(QLatin1StringView(key));
        if (!v || !v->isString()) {
            m_ok = false;
            return {};
        }
        return v->toString();
    }
    std::optional<QString> optionalText(const char* key) {
        const JsonValue* v = m_value.find(QLatin1StringView(key));
        if (!v || v->isNull())
            return std::nullopt;
        if (!v->isString()) {
            m_ok = false;
            return std::nullopt;
        }
        return v->toString();
    }
    bool boolean(const char* key) {
        const JsonValue* v = m_value.find(QLatin1StringView(key));
        if (!v || !v->isBool()) {
            m_ok = false;
            return false;
        }
        return v->toBool();
    }
    template <typename E>
    E enumeration(const char* key) {
        const auto parsed = Wire::parse<E>(text(key));
        if (!parsed) {
            m_ok = false;
            return E{};
        }
        return *parsed;
    }
    QList<SavedLink> links(const char* key) {
        const JsonValue* v = m_value.find(QLatin1StringView(key));
        if (!v || !v->isArray()) {
            m_ok = false;
            return {};
        }
        QList<SavedLink> out;
        for (const auto& element : v->toArray()) {
            Fields link(element);
            SavedLink saved{link.text("label"), link.text("url")};
            if (!link.ok()) {
                m_ok = false;
                return {};
            }
            out.push_back(saved);
        }
        return out;
    }

private:
    const JsonValue& m_value;
    bool m_ok;
};

} // namespace

size_t PendingOps::qHash(const PendingOp& op, size_t seed) noexcept {
    seed = qHashMulti(seed, op.index());
    return std::visit(
        Overloaded{
            [&](const PendingOps::SetDone& o) { return qHashMulti(seed, o.id, o.done); },
            [&](const PendingOps::SetFlagged& o) { return qHashMulti(seed, o.id, o.flagged); },
            [&](const PendingOps::Delete& o) { return ::qHash(o.id, seed); },
            [&](const PendingOps::Add& o) {
                size_t h = qHashMulti(seed, o.localID, o.title, int(o.section), int(o.priority));
                h = hashOptional(o.note, h);
                h = hashOptional(o.source, h);
                h = hashOptional(o.dueDay, h);
                return hashLinks(o.links, h);
            },
            [&](const PendingOps::Update& o) {
                size_t h = qHashMulti(seed, o.id, o.title, int(o.priority),
                                      o.section ? int(*o.section) : -1);
                h = hashOptional(o.note, h);
                h = hashOptional(o.source, h);
                h = hashOptional(o.dueDay, h);
                return hashLinks(o.links, h);
            },
        },
        op);
}

namespace PendingOps {

QString targetID(const PendingOp& op) {
    return std::visit(Overloaded{
                          [](const Add& o) { return o.localID; },
                          [](const auto& o) { return o.id; },
                      },
                      op);
}

void apply(const PendingOp& op, Document& document, const QDateTime& now) {
    std::visit(Overloaded{
                   [&](const SetDone& o) {
                       if (Item* item = firstWithID(document, o.id)) {
                           item->status = o.done ? ItemStatus::done : ItemStatus::open;
                           item->completedAt = o.done ? std::optional(now) : std::nullopt;
                       }
                   },
                   [&](const SetFlagged& o) {
                       if (Item* item = firstWithID(document, o.id))
                           item->flagged = o.flagged;
                   },
                   [&](const Delete& o) {
                       document.items.removeIf([&](const Item& item) { return item.id == o.id; });
                   },
                   [&](const Update& o) {
                       if (Item* item = firstWithID(document, o.id)) {
                           item->title = o.title;
                           item->note = o.note;
                           item->source = o.source;
                           item->due = LocalDay::date(o.dueDay);
                           item->priority = o.priority;
                           item->links = itemLinks(o.links);
                           if (o.section)
                               item->section = *o.section;
                       }
                   },
                   [&](const Add& o) {
                       Item item;
                       item.id = o.localID;
                       item.title = o.title;
                       item.note = o.note;
                       item.priority = o.priority;
                       item.section = o.section;
                       item.source = o.source;
                       item.links = itemLinks(o.links);
                       item.due = LocalDay::date(o.dueDay);
                       item.channel = Channel::self;
                       item.status = ItemStatus::open;
                       item.origin = Origin::user;
                       item.createdAt = now;
                       document.items.push_back(std::move(item));
                   },
               },
               op);
}

QList<PendingOp> remap(QList<PendingOp> ops, const QString& from, const QString& to) {
    for (auto& op : ops) {
        std::visit(Overloaded{
                       [](Add&) {},
                       [&](auto& o) {
                           if (o.id == from)
                               o.id = to;
                       },
                   },
                   op);
    }
    return ops;
}

JsonValue toJson(const PendingOp& op) {
    return std::visit(
        Overloaded{
            [](const SetDone& o) {
                return JsonValue::object({{QStringLiteral("setDone"),
                                           JsonValue::object({{QStringLiteral("id"), o.id},
                                                              {QStringLiteral("done"), o.done}})}});
            },
            [](const SetFlagged& o) {
                return JsonValue::object(
                    {{QStringLiteral("setFlagged"),
                      JsonValue::object({{QStringLiteral("id"), o.id},
                                         {QStringLiteral("flagged"), o.flagged}})}});
            },
            [](const Delete& o) {
                return JsonValue::object({{QStringLiteral("delete"),
                                           JsonValue::object({{QStringLiteral("id"), o.id}})}});
            },
            [](const Add& o) {
                JsonValue::Object fields{{QStringLiteral("localID"), o.localID},
                                         {QStringLiteral("title"), o.title}};
                putOptional(fields, "note", o.note);
                putOptional(fields, "source", o.source);
                fields.push_back({QStringLiteral("section"), Wire::string(o.section)});
                putOptional(fields, "dueDay", o.dueDay);
                fields.push_back({QStringLiteral("priority"), Wire::string(o.priority)});
                fields.push_back({QStringLiteral("links"), linksJson(o.links)});
                return JsonValue::object({{QStringLiteral("add"), JsonValue(std::move(fields))}});
            },
            [](const Update& o) {
                JsonValue::Object fields{{QStringLiteral("id"), o.id},
                                         {QStringLiteral("title"), o.title}};
                putOptional(fields, "note", o.note);
                putOptional(fields, "source", o.source);
                putOptional(fields, "dueDay", o.dueDay);
                fields.push_back({QStringLiteral("priority"), Wire::string(o.priority)});
                fields.push_back({QStringLiteral("links"), linksJson(o.links)});
                if (o.section)
                    fields.push_back({QStringLiteral("section"), Wire::string(*o.section)});
                return JsonValue::object(
                    {{QStringLiteral("update"), JsonValue(std::move(fields))}});
            },
        },
        op);
}

std::optional<PendingOp> fromJson(const JsonValue& value) {
    if (!value.isObject() || value.toObject().size() != 1)
        return std::nullopt;
    const auto& [kind, body] = value.toObject().front();
    Fields f(body);
    PendingOp op;
    if (kind == u"setDone") {
        op = SetDone{f.text("id"), f.boolean("done")};
    } else if (kind == u"setFlagged") {
        op = SetFlagged{f.text("id"), f.boolean("flagged")};
    } else if (kind == u"delete") {
        op = Delete{f.text("id")};
    } else if (kind == u"add") {
        Add add;
        add.localID = f.text("localID");
        add.title = f.text("title");
        add.note = f.optionalText("note");
        add.source = f.optionalText("source");
        add.section = f.enumeration<Section>("section");
        add.dueDay = f.optionalText("dueDay");
        add.priority = f.enumeration<Priority>("priority");
        add.links = f.links("links");
        op = std::move(add);
    } else if (kind == u"update") {
        Update update;
        update.id = f.text("id");
        update.title = f.text("title");
        update.note = f.optionalText("note");
        update.source = f.optionalText("source");
        update.dueDay = f.optionalText("dueDay");
        update.priority = f.enumeration<Priority>("priority");
        update.links = f.links("links");
        if (const auto section = f.optionalText("section")) {
            update.section = Wire::parse<Section>(*section);
            if (!update.section)
                return std::nullopt;
        }
        op = std::move(update);
    } else {
        return std::nullopt;
    }
    if (!f.ok())
        return std::nullopt;
    return op;
}

} // namespace PendingOps
