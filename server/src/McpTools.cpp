#include "McpTools.h"

#include "BriefingApi.h"
#include "Methods.h"
#include "Proposals.h"
#include "Records.h"
#include "SettingsApi.h"
#include "WireJson.h"

#include <QDate>
#include <QUuid>

#include <atomic>
#include <stdexcept>

namespace {

constexpr const char* schema = R"sql(
CREATE TABLE IF NOT EXISTS mcp_calls(
    user_id INTEGER NOT NULL REFERENCES users(id),
    day TEXT NOT NULL,
    used INTEGER NOT NULL,
    PRIMARY KEY(user_id, day));
)sql";

// The tools as tools/list shows them. The names and arguments are the ones the sample
// prompts teach agents; the descriptions are what a model reads before its first call.
constexpr const char* toolsJson = R"json([
{"name": "get_document",
 "title": "Read the list",
 "description": "Read the user's open tasks, standing rules and focus list, with today's date in the user's time zone. With include_dismissed, also what the user rejected and what must never be suggested again (suppressions). Read this before suggesting anything.",
 "inputSchema": {"type": "object", "properties": {
   "include_dismissed": {"type": "boolean", "description": "Also return rejections and suppressions."}}},
 "annotations": {"readOnlyHint": true, "openWorldHint": false}},
{"name": "put_proposal",
 "title": "Suggest changes for review",
 "description": "File a batch of suggested changes (deltas) for the user to accept or reject one by one. Nothing changes on the list until the user reviews it. The server filters the batch through the user's rules and past rejections and answers what was kept and why the rest was filtered. Filing replaces any proposal still waiting, so check get_proposal_status first. Delta kinds: add {item}, complete {item_id}, remove {item_id}, update {item_id, patch}, add_rule {rule}, update_rule {rule_id, patch}, remove_rule {rule_id}, pause_rule {rule_id}; each may carry a one-line reason. An empty deltas array is a valid answer when there is nothing worth suggesting.",
 "inputSchema": {"type": "object", "required": ["agent", "deltas"], "properties": {
   "agent": {"type": "string", "description": "Your name, shown to the user as the one suggesting."},
   "summary": {"type": "string", "description": "One or two sentences on what this batch is about."},
   "deltas": {"type": "array", "maxItems": 100, "items": {"type": "object", "required": ["kind"], "properties": {
     "kind": {"type": "string", "enum": ["add", "complete", "remove", "update", "add_rule", "update_rule", "remove_rule", "pause_rule"]},
     "reason": {"type": "string"},
     "item": {"type": "object", "description": "For add: title, section, channel, priority, links (required, may be empty), and optionally note, source, source_id, due, flagged."},
     "item_id": {"type": "string"},
     "patch": {"type": "object", "description": "For update: the task fields to change; for update_rule: reason, status, action, match, params."},
     "rule": {"type": "object", "description": "For add_rule: action, match, params, reason, origin."},
     "rule_id": {"type": "string"}}}}}},
 "annotations": {"readOnlyHint": false, "destructiveHint": false, "idempotentHint": false, "openWorldHint": false}},
{"name": "add_item",
 "title": "Add a task now",
 "description": "Add one task to the list at once, without review. Use it when the user asks you directly (initiated \"human\"), or for a true emergency that cannot wait for review (initiated \"auto\" with priority \"high\", which notifies the user). Everything else goes through put_proposal. Give a source_id from the message or event: the same source_id again answers the task already there instead of adding a second one.",
 "inputSchema": {"type": "object", "required": ["title", "section", "initiated"], "properties": {
   "initiated": {"type": "string", "enum": ["human", "auto"], "description": "human: the user asked for it now; auto: you decided it cannot wait."},
   "title": {"type": "string"},
   "section": {"type": "string", "enum": ["action", "waiting", "note"]},
   "priority": {"type": "string", "enum": ["low", "medium", "high"], "description": "medium unless someone is blocked or a real deadline is close."},
   "channel": {"type": "string", "enum": ["self", "teams", "email", "meeting", "other"]},
   "source": {"type": "string", "description": "Who it involves or where it came from."},
   "source_id": {"type": "string", "description": "A stable id of the message or event."},
   "note": {"type": "string", "description": "Context; never a raw URL (use links)."},
   "due": {"type": "string", "description": "A day, yyyy-MM-dd, only for a real deadline."},
   "flagged": {"type": "boolean"},
   "links": {"type": "array", "maxItems": 3, "items": {"type": "object", "required": ["label", "url"], "properties": {
     "label": {"type": "string"}, "url": {"type": "string"}}}}}},
 "annotations": {"readOnlyHint": false, "destructiveHint": false, "idempotentHint": true, "openWorldHint": false}},
{"name": "get_proposal_status",
 "title": "See the proposal waiting for review",
 "description": "Whether a proposal is still waiting for the user's review, who filed it and when, and its suggestions. A new put_proposal replaces it, so read it before filing again.",
 "inputSchema": {"type": "object", "properties": {}},
 "annotations": {"readOnlyHint": true, "openWorldHint": false}},
{"name": "get_briefing",
 "title": "Read the latest briefing",
 "description": "The latest daily briefing written for the user (what is critical, who to chase, what to drop), when one exists.",
 "inputSchema": {"type": "object", "properties": {}},
 "annotations": {"readOnlyHint": true, "openWorldHint": false}},
{"name": "get_usage",
 "title": "See today's call budget",
 "description": "How many agent calls the user's account has made today, out of how many a day. Every tool call counts, this one too.",
 "inputSchema": {"type": "object", "properties": {}},
 "annotations": {"readOnlyHint": true, "openWorldHint": false}}
])json";

