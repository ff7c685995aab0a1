// velmora-server over real HTTP: what each remote method changes and how each one refuses,
// authentication, hostile input and framing, idempotency keys and the open-task cap; the admin
// controls that tests script it with (failing, delaying and dropping replies, another device's
// edit); and `serve --demo` as the real client reads it.

#include "APIClient.h"
#include "APIError.h"
#include "Await.h"
#include "ServerProcess.h"
#include "ServerTestUtil.h"
#include "WireFormats.h"

#include <QElapsedTimer>
#include <QFile>
#include <QRegularExpression>
#include <QSet>
#include <QStandardPaths>
#include <QTest>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <memory>

using namespace ServerTest;

namespace {
// Sends `bytes` as they stand on a fresh connection, half-closes it and reads until the
// server closes; the status of the first final reply, 0 when there was none.
int rawStatus(quint16 port, const QByteArray& bytes) {
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const timeval bound{10, 0};
    setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &bound, sizeof bound);
    setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &bound, sizeof bound);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    QByteArray reply;
    if (::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) {
        // The server may answer and close before it has everything; some rows test that.
        for (qsizetype sent = 0; sent < bytes.size();) {
            const ssize_t n = ::send(fd, bytes.constData() + sent, std::size_t(bytes.size() - sent),
                                     MSG_NOSIGNAL);
            if (n <= 0)
                break;
            sent += n;
        }
        ::shutdown(fd, SHUT_WR);
        char buffer[4096];
        for (ssize_t n; (n = ::recv(fd, buffer, sizeof buffer, 0)) > 0;)
            reply.append(buffer, n);
    }
    ::close(fd);
    static const QRegularExpression final(QStringLiteral("HTTP/1\\.1 ([2-5]\\d\\d) "));
    const auto match = final.match(QString::fromLatin1(reply.left(4096)));
    return match.hasMatch() ? match.captured(1).toInt() : 0;
}

// Plain strings: moc reads a "//" in a raw string as a comment.
const char* const fullAdd =
    "[{\"title\":\"Call Dana\",\"section\":\"waiting\",\"channel\":\"self\",\"priority\":"
    "\"high\",\"note\":\"re: budget\",\"due\":\"2026-03-01\",\"source\":\"Dana\",\"links\":"
    "[{\"label\":\"Doc\",\"url\":\"https://example.com/d\"}],\"status\":\"done\",\"origin\":"
    "\"ai\",\"id\":\"local-1\",\"zeal\":3}]";
const char* const linkedItem =
    "{\"title\":\"A\",\"section\":\"action\",\"note\":\"n\",\"source\":\"s\",\"due\":"
    "\"2026-01-02\",\"links\":[{\"label\":\"x\",\"url\":\"http://example.com\"}]}";

} // namespace

class TestServerApi : public QObject {
    Q_OBJECT
    std::unique_ptr<ServerProcess> server;
    int users = 0;
    QString user, token; // a fresh account for each test

    QString newUser() { return server->createUser(QStringLiteral("user%1").arg(++users)); }

    QString addItem(const QString& token,
                    const char* object = "{\"title\":\"Task\",\"section\":\"action\"}") {
        return result(server->call(token, QStringLiteral("addItem"), {json(object)}))
            .find(u"id")
            ->toString();
    }

    qint64 currentVersion(const QString& token) {
        const auto reply = server->request("GET", "/api/store/version", {},
                                           {{"Authorization", "Bearer " + token.toUtf8()}});
        return version(reply);
    }

    int itemCount() { return int(server->document(user).document.items.size()); }

private Q_SLOTS:
    void initTestCase() {
        QStandardPaths::setTestModeEnabled(true);
        ServerProcess::Options options;
        options.demo = true;
        server = std::make_unique<ServerProcess>(options);
    }
    // A clean exit: no crash, no leak report from a sanitised build.
    void cleanupTestCase() { QCOMPARE(server->stop(), 0); }
    void init() {
        token = newUser();
        user = QStringLiteral("user%1").arg(users);
    }
    void cleanup() { server->clearFaults(); }

