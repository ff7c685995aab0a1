// velmora-server over real HTTP: what each remote method changes and how each one refuses,
// authentication, hostile input and framing, idempotency keys and the open-task cap; that a
// scripted fault keeps to its target (the fault matrix and the sync suites use the others);
// and `serve --demo` as the real client reads it.

#include "APIClient.h"
#include "Await.h"
#include "Proposal.h"
#include "ServerProcess.h"
#include "ServerTestUtil.h"
#include "WireFormats.h"

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
        // The stored list is the server's word, cleaned (the rules: tst_server_ledger).
        const auto focus = result(server->call(token, QStringLiteral("setFocus"),
                                               args(R"([[" Acme  Ltd ", "acme ltd", ""]])")));
        QCOMPARE(focus.toJson(), QByteArray(R"(["Acme Ltd"])"));
        const auto load = result(server->call(token, QStringLiteral("load")));
        QCOMPARE(load.find(u"focus")->toJson(), focus.toJson());
        QCOMPARE(load.find(u"settings")->toJson(), settings.toJson());
    }

    // Filing moves the version, so clients notice; an answer naming no delta is refused.
    // Reading, answering and stale answers run through the Store in tst_proposal_roundtrip.
    void proposalFiling() {
        const qint64 before = currentVersion(token);
        const QString createdAt =
            server->createProposal(user, json(R"({"deltas":[{"kind":"split","parts":2}]})"));
        QVERIFY(currentVersion(token) > before);
        const auto outOfRange =
            server->call(token, QStringLiteral("resolveProposal"),
                         {JsonValue::object({{QStringLiteral("created_at"), createdAt},
                                             {QStringLiteral("accepted"), JsonValue::Array{5}}})});
        QCOMPARE(outOfRange.status, 400);
        QVERIFY(!result(server->call(token, QStringLiteral("loadProposal"))).isNull());
    }

    void filing_data(); // below the class, as badInput_data
    void filing();

    void refusals_data(); // below the class, as badInput_data
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
        const QByteArray link = "{\"label\":\"a\",\"url\":\"https:\\/\\/a.b\"}";
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

    // An account keeps at most 200 rules: the 200th goes in, the next is refused.
    void rulesCap() {
        const char* rule = R"([{"action":"exclude","match":{"op":"all","conditions":[]},
            "params":{},"reason":"r"}])";
        result(server->call(token, QStringLiteral("addRule"), args(rule)));
        auto stored = server->document(user).document;
        while (stored.rules.size() < 199) {
            stored.rules.push_back(stored.rules.front());
            stored.rules.back().id += QString::number(stored.rules.size());
        }
        server->replaceDocument(user, stored);
        QCOMPARE(server->call(token, QStringLiteral("addRule"), args(rule)).status, 200);
        const auto refused = server->call(token, QStringLiteral("addRule"), args(rule));
        QCOMPARE(refused.status, 400);
        QVERIFY2(message(refused).contains(QStringLiteral("200 rules")), refused.body.constData());
    }

    // --- the admin controls (the fault matrix and the sync suites lean on the rest) ---

    void scriptedFaultsKeepToTheirTarget() {
        ServerProcess::Fault fault;
        fault.path = QStringLiteral("no-slash");
        QVERIFY_THROWS_EXCEPTION(std::runtime_error, server->inject(fault));
        QCOMPARE(server->pendingFaults(), 0);
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

    // --- the demo account through the real client ---

    // Whatever route changes a list, the next load shows it, in every coding, after loads
    // that filled the server's caches; a refused change shows nothing of itself.
    void routesChangeWhatLoadsSee_data() {
        QTest::addColumn<QString>("route");
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("title"); // in the list after the change; "" for none
        QTest::addColumn<QString>("gone");  // in it no more
        const auto row = [](const char* name, const char* route, int status, const char* title,
                            const char* gone) {
            QTest::newRow(name) << QString(route) << status << QString(title) << QString(gone);
        };
        row("api/store edit", "edit", 200, "Renamed", "Kept");
        row("api/store refused edit", "refused", 400, "Kept", "");
        row("api/store add", "add", 200, "Added", "");
        row("agent tool", "mcp", 200, "From the agent", "");
        row("admin replace", "replace", 200, "Replaced", "Kept");
        row("proposal accepted", "proposal", 200, "Proposed", "");
        row("account deleted, id given again", "delete", 200, "", "Kept");
    }
    void routesChangeWhatLoadsSee() {
        QFETCH(QString, route);
        QFETCH(int, status);
        QFETCH(QString, title);
        QFETCH(QString, gone);
        const QString id = addItem(token, "{\"title\":\"Kept\",\"section\":\"action\"}");
        const auto titles = [&](const QString& who, const char* coding) {
            const JsonValue loaded = result(server->call(
                who, QStringLiteral("load"), {}, {{"Accept-Encoding", QByteArray(coding)}}));
            QStringList out;
            for (const JsonValue& item : loaded.find(u"items")->toArray())
                out << item.find(u"title")->toString();
            return out;
        };
        for (const char* coding : {"identity", "gzip", "br"})
            QCOMPARE(titles(token, coding), QStringList{QStringLiteral("Kept")});
        const ServerProcess::Headers bearer{{"Authorization", "Bearer " + token.toUtf8()}};
        const auto edit = [&](const char* patch) {
            return server->call(token, QStringLiteral("updateItem"), {id, json(patch)}).status;
        };
        QString reader = token;
        int answered = 200;
        if (route == u"edit") {
            answered = edit(R"({"title":"Renamed"})");
        } else if (route == u"refused") {
            answered = edit(R"({"title":" "})");
        } else if (route == u"add") {
            addItem(token, "{\"title\":\"Added\",\"section\":\"action\"}");
        } else if (route == u"mcp") {
            const QByteArray call = R"({"jsonrpc":"2.0","id":1,"method":"tools/call","params":)"
                                    R"({"name":"add_item","arguments":{"title":"From the agent",)"
                                    R"("section":"action","initiated":"human"}}})";
            answered = server
                           ->request("POST", "/mcp", call,
                                     bearer +
                                         ServerProcess::Headers{
                                             {"Accept", "application/json, text/event-stream"}})
                           .status;
        } else if (route == u"replace") {
            WireDocument document = server->document(user).document;
            document.items[0].title = QStringLiteral("Replaced");
            server->replaceDocument(user, document);
        } else if (route == u"proposal") {
            const QString at = server->createProposal(
                user,
                json(R"({"deltas":[{"kind":"add","item":{"title":"Proposed",)"
                     R"("section":"action","channel":"self","priority":"low","links":[]}}]})"));
            const JsonValue answer =
                JsonValue::object({{QStringLiteral("created_at"), at},
                                   {QStringLiteral("accepted"), JsonValue::Array{0}}});
            answered = server->call(token, QStringLiteral("resolveProposal"), {answer}).status;
        } else if (route == u"delete") {
            answered = server->request("POST", "/api/account/delete", "{}", bearer).status;
            // The newest user's id is free again: SQLite gives it to the next one.
            reader = newUser();
        }
        QCOMPARE(answered, status);
        for (const char* coding : {"identity", "gzip", "br"}) {
            const QStringList seen = titles(reader, coding);
            QVERIFY2(title.isEmpty() || seen.contains(title), qPrintable(seen.join(u',')));
            QVERIFY2(gone.isEmpty() || !seen.contains(gone), qPrintable(seen.join(u',')));
        }
    }

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
};

