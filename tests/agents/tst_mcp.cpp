// The agents' MCP endpoint on a real velmora-server: the HTTP and JSON-RPC contract as one
// table, and a proposal from an agent's put_proposal through the Store's review and back.

#include "ProposalReview.h"
#include "StoreRig.h"

#include <QDir>
#include <QProcess>
#include <QStandardPaths>
#include <QtTest>

#include <httplib.h>

#include <memory>

using TestAwait::await;

namespace {

struct Exchange {
    int status = 0;
    QByteArray body;
    QByteArray authenticate; // WWW-Authenticate
    JsonValue json() const { return JsonValue::parse(body).value_or(JsonValue()); }
};

const char* const modernMeta = "\"_meta\":{\"io.modelcontextprotocol/protocolVersion\":"
                               "\"2026-07-28\",\"io.modelcontextprotocol/clientCapabilities\":{}}";

} // namespace

class TestMcp : public QObject {
    Q_OBJECT
    std::unique_ptr<ServerProcess> server;
    std::unique_ptr<AccountRig> account;
    Store* store = nullptr;
    QString user, token;

    Exchange exchange(const QByteArray& method, const QString& path, const QByteArray& body,
                      const QStringList& headers = {}) {
        httplib::Client client("127.0.0.1", server->port());
        client.set_connection_timeout(5);
        client.set_read_timeout(30);
        httplib::Request request;
        request.method = method.toStdString();
        request.path = QString(path).replace(QStringLiteral("TOKEN"), token).toStdString();
        request.body = body.toStdString();
        request.set_header("Content-Type", "application/json");
        request.set_header("Accept", "application/json, text/event-stream");
        for (const QString& line : headers) {
            const QString header = QString(line).replace(QStringLiteral("TOKEN"), token);
            const qsizetype colon = header.indexOf(u':');
            request.set_header(header.left(colon).toStdString(),
                               header.mid(colon + 1).trimmed().toStdString());
        }
        const auto result = client.send(request);
        if (!result)
            return {};
        return {result->status, QByteArray::fromStdString(result->body),
                QByteArray::fromStdString(result->get_header_value("WWW-Authenticate"))};
    }

    // One tool call in the path form; gives the CallToolResult. With VELMORA_MCP_CLIENTS
    // naming the installed npm clients, the MCP SDK makes the call, as an agent would.
    JsonValue tool(const QString& name, const JsonValue& arguments) {
        const QString clients = qEnvironmentVariable("VELMORA_MCP_CLIENTS");
        if (!clients.isEmpty())
            return sdkTool(clients, name, arguments);
        const QByteArray body =
            R"({"jsonrpc":"2.0","id":7,"method":"tools/call","params":{"name":)" +
            JsonValue(name).toJson() + R"(,"arguments":)" + arguments.toJson() + "}}";
        const Exchange reply = exchange("POST", QStringLiteral("/mcp/TOKEN"), body);
        if (reply.status != 200)
            qWarning() << reply.status << reply.body;
        const JsonValue json = reply.json();
        const JsonValue* result = json.find(u"result");
        return result ? *result : JsonValue();
    }

    JsonValue sdkTool(const QString& clients, const QString& name, const JsonValue& arguments) {
        QProcess node;
        node.setWorkingDirectory(clients);
        node.start(QStringLiteral("node"), {QDir(clients).filePath(QStringLiteral("call-tool.mjs")),
                                            server->baseURL().toString(QUrl::StripTrailingSlash),
                                            token, name, QString::fromUtf8(arguments.toJson())});
        if (!node.waitForFinished(60000) || node.exitCode() != 0) {
            node.kill();
            qWarning() << "the SDK's call failed:" << node.readAllStandardError();
            return {};
        }
        return JsonValue::parse(node.readAllStandardOutput()).value_or(JsonValue());
    }

    static QString text(const JsonValue& result) {
        return result.find(u"content")->toArray()[0].find(u"text")->toString();
    }