JsonValue textResult(const QString& text, bool isError = false, const JsonValue& structured = {}) {
    JsonValue result = JsonValue::object(
        {{QStringLiteral("content"),
          JsonValue::array({JsonValue::object(
              {{QStringLiteral("type"), "text"}, {QStringLiteral("text"), text}})})}});
    if (!structured.isNull())
        result.set(QStringLiteral("structuredContent"), structured);
    if (isError)
        result.set(QStringLiteral("isError"), true);
    return result;
}

JsonValue refusal(const QString& text) {
    return textResult(text, true);
}

JsonValue briefing(Storage& storage, qint64 userId) {
    const JsonValue newest = BriefingApi::newest(storage, userId);
    if (newest.isNull())
        return textResult(QStringLiteral("No briefing has been written for this list yet."));
    return textResult(QString::fromUtf8(newest.toJson()), false, newest);
}

// A tool's refusal of its arguments: thrown, answered as an `isError` result.
struct BadArguments : std::runtime_error {
    explicit BadArguments(const QString& text)
        : std::runtime_error(text.toStdString())
        , sentence(text) {}
    QString sentence;
};

const JsonValue& member(const JsonValue& object, QAnyStringView key) {
    static const JsonValue none;
    const JsonValue* value = object.find(key);
    return value ? *value : none;
}

std::optional<QString> optionalString(const JsonValue& args, const char* key, int maxLength) {
    const JsonValue& value = member(args, QLatin1String(key));
    if (value.isNull())
        return std::nullopt;
    if (!value.isString())
        throw BadArguments(QStringLiteral("\"%1\" must be a string.").arg(QLatin1String(key)));
    if (value.toString().size() > maxLength)
        throw BadArguments(
            QStringLiteral("\"%1\" is over %2 characters.").arg(QLatin1String(key)).arg(maxLength));
    return value.toString();
}

// The user's day, in the account's zone.
QDate userToday(Storage& storage, qint64 userId) {
    return SettingsApi::userDay(storage, userId, QDateTime::currentDateTimeUtc());
}

QString json(const JsonValue& value) {
    return QString::fromUtf8(value.toJson());
}

JsonValue parsed(const QByteArray& bytes) {
    return JsonValue::parse(bytes).value_or(JsonValue());
}

std::atomic<qint64> cap{McpTools::defaultDailyCap};

// --- the day's count -----------------------------------------------------------------

qint64 usedOn(Storage& storage, qint64 userId, const QString& day) {
    Storage::Statement s(storage, "SELECT used FROM mcp_calls WHERE user_id = ? AND day = ?");
    s.bind(1, userId).bind(2, day);
    return s.step() ? s.integer(0) : 0;
}

void countCall(Storage& storage, qint64 userId, const QString& day) {
    Storage::Statement s(storage, "INSERT INTO mcp_calls(user_id, day, used) VALUES(?1, ?2, 1) "
                                  "ON CONFLICT(user_id, day) DO UPDATE SET used = used + 1");
    s.bind(1, userId).bind(2, day).run();
}

// --- the tools -----------------------------------------------------------------------