    void addItemSetsServerFields() {
        const qint64 before = currentVersion(token);
        const auto reply = server->call(token, QStringLiteral("addItem"), args(fullAdd));
        const JsonValue item = result(reply);
        const QString id = item.find(u"id")->toString();
        QVERIFY(!id.isEmpty());
        QVERIFY(!LocalID::isLocal(id));
        QCOMPARE(item.find(u"status")->toString(), QStringLiteral("open"));
        QCOMPARE(item.find(u"origin")->toString(), QStringLiteral("user"));
        QCOMPARE(item.find(u"due")->toString(), QStringLiteral("2026-03-01"));
        QCOMPARE(item.find(u"links")->toArray().size(), std::size_t(1));
        const QString created = item.find(u"created_at")->toString();
        QVERIFY2(created.contains(QLatin1Char('.')) && created.endsWith(QLatin1Char('Z')),
                 qPrintable(created));
        QVERIFY(WireDate::instant(created).has_value());
        QCOMPARE(version(reply), before + 1);
        QCOMPARE(currentVersion(token), before + 1);

        // A second item gets its own id; the document keeps them in order.
        const QString second = addItem(token);
        QVERIFY(second != id);
        const auto stored = server->document(user).document;
        QCOMPARE(stored.items.size(), 2);
        QCOMPARE(stored.items[0].id, id);
        QCOMPARE(stored.items[1].id, second);
    }

    void updateItemIsPartial() {
        const QString id = addItem(token, linkedItem);
        // A missing key leaves the field; null clears it.
        auto item = result(server->call(token, QStringLiteral("updateItem"),
                                        {QString(id), json(R"({"note":null,"flagged":true})")}));
        QVERIFY(!item.contains(u"note"));
        QCOMPARE(item.find(u"source")->toString(), QStringLiteral("s"));
        QCOMPARE(item.find(u"due")->toString(), QStringLiteral("2026-01-02"));
        QCOMPARE(item.find(u"flagged")->toBool(), true);
        item = result(server->call(
            token, QStringLiteral("updateItem"),
            {QString(id), json(R"({"title":"B","source":null,"due":null,"priority":"low",
                                   "links":[],"status":"done"})")}));
        QCOMPARE(item.find(u"title")->toString(), QStringLiteral("B"));
        QVERIFY(!item.contains(u"source"));
        QVERIFY(!item.contains(u"due"));
        QCOMPARE(item.find(u"priority")->toString(), QStringLiteral("low"));
        QVERIFY(item.find(u"links")->toArray().empty());
        QCOMPARE(item.find(u"status")->toString(), QStringLiteral("open"));
        QCOMPARE(item.find(u"flagged")->toBool(), true);
    }

    void statusAndDeletion() {
        const QString id = addItem(token);
        auto item =
            result(server->call(token, QStringLiteral("setItemStatus"), {QString(id), true}));
        QCOMPARE(item.find(u"status")->toString(), QStringLiteral("done"));
        QVERIFY(WireDate::instant(item.find(u"completed_at")->toString()));
        item = result(server->call(token, QStringLiteral("setItemStatus"), {QString(id), false}));
        QCOMPARE(item.find(u"status")->toString(), QStringLiteral("open"));
        QVERIFY(!item.contains(u"completed_at"));

        item = result(server->call(token, QStringLiteral("softDelete"),
                                   {QStringLiteral("item"), QString(id)}));
        QVERIFY(item.contains(u"deleted_at"));
        // Soft-deleted items stay in the document.
        auto load = result(server->call(token, QStringLiteral("load")));
        QCOMPARE(load.find(u"items")->toArray().size(), std::size_t(1));
        QVERIFY(load.find(u"items")->toArray()[0].contains(u"deleted_at"));
        item = result(
            server->call(token, QStringLiteral("restore"), {QStringLiteral("item"), QString(id)}));
        QVERIFY(!item.contains(u"deleted_at"));
    }

    void settingsAndFocus() {
        auto settings = result(server->call(token, QStringLiteral("updateSettings"),
                                            args(R"([{"hide_done":true,"extra":1}])")));
        QCOMPARE(settings.toJson(), QByteArray(R"({"hide_done":true})"));
        // The stored list is the server's word: cleaned, without duplicates, ten at most.
        const auto focus = result(server->call(
            token, QStringLiteral("setFocus"),
            args(
                R"([["  Acme   Ltd ", "acme ltd", "Dana\tOps", "", "a","b","c","d","e","f","g","h","i"]])")));
        QCOMPARE(focus.toJson(),
                 QByteArray(R"(["Acme Ltd","Dana Ops","a","b","c","d","e","f","g","h"])"));
        const auto load = result(server->call(token, QStringLiteral("load")));
        QCOMPARE(load.find(u"focus")->toJson(), focus.toJson());
        QCOMPARE(load.find(u"settings")->toJson(), settings.toJson());
    }

    void rules() {
        const auto rule = result(server->call(
            token, QStringLiteral("addRule"),
            args(R"([{"action":"recategorize","match":{"op":"all","conditions":[{"field":"title",
                      "op":"contains","value":["PTO"]}]},"params":{"section":"note"},
                      "reason":"Not tasks","origin":{"from":"manual","rejection_ids":[],"count":0}}])")));
        const QString id = rule.find(u"id")->toString();
        QVERIFY(!id.isEmpty() && !LocalID::isLocal(id));
        QCOMPARE(rule.find(u"status")->toString(), QStringLiteral("active"));
        QCOMPARE(rule.find(u"created_by")->toString(), QStringLiteral("user"));
        QCOMPARE(rule.find(u"apply_count")->toInteger(), 0);

