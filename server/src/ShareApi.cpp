#include "ShareApi.h"

#include "Methods.h"
#include "PeopleApi.h"
#include "Routes.h"
#include "WireJson.h"

#include <QDateTime>
#include <QUuid>

using namespace Routes;

namespace {

constexpr const char* schema = R"sql(
CREATE TABLE IF NOT EXISTS shares(
    id TEXT PRIMARY KEY,
    sender INTEGER NOT NULL REFERENCES users(id),
    recipient INTEGER NOT NULL REFERENCES users(id),
    sender_item TEXT NOT NULL,
    recipient_item TEXT,
    item TEXT NOT NULL,
    message TEXT,
    state TEXT NOT NULL,
    prior_section TEXT NOT NULL,
    created_at TEXT NOT NULL,
    completed_at TEXT);
CREATE INDEX IF NOT EXISTS shares_by_recipient ON shares(recipient, state);
CREATE INDEX IF NOT EXISTS shares_by_sender ON shares(sender, state);
)sql";

constexpr qsizetype maxMessage = 1000;
constexpr qsizetype maxId = 200;
// What one inbox lists at most, oldest first.
constexpr qint64 maxListed = 500;

QString nowText() {
    return QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs);
}

WireItem* findItem(WireDocument& document, const QString& id) {
    for (WireItem& item : document.items)
        if (item.id == id)
            return &item;
    return nullptr;
}

// The sender's copy, if it is still there.
void mark(Service::Staged& staged, qint64 sender, const QString& itemId,
          const std::function<void(WireItem&)>& change) {
    if (WireItem* item = findItem(staged.of(sender).document, itemId))
        change(*item);
}

void setState(Storage& storage, const QString& id, const char* state) {
    Storage::Statement(storage, "UPDATE shares SET state = ? WHERE id = ?")
        .bind(1, QByteArray(state))
        .bind(2, id)
        .run();
}

// The task as it enters the recipient's list: theirs to do, from the sender.
JsonValue newItem(const WireItem& item, const QString& from) {
    JsonValue::Array links;
    for (const WireLink& link : item.links)
        links.push_back(JsonValue::object(
            {{QStringLiteral("label"), link.label}, {QStringLiteral("url"), link.url}}));
    return JsonValue::object({{QStringLiteral("title"), item.title},
                              {QStringLiteral("note"), item.note},
                              {QStringLiteral("section"), "action"},
                              {QStringLiteral("channel"), "self"},
                              {QStringLiteral("source"), from},
                              {QStringLiteral("due"), item.due},
                              {QStringLiteral("priority"), Wire::string(item.priority)},
                              {QStringLiteral("links"), std::move(links)}});
}

struct Share {
    QString id;
    qint64 sender = 0;
    qint64 recipient = 0;
    QString senderItem;
    std::optional<QString> recipientItem;
    QByteArray item;
    QString state;
    QString priorSection;
};

std::optional<Share> find(Storage& storage, const QString& id) {
    Storage::Statement s(storage, "SELECT sender, recipient, sender_item, recipient_item, item, "
                                  "state, prior_section FROM shares WHERE id = ?");
    s.bind(1, id);
    if (id.size() > maxId || !s.step())
        return std::nullopt;
    Share share{id,           s.integer(0), s.integer(1), s.text(2),
                std::nullopt, s.bytes(4),   s.text(5),    s.text(6)};
    if (!s.isNull(3))
        share.recipientItem = s.text(3);
    return share;
}

Reply gone() {
    return messageReply(400, QStringLiteral("That task is no longer waiting for an answer."));
}

Reply ok(const char* key, JsonValue value) {
    return Reply{200, JsonValue::object({{QString::fromLatin1(key), std::move(value)}}).toJson()};
}

Reply inbox(Storage& storage, qint64 user) {
    JsonValue::Array incoming;
    Storage::Statement in(storage, "SELECT id, sender, item, message, created_at FROM shares "
                                   "WHERE recipient = ? AND state = 'pending' ORDER BY "
                                   "created_at, id LIMIT ?");
    in.bind(1, user).bind(2, maxListed);
    while (in.step()) {
        const auto item = JsonValue::parse(in.bytes(2));
        incoming.push_back(JsonValue::object(
            {{QStringLiteral("id"), in.text(0)},
             {QStringLiteral("from"), PeopleApi::displayName(storage, in.integer(1))},
             {QStringLiteral("item"), item.value_or(JsonValue())},
             {QStringLiteral("message"), in.isNull(3) ? JsonValue() : JsonValue(in.text(3))},
             {QStringLiteral("created_at"), in.text(4)}}));
    }
    JsonValue::Array returned;
    Storage::Statement back(storage, "SELECT id, recipient, item, sender_item, completed_at "
                                     "FROM shares WHERE sender = ? AND state = 'done_claimed' "
                                     "ORDER BY completed_at, id LIMIT ?");
    back.bind(1, user).bind(2, maxListed);
    while (back.step()) {
        const auto item = JsonValue::parse(back.bytes(2));
        const JsonValue* title = item ? item->find(u"title") : nullptr;
        returned.push_back(JsonValue::object(
            {{QStringLiteral("id"), back.text(0)},
             {QStringLiteral("from"), PeopleApi::displayName(storage, back.integer(1))},
             {QStringLiteral("title"), title ? title->toString() : QString()},
             {QStringLiteral("item_id"), back.text(3)},
             {QStringLiteral("completed_at"), back.text(4)}}));
    }
    return Reply{200, JsonValue::object({{QStringLiteral("incoming"), std::move(incoming)},
                                         {QStringLiteral("returned"), std::move(returned)}})
                          .toJson()};
}