JsonValue getDocument(const UserState& state, const JsonValue& args, QDate today) {
    const JsonValue& flag = member(args, u"include_dismissed");
    if (!flag.isNull() && !flag.isBool())
        throw BadArguments(QStringLiteral("\"include_dismissed\" must be true or false."));
    const WireDocument& document = state.document;
    JsonValue::Array items, rules;
    for (const WireItem& item : document.items)
        if (item.status == ItemStatus::open && !item.deletedAt)
            items.push_back(WireJson::toJson(item));
    for (const WireRule& rule : document.rules)
        rules.push_back(WireJson::toJson(rule));
    JsonValue::Array focus;
    for (const QString& term : document.focus)
        focus.push_back(term);
    JsonValue out = JsonValue::object({{QStringLiteral("today"), today.toString(Qt::ISODate)},
                                       {QStringLiteral("items"), std::move(items)},
                                       {QStringLiteral("rules"), std::move(rules)},
                                       {QStringLiteral("focus"), std::move(focus)}});
    if (flag.toBool()) {
        JsonValue::Array rejections, suppressions;
        for (const WireRejection& rejection : document.rejections)
            rejections.push_back(parsed(WireJson::encode(rejection)));
        for (const WireSuppression& suppression : document.suppressions)
            suppressions.push_back(parsed(WireJson::encode(suppression)));
        out.set(QStringLiteral("rejections"), std::move(rejections));
        out.set(QStringLiteral("suppressions"), std::move(suppressions));
    }
    return textResult(json(out));
}

// What a delta is about, for the sentences of a reply.
QString deltaLabel(const JsonValue& delta, qsizetype index) {
    const QString kind = member(delta, u"kind").toString();
    QString about;
    if (kind == u"add")
        about = QStringLiteral(" \"%1\"").arg(member(member(delta, u"item"), u"title").toString());
    else if (delta.contains(u"item_id"))
        about = QLatin1Char(' ') + member(delta, u"item_id").toString();
    else if (delta.contains(u"rule_id"))
        about = QLatin1Char(' ') + member(delta, u"rule_id").toString();
    return QStringLiteral("deltas[%1] (%2%3)").arg(index).arg(kind, about);
}

// Each invalid delta with its reason, read as the client will read it; empty when all pass.
QStringList deltaProblems(const JsonValue::Array& deltas) {
    QStringList problems;
    for (std::size_t i = 0; i < deltas.size(); ++i) {
        try {
            Proposals::validate(
                JsonValue::object({{QStringLiteral("deltas"), JsonValue::array({deltas[i]})}}));
        } catch (const RpcError& error) {
            // Checked alone, the delta stands at position 0: name its place in the batch.
            QString reason = error.message();
            for (const QString& alone : {QStringLiteral("deltas[0]"), QStringLiteral("delta 0")})
                if (reason.startsWith(alone))
                    reason = reason.mid(alone.size());
            if (reason.startsWith(u':'))
                reason = reason.mid(1).trimmed().prepend(QStringLiteral(": "));
            problems.append(QStringLiteral("deltas[%1]%2").arg(i).arg(reason));
        }
    }
    return problems;
}