// Filed through the admin route over an earlier filing: refused with a sentence, and the
// earlier filing and the version left as they were, when the filing is malformed or the
// client's reader would refuse it as the client would receive it; read back otherwise.
void TestServerApi::filing_data() {
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<int>("status");
    QTest::addColumn<QString>("mentions");
    // `value` in an unknown key of a delta of unknown kind, `count` in an add_rule's origin.
    const auto filing = [](const QByteArray& value, const QByteArray& count) {
        return R"({"deltas":[{"kind":"split","x":)" + value +
               R"(},{"kind":"add_rule","rule":{"action":"exclude","match":{"op":"all",
        "conditions":[]},"params":{},"reason":"r","origin":{"from":"manual","rejection_ids":[],
        "count":)" +
               count + "}}}]}";
    };
    const auto nested = [](int depth) { return QByteArray(depth, '[') + QByteArray(depth, ']'); };
    const auto row = [](const char* name, const QByteArray& body, int status,
                        const char* mentions = "") {
        QTest::newRow(name) << body << status << QString::fromUtf8(mentions);
    };
    row("plain", filing("1", "3"), 200);
    row("count with a fraction", filing("1", "3.0"), 400);
    row("350 zeros", filing("0." + QByteArray(350, '0'), "3"), 200);
    row("past a double", filing("4.37e309", "3"), 400);
    // The reply wraps the proposal in one more object than the filing did.
    row("deepest the reply can hold", filing(nested(60), "3"), 200);
    row("one deeper", filing(nested(61), "3"), 400);
    row("512 deep", filing(nested(512), "3"), 400);
    row("no deltas", R"({"agent":"x"})", 400, "deltas");
    row("add without links", R"({"deltas":[{"kind":"add","item":{"title":"x",
        "section":"action","channel":"self","priority":"low"}}]})",
        400, "deltas[0].item: links");
    row("update to an impossible day", R"({"deltas":[{"kind":"escalate"},{"kind":"update",
        "item_id":"i","patch":{"due":"2026-02-30"}}]})",
        400, "deltas[1].patch");
    row("rule on an unknown field", R"({"deltas":[{"kind":"add_rule","rule":{"action":"exclude",
        "reason":"r","match":{"op":"all","conditions":[{"field":"colour","op":"equals",
        "value":["red"]}]},"params":{},"origin":{"from":"manual","rejection_ids":[],
        "count":0}}}]})",
        400, "colour");
}

