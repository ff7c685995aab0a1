#include "Connections.h"

#include "WireJson.h"

namespace {

JsonValue parsed(const QByteArray& body) {
    QString error;
    auto json = JsonValue::parse(body, &error);
    if (!json)
        throw DecodingError(QStringLiteral("not JSON: %1").arg(error));
    if (!json->isObject())
        throw DecodingError(QStringLiteral("the reply is not an object"));
    return std::move(*json);
}

QString requiredString(const JsonValue& object, const char* key) {
    const JsonValue* value = object.find(QLatin1String(key));
    if (!value || !value->isString())
        throw DecodingError(QStringLiteral("%1: a string is required").arg(QLatin1String(key)));
    return value->toString();
}

std::optional<QString> optionalString(const JsonValue& object, const char* key) {
    const JsonValue* value = object.find(QLatin1String(key));
    if (!value || value->isNull())
        return std::nullopt;
    if (!value->isString())
        throw DecodingError(
            QStringLiteral("%1: a string or null is required").arg(QLatin1String(key)));
    return value->toString();
}

qint64 requiredInteger(const JsonValue& object, const char* key) {
    const JsonValue* value = object.find(QLatin1String(key));
    if (!value || !value->isInteger())
        throw DecodingError(QStringLiteral("%1: an integer is required").arg(QLatin1String(key)));
    return value->toInteger();
}

const JsonValue::Array& requiredArray(const JsonValue& object, const char* key) {
    const JsonValue* value = object.find(QLatin1String(key));
    if (!value || !value->isArray())
        throw DecodingError(QStringLiteral("%1: an array is required").arg(QLatin1String(key)));
    return value->toArray();
}

} // namespace