        const auto paused = result(server->call(token, QStringLiteral("updateRule"),
                                                {QString(id), json(R"({"status":"paused"})")}));
        QCOMPARE(paused.find(u"status")->toString(), QStringLiteral("paused"));
        QCOMPARE(paused.find(u"reason")->toString(), QStringLiteral("Not tasks"));
        auto load = result(server->call(token, QStringLiteral("load")));
        QCOMPARE(load.find(u"rules")->toArray().size(), std::size_t(1));
        QCOMPARE(load.find(u"rules")->toArray()[0].find(u"status")->toString(),
                 QStringLiteral("paused"));

        result(server->call(token, QStringLiteral("deleteRule"), {QString(id)}));
        load = result(server->call(token, QStringLiteral("load")));
        QVERIFY(load.find(u"rules")->toArray().empty());
    }

    void proposals() {
        QVERIFY(result(server->call(token, QStringLiteral("loadProposal"))).isNull());
        const qint64 before = currentVersion(token);
        const QString createdAt =
            server->createProposal(user, json(R"({"schema_version":1,"agent":"Claude","deltas":[
                {"kind":"add","item":{"title":"x","section":"action","channel":"email",
                 "priority":"low","links":[]}},{"kind":"split","parts":2}]})"));
        QVERIFY(!createdAt.isEmpty());
        // A new proposal moves the version, so clients notice it.
        QVERIFY(currentVersion(token) > before);
        const auto proposal = result(server->call(token, QStringLiteral("loadProposal")));
        QCOMPARE(proposal.find(u"created_at")->toString(), createdAt);
        QCOMPARE(proposal.find(u"deltas")->toArray()[1].find(u"parts")->toInteger(), 2);

        const auto stale = server->call(
            token, QStringLiteral("resolveProposal"),
            {JsonValue::object({{QStringLiteral("created_at"), QStringLiteral("yesterday")},
                                {QStringLiteral("accepted"), JsonValue::Array{0}},
                                {QStringLiteral("rejected"), JsonValue::Array{}}})});
        QCOMPARE(stale.status, 409);
        const auto outOfRange =
            server->call(token, QStringLiteral("resolveProposal"),
                         {JsonValue::object({{QStringLiteral("created_at"), createdAt},
                                             {QStringLiteral("accepted"), JsonValue::Array{5}}})});
        QCOMPARE(outOfRange.status, 400);
        result(server->call(token, QStringLiteral("resolveProposal"),
                            {JsonValue::object({{QStringLiteral("created_at"), createdAt},
                                                {QStringLiteral("accepted"), JsonValue::Array{0}},
                                                {QStringLiteral("rejected"), JsonValue::Array{}},
                                                {QStringLiteral("title_edits"),
                                                 JsonValue::object({{QStringLiteral("0"),
                                                                     QStringLiteral("y")}})}})}));
        QVERIFY(result(server->call(token, QStringLiteral("loadProposal"))).isNull());
    }

    void refusals_data() {
        QTest::addColumn<QString>("method");
        QTest::addColumn<QByteArray>("arguments"); // ITEM and RULE stand for real ids
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("mentions");

        auto row = [](const char* name, const char* method, const char* arguments, int status,
                      const char* mentions = "") {
            QTest::newRow(name) << QString::fromLatin1(method) << QByteArray(arguments) << status
                                << QString::fromLatin1(mentions);
        };
        row("unknown method", "frobnicate", "[]", 400, "frobnicate");
        row("status of unknown item", "setItemStatus", R"(["nope", true])", 404, "nope");
        row("status not a boolean", "setItemStatus", R"(["ITEM", "yes"])", 400, "boolean");
        row("status without flag", "setItemStatus", R"(["ITEM"])", 400);
        row("update unknown item", "updateItem", R"(["nope", {}])", 404);
        row("update with bad priority", "updateItem", R"(["ITEM", {"priority":"urgent"}])", 400,
            "priority");
        row("update clearing the title", "updateItem", R"(["ITEM", {"title":null}])", 400, "title");
        row("update with a number title", "updateItem", R"(["ITEM", {"title":7}])", 400, "title");
        row("update with impossible day", "updateItem", R"(["ITEM", {"due":"2026-02-30"}])", 400,
            "due");
        row("update with a mail link", "updateItem",
            R"(["ITEM", {"links":[{"label":"a","url":"mailto:a@b.c"}]}])", 400, "links");
        row("update with a non-object", "updateItem", R"(["ITEM", "x"])", 400);
        row("add without a title", "addItem", R"([{"section":"action"}])", 400, "title");
        row("add with a blank title", "addItem", R"([{"title":"  ","section":"action"}])", 400);
        row("add to an unknown section", "addItem", R"([{"title":"x","section":"later"}])", 400,
            "section");
        row("add without arguments", "addItem", "[]", 400);
        row("delete an unknown kind", "softDelete", R"(["rule", "ITEM"])", 400, "rule");
        row("delete an unknown item", "softDelete", R"(["item", "nope"])", 404);
        row("restore an unknown item", "restore", R"(["item", "nope"])", 404);
        row("settings of the wrong type", "updateSettings", R"([{"hide_done":"yes"}])", 400,
            "hide_done");
        row("focus that is no list", "setFocus", R"(["Dana"])", 400);
        row("focus with a number", "setFocus", R"([["Dana", 1]])", 400);
        row("rule on an unknown field", "addRule",
            R"([{"action":"exclude","match":{"op":"all","conditions":[{"field":"colour",
                 "op":"equals","value":["red"]}]},"params":{},"reason":"r"}])",
            400, "colour");
        row("rule without a reason", "addRule",
            R"([{"action":"exclude","match":{"op":"all","conditions":[]},"params":{}}])", 400,
            "reason");
        row("update an unknown rule", "updateRule", R"(["nope", {"status":"paused"}])", 404);
        row("rule with a bad status", "updateRule", R"(["RULE", {"status":"sleeping"}])", 400,
            "sleeping");
        row("delete an unknown rule", "deleteRule", R"(["nope"])", 404);
        // LONG stands for 32768 characters, one past the cap on free text; LINKS for 21 links.
        row("title over the cap", "addItem", R"([{"title":"LONG","section":"action"}])", 400,
            "title");
        row("note over the cap", "updateItem", R"(["ITEM", {"note":"LONG"}])", 400, "note");
        row("too many links", "updateItem", R"(["ITEM", {"links":[LINKS]}])", 400, "links");
        row("link label over the cap", "updateItem",
            R"(["ITEM", {"links":[{"label":"LONG","url":"https://a.b"}]}])", 400, "label");
        row("rule reason over the cap", "updateRule", R"(["RULE", {"reason":"LONG"}])", 400,
            "reason");
        row("resolve with nothing pending", "resolveProposal",
            R"([{"created_at":"2026-01-01T00:00:00Z","accepted":[],"rejected":[]}])", 409);
        row("resolve without an object", "resolveProposal", R"(["x"])", 400);
    }

    void refusals() {
        QFETCH(QString, method);
        QFETCH(QByteArray, arguments);
        QFETCH(int, status);
        QFETCH(QString, mentions);
        const QString item = addItem(token);
        const QString rule = result(server->call(token, QStringLiteral("addRule"),
                                                 args(R"([{"action":"boost","match":{"op":"any",
                                                    "conditions":[]},"params":{},"reason":"r"}])")))
                                 .find(u"id")
                                 ->toString();
        const QByteArray link = R"({"label":"a","url":"https:)"
                                "//a.b\"}";
        arguments.replace("ITEM", item.toUtf8())
            .replace("RULE", rule.toUtf8())
            .replace("LONG", QByteArray(32768, 'x'))
            .replace("LINKS", (link + ',').repeated(20) + link);
        const qint64 before = currentVersion(token);

        const auto reply = server->call(token, method, args(arguments.constData()));
        QCOMPARE(reply.status, status);
        QVERIFY2(!message(reply).isEmpty(), reply.body.constData());
        QVERIFY2(message(reply).contains(mentions), qPrintable(message(reply)));
        // A refused write changes nothing.
        QCOMPARE(currentVersion(token), before);
    }

    void authentication_data() {
        QTest::addColumn<QByteArray>("method");
        QTest::addColumn<QByteArray>("path");
        QTest::addColumn<QByteArray>("authorization");
        QTest::newRow("store, no header")
            << QByteArray("POST") << QByteArray("/api/store") << QByteArray();
        QTest::newRow("store, unknown token")
            << QByteArray("POST") << QByteArray("/api/store")
            << QByteArray("Bearer vl-0000000000000000000000000000000000000000");
        QTest::newRow("store, not bearer")
            << QByteArray("POST") << QByteArray("/api/store") << QByteArray("Basic dXNlcjpwYXNz");
        QTest::newRow("version, no header")
            << QByteArray("GET") << QByteArray("/api/store/version") << QByteArray();
        QTest::newRow("version, empty token")
            << QByteArray("GET") << QByteArray("/api/store/version") << QByteArray("Bearer ");
    }

    void authentication() {
        QFETCH(QByteArray, method);
        QFETCH(QByteArray, path);
        QFETCH(QByteArray, authorization);
        ServerProcess::Headers headers;
        if (!authorization.isEmpty())
            headers.push_back({"Authorization", authorization});
        const auto reply = server->request(method, path, R"({"method":"load","args":[]})", headers);
        QCOMPARE(reply.status, 401);
        QVERIFY(!message(reply).isEmpty());
    }

    void tokensAreOpaqueAndPerUser() {
        const QString first = newUser();
        const QString second = newUser();
        static const QRegularExpression shape(QStringLiteral("^[A-Za-z0-9-]{32,}$"));
        QVERIFY(shape.match(first).hasMatch());
        addItem(first);
        const auto load = result(server->call(second, QStringLiteral("load")));
        QVERIFY(load.find(u"items")->toArray().empty());
    }

    void badInput_data(); // below the class, as framing_data: moc misreads their literals
    void badInput() {
        QFETCH(QByteArray, body);
        QFETCH(int, status);
        const auto reply = server->request("POST", "/api/store", body,
                                           {{"Authorization", "Bearer " + token.toUtf8()}});
        QCOMPARE(reply.status, status);
        if (status != 200)
            QVERIFY2(!message(reply).isEmpty(), reply.body.constData());
        QVERIFY(server->isRunning());
        QCOMPARE(server->call(token, QStringLiteral("load")).status, 200);
    }

    void framing_data();
    // Every framing is held to the same limits, and a refused request leaves the server as it
    // was for everyone else.
    void framing() {
        QFETCH(QByteArray, request);
        QFETCH(int, status);
        request.replace("AUTH", "Authorization: Bearer " + token.toUtf8() + "\r\n");
        QCOMPARE(rawStatus(server->port(), request), status);
        QCOMPARE(server->call(token, QStringLiteral("load")).status, 200);
    }

    void idempotencyKeys() {
        const char* object = R"({"title":"Once","section":"action"})";
        const ServerProcess::Headers key{{"Idempotency-Key", "k-1"}};
        const auto first = server->call(token, QStringLiteral("addItem"), {json(object)}, key);
        const auto again = server->call(token, QStringLiteral("addItem"), {json(object)}, key);
        QCOMPARE(first.status, 200);
        QCOMPARE(again.status, 200);
        QCOMPARE(again.body, first.body);
        const auto other = server->call(token, QStringLiteral("addItem"), {json(object)},
                                        {{"Idempotency-Key", "k-2"}});
        const auto plain = server->call(token, QStringLiteral("addItem"), {json(object)});
        QVERIFY(result(other).find(u"id")->toString() != result(first).find(u"id")->toString());
        QCOMPARE(plain.status, 200);
        QCOMPARE(
            result(server->call(token, QStringLiteral("load"))).find(u"items")->toArray().size(),
            std::size_t(3));
        QCOMPARE(currentVersion(token), version(first) + 2);

        // Keys belong to one user.
        const QString stranger = newUser();
        const auto theirs = server->call(stranger, QStringLiteral("addItem"), {json(object)}, key);
        QVERIFY(result(theirs).find(u"id")->toString() != result(first).find(u"id")->toString());
        // A refused write leaves no trace of its key: after a fix it is applied.
        server->setOpenCap(QStringLiteral("user%1").arg(users), 1);
        const ServerProcess::Headers capped{{"Idempotency-Key", "k-3"}};
        QCOMPARE(server->call(stranger, QStringLiteral("addItem"), {json(object)}, capped).status,
                 402);
        server->setOpenCap(QStringLiteral("user%1").arg(users), std::nullopt);
        QCOMPARE(server->call(stranger, QStringLiteral("addItem"), {json(object)}, capped).status,
                 200);
    }

    void openTaskCap() {
        server->setOpenCap(user, 2);
        const QString first = addItem(token);
        const QString second = addItem(token);
        const auto refused = server->call(token, QStringLiteral("addItem"),
                                          args(R"([{"title":"Three","section":"note"}])"));
        QCOMPARE(refused.status, 402);
        QVERIFY2(message(refused).contains(QStringLiteral("2 open tasks")),
                 qPrintable(message(refused)));
        // Done and deleted tasks do not count.
        result(server->call(token, QStringLiteral("setItemStatus"), {QString(first), true}));
        addItem(token);
        result(server->call(token, QStringLiteral("softDelete"),
                            {QStringLiteral("item"), QString(second)}));
        addItem(token);
        QCOMPARE(server
                     ->call(token, QStringLiteral("addItem"),
                            args(R"([{"title":"Four","section":"note"}])"))
                     .status,
                 402);
    }

    // --- the admin controls ---

    void scriptedStatus_data() {
        QTest::addColumn<QString>("rpc");
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<int>("count");
        QTest::newRow("500 with a text body") << "addItem" << 500 << QByteArray("boom") << 1;
        QTest::newRow("402 with a JSON body, twice")
            << "addItem" << 402 << QByteArray(R"({"message":"You have reached 3 open tasks."})")
            << 2;
        QTest::newRow("503 for any method") << "" << 503 << QByteArray() << 1;
    }

    void scriptedStatus() {
        QFETCH(QString, rpc);
        QFETCH(int, status);
        QFETCH(QByteArray, body);
        QFETCH(int, count);
        const qint64 before = server->document(user).version;
        // A call of another method does not use up a fault aimed at addItem.
        if (!rpc.isEmpty())
            QCOMPARE(server->call(token, QStringLiteral("load")).status, 200);
        server->failNext(rpc, status, body, count);
        QCOMPARE(server->pendingFaults(), count);
        if (!rpc.isEmpty())
            QCOMPARE(server->call(token, QStringLiteral("load")).status, 200);

        const JsonValue::Array add = args(R"([{"title":"x","section":"action"}])");
        for (int i = 0; i < count; ++i) {
            const auto reply = server->call(token, QStringLiteral("addItem"), add);
            QCOMPARE(reply.status, status);
            if (body.isEmpty())
                QVERIFY(!message(reply).isEmpty());
            else
                QCOMPARE(reply.body, body);
        }
        // The scripted answers applied nothing; then the server is itself again.
        QCOMPARE(server->document(user).version, before);
        QCOMPARE(server->pendingFaults(), 0);
        QCOMPARE(server->call(token, QStringLiteral("addItem"), add).status, 200);
        QCOMPARE(itemCount(), 1);
    }

    void scriptedStatusOnVersion() {
        ServerProcess::Fault fault;
        fault.method = QStringLiteral("GET");
        fault.path = QStringLiteral("/api/store/version");
        fault.status = 500;
        server->inject(fault);
        const ServerProcess::Headers auth{{"Authorization", "Bearer " + token.toUtf8()}};
        QCOMPARE(server->request("GET", "/api/store/version", {}, auth).status, 500);
        QCOMPARE(server->request("GET", "/api/store/version", {}, auth).status, 200);
        // A fault for another method on the same path waits for its own method.
        fault.path = QStringLiteral("/api/store");
        server->inject(fault);
        QCOMPARE(server->call(token, QStringLiteral("load")).status, 200);
        QCOMPARE(server->pendingFaults(), 1);
    }

    void delay() {
        server->delayNext(QStringLiteral("setFocus"), 400);
        QElapsedTimer timer;
        timer.start();
        const auto reply = server->call(token, QStringLiteral("setFocus"), args(R"([["Dana"]])"));
        QVERIFY(timer.elapsed() >= 400);
        // A delay alone still handles the call.
        QCOMPARE(result(reply).toJson(), QByteArray(R"(["Dana"])"));
    }

    void replyLostAfterWrite() {
        const qint64 before = server->document(user).version;
        server->dropReplyAfterWrite(QStringLiteral("addItem"));
        const auto lost = server->call(token, QStringLiteral("addItem"),
                                       args(R"([{"title":"x","section":"note"}])"));
        QCOMPARE(lost.status, 0);
        QVERIFY(lost.body.isEmpty());
        // No reply, yet the write happened.
        QCOMPARE(itemCount(), 1);
        QCOMPARE(server->document(user).version, before + 1);
    }

    void replyLostThenRepeatedWithKey() {
        server->dropReplyAfterWrite(QStringLiteral("addItem"));
        const ServerProcess::Headers key{{"Idempotency-Key", "retry-1"}};
        const JsonValue::Array add = args(R"([{"title":"x","section":"note"}])");
        QCOMPARE(server->call(token, QStringLiteral("addItem"), add, key).status, 0);
        const auto repeat = server->call(token, QStringLiteral("addItem"), add, key);
        QCOMPARE(repeat.status, 200);
        const auto stored = server->document(user);
        QCOMPARE(stored.document.items.size(), 1);
        QCOMPARE(result(repeat).find(u"id")->toString(), stored.document.items[0].id);
        QCOMPARE(version(repeat), stored.version);
    }

    void otherDeviceEdit() {
        result(server->call(token, QStringLiteral("addItem"),
                            args(R"([{"title":"a","section":"action"}])")));
        auto stored = server->document(user);
        stored.document.items[0].title = QStringLiteral("Edited elsewhere");
        stored.document.focus = {QStringLiteral("Acme")};
        const qint64 version = server->replaceDocument(user, stored.document);
        QCOMPARE(version, stored.version + 1);

        const auto load = server->call(token, QStringLiteral("load"));
        QCOMPARE(ServerTest::version(load), version);
        const JsonValue document = result(load);
        QCOMPARE(document.find(u"items")->toArray()[0].find(u"title")->toString(),
                 QStringLiteral("Edited elsewhere"));
        QCOMPARE(document.find(u"focus")->toJson(), QByteArray(R"(["Acme"])"));
    }

    void badFaultIsRefused() {
        ServerProcess::Fault fault;
        fault.path = QStringLiteral("no-slash");
        QVERIFY_THROWS_EXCEPTION(std::runtime_error, server->inject(fault));
        QCOMPARE(server->pendingFaults(), 0);
    }

    // --- the demo account through the real client ---

    void demoDocumentLoads() {
        QCOMPARE(QFile::permissions(server->demoTokenFile()) &
                     ~(QFile::ReadUser | QFile::WriteUser | QFile::ReadOwner | QFile::WriteOwner),
                 QFileDevice::Permissions());
        APIClient client(server->baseURL(), server->demoToken());
        const LoadResult loaded = TestAwait::await(client.loadForSync());
        QVERIFY(loaded.version > 0);
        const auto& items = loaded.document.items;
        QVERIFY(items.size() >= 10);

        const QDateTime today = QDateTime(QDate::currentDate(), QTime(0, 0));
        QSet<Section> sections;
        bool overdue = false, dueToday = false, waitingWithWho = false, link = false,
             flagged = false, byAI = false;
        for (const Item& item : items) {
            sections.insert(item.section);
            overdue |= item.isOverdue(today);
            dueToday |= item.due && item.due->date() == today.date();
            waitingWithWho |= item.section == Section::waiting && item.source.has_value();
            link |= !item.links.isEmpty();
            flagged |= item.flagged;
            byAI |= item.origin == Origin::ai;
        }
        QCOMPARE(sections.size(), 3);
        QVERIFY(overdue);
        QVERIFY(dueToday);
        QVERIFY(waitingWithWho);
        QVERIFY(link);
        QVERIFY(flagged);
        QVERIFY(byAI);
    }

    void clientWritesMoveTheVersion() {
        APIClient client(server->baseURL(), server->demoToken());
        const qint64 before = TestAwait::await(client.version());
        const WireItem added = TestAwait::await(client.send<WireItem>(
            QStringLiteral("addItem"),
            {JsonValue::object({{QStringLiteral("title"), QStringLiteral("From the client")},
                                {QStringLiteral("section"), QStringLiteral("action")},
                                {QStringLiteral("channel"), QStringLiteral("self")},
                                {QStringLiteral("priority"), QStringLiteral("medium")}})}));
        QVERIFY(!LocalID::isLocal(added.id));
        QCOMPARE(TestAwait::await(client.version()), before + 1);
        const auto stored = server->document(QStringLiteral("demo"));
        QCOMPARE(stored.document.items.last().id, added.id);
    }

    void clientSeesStatusesOfTheServer() {
        APIClient client(server->baseURL(), server->demoToken());
        server->failNext(QStringLiteral("load"), 503, R"({"message":"maintenance"})");
        try {
            TestAwait::await(client.loadForSync());
            QFAIL("the scripted 503 did not reach the client");
        } catch (const APIError& error) {
            QCOMPARE(error.kind(), APIError::Kind::server);
            QCOMPARE(error.status(), 503);
        }
        APIClient stranger(server->baseURL(), QStringLiteral("vl-%1").arg(QString(40, u'x')));
        try {
            TestAwait::await(stranger.loadForSync());
            QFAIL("an unknown token was accepted");
        } catch (const APIError& error) {
            QCOMPARE(error.kind(), APIError::Kind::unauthorised);
        }
    }
};