void TestServerApi::filing() {
    QFETCH(QByteArray, body);
    QFETCH(int, status);
    QFETCH(QString, mentions);
    const QString earlier =
        server->createProposal(user, json(R"({"deltas":[{"kind":"complete","item_id":"x"}]})"));
    const qint64 before = server->document(user).version;
    const auto filed =
        server->admin("PUT", QStringLiteral("/admin/users/%1/proposal").arg(user), body);
    QCOMPARE(filed.status, status);
    const auto proposal =
        ProposalFormat::readReply(server->call(token, QStringLiteral("loadProposal")).body);
    QVERIFY(proposal);
    if (status == 200) {
        QCOMPARE(proposal->deltas.size(), 2);
        return;
    }
    QVERIFY2(!message(filed).isEmpty() && message(filed).contains(mentions),
             filed.body.constData());
    QCOMPARE(server->document(user).version, before);
    QCOMPARE(proposal->createdAtRaw.value_or(QString()), earlier);
}

void TestServerApi::refusals_data() {
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
    row("title over the cap", "addItem", R"([{"title":"LONG","section":"action"}])", 400, "title");
    row("note over the cap", "updateItem", R"(["ITEM", {"note":"LONG"}])", 400, "note");
    row("too many links", "updateItem", R"(["ITEM", {"links":[LINKS]}])", 400, "links");
    row("link label over the cap", "updateItem",
        R"(["ITEM", {"links":[{"label":"LONG","url":"https:\/\/a.b"}]}])", 400, "label");
    row("rule reason over the cap", "updateRule", R"(["RULE", {"reason":"LONG"}])", 400, "reason");
    row("resolve with nothing pending", "resolveProposal",
        R"([{"created_at":"2026-01-01T00:00:00Z","accepted":[],"rejected":[]}])", 409);
    row("resolve without an object", "resolveProposal", R"(["x"])", 400, "object");
    row("resolve without arguments", "resolveProposal", "[]", 400, "object");
}

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
    QTest::newRow("number past a double")
        << QByteArray(R"({"method":"load","args":[4.37e309]})") << 400;
    QTest::newRow("350 zeros") << R"({"method":"load","args":[0.)" + QByteArray(350, '0') + "]}"
                               << 200;
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