Reply send(Service::Staged& staged, Storage& storage, qint64 user, const QString& to,
           const QString& itemId, const QString& message) {
    const auto recipient = PeopleApi::userOf(to);
    if (!recipient || *recipient == user || !PeopleApi::connected(storage, user, *recipient))
        return messageReply(400, QStringLiteral("You can only send to people you are "
                                                "connected with."));
    WireItem* item = findItem(staged.of(user).document, itemId);
    if (!item || item->deletedAt)
        return messageReply(400, QStringLiteral("That task is not on your list."));
    if (item->shared)
        return messageReply(400, QStringLiteral("That task has been sent already."));
    const QString to_name = PeopleApi::displayName(storage, *recipient);
    const QString id = QUuid::createUuid().toString(QUuid::WithoutBraces);
    const QString line = message.trimmed();
    Storage::Statement s(storage, "INSERT INTO shares(id, sender, recipient, sender_item, item, "
                                  "message, state, prior_section, created_at) VALUES(?, ?, ?, ?, "
                                  "?, ?, 'pending', ?, ?)");
    s.bind(1, id).bind(2, user).bind(3, *recipient).bind(4, itemId);
    s.bind(5, newItem(*item, PeopleApi::displayName(storage, user)).toJson());
    if (!line.isEmpty())
        s.bind(6, line);
    s.bind(7, Wire::string(item->section)).bind(8, nowText()).run();
    // The sender's copy waits on the other person until it comes back.
    item->shared = WireSharedMark{to_name, SharedState::pending};
    item->section = Section::waiting;
    if (!item->source || item->source->trimmed().isEmpty())
        item->source = to_name;
    staged.of(*recipient);
    return ok("id", id);
}

Reply accept(Service::Staged& staged, Storage& storage, qint64 user, const Share& share) {
    const auto item = JsonValue::parse(share.item);
    if (!item)
        throw std::runtime_error("a stored share does not read back");
    const Methods::Context context{
        nowText(), [] { return QUuid::createUuid().toString(QUuid::WithoutBraces); }};
    QByteArray added;
    try {
        added = Methods::apply(staged.of(user), QStringLiteral("addItem"), {*item}, context);
    } catch (const RpcError& refusal) {
        // The open-task cap is a sentence for the user, not a fault.
        return messageReply(400, refusal.message());
    }
    const auto addedJson = JsonValue::parse(added);
    const JsonValue* newId = addedJson ? addedJson->find(u"id") : nullptr;
    Storage::Statement(storage,
                       "UPDATE shares SET state = 'accepted', recipient_item = ? WHERE id = ?")
        .bind(1, newId ? newId->toString() : QString())
        .bind(2, share.id)
        .run();
    mark(staged, share.sender, share.senderItem,
         [](WireItem& it) { it.shared->state = SharedState::accepted; });
    return ok("item", addedJson.value_or(JsonValue()));
}

// Back to the sender as it was before it went out.
void takeBack(Service::Staged& staged, const Share& share, bool keepMark) {
    mark(staged, share.sender, share.senderItem, [&](WireItem& it) {
        if (keepMark)
            it.shared->state = SharedState::declined;
        else
            it.shared.reset();
        it.section = Wire::parse<Section>(share.priorSection).value_or(Section::action);
    });
}

Reply answer(Service::Staged& staged, Storage& storage, const Share& share, bool agree) {
    const QString now = nowText();
    if (agree) {
        setState(storage, share.id, "closed");
        mark(staged, share.sender, share.senderItem, [&](WireItem& it) {
            if (it.status != ItemStatus::done) {
                it.status = ItemStatus::done;
                it.completedAt = now;
            }
        });
    } else {
        setState(storage, share.id, "accepted");
        mark(staged, share.sender, share.senderItem,
             [](WireItem& it) { it.shared->state = SharedState::accepted; });
        if (share.recipientItem)
            if (WireItem* it =
                    findItem(staged.of(share.recipient).document, *share.recipientItem)) {
                it->status = ItemStatus::open;
                it->completedAt.reset();
            }
    }
    staged.of(share.recipient);
    return ok("resolved", true);
}