namespace ConnectionsFormat {

const QList<RemotePrompt>& bundledPrompts() {
    static const QList<RemotePrompt> prompts{
        RemotePrompt{
            QStringLiteral("nightly"), QStringLiteral("The nightly review"),
            QStringLiteral("Give this to your AI agent with a schedule — every night, say 3am."),
            QStringLiteral(
                "Review Velmora MCP — its instructions and the guide resource (guide://velmora) — "
                "then do the following:\n"
                "\n"
                "1. Call get_document (include_dismissed: true) and read it all — my items, my "
                "rejections, my rules, my focus. Rules are enforced by the server, so don't "
                "propose anything an active rule excludes. My focus list is what I care about "
                "most: weigh those things more heavily in what you flag, but don't change an "
                "item's section or call it urgent just for matching one, and never edit the list "
                "yourself.\n"
                "\n"
                "2. Look through my email, Teams and calendar [REPLACE WITH YOUR OWN CHANNELS THAT "
                "ARE CONNECTED TO YOUR AI AGENT] since your last pass for anything that belongs on "
                "the list: things I owe someone, things I'm waiting on, things worth noting.\n"
                "\n"
                "3. Never re-suggest what's already there, what I deleted, or anything in my "
                "rejections — a dismissal is an answer.\n"
                "\n"
                "4. Also find items I clearly finished, and due dates that slipped.\n"
                "\n"
                "5. Priority is medium unless someone is blocked on me or a real deadline is "
                "close. If everything is high, nothing is.\n"
                "\n"
                "6. Context goes in the note; destinations go in links (up to 3, each labeled). "
                "Never paste a raw URL into a note.\n"
                "\n"
                "7. Write it all up with put_proposal, setting agent to your name so I know who's "
                "suggesting, and I'll review each suggestion — with one exception: something so "
                "urgent it cannot wait for my review (someone blocked right now) may go straight "
                "in via add_item with initiated \"auto\" and priority \"high\". That pings my "
                "phone immediately, so spend it only on true emergencies.\n"
                "\n"
                "8. If three or more rejections share a pattern no rule covers, propose the rule.\n"
                "\n"
                "Nothing worth suggesting? Send an empty proposal rather than inventing work.")},
        RemotePrompt{
            QStringLiteral("conversational"), QStringLiteral("Pull tasks from a conversation"),
            QStringLiteral("Paste under any thread, transcript or email pile."),
            QStringLiteral(
                "Review Velmora MCP, then: pull the action items out of this and add them with "
                "add_item, initiated \"human\" — I'm asking you right here.\n"
                "\n"
                "For each one: who it involves, when it's due (only if there's a real deadline), "
                "and context in the note. Links go in the links field with a proper label, never "
                "pasted into the note. High priority only if someone is blocked or a deadline is "
                "close.\n"
                "\n"
                "Read my list first with get_document so you don't add anything I already have.")},
        RemotePrompt{
            QStringLiteral("watchdog"), QStringLiteral("The urgent watchdog"),
            QStringLiteral("Run hourly. Silent unless something truly cannot wait."),
            QStringLiteral(
                "Review Velmora MCP — its instructions and the guide resource — then:\n"
                "\n"
                "Check my channels for anything URGENT — and only urgent.\n"
                "\n"
                "Look at Teams, Slack and email [REPLACE WITH YOUR OWN CHANNELS THAT ARE CONNECTED "
                "TO YOUR AI AGENT] from the last hour. You are hunting for exactly one thing: "
                "something that cannot wait for my nightly review — someone blocked on me right "
                "now, or a hard deadline arriving today that I haven't seen.\n"
                "\n"
                "If — and only if — you find one: add it straight to Velmora with add_item, "
                "initiated \"auto\" and priority \"high\", with a source_id from the message or "
                "event so you never ping me twice about the same thing. That combination notifies "
                "my phone immediately. It is an interruption, so the bar is high: routine tasks, "
                "FYIs, and anything that can wait belongs to the nightly review, not to you.\n"
                "\n"
                "Found nothing urgent? Do nothing at all. Silence is your normal, and I trust "
                "it.")},
        RemotePrompt{QStringLiteral("briefing"), QStringLiteral("The morning briefing"),
                     QStringLiteral("A read-only start to the day. Schedule it for breakfast."),
                     QStringLiteral(
                         "Review Velmora MCP, then give me my morning briefing.\n"
                         "\n"
                         "Call get_document, then tell me — briefly, like a good chief of staff:\n"
                         "• What's due today, and what's overdue.\n"
                         "• What I'm waiting on that has gone quiet longest.\n"
                         "• The ONE thing you'd do first, and why.\n"
                         "\n"
                         "Don't change anything. This is a read, not a write.")},
    };
    return prompts;
}

QList<RemotePrompt> readPrompts(const QByteArray& body) {
    const JsonValue json = parsed(body);
    QList<RemotePrompt> prompts;
    for (const JsonValue& item : requiredArray(json, "prompts")) {
        if (!item.isObject())
            throw DecodingError(QStringLiteral("prompts: an object is required"));
        prompts.push_back({requiredString(item, "id"), requiredString(item, "title"),
                           requiredString(item, "subtitle"), requiredString(item, "text")});
    }
    return prompts;
}

JsonValue promptsJson(const QList<RemotePrompt>& prompts) {
    JsonValue::Array items;
    for (const RemotePrompt& prompt : prompts)
        items.push_back(JsonValue::object({{QStringLiteral("id"), prompt.id},
                                           {QStringLiteral("title"), prompt.title},
                                           {QStringLiteral("subtitle"), prompt.subtitle},
                                           {QStringLiteral("text"), prompt.text}}));
    return JsonValue::object({{QStringLiteral("prompts"), std::move(items)}});
}

TokenList readTokenList(const QByteArray& body) {
    const JsonValue json = parsed(body);
    TokenList list;
    for (const JsonValue& item : requiredArray(json, "tokens")) {
        if (!item.isObject())
            throw DecodingError(QStringLiteral("tokens: an object is required"));
        const JsonValue* current = item.find(u"current");
        if (!current || !current->isBool())
            throw DecodingError(QStringLiteral("current: a boolean is required"));
        list.tokens.push_back({requiredString(item, "hash"), optionalString(item, "name"),
                               requiredString(item, "created_at"),
                               optionalString(item, "last_used_at"), current->toBool(),
                               requiredString(item, "kind")});
    }
    list.max = requiredInteger(json, "max");
    if (const JsonValue* caps = json.find(u"caps"); caps && !caps->isNull()) {
        if (!caps->isObject())
            throw DecodingError(QStringLiteral("caps: an object is required"));
        list.caps = TokenCaps{requiredInteger(*caps, "device"), requiredInteger(*caps, "mcp")};
    }
    return list;
}

JsonValue tokenJson(const TokenInfo& token) {
    return JsonValue::object({{QStringLiteral("hash"), token.hash},
                              {QStringLiteral("name"), JsonValue(token.name)},
                              {QStringLiteral("created_at"), token.createdAt},
                              {QStringLiteral("last_used_at"), JsonValue(token.lastUsedAt)},
                              {QStringLiteral("current"), token.current},
                              {QStringLiteral("kind"), token.kind}});
}

CreatedToken readCreatedToken(const QByteArray& body) {
    const JsonValue json = parsed(body);
    return {requiredString(json, "token"), requiredString(json, "hash"),
            requiredString(json, "name")};
}

QString readSignInToken(const QByteArray& body) {
    return requiredString(parsed(body), "token");
}

Connections split(const TokenList& list) {
    Connections result;
    for (const TokenInfo& token : list.tokens)
        (token.isDevice() ? result.devices : result.tokens).push_back(token);
    result.deviceMax = list.caps ? list.caps->device : list.max;
    result.mcpMax = list.caps ? list.caps->mcp : list.max;
    return result;
}

} // namespace ConnectionsFormat