JsonValue putProposal(UserState& next, const JsonValue& args, const QString& now, QDate today) {
    const auto agent = optionalString(args, "agent", 200);
    if (!agent || agent->trimmed().isEmpty())
        throw BadArguments(QStringLiteral("\"agent\" must be your name, so that the user knows "
                                          "who is suggesting."));
    const auto summary = optionalString(args, "summary", 2000);
    const JsonValue& deltasValue = member(args, u"deltas");
    if (!deltasValue.isArray())
        throw BadArguments(QStringLiteral("\"deltas\" must be an array of suggestions (it may "
                                          "be empty)."));
    const JsonValue::Array& deltas = deltasValue.toArray();
    if (deltas.size() > std::size_t(McpTools::maxDeltas))
        throw BadArguments(QStringLiteral("A proposal holds at most %1 suggestions; this one has "
                                          "%2. Keep the ones that matter most.")
                               .arg(McpTools::maxDeltas)
                               .arg(deltas.size()));
    const QStringList problems = deltaProblems(deltas);
    if (!problems.isEmpty())
        throw BadArguments(QStringLiteral("Nothing was filed: %1 of %2 suggestions are invalid. "
                                          "Fix these and send the whole proposal again:\n- %3")
                               .arg(problems.size())
                               .arg(deltas.size())
                               .arg(problems.join(QStringLiteral("\n- "))));

    const std::optional<JsonValue> replaced = next.proposal;
    JsonValue proposal = JsonValue::object({{QStringLiteral("agent"), agent->trimmed()}});
    if (summary)
        proposal.set(QStringLiteral("summary"), *summary);
    proposal.set(QStringLiteral("deltas"), deltas);
    Proposals::Filing filing;
    const QList<WireRule> rules = next.document.rules;
    Proposals::file(next, std::move(proposal), now, today, &filing);

    QStringList lines;
    JsonValue::Array filtered, kept;
    QList<qsizetype> dropped = filing.suppressed;
    for (const qsizetype i : filing.suppressed) {
        lines.append(QStringLiteral("%1: filtered, the user already turned this down (rejected "
                                    "or deleted it); do not suggest it again.")
                         .arg(deltaLabel(deltas[std::size_t(i)], i)));
        filtered.push_back(JsonValue::object(
            {{QStringLiteral("index"), qint64(i)}, {QStringLiteral("why"), "rejected before"}}));
    }
    for (const auto& [i, verdict] : filing.ruled) {
        QStringList why;
        for (const qsizetype r : verdict.fired)
            why.append(QStringLiteral("\"%1\" (%2)")
                           .arg(Rule::describe(rules[r].action, rules[r].match), rules[r].reason));
        const QString label = deltaLabel(deltas[std::size_t(i)], i);
        if (verdict.dropped) {
            dropped.append(i);
            lines.append(QStringLiteral("%1: filtered by the rule %2.")
                             .arg(label, why.join(QStringLiteral(" and "))));
            filtered.push_back(JsonValue::object(
                {{QStringLiteral("index"), qint64(i)}, {QStringLiteral("why"), "rule"}}));
        } else if (!verdict.fired.isEmpty()) {
            lines.append(QStringLiteral("%1: kept, now %2 with %3 priority, by the rule %4.")
                             .arg(label, Wire::string(verdict.section),
                                  Wire::string(verdict.priority),
                                  why.join(QStringLiteral(" and "))));
        }
    }
    for (std::size_t i = 0; i < deltas.size(); ++i)
        if (!dropped.contains(qsizetype(i)))
            kept.push_back(qint64(i));

    QString text;
    if (next.proposal)
        text = QStringLiteral("Filed for review: %1 of %2 suggestions are waiting for the user. "
                              "Nothing has been applied yet: the user accepts or rejects each "
                              "one.")
                   .arg(kept.size())
                   .arg(deltas.size());
    else
        text = QStringLiteral("Nothing is waiting for review: %1. Nothing has been applied.")
                   .arg(deltas.empty() ? QStringLiteral("the proposal was empty")
                                       : QStringLiteral("every suggestion was filtered"));
    if (!lines.isEmpty())
        text += u'\n' + lines.join(u'\n');
    if (replaced)
        text += QStringLiteral("\nThis replaced the proposal filed at %1 that was still waiting.")
                    .arg(member(*replaced, u"created_at").toString());
    JsonValue structured =
        JsonValue::object({{QStringLiteral("pending"), next.proposal.has_value()},
                           {QStringLiteral("kept"), std::move(kept)},
                           {QStringLiteral("filtered"), std::move(filtered)}});
    if (next.proposal)
        structured.set(QStringLiteral("created_at"), member(*next.proposal, u"created_at"));
    return textResult(text, false, structured);
}

JsonValue addItem(UserState& next, Storage& storage, qint64 userId, const JsonValue& args,
                  const QString& now) {
    const JsonValue& initiated = member(args, u"initiated");
    if (initiated.toString() != u"human" && initiated.toString() != u"auto")
        throw BadArguments(QStringLiteral("\"initiated\" must be \"human\" (the user asked you "
                                          "now) or \"auto\" (it cannot wait for review)."));
    const auto sourceId = optionalString(args, "source_id", Caps::text);
    if (sourceId && !sourceId->trimmed().isEmpty()) {
        for (const WireItem& item : next.document.items) {
            if (item.sourceId.value_or(QString()).trimmed() != sourceId->trimmed())
                continue;
            if (item.deletedAt)
                return textResult(QStringLiteral("Not added: the user deleted the task with this "
                                                 "source_id (\"%1\"). Do not add it again.")
                                      .arg(item.title));
            return textResult(QStringLiteral("Already on the list with this source_id, so "
                                             "nothing was added: %1")
                                  .arg(QString::fromUtf8(WireJson::encode(item))));
        }
    }
    JsonValue item{JsonValue::Object{}};
    for (const char* key : {"title", "note", "section", "channel", "source", "source_id", "due",
                            "priority", "flagged", "links", "initiated"})
        if (const JsonValue* value = args.find(QLatin1String(key)))
            item.set(QLatin1String(key), *value);
    UserState trial = next;
    trial.openCap = storage.openCap(userId);
    const Methods::Context context{
        now, [] { return QUuid::createUuid().toString(QUuid::WithoutBraces); }};
    try {
        Methods::apply(trial, QStringLiteral("addItem"), {item}, context);
    } catch (const RpcError& error) {
        QString reason = error.message();
        if (reason.startsWith(u"addItem: "))
            reason = reason.mid(9);
        throw BadArguments(QStringLiteral("Not added: %1").arg(reason));
    }
    WireItem& added = trial.document.items.last();
    added.origin = Origin::ai;
    const QByteArray encoded = WireJson::encode(added);
    trial.openCap = next.openCap;
    next = std::move(trial);
    return textResult(QStringLiteral("Added to the list now: %1").arg(QString::fromUtf8(encoded)));
}