void TestServerApi::badInput_data() {
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<int>("status");
    QTest::newRow("not JSON") << QByteArray("{\"method\":") << 400;
    QTest::newRow("not an object") << QByteArray("[1,2]") << 400;
    QTest::newRow("method not a string") << QByteArray(R"({"method":1,"args":[]})") << 400;
    QTest::newRow("args not an array") << QByteArray(R"({"method":"load","args":{}})") << 400;
    QTest::newRow("deep nesting") << QByteArray(R"({"method":"setFocus","args":)") +
                                         QByteArray(100000, '[') + QByteArray(100000, ']') + '}'
                                  << 400;
    QTest::newRow("invalid UTF-8") << QByteArray("{\"method\":\"lo\xff\"}") << 400;
    QTest::newRow("over 1 MiB") << QByteArray(R"({"method":"load","args":[")") +
                                       QByteArray(1100 * 1024, 'a') + QByteArray("\"]}")
                                << 413;
    QTest::newRow("unknown keys") << QByteArray(R"({"method":"load","args":[],"x":{"y":1}})")
                                  << 200;
}

void TestServerApi::framing_data() {
    QTest::addColumn<QByteArray>("request"); // AUTH stands for the Authorization line
    QTest::addColumn<int>("status");
    const QByteArray post = "POST /api/store HTTP/1.1\r\nHost: x\r\nAUTH";
    const QByteArray load = R"({"method":"load"})";
    const QByteArray chunked = post + "Transfer-Encoding: chunked\r\n\r\n";
    const QByteArray mib(1024 * 1024, ' ');
    auto row = [](const char* name, const QByteArray& request, int status) {
        QTest::newRow(name) << request << status;
    };
    row("chunked",
        chunked + "5\r\n" + load.left(5) + "\r\nc;x=1\r\n" + load.mid(5) +
            "\r\n0\r\nTrailer: t\r\n\r\n",
        200);
    row("chunked over 1 MiB", chunked + "4\r\n" + load.left(4) + "\r\n100000\r\n" + mib, 413);
    row("chunk size past any number", chunked + "1000000000000000000\r\n", 413);
    row("chunk size not hex", chunked + "zz\r\n", 400);
    row("chunk without its line end", chunked + "1\r\n{x", 400);
    row("length over 1 MiB, body never sent", post + "Content-Length: 20971520\r\n\r\n", 413);
    row("no length: the body is empty", post + "\r\n" + load, 400);
    row("both framings", post + "Content-Length: 5\r\nTransfer-Encoding: chunked\r\n\r\n", 400);
    row("two lengths", post + "Content-Length: 17\r\nContent-Length: 18\r\n\r\n" + load, 400);
    row("unknown coding", post + "Transfer-Encoding: gzip\r\n\r\n", 501);
    row("header over 16 KiB", post + "X: " + QByteArray(17 * 1024, 'a') + "\r\n\r\n", 431);
    row("head without an end", post + QByteArray(17 * 1024, 'a'), 431);
    row("too many header lines", post + QByteArray("X: y\r\n").repeated(101) + "\r\n", 431);
    row("folded header", post + "X: y\r\n z\r\nContent-Length: 0\r\n\r\n", 400);
    row("expecting 100-continue",
        post + "Expect: 100-continue\r\nContent-Length: 17\r\n\r\n" + load, 200);
    row("pipelined behind a 404",
        "GET /nope HTTP/1.1\r\n\r\n" + post + "Content-Length: 17\r\n\r\n" + load, 404);
}

QTEST_GUILESS_MAIN(TestServerApi)
#include "tst_server_api.moc"
