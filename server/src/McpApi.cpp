#include "McpApi.h"

#include "McpTools.h"
#include "Routes.h"

#include <QStringList>

using namespace Routes;

namespace {

// The 2025 revisions begin with `initialize`; 2026-07-28 has no handshake and carries its
// version in every request's `_meta` instead.
const QStringList legacyVersions{QStringLiteral("2025-11-25"), QStringLiteral("2025-06-18"),
                                 QStringLiteral("2025-03-26"), QStringLiteral("2024-11-05")};
const QString modernVersion = QStringLiteral("2026-07-28");
constexpr auto versionKey = u"io.modelcontextprotocol/protocolVersion";
constexpr auto capabilitiesKey = u"io.modelcontextprotocol/clientCapabilities";

enum Code {
    parseError = -32700,
    invalidRequest = -32600,
    methodNotFound = -32601,
    invalidParams = -32602,
    serverError = -32000,
    resourceNotFound = -32002,
    headerMismatch = -32020,
    unsupportedVersion = -32022,
};

JsonValue allVersions() {
    JsonValue::Array versions{modernVersion};
    for (const QString& version : legacyVersions)
        versions.push_back(version);
    return versions;
}

QByteArray errorBody(const JsonValue& id, int code, const QString& message,
                     const JsonValue& data = {}) {
    JsonValue error =
        JsonValue::object({{QStringLiteral("code"), code}, {QStringLiteral("message"), message}});
    if (!data.isNull())
        error.set(QStringLiteral("data"), data);
    return JsonValue::object({{QStringLiteral("jsonrpc"), "2.0"},
                              {QStringLiteral("id"), id},
                              {QStringLiteral("error"), std::move(error)}})
        .toJson();
}

void refuse(httplib::Response& res, int status, int code, const QString& message,
            const JsonValue& id = {}, const JsonValue& data = {}) {
    send(res, status, errorBody(id, code, message, data));
}

// A browser page on another site must not reach the list through a user's loopback or
// LAN server (DNS rebinding): an Origin, when sent, must name this very host.
bool sameOrigin(const httplib::Request& req) {
    if (!req.has_header("Origin"))
        return true;
    const QString origin = QString::fromStdString(req.get_header_value("Origin")).toLower();
    const QString host = QString::fromStdString(req.get_header_value("Host")).toLower();
    const qsizetype scheme = origin.indexOf(u"://");
    return !host.isEmpty() && scheme > 0 && origin.mid(scheme + 3) == host;
}

QString header(const httplib::Request& req, const char* name) {
    return QString::fromStdString(req.get_header_value(name));
}

// `Mcp-Name` carries text that HTTP headers cannot hold as `=?base64?...?=`.
QString decodedName(const QString& value) {
    if (value.startsWith(u"=?base64?") && value.endsWith(u"?="))
        return QString::fromUtf8(
            QByteArray::fromBase64(value.mid(9, value.size() - 11).toLatin1()));
    return value;
}

// One JSON-RPC request, read and checked.
struct Call {
    JsonValue id;
    QString method;
    JsonValue params;
    bool modern = false;
};

// The outcome of one request: a result, or a JSON-RPC error and the HTTP status it goes with.
struct Answer {
    JsonValue result;
    int code = 0;
    QString message;
    JsonValue data;
    int status = 200;
};

Answer failure(int code, const QString& message, int status = 200) {
    Answer answer;
    answer.code = code;
    answer.message = message;
    answer.status = status;
    return answer;
}

Answer success(JsonValue result) {
    Answer answer;
    answer.result = std::move(result);
    return answer;
}

const JsonValue& member(const JsonValue& object, QAnyStringView key) {
    static const JsonValue none;
    const JsonValue* value = object.find(key);
    return value ? *value : none;
}

JsonValue serverInfo() {
    return JsonValue::object({{QStringLiteral("name"), "velmora-server"},
                              {QStringLiteral("title"), "Velmora"},
                              {QStringLiteral("version"), "1.0.0"}});
}

JsonValue capabilities() {
    const JsonValue fixed = JsonValue::object({{QStringLiteral("listChanged"), false}});
    return JsonValue::object(
        {{QStringLiteral("tools"), fixed}, {QStringLiteral("resources"), fixed}});
}

Answer readResource(const JsonValue& params, bool modern) {
    const JsonValue& uri = member(params, u"uri");
    if (!uri.isString())
        return failure(invalidParams, QStringLiteral("resources/read needs a \"uri\" string."));
    if (uri.toString() != McpTools::guideUri)
        // 2026-07-28 reports an unknown resource as bad params; the 2025 revisions had a code.
        return failure(modern ? invalidParams : resourceNotFound,
                       QStringLiteral("There is no resource %1; the one resource is %2.")
                           .arg(uri.toString(), McpTools::guideUri));
    JsonValue content = JsonValue::object({{QStringLiteral("uri"), McpTools::guideUri},
                                           {QStringLiteral("mimeType"), "text/markdown"},
                                           {QStringLiteral("text"), McpTools::guide()}});
    return success(JsonValue::object({{QStringLiteral("contents"), JsonValue::array({content})}}));
}

Answer dispatch(Service& service, qint64 user, const Call& call) {
    const QString& method = call.method;
    if (method == u"initialize" && !call.modern) {
        const JsonValue& asked = member(call.params, u"protocolVersion");
        const QString version = asked.isString() && legacyVersions.contains(asked.toString())
                                    ? asked.toString()
                                    : legacyVersions.first();
        return success(
            JsonValue::object({{QStringLiteral("protocolVersion"), version},
                               {QStringLiteral("capabilities"), capabilities()},
                               {QStringLiteral("serverInfo"), serverInfo()},
                               {QStringLiteral("instructions"), McpTools::instructions()}}));
    }
    if (method == u"server/discover" && call.modern) {
        return success(JsonValue::object(
            {{QStringLiteral("supportedVersions"), allVersions()},
             {QStringLiteral("capabilities"), capabilities()},
             {QStringLiteral("instructions"), McpTools::instructions()},
             {QStringLiteral("_meta"),
              JsonValue::object(
                  {{QStringLiteral("io.modelcontextprotocol/serverInfo"), serverInfo()}})}}));
    }
    if (method == u"ping" && !call.modern)
        return success(JsonValue::Object{});
    if (method == u"tools/list")
        return success(JsonValue::object({{QStringLiteral("tools"), McpTools::list()}}));
    if (method == u"resources/list") {
        JsonValue guide = JsonValue::object(
            {{QStringLiteral("uri"), McpTools::guideUri},
             {QStringLiteral("name"), "velmora-guide"},
             {QStringLiteral("title"), "How to work on a Velmora list"},
             {QStringLiteral("description"),
              "Sections, channels, priorities, links, rules and rejections, and when to use "
              "add_item instead of put_proposal."},
             {QStringLiteral("mimeType"), "text/markdown"}});
        return success(
            JsonValue::object({{QStringLiteral("resources"), JsonValue::array({guide})}}));
    }
    if (method == u"resources/templates/list")
        return success(
            JsonValue::object({{QStringLiteral("resourceTemplates"), JsonValue::Array{}}}));
    if (method == u"resources/read")
        return readResource(call.params, call.modern);
    if (method == u"tools/call") {
        const JsonValue& name = member(call.params, u"name");
        const JsonValue& arguments = member(call.params, u"arguments");
        if (!name.isString())
            return failure(invalidParams, QStringLiteral("tools/call needs a \"name\" string."));
        if (!arguments.isNull() && !arguments.isObject())
            return failure(invalidParams,
                           QStringLiteral("tools/call \"arguments\" must be an object."));
        auto result =
            McpTools::call(service, user, name.toString(),
                           arguments.isNull() ? JsonValue(JsonValue::Object{}) : arguments);
        if (!result)
            return failure(invalidParams, QStringLiteral("There is no tool \"%1\"; tools/list "
                                                         "names the six there are.")
                                              .arg(name.toString()));
        return success(std::move(*result));
    }
    // 2026-07-28 answers an unknown method with 404; the 2025 revisions in the reply alone.
    return failure(methodNotFound,
                   QStringLiteral("This server has no method \"%1\" in protocol revision %2.")
                       .arg(method, call.modern ? modernVersion : QStringLiteral("2025-11-25")),
                   call.modern ? 404 : 200);
}

// What 2026-07-28 adds to every result: its type, and how long a list may be cached.
void stampModern(const QString& method, JsonValue& result) {
    result.set(QStringLiteral("resultType"), "complete");
    if (method.endsWith(u"/list") || method == u"resources/read" || method == u"server/discover") {
        result.set(QStringLiteral("ttlMs"), 0);
        result.set(QStringLiteral("cacheScope"), "private");
    }
}

void post(Service& service, FaultPlan& faults, const httplib::Request& req,
          httplib::Response& res) {
    const auto fault = takeFault(faults, req);
    if (applyFault(fault, res))
        return;
    if (!sameOrigin(req))
        return refuse(res, 403, invalidRequest,
                      QStringLiteral("Requests from a web page of another origin are refused."));
    const bool inPath = req.matches.size() > 1 && req.matches[1].length() > 0;
    const QByteArray token = inPath ? QByteArray::fromStdString(req.matches[1].str()) : bearer(req);
    const auto user = service.authenticate(token);
    if (!user) {
        res.set_header("WWW-Authenticate",
                       token.isEmpty() ? "Bearer realm=\"velmora\""
                                       : "Bearer realm=\"velmora\", error=\"invalid_token\"");
        return refuse(res, 401, serverError,
                      token.isEmpty() ? QStringLiteral("A connection token is required: use the "
                                                       "Connection URL, or send the token as a "
                                                       "bearer token.")
                                      : QStringLiteral("This connection token is not valid; it "
                                                       "may have been revoked."));
    }

    QString error;
    const auto message = JsonValue::parse(bodyOf(req), &error);
    if (!message)
        return refuse(res, 400, parseError, QStringLiteral("The body is not JSON: %1.").arg(error));
    if (message->isArray())
        return refuse(res, 400, invalidRequest,
                      QStringLiteral("Batches are not supported: send one message per request."));
    if (!message->isObject() || member(*message, u"jsonrpc").toString() != u"2.0")
        return refuse(res, 400, invalidRequest,
                      QStringLiteral("The body must be one JSON-RPC 2.0 message."));
    const JsonValue& id = member(*message, u"id");
    const JsonValue* method = message->find(u"method");
    const bool hasId = message->contains(u"id");
    if (hasId && !id.isString() && !id.isInteger())
        return refuse(res, 400, invalidRequest,
                      QStringLiteral("A request id must be a string or an integer."));
    if (!method) {
        // A reply to a request of ours; this server sends none, so there is nothing to match.
        if (hasId && (message->contains(u"result") || message->contains(u"error"))) {
            res.status = 202;
            return;
        }
        return refuse(res, 400, invalidRequest, QStringLiteral("The message has no \"method\"."),
                      id);
    }
    if (!method->isString())
        return refuse(res, 400, invalidRequest, QStringLiteral("\"method\" must be a string."), id);
    const JsonValue& params = member(*message, u"params");
    if (!params.isNull() && !params.isObject())
        return refuse(res, 400, invalidRequest, QStringLiteral("\"params\" must be an object."),
                      id);

    // The era comes from the body; the headers must agree with it.
    Call call{id, method->toString(), params, false};
    const JsonValue& meta = member(params, u"_meta");
    const JsonValue& claimed = member(meta, versionKey);
    const QString headerVersion = header(req, "MCP-Protocol-Version");
    const bool versionSent = req.has_header("MCP-Protocol-Version");
    const auto unsupported = [&](const QString& asked) {
        refuse(res, 400, unsupportedVersion,
               QStringLiteral("Protocol revision \"%1\" is not supported.").arg(asked), id,
               JsonValue::object({{QStringLiteral("supported"), allVersions()},
                                  {QStringLiteral("requested"), asked}}));
    };
    if (claimed.isString()) {
        if (claimed.toString() != modernVersion)
            return unsupported(claimed.toString());
        call.modern = true;
        if (hasId) {
            if (headerVersion != modernVersion)
                return refuse(res, 400, headerMismatch,
                              QStringLiteral("MCP-Protocol-Version must repeat the body's "
                                             "protocol version."),
                              id);
            if (header(req, "Mcp-Method") != call.method)
                return refuse(res, 400, headerMismatch,
                              QStringLiteral("Mcp-Method must repeat the body's method."), id);
            const char* nameKey = call.method == u"resources/read" ? "uri" : "name";
            const bool named = call.method == u"tools/call" || call.method == u"resources/read" ||
                               call.method == u"prompts/get";
            if (named && (!req.has_header("Mcp-Name") ||
                          decodedName(header(req, "Mcp-Name")) !=
                              member(params, QLatin1String(nameKey)).toString()))
                return refuse(res, 400, headerMismatch,
                              QStringLiteral("Mcp-Name must repeat the body's %1.")
                                  .arg(QLatin1String(nameKey)),
                              id);
            if (!member(meta, capabilitiesKey).isObject())
                return refuse(res, 400, invalidParams,
                              QStringLiteral("_meta needs "
                                             "\"io.modelcontextprotocol/clientCapabilities\"."),
                              id);
        }
    } else if (versionSent) {
        if (headerVersion == modernVersion && hasId)
            return refuse(res, 400, invalidParams,
                          QStringLiteral("Protocol revision %1 carries its version in "
                                         "params._meta.")
                              .arg(modernVersion),
                          id);
        if (headerVersion != modernVersion && !legacyVersions.contains(headerVersion))
            return unsupported(headerVersion);
    }
    if (!hasId) {
        // Notifications (initialized, cancelled...) need nothing from a stateless server.
        res.status = 202;
        return;
    }

    Answer answer = dispatch(service, *user, call);
    if (answer.code != 0)
        return refuse(res, answer.status, answer.code, answer.message, id, answer.data);
    if (call.modern)
        stampModern(call.method, answer.result);
    send(res, 200,
         JsonValue::object({{QStringLiteral("jsonrpc"), "2.0"},
                            {QStringLiteral("id"), id},
                            {QStringLiteral("result"), std::move(answer.result)}})
             .toJson());
    dropIfAsked(fault, req, res);
}

void notAllowed(const httplib::Request&, httplib::Response& res) {
    // Stateless: no stream to open (GET) and no session to end (DELETE).
    res.set_header("Allow", "POST");
    refuse(res, 405, invalidRequest,
           QStringLiteral("This endpoint takes POST only: it keeps no sessions and opens no "
                          "streams."));
}

} // namespace

namespace McpApi {

void install(httplib::Server& server, Service& service, FaultPlan& faults) {
    McpTools::migrate(service);
    // A base address with a trailing slash gives "//mcp" when joined: take any number of them.
    for (const char* path : {R"(/+mcp/?)", R"(/+mcp/([^/]+)/?)"}) {
        server.Post(path, [&service, &faults](const httplib::Request& req, httplib::Response& res) {
            post(service, faults, req, res);
        });
        server.Get(path, notAllowed);
        server.Delete(path, notAllowed);
    }
}

void installAdmin(httplib::Server& server) {
    server.Put("/admin/mcp/cap", [](const httplib::Request& req, httplib::Response& res) {
        const auto json = jsonBody(req, res);
        if (!json)
            return;
        const JsonValue* cap = json->find(u"cap");
        if (!cap || !cap->isInteger() || cap->toInteger() < 0)
            return sendMessage(res, 400, QStringLiteral("cap must be a count"));
        McpTools::setDailyCap(cap->toInteger());
        send(res, 200, JsonValue::object({{QStringLiteral("cap"), *cap}}).toJson());
    });
}

} // namespace McpApi