JsonValue proposalStatus(const UserState& state) {
    if (!state.proposal)
        return textResult(QStringLiteral("No proposal is waiting for review: the last one was "
                                         "answered, or none was filed. put_proposal files a new "
                                         "one."));
    const JsonValue& proposal = *state.proposal;
    const JsonValue::Array& deltas = member(proposal, u"deltas").toArray();
    QStringList lines;
    for (std::size_t i = 0; i < deltas.size(); ++i)
        lines.append(deltaLabel(deltas[i], qsizetype(i)));
    const JsonValue& agent = member(proposal, u"agent");
    return textResult(
        QStringLiteral("A proposal from %1, filed at %2, is waiting for the user's review with "
                       "%3 suggestions. A new put_proposal replaces it, so include what should "
                       "stay.\n- %4")
            .arg(agent.isString() ? agent.toString() : QStringLiteral("an agent"),
                 member(proposal, u"created_at").toString())
            .arg(deltas.size())
            .arg(lines.join(QStringLiteral("\n- "))),
        false, proposal);
}

JsonValue usage(qint64 used, qint64 cap, const QString& day) {
    return textResult(QStringLiteral("%1 of %2 agent calls used today (%3, the user's day); %4 "
                                     "left. The count starts again at midnight.")
                          .arg(used)
                          .arg(cap)
                          .arg(day)
                          .arg(std::max<qint64>(0, cap - used)),
                      false,
                      JsonValue::object({{QStringLiteral("mcp_used_today"), used},
                                         {QStringLiteral("mcp_cap"), cap},
                                         {QStringLiteral("day"), day}}));
}

} // namespace