    static JsonValue parse(const char* json) {
        return JsonValue::parse(json).value_or(JsonValue());
    }

private Q_SLOTS:
    void initTestCase() {
        QStandardPaths::setTestModeEnabled(true);
        server = std::make_unique<ServerProcess>();
        account = std::make_unique<AccountRig>(*server, true, 5000);
        store = &account->store;
        user = account->user;
        token = account->token();
    }
    void cleanupTestCase() {
        account.reset();
        server.reset();
    }

    void contract_data() {
        QTest::addColumn<QByteArray>("method");
        QTest::addColumn<QString>("path");
        QTest::addColumn<QStringList>("headers");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<int>("status");
        QTest::addColumn<int>("code");         // JSON-RPC error code; 0 for none
        QTest::addColumn<QString>("contains"); // in the reply body
        const QStringList bearer{QStringLiteral("Authorization: Bearer TOKEN")};
        const auto rpc = [](const char* method, const QByteArray& params = "{}") {
            return QByteArray("{\"jsonrpc\":\"2.0\",\"id\":1,\"method\":\"") + method +
                   "\",\"params\":" + params + '}';
        };
        const QByteArray init = rpc("initialize", R"({"protocolVersion":"2025-11-25",
            "capabilities":{},"clientInfo":{"name":"t","version":"1"}})");
        const auto modern = [](const char* method, const char* rest = "") {
            return QByteArray("{\"jsonrpc\":\"2.0\",\"id\":\"m\",\"method\":\"") + method +
                   "\",\"params\":{" + rest + modernMeta + "}}";
        };
        const QStringList modernHeaders{QStringLiteral("MCP-Protocol-Version: 2026-07-28"),
                                        QStringLiteral("Mcp-Method: server/discover")};
        QStringList toolHeaders{QStringLiteral("MCP-Protocol-Version: 2026-07-28"),
                                QStringLiteral("Mcp-Method: tools/call"),
                                QStringLiteral("Mcp-Name: get_usage")};
        const QString path = QStringLiteral("/mcp/TOKEN");
        const auto row = [&](const char* name, const char* method, const QString& at,
                             const QStringList& headers, const QByteArray& body, int status,
                             int code, const char* contains) {
            QTest::newRow(name) << QByteArray(method) << at << headers << body << status << code
                                << QString::fromUtf8(contains);
        };
        // Authentication, in all three forms a user can paste.
        row("path token", "POST", path, {}, init, 200, 0, R"("protocolVersion":"2025-11-25")");
        row("path token, double slash, trailing slash", "POST", "//mcp/TOKEN/", {}, init, 200, 0,
            "instructions");
        row("bearer token", "POST", "/mcp", bearer, init, 200, 0, "velmora-server");
        row("no token", "POST", "/mcp", {}, init, 401, -32000, "token is required");
        row("wrong path token", "POST", "/mcp/vl-nope", {}, init, 401, -32000, "not valid");
        row("wrong bearer", "POST", "/mcp", {"Authorization: Bearer vl-nope"}, init, 401, -32000,
            "not valid");
        // The transport.
        row("older revision asked", "POST", path, {},
            rpc("initialize", R"({"protocolVersion":"2025-03-26","capabilities":{}})"), 200, 0,
            R"("protocolVersion":"2025-03-26")");
        row("unknown revision asked", "POST", path, {},
            rpc("initialize", R"({"protocolVersion":"1999-01-01","capabilities":{}})"), 200, 0,
            R"("protocolVersion":"2025-11-25")");
        row("notification", "POST", path, {},
            R"({"jsonrpc":"2.0","method":"notifications/initialized"})", 202, 0, "");
        row("a response posted", "POST", path, {}, R"({"jsonrpc":"2.0","id":4,"result":{}})", 202,
            0, "");
        row("GET", "GET", path, {}, {}, 405, -32600, "POST only");
        row("DELETE", "DELETE", path, {}, {}, 405, -32600, "POST only");
        row("batch", "POST", path, {}, "[" + rpc("ping") + "]", 400, -32600, "Batches");
        row("not JSON", "POST", path, {}, "{\"jsonrpc\":", 400, -32700, "not JSON");
        row("no jsonrpc", "POST", path, {}, R"({"id":1,"method":"ping"})", 400, -32600, "");
        row("null id", "POST", path, {}, R"({"jsonrpc":"2.0","id":null,"method":"ping"})", 400,
            -32600, "");
        row("bad protocol header", "POST", path, {"MCP-Protocol-Version: 2019-01-01"}, rpc("ping"),
            400, -32022, R"("supported":["2026-07-28")");
        row("good protocol header", "POST", path, {"MCP-Protocol-Version: 2025-06-18"}, rpc("ping"),
            200, 0, R"("result":{})");
        row("foreign origin", "POST", path, {"Origin: https://evil.example"}, rpc("ping"), 403,
            -32600, "another origin");
        row("own origin", "POST", path,
            {QStringLiteral("Origin: http://127.0.0.1:%1").arg(server->port())}, rpc("ping"), 200,
            0, "");
        row("unknown method", "POST", path, {}, rpc("prompts/list"), 200, -32601, "");
        row("unknown tool", "POST", path, {}, rpc("tools/call", R"({"name":"drop_table"})"), 200,
            -32602, "drop_table");
        row("bad arguments are a tool result", "POST", path, {},
            rpc("tools/call", R"({"name":"add_item","arguments":{"title":"x"}})"), 200, 0,
            R"("isError":true)");
        row("six tools", "POST", path, {}, rpc("tools/list"), 200, 0, "get_usage");
        row("the guide", "POST", path, {}, rpc("resources/read", "{\"uri\":\"guide://velmora\"}"),
            200, 0, "When add_item is right");
        row("another resource", "POST", path, {},
            rpc("resources/read", "{\"uri\":\"file:///etc/passwd\"}"), 200, -32002, "");
        // 2026-07-28: no handshake, the version in every request, headers that repeat the body.
        row("discover", "POST", path, modernHeaders, modern("server/discover"), 200, 0,
            R"("resultType":"complete")");
        row("discover without Mcp-Method", "POST", path, {"MCP-Protocol-Version: 2026-07-28"},
            modern("server/discover"), 400, -32020, "Mcp-Method");
        row("discover, header disagrees", "POST", path,
            {"MCP-Protocol-Version: 2025-11-25", "Mcp-Method: server/discover"},
            modern("server/discover"), 400, -32020, "");
        row("tools/call", "POST", path, toolHeaders, modern("tools/call", R"("name":"get_usage",)"),
            200, 0, "agent calls used today");
        row("tools/call, Mcp-Name disagrees", "POST", path, toolHeaders,
            modern("tools/call", R"("name":"get_document",)"), 400, -32020, "Mcp-Name");
        row("no client capabilities", "POST", path, modernHeaders,
            R"({"jsonrpc":"2.0","id":2,"method":"server/discover","params":{"_meta":{
                "io.modelcontextprotocol/protocolVersion":"2026-07-28"}}})",
            400, -32602, "clientCapabilities");
        row("unknown envelope revision", "POST", path, modernHeaders,
            QByteArray(modern("server/discover")).replace("2026-07-28", "2031-01-01"), 400, -32022,
            "");
        row("no initialize in 2026-07-28", "POST", path,
            {"MCP-Protocol-Version: 2026-07-28", "Mcp-Method: initialize"}, modern("initialize"),
            404, -32601, "");
        row("lists carry a cache scope", "POST", path,
            {"MCP-Protocol-Version: 2026-07-28", "Mcp-Method: tools/list"}, modern("tools/list"),
            200, 0, R"("cacheScope":"private")");
    }

    void contract() {
        QFETCH(QByteArray, method);
        QFETCH(QString, path);
        QFETCH(QStringList, headers);
        QFETCH(QByteArray, body);
        QFETCH(int, status);
        QFETCH(int, code);
        QFETCH(QString, contains);
        const Exchange reply = exchange(method, path, body, headers);
        QCOMPARE(reply.status, status);
        const JsonValue json = reply.json();
        const JsonValue* error = json.find(u"error");
        QCOMPARE(error ? int(error->find(u"code")->toInteger()) : 0, code);
        QVERIFY2(reply.body.contains(contains.toUtf8()), reply.body.constData());
        if (status == 401)
            QVERIFY(reply.authenticate.startsWith("Bearer"));
        if (status == 202)
            QVERIFY(reply.body.isEmpty());
    }

    // An agent files through put_proposal, the user reviews in the Store, and the agent's
    // next filing learns what was turned down.
    void proposalRoundTrip() {
        const auto added = server->call(token, QStringLiteral("addItem"),
                                        {parse(R"({"title":"Draft budget","section":"action"})")});
        const QString budget = added.json().find(u"result")->find(u"id")->toString();
        QVERIFY(await(store->createRule(RuleAction::exclude, RuleField::title, RuleOp::contains,
                                        QStringLiteral("PTO"), std::nullopt,
                                        QStringLiteral("Time off is not a task"))));

        const QString deltas = QStringLiteral(R"([
            {"kind":"add","item":{"title":"Reply to Dana","section":"action","channel":"email",
             "priority":"medium","links":[]}},
            {"kind":"add","item":{"title":"Newsletter digest","section":"note","channel":"other",
             "priority":"low","links":[]}},
            {"kind":"complete","item_id":"%1"},
            {"kind":"add","item":{"title":"Book PTO","section":"action","channel":"self",
             "priority":"low","links":[]}}])")
                                   .arg(budget);
        JsonValue args = JsonValue::object({{QStringLiteral("agent"), "Claude"}});
        args.set(QStringLiteral("deltas"), *JsonValue::parse(deltas.toUtf8()));
        JsonValue filed = tool(QStringLiteral("put_proposal"), args);
        QVERIFY(filed.isObject());
        QVERIFY2(!filed.find(u"isError"), qPrintable(text(filed)));
        QCOMPARE(filed.find(u"structuredContent")->find(u"kept")->toJson(), QByteArray("[0,1,2]"));
        QVERIFY(text(filed).contains(
            u"deltas[3] (add \"Book PTO\"): filtered by the rule \"Exclude items where title "
            u"contains PTO\" (Time off is not a task)"));
        QVERIFY(text(filed).contains(u"Nothing has been applied yet"));

        await(store->refresh(false));
        await(store->refreshProposal());
        QVERIFY(store->proposal());
        QCOMPARE(store->proposal()->agent, QStringLiteral("Claude"));
        const auto& rows = store->proposal()->deltas;
        QCOMPARE(rows.size(), 3);
        ReviewState marks;
        marks.rejected = {rows[1].id};
        const SubmitPlan plan = ProposalReview::beginSubmit(
            ProposalReview::resolve(*store->proposal(), store->document()), marks);
        QCOMPARE(plan.accepted.size(), 2);
        QVERIFY(await(store->resolveProposal(plan.accepted, plan.rejected)));

        // The agent reads the answer: the budget done, Dana's reply added, the digest turned down.
        const JsonValue seen = *JsonValue::parse(
            text(tool(QStringLiteral("get_document"), parse(R"({"include_dismissed":true})")))
                .toUtf8());
        QCOMPARE(seen.find(u"items")->toArray().size(), std::size_t(1));
        QCOMPARE(seen.find(u"items")->toArray()[0].find(u"title")->toString(), u"Reply to Dana");
        QCOMPARE(seen.find(u"rejections")->toArray()[0].find(u"title")->toString(),
                 QStringLiteral("Newsletter digest"));
        QCOMPARE(seen.find(u"suppressions")->toArray().size(), std::size_t(1));

        // Filed again, the rejected suggestion is reported as filtered; the rest waits.
        filed = tool(QStringLiteral("put_proposal"), args);
        QVERIFY(filed.isObject());
        QCOMPARE(filed.find(u"structuredContent")->find(u"kept")->toJson(), QByteArray("[0,2]"));
        QVERIFY(text(filed).contains(u"deltas[1] (add \"Newsletter digest\"): filtered, the user "
                                     u"already turned this down"));
        QVERIFY(text(tool(QStringLiteral("get_proposal_status"), JsonValue::Object{}))
                    .contains(u"from Claude"));

        // An invalid delta files nothing and names each one.
        const JsonValue before =
            *server->call(token, QStringLiteral("loadProposal")).json().find(u"result");
        const JsonValue refused =
            tool(QStringLiteral("put_proposal"),
                 parse(R"({"agent":"Claude","deltas":[{"kind":"add","item":{"title":"x"}},
                {"kind":"complete"},{"kind":"remove","item_id":"a"}]})"));
        QVERIFY(refused.find(u"isError"));
        QVERIFY(text(refused).contains(u"2 of 3 suggestions are invalid"));
        QVERIFY(text(refused).contains(u"\n- deltas[1]: item_id must be a string"));
        QCOMPARE(*server->call(token, QStringLiteral("loadProposal")).json().find(u"result"),
                 before);
    }

    // add_item adds at once, once per source_id; past the day's cap every tool is refused.
    void addItemAndDailyCap() {
        const JsonValue item = parse(R"({"title":"Unblock Lee","section":"action",
            "priority":"high","initiated":"auto","source_id":"teams:42"})");
        QVERIFY(text(tool(QStringLiteral("add_item"), item)).startsWith(u"Added"));
        QVERIFY(text(tool(QStringLiteral("add_item"), item)).startsWith(u"Already on the list"));
        const auto items = server->document(user).document.items;
        QCOMPARE(items.last().initiated, Initiated::automatic);
        QCOMPARE(std::count_if(items.cbegin(), items.cend(),
                               [](const WireItem& i) { return i.title == u"Unblock Lee"; }),
                 1);

        // The briefing the user's app shows, as the agent reads it.
        const ServerProcess::Headers auth{{"Authorization", "Bearer " + token.toUtf8()}};
        QVERIFY(text(tool(QStringLiteral("get_briefing"), JsonValue::Object{}))
                    .startsWith(u"No briefing"));
        QCOMPARE(server->request("POST", "/api/ai/briefing", {}, auth).status, 202);
        QVERIFY(tool(QStringLiteral("get_briefing"), JsonValue::Object{})
                    .find(u"structuredContent")
                    ->find(u"body")
                    ->isObject());

        const JsonValue usage = tool(QStringLiteral("get_usage"), JsonValue::Object{});
        const qint64 used = usage.find(u"structuredContent")->find(u"mcp_used_today")->toInteger();
        const JsonValue usage2 = server->request("GET", "/api/usage", {}, auth).json();
        QCOMPARE(usage2.find(u"mcp_used_today")->toInteger(), used);
        QCOMPARE(usage2.find(u"mcp_cap")->toInteger(), 200);
        server->setMcpDailyCap(used + 1);
        QVERIFY(!tool(QStringLiteral("get_usage"), JsonValue::Object{}).find(u"isError"));
        const JsonValue refused = tool(QStringLiteral("add_item"), item);
        server->setMcpDailyCap(200);
        QVERIFY(refused.find(u"isError"));
        QVERIFY(text(refused).startsWith(u"Refused: all"));
    }
};

QTEST_GUILESS_MAIN(TestMcp)
#include "tst_mcp.moc"