std::optional<QString> text(const JsonValue& body, const char* key) {
    const JsonValue* value = body.find(QLatin1StringView(key));
    if (!value || !value->isString())
        return std::nullopt;
    return value->toString();
}

Reply post(Service& service, qint64 user, const httplib::Request& req) {
    const auto body = JsonValue::parse(bodyOf(req));
    if (!body || !body->isObject())
        return messageReply(400, QStringLiteral("The body must be a JSON object."));
    const auto action = text(*body, "action");
    if (!action)
        return messageReply(400, QStringLiteral("The body needs an \"action\" string."));
    const auto needs = [&](const char* key) {
        return messageReply(
            400,
            QStringLiteral("\"%1\" needs a \"%2\" string.").arg(*action, QLatin1StringView(key)));
    };
    if (*action == u"send") {
        const auto to = text(*body, "to");
        const auto item = text(*body, "item_id");
        const auto message = text(*body, "message");
        if (!to)
            return needs("to");
        if (!item)
            return needs("item_id");
        if (!message)
            return needs("message");
        if (message->size() > maxMessage)
            return messageReply(400, QStringLiteral("The message can be at most 1000 characters."));
        return service.transactAcross([&](Service::Staged& staged, Storage& storage) {
            return send(staged, storage, user, *to, *item, *message);
        });
    }
    const auto id = text(*body, "id");
    if (!id)
        return needs("id");
    const JsonValue* agree = body->find(u"agree");
    if (*action == u"completion" && (!agree || !agree->isBool()))
        return messageReply(400, QStringLiteral("\"completion\" needs an \"agree\" boolean."));
    if (*action != u"accept" && *action != u"decline" && *action != u"withdraw" &&
        *action != u"completion")
        return messageReply(400, QStringLiteral("Unknown action \"%1\".").arg(action->left(64)));
    return service.transactAcross([&](Service::Staged& staged, Storage& storage) {
        const auto share = find(storage, *id);
        if (*action == u"withdraw") {
            if (!share || share->sender != user || share->state != u"pending")
                return messageReply(400, QStringLiteral("That task can no longer be taken back."));
            // Gone for good: the task may be sent again, and nothing piles up.
            Storage::Statement(storage, "DELETE FROM shares WHERE id = ?").bind(1, share->id).run();
            takeBack(staged, *share, false);
            staged.of(share->recipient);
            return ok("withdrawn", true);
        }
        if (*action == u"completion") {
            if (!share || share->sender != user || share->state != u"done_claimed")
                return gone();
            return answer(staged, storage, *share, agree->toBool());
        }
        if (!share || share->recipient != user || share->state != u"pending")
            return gone();
        if (*action == u"accept")
            return accept(staged, storage, user, *share);
        setState(storage, share->id, "declined");
        takeBack(staged, *share, true);
        staged.of(user);
        return ok("declined", true);
    });
}

// The recipient's own "done" on an accepted task becomes the sender's question.
void follow(qint64 user, const WireDocument& after, Service::Staged& staged, Storage& storage) {
    Storage::Statement s(storage, "SELECT id, sender, sender_item, recipient_item FROM shares "
                                  "WHERE recipient = ? AND state = 'accepted'");
    s.bind(1, user);
    struct Claim {
        QString id;
        qint64 sender;
        QString senderItem;
        QString at;
    };
    QList<Claim> claims;
    while (s.step()) {
        const QString mine = s.text(3);
        for (const WireItem& item : after.items)
            if (item.id == mine && item.status == ItemStatus::done && !item.deletedAt)
                claims.push_back(
                    {s.text(0), s.integer(1), s.text(2), item.completedAt.value_or(nowText())});
    }
    for (const Claim& claim : claims) {
        Storage::Statement(
            storage, "UPDATE shares SET state = 'done_claimed', completed_at = ? WHERE id = ?")
            .bind(1, claim.at)
            .bind(2, claim.id)
            .run();
        if (claim.sender != user)
            mark(staged, claim.sender, claim.senderItem, [](WireItem& it) {
                if (it.shared)
                    it.shared->state = SharedState::doneClaimed;
            });
    }
}

} // namespace

void ShareApi::install(httplib::Server& server, Service& service, FaultPlan& faults) {
    service.migrate([](Storage& storage) { storage.exec(schema); });
    service.addFollower(follow);
    server.Get("/api/share",
               userRoute(service, faults, [&service](qint64 user, const httplib::Request&) {
                   return service.read(user, [&](const UserState&, Storage& storage) {
                       return inbox(storage, user);
                   });
               }));
    server.Post("/api/share",
                userRoute(service, faults, [&service](qint64 user, const httplib::Request& req) {
                    return post(service, user, req);
                }));
}