namespace McpTools {

void migrate(Service& service) {
    service.migrate([](Storage& storage) { storage.exec(schema); });
}

qint64 dailyCap() {
    return cap.load();
}

void setDailyCap(qint64 value) {
    cap = value;
}

qint64 usedToday(Storage& storage, qint64 userId) {
    return usedOn(storage, userId, userToday(storage, userId).toString(Qt::ISODate));
}

QString instructions() {
    return QStringLiteral(
        "Velmora is the user's task list, in three sections: action (the user moves next), "
        "waiting (someone owes the user) and note (worth knowing). You never edit the list "
        "yourself: read it with get_document (include_dismissed: true shows what the user "
        "turned down), then file suggestions with put_proposal, which the user accepts or "
        "rejects one by one. The server applies the user's rules and past rejections to what "
        "you file and tells you what it kept. Use add_item only when the user asks you "
        "directly (initiated \"human\") or for a true emergency (initiated \"auto\", priority "
        "\"high\"). Priority is medium unless someone is blocked or a deadline is close. "
        "Context goes in the note, destinations in links. Every tool call counts toward a "
        "daily budget (get_usage). The resource guide://velmora explains all of this in full.");
}

QString guide() {
    return QStringLiteral(R"md(# Working on a Velmora list

Velmora keeps one person's action items. You work on the list under that person's control:
you read it, and you suggest; the person decides.

## Sections
- **action**: the user moves next (a reply to write, a call to make).
- **waiting**: someone owes the user something; put who in `source`.
- **note**: just worth knowing; nothing to do.

## Channels
Where a task came from: `self`, `teams`, `email`, `meeting`, `other`.

## Priorities
`low`, `medium`, `high`. Medium unless someone is blocked on the user or a real deadline is
close. If everything is high, nothing is.

## Fields and links
`title` says what to do, in a few words. Context goes in `note`, never a raw URL. Destinations
go in `links`: at most 3, each with a `label` and an http(s) `url`. `due` is a day
(`yyyy-MM-dd`) and only for a real deadline. `source` says who it involves; `source_id` is a
stable id of the message or event it came from.

## Reading
`get_document` gives the open tasks, the rules, the focus list and today's date in the user's
day. With `include_dismissed: true` it adds `rejections` (suggestions the user turned down)
and `suppressions` (fingerprints of suggestions that are kept out for good). The focus list is
what the user cares about most: weigh it in what you flag, but do not change a section or a
priority just because a task matches it.

## Proposals
`put_proposal` files one batch of suggestions (deltas), with `agent` set to your name. Kinds:
`add` (a new task), `complete`, `remove`, `update` (a patch of fields), and for rules
`add_rule`, `update_rule`, `remove_rule`, `pause_rule`. Each may carry a one-line `reason`.
Nothing happens until the user reviews it, one row at a time. The whole batch is checked first:
if any delta is invalid, nothing is filed and the answer lists each one and why. At most 100
deltas a proposal. One proposal waits at a time, and filing replaces it: check
`get_proposal_status` first and carry over what should stay. Nothing to suggest? File an empty
proposal rather than inventing work.

## Rules and rejections
Rules are the user's standing filters, enforced by the server on every `add` you file:
`exclude` drops a suggestion, `always_keep` shields it from exclusion, `recategorize` moves it
to another section, `boost` raises its priority. The answer to `put_proposal` says which rule
filtered or changed which delta. A rejection is an answer: a suggestion the user rejected (or a
task the user deleted) is filtered if you file it again. When three or more rejections share a
pattern that no rule covers, propose the rule with `add_rule`; it is reviewed like any other
suggestion, never applied directly.

## When add_item is right
`add_item` adds a task at once, without review. Use it only when the user asks you right there
(`initiated: "human"`), or for something so urgent it cannot wait for the nightly review,
such as someone blocked right now (`initiated: "auto"` with `priority: "high"`, which
notifies the user's phone). Give a `source_id`: the same one again answers the task already
there instead of adding it twice.

## Budget
Every tool call counts toward the user's daily budget of agent calls; `get_usage` says how
many are left. Past the budget, calls are refused until the user's next day.
)md");
}

JsonValue list() {
    static const JsonValue tools = JsonValue::parse(toolsJson).value_or(JsonValue::Array{});
    return tools;
}

std::optional<JsonValue> call(Service& service, qint64 userId, const QString& name,
                              const JsonValue& arguments) {
    const qint64 dailyCap = cap.load();
    static const QStringList names{
        QStringLiteral("get_document"), QStringLiteral("put_proposal"),
        QStringLiteral("add_item"),     QStringLiteral("get_proposal_status"),
        QStringLiteral("get_briefing"), QStringLiteral("get_usage")};
    if (!names.contains(name))
        return std::nullopt;
    const QString now = Service::now();
    const Reply reply = service.transact(userId, [&](UserState& next, Storage& storage) {
        const QDate today = userToday(storage, userId);
        const QString day = today.toString(Qt::ISODate);
        const qint64 used = usedOn(storage, userId, day);
        if (used >= dailyCap)
            return Reply{200, refusal(QStringLiteral("Refused: all %1 agent calls of today (%2, "
                                                     "the user's day) are used. Nothing was done; "
                                                     "try again tomorrow.")
                                          .arg(dailyCap)
                                          .arg(day))
                                  .toJson()};
        countCall(storage, userId, day);
        JsonValue result;
        try {
            if (name == u"get_document")
                result = getDocument(next, arguments, today);
            else if (name == u"put_proposal")
                result = putProposal(next, arguments, now, today);
            else if (name == u"add_item")
                result = addItem(next, storage, userId, arguments, now);
            else if (name == u"get_proposal_status")
                result = proposalStatus(next);
            else if (name == u"get_briefing")
                result = briefing(storage, userId);
            else
                result = usage(used + 1, dailyCap, day);
        } catch (const BadArguments& bad) {
            result = refusal(bad.sentence);
        } catch (const RpcError& refused) {
            // Thrown before anything changed: the tools change `next` last.
            result = refusal(QStringLiteral("Not done: %1").arg(refused.message()));
        }
        return Reply{200, result.toJson()};
    });
    if (reply.status != 200)
        return refusal(
            QStringLiteral("The server failed to carry out %1; nothing was changed.").arg(name));
    return JsonValue::parse(reply.body).value_or(refusal(QStringLiteral("Internal error.")));
}

} // namespace McpTools
