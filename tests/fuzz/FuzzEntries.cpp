#include "FuzzEntries.h"

#include "Faults.h"
#include "Methods.h"
#include "OfflineSnapshot.h"
#include "PendingOp.h"
#include "Proposal.h"
#include "Proposals.h"
#include "Records.h"
#include "Service.h"
#include "SmartReading.h"
#include "Storage.h"
#include "WireJson.h"

#include <QDate>
#include <QDateTime>
#include <QSet>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <limits>

namespace {

void check(bool holds, const char* invariant) {
    if (holds)
        return;
    std::fprintf(stderr, "invariant broken: %s\n", invariant);
    std::abort();
}

// Loose reading: whatever parses writes back as JSON that reads the same.
void loose(QByteArrayView input) {
    if (const auto value = JsonValue::parse(input))
        check(JsonValue::parse(value->toJson()) == value, "a parsed value writes back the same");
}

template <typename T>
std::optional<T> decoded(QByteArrayView json) {
    try {
        return WireJson::decode<T>(json);
    } catch (const DecodingError&) {
        return std::nullopt;
    }
}

// The reply of "load", the stored baseline, and any other loose reply.
void wireDocument(QByteArrayView input) {
    loose(input);
    try {
        const WireDocument document = WireJson::decodeEnvelope<WireDocument>(input);
        check(decoded<WireDocument>(WireJson::encode(document)) == document,
              "a document re-encodes to itself");
        WireMapping::document(document);
    } catch (const DecodingError&) {
    }
    if (const auto stored = WireCompat::decodeDocument(input))
        WireMapping::document(*stored);
}

// The reply of "loadProposal".
void proposal(QByteArrayView input) {
    std::optional<Proposal> read;
    try {
        read = ProposalFormat::readReply(input);
    } catch (const DecodingError&) {
        return;
    }
    for (const ProposalDelta& delta : read ? read->deltas : QList<ProposalDelta>()) {
        check(JsonValue::parse(delta.raw).has_value(), "a delta's raw JSON reads");
        check(ProposalFormat::decodeDelta(ProposalFormat::toJson(delta.wire)) == delta.wire,
              "a delta re-encodes to itself");
    }
}

// The offline file, and the restore that follows it at start.
void snapshot(QByteArrayView input) {
    const auto read = OfflineSnapshot::decode(input);
    if (!read)
        return;
    check(OfflineSnapshot::decode(read->encode()) == read, "a snapshot re-encodes to itself");
    if (const auto baseline = WireCompat::decodeDocument(read->wireDocument)) {
        Document document = WireMapping::document(*baseline);
        for (const PendingOp& op : read->queue)
            PendingOps::apply(op, document, QDateTime::currentDateTimeUtc());
    }
}

// One queued edit as the file holds it.
void pendingOp(QByteArrayView input) {
    const auto value = JsonValue::parse(input);
    const auto op = value ? PendingOps::fromJson(*value) : std::nullopt;
    if (!op)
        return;
    check(PendingOps::fromJson(PendingOps::toJson(*op)) == op, "an edit re-encodes to itself");
    Item item; // twice, as a hand-edited file might hold it
    item.id = QStringLiteral("i1");
    item.title = QStringLiteral("Call Dana");
    Document document;
    document.items = {item, item};
    PendingOps::apply(*op, document, QDateTime::currentDateTimeUtc());
}

// --- the server ------------------------------------------------------------------------

// One user on an in-memory database, put back to the same state before each input.
struct Server {
    Storage storage{QStringLiteral(":memory:")};
    Service service{storage};
    qint64 user = 0;
    WireDocument seed;

    Server() {
        const auto issued = service.issueToken(name);
        user = *service.authenticate(issued.token.toUtf8());
        service.setSmartInsertCap(std::numeric_limits<qint64>::max());
        seed = WireJson::decode<WireDocument>(R"({"schema_version":1,"items":[{"id":"i1",
            "title":"Call Dana","section":"action","channel":"self","priority":"high",
            "links":[],"status":"open","origin":"user","created_at":"2026-03-01T09:30:15Z"}],
            "rejections":[],"rules":[{"id":"r1","status":"active","action":"exclude",
            "match":{"op":"any","conditions":[{"field":"source","op":"contains",
            "value":["bot"]}]},"params":{},"reason":"bots","origin":{"from":"manual",
            "rejection_ids":[],"count":0},"created_by":"user",
            "created_at":"2026-03-01T09:30:15Z","updated_at":"2026-03-01T09:30:15Z",
            "apply_count":0}],"suppressions":[],"focus":[],"settings":{"hide_done":false}})");
    }

    static Server& instance() {
        static Server server;
        server.service.replaceDocument(name, server.seed);
        server.service.setProposal(name, std::nullopt);
        return server;
    }

    // Every reply is JSON, and whatever the server now holds, the client can load.
    void checkAfter(const Reply& reply) {
        check(reply.status >= 200 && reply.status < 600, "a reply has an HTTP status");
        check(JsonValue::parse(reply.body).has_value(), "a reply is JSON");
        checkState();
    }
    void checkState() {
        const Reply load = service.call(user, R"({"method":"load"})", std::nullopt);
        const Reply pending = service.call(user, R"({"method":"loadProposal"})", std::nullopt);
        check(load.status == 200 && pending.status == 200, "the state loads");
        try {
            WireJson::decodeEnvelope<WireDocument>(load.body);
            ProposalFormat::readReply(pending.body);
        } catch (const DecodingError& error) {
            std::fprintf(stderr, "%s\n", qPrintable(error.message()));
            check(false, "the client reads what the server holds");
        }
    }

    static inline const QString name = QStringLiteral("fuzz");
};

// POST api/store.
void serverStore(QByteArrayView input) {
    Server& server = Server::instance();
    server.checkAfter(server.service.call(server.user, input.toByteArray(), std::nullopt));
}

// POST api/ai/smart-insert: the body as its route reads it, then the reading of the text.
void serverSmartInsert(QByteArrayView input) {
    const auto json = JsonValue::parse(input);
    const JsonValue* text = json ? json->find(u"text") : nullptr;
    if (!text || !text->isString())
        return;
    if (const auto reading = SmartReading::read(text->toString(), QDate::currentDate()))
        check(JsonValue::parse(reading->draft.toJson()).has_value(), "a draft is JSON");
}

// PUT admin/users/NAME/document, with the route's own check of unique ids.
void serverDocument(QByteArrayView input) {
    Server& server = Server::instance();
    const auto document = decoded<WireDocument>(input);
    if (!document)
        return;
    QSet<QString> itemIds, ruleIds;
    for (const WireItem& item : document->items)
        itemIds.insert(item.id);
    for (const WireRule& rule : document->rules)
        ruleIds.insert(rule.id);
    if (itemIds.size() != document->items.size() || ruleIds.size() != document->rules.size())
        return;
    server.service.replaceDocument(Server::name, *document);
    server.checkState();
}

// PUT admin/users/NAME/proposal.
void serverProposal(QByteArrayView input) {
    Server& server = Server::instance();
    const auto proposal = JsonValue::parse(input);
    if (!proposal)
        return;
    try {
        server.service.setProposal(Server::name, *proposal);
    } catch (const RpcError&) {
    }
    server.checkState();
}

// POST admin/faults.
void serverFaults(QByteArrayView input) {
    const auto json = JsonValue::parse(input);
    if (!json)
        return;
    try {
        const Fault fault = Fault::fromJson(*json);
        check(fault.count >= 1 && fault.delayMs >= 0, "a fault is bounded");
    } catch (const std::invalid_argument&) {
    }
}

constexpr auto all = std::to_array<FuzzEntries::Target>({
    {"wire_document", wireDocument},
    {"proposal", proposal},
    {"snapshot", snapshot},
    {"pending_op", pendingOp},
    {"server_store", serverStore},
    {"server_smart_insert", serverSmartInsert},
    {"server_document", serverDocument},
    {"server_proposal", serverProposal},
    {"server_faults", serverFaults},
});

} // namespace

namespace FuzzEntries {

std::span<const Target> targets() {
    return all;
}

Entry find(std::string_view name) {
    for (const Target& target : all)
        if (target.name == name)
            return target.run;
    return nullptr;
}

} // namespace FuzzEntries
