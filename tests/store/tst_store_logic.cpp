// The Store's pure parts: queued edits and their JSON, the snapshot file, the sync rules
// and its texts, the pane's choices and widths, the activation gate and the item forms.

#include "APIError.h"
#include "ActivationGate.h"
#include "Await.h"
#include "Characters.h"
#include "ItemForms.h"
#include "OfflineSnapshot.h"
#include "Panes.h"
#include "PendingOp.h"
#include "Sync.h"
#include "WireFormats.h"

#include <QCoroTimer>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

#include <sys/stat.h>

using namespace PendingOps;
using namespace ItemForms;

Q_DECLARE_METATYPE(PendingOp)
Q_DECLARE_METATYPE(SyncDecision)
Q_DECLARE_METATYPE(ItemEdits)

namespace {

Item item(const QString& id, const QString& title) {
    Item i;
    i.id = id;
    i.title = title;
    i.createdAt = QDateTime::fromSecsSinceEpoch(1700000000, Qt::UTC);
    return i;
}

const QDateTime now = QDateTime(QDate(2026, 3, 1), QTime(9, 30), Qt::UTC);

OfflineSnapshot snapshot() {
    OfflineSnapshot s;
    s.wireDocument =
        R"({"schema_version":1,"items":[],"rejections":[],"rules":[],"suppressions":[]})";
    s.syncedVersion = 42;
    s.syncedAt = QDateTime(QDate(2026, 3, 1), QTime(9, 30, 15, 250), Qt::UTC);
    s.queue = {SetDone{"a", true}, Delete{"b"},
               Add{"local-1", "T", {}, {}, Section::action, "2026-03-02", Priority::high, {}}};
    return s;
}

QByteArray readAll(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

int mode(const QString& path) {
    struct stat status {};
    return ::stat(QFile::encodeName(path).constData(), &status) == 0 ? int(status.st_mode & 0777)
                                                                     : -1;
}

// The item the forms are tested on: no note, two links.
Item formItem() {
    Item item;
    item.id = QStringLiteral("a");
    item.title = QStringLiteral("Call Ana");
    item.source = QStringLiteral("Ana");
    item.due = QDateTime(QDate(2026, 3, 2), QTime(0, 0));
    item.priority = Priority::high;
    item.links = {{QStringLiteral("Doc"), QUrl(QStringLiteral("https://d.example"))},
                  {QStringLiteral("Ticket"), QUrl(QStringLiteral("https://t.example"))}};
    return item;
}

} // namespace

class TestStoreLogic : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }

    // --- queued edits ---

    void opJson_data() {
        QTest::addColumn<PendingOp>("op");
        QTest::addColumn<QByteArray>("json");
        QTest::newRow("setDone") << PendingOp(SetDone{"i1", true})
                                 << QByteArray(R"({"setDone":{"id":"i1","done":true}})");
        QTest::newRow("setFlagged") << PendingOp(SetFlagged{"i1", false})
                                    << QByteArray(R"({"setFlagged":{"id":"i1","flagged":false}})");
        QTest::newRow("delete") << PendingOp(Delete{"i1"})
                                << QByteArray(R"({"delete":{"id":"i1"}})");
        QTest::newRow("add minimal")
            << PendingOp(Add{"local-1", "T", {}, {}, Section::waiting, {}, Priority::low, {}})
            << QByteArray(
                   R"({"add":{"localID":"local-1","title":"T","section":"waiting","priority":"low","links":[]}})");
        const QList<SavedLink> doc = {{"Doc", "https://x.org/a"}};
        QTest::newRow("add full")
            << PendingOp(Add{"local-1", "T", "n", "Ana", Section::note, "2026-03-01",
                             Priority::high, doc})
            << QByteArray("{\"add\":{\"localID\":\"local-1\",\"title\":\"T\",\"note\":\"n\","
                          "\"source\":\"Ana\","
                          "\"section\":\"note\",\"dueDay\":\"2026-03-01\",\"priority\":\"high\","
                          "\"links\":[{\"label\":\"Doc\",\"url\":\"https://x.org/a\"}]}}");
        QTest::newRow("update")
            << PendingOp(Update{"i1", "T", {}, "Bo", {}, Priority::medium, {}, {}})
            << QByteArray(
                   R"({"update":{"id":"i1","title":"T","source":"Bo","priority":"medium","links":[]}})");
        QTest::newRow("update moving the section")
            << PendingOp(Update{"i1", "T", {}, {}, {}, Priority::low, {}, Section::waiting})
            << QByteArray(
                   R"({"update":{"id":"i1","title":"T","priority":"low","links":[],"section":"waiting"}})");
    }
    void opJson() {
        QFETCH(PendingOp, op);
        QFETCH(QByteArray, json);
        QCOMPARE(toJson(op).toJson(), json);
        QCOMPARE(fromJson(*JsonValue::parse(json)), std::optional(op));
    }

    void opJsonRefused_data() {
        QTest::addColumn<QByteArray>("json");
        QTest::newRow("two keys") << QByteArray(
            R"({"delete":{"id":"a"},"setDone":{"id":"a","done":true}})");
        QTest::newRow("no key") << QByteArray("{}");
        QTest::newRow("unknown kind") << QByteArray(R"({"archive":{"id":"a"}})");
        QTest::newRow("missing links")
            << QByteArray(R"({"update":{"id":"i","title":"T","priority":"low"}})");
        QTest::newRow("bad section") << QByteArray(
            R"({"add":{"localID":"l","title":"T","section":"later","priority":"low","links":[]}})");
        QTest::newRow("update to a bad section") << QByteArray(
            R"({"update":{"id":"i","title":"T","priority":"low","links":[],"section":"later"}})");
        QTest::newRow("done as text") << QByteArray(R"({"setDone":{"id":"a","done":"yes"}})");
        QTest::newRow("link without url") << QByteArray(
            R"({"update":{"id":"i","title":"T","priority":"low","links":[{"label":"x"}]}})");
        QTest::newRow("array") << QByteArray("[]");
    }
    void opJsonRefused() {
        QFETCH(QByteArray, json);
        QCOMPARE(fromJson(*JsonValue::parse(json)), std::nullopt);
    }

    void applyEffects() {
        Document d;
        d.items = {item("a", "Alpha"), item("b", "Beta"), item("a", "Alpha twin")};
        d.focus = {"Ana"};
        d.settings.hideDone = true;
        apply(SetDone{"a", true}, d, now);
        QCOMPARE(d.items[0].status, ItemStatus::done);
        QCOMPARE(d.items[0].completedAt, std::optional(now));
        QCOMPARE(d.items[2].status, ItemStatus::open); // only the first with the id
        apply(SetDone{"a", false}, d, now);
        QCOMPARE(d.items[0].completedAt, std::nullopt);

        apply(SetFlagged{"b", true}, d, now);
        QVERIFY(d.items[1].flagged);

        const QList<SavedLink> links = {{"ok", "https://x.org"}, {"bad", "ht tp://no"}};
        apply(Update{"b", "Beta 2", "note", "Bo", "2026-03-05", Priority::high, links, {}}, d, now);
        QCOMPARE(d.items[1].title, QStringLiteral("Beta 2"));
        QCOMPARE(d.items[1].due, LocalDay::date(QStringView(u"2026-03-05")));
        QCOMPARE(d.items[1].links.size(), 1);
        QVERIFY(d.items[1].flagged); // update leaves the flag, section and status alone

        apply(Delete{"a"}, d, now);
        QCOMPARE(d.items.size(), 1); // both items with the id are gone

        apply(Add{"local-9", "New", {}, {}, Section::waiting, "garbage", Priority::low, {}}, d,
              now);
        const Item& added = d.items.last();
        QCOMPARE(added.id, QStringLiteral("local-9"));
        QCOMPARE(added.channel, Channel::self);
        QCOMPARE(added.origin, Origin::user);
        QCOMPARE(added.createdAt, now);
        QCOMPARE(added.due, std::nullopt);

        // Nothing but the items changes, and a missing id is no error.
        const Document before = d;
        apply(Update{"missing", "X", {}, {}, {}, Priority::low, {}, {}}, d, now);
        QCOMPARE(d, before);
        QCOMPARE(d.focus, QStringList{"Ana"});
        QVERIFY(d.settings.hideDone);
    }

    void remapKeepsAddsAndEqualEditsShareAKey() {
        const QList<PendingOp> ops{
            Add{"local-1", "T", {}, {}, Section::action, {}, Priority::low, {}},
            SetDone{"local-1", true}, Update{"local-1", "T2", {}, {}, {}, Priority::low, {}, {}},
            Delete{"other"}};
        QStringList targets;
        for (const auto& op : remap(ops, "local-1", "srv-7"))
            targets << targetID(op);
        QCOMPARE(targets, (QStringList{"local-1", "srv-7", "srv-7", "other"}));

        QHash<PendingOp, int> strikes;
        for (const PendingOp& op :
             {PendingOp(SetDone{"a", true}), PendingOp(SetDone{"a", true}),
              PendingOp(SetDone{"a", false}), PendingOp(SetFlagged{"a", true})})
            strikes[op] += 1;
        QCOMPARE(strikes.size(), 3);
        QCOMPARE(strikes.value(SetDone{"a", true}), 2);
    }

    // --- the snapshot file ---

    void snapshotEncoding() {
        OfflineSnapshot s = snapshot();
        const auto json = *JsonValue::parse(s.encode());
        QCOMPARE(json.find(u"queue")->toArray().size(), 3u);
        QVERIFY(!json.contains(u"strikes"));
        QCOMPARE(json.find(u"syncedVersion")->toInteger(), 42);
        // Seconds since 2001-01-01T00:00:00Z.
        QCOMPARE(json.find(u"syncedAt")->toDouble(), 794050215.25);
        QCOMPARE(QByteArray::fromBase64(json.find(u"wireDocument")->toString().toLatin1()),
                 s.wireDocument);

        s.strikes.insert(SetDone{"a", true}, 3);
        s.strikes.insert(Delete{"b"}, 1);
        QCOMPARE(JsonValue::parse(s.encode())->find(u"strikes")->toArray().size(), 4u);
        QCOMPARE(OfflineSnapshot::decode(s.encode()), std::optional(s));

        const auto bare = OfflineSnapshot::decode(
            R"({"wireDocument":"e30=","syncedVersion":3,"syncedAt":1.5,"queue":[]})");
        QVERIFY(bare && bare->strikes.isEmpty());
        QCOMPARE(bare->wireDocument, QByteArray("{}"));
        QCOMPARE(bare->syncedAt, QDateTime(QDate(2001, 1, 1), QTime(0, 0, 1, 500), Qt::UTC));
    }

    void snapshotRefused_data() {
        QTest::addColumn<QByteArray>("json");
        QTest::newRow("not json") << QByteArray("{");
        QTest::newRow("missing queue")
            << QByteArray(R"({"wireDocument":"e30=","syncedVersion":1,"syncedAt":0})");
        QTest::newRow("bad base64")
            << QByteArray(R"({"wireDocument":"***","syncedVersion":1,"syncedAt":0,"queue":[]})");
        QTest::newRow("version as text")
            << QByteArray(R"({"wireDocument":"e30=","syncedVersion":"1","syncedAt":0,"queue":[]})");
        QTest::newRow("bad op") << QByteArray(
            R"({"wireDocument":"e30=","syncedVersion":1,"syncedAt":0,"queue":[{"x":{}}]})");
        QTest::newRow("odd strikes") << QByteArray(
            R"({"wireDocument":"e30=","syncedVersion":1,"syncedAt":0,"queue":[],"strikes":[{"delete":{"id":"a"}}]})");
        // Numbers a file cannot hold for us: each was undefined behaviour once converted.
        const auto with = [](const char* version, const char* at, const char* count) {
            return QStringLiteral(R"({"wireDocument":"e30=","syncedVersion":%1,"syncedAt":%2,)"
                                  R"("queue":[],"strikes":[{"delete":{"id":"a"}},%3]})")
                .arg(QLatin1String(version), QLatin1String(at), QLatin1String(count))
                .toUtf8();
        };
        QTest::newRow("version past 64 bits") << with("1e300", "0", "1");
        QTest::newRow("version with a fraction") << with("1.0", "0", "1");
        QTest::newRow("time past any date") << with("1", "1e300", "1");
        QTest::newRow("strikes past an int") << with("1", "0", "4294967296");
        QTest::newRow("negative strikes") << with("1", "0", "-1");
    }
    void snapshotRefused() {
        QFETCH(QByteArray, json);
        QCOMPARE(OfflineSnapshot::decode(json), std::nullopt);
    }

    void snapshotOnDisk() {
        QCOMPARE(OfflineDisk().fileURL(),
                 QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) +
                     QStringLiteral("/Velmora/offline-snapshot.json"));
        QTemporaryDir dir;
        const QString folder = dir.filePath(QStringLiteral("nested/Velmora"));
        const OfflineDisk disk(folder);
        QCOMPARE(disk.load(), std::nullopt);
        disk.save(snapshot());
        QCOMPARE(disk.load(), std::optional(snapshot()));
        // Owner only, also where an earlier version left the folder and the file open.
        for (int round = 0; round < 2; ++round) {
            QCOMPARE(mode(folder), 0700);
            QCOMPARE(mode(disk.fileURL()), 0600);
            ::chmod(QFile::encodeName(folder).constData(), 0755);
            ::chmod(QFile::encodeName(disk.fileURL()).constData(), 0644);
            disk.save(snapshot());
        }
        const QByteArray saved = readAll(disk.fileURL());

        // Only the save's own temporaries go at start-up.
        for (const char* name :
             {"offline-snapshot.json.Xa81bQ", "offline-snapshot.json.tmp", "notes.txt"}) {
            QFile stray(QDir(folder).filePath(QString::fromLatin1(name)));
            QVERIFY(stray.open(QIODevice::WriteOnly));
        }
        disk.removeStrayTemporaries();
        QCOMPARE(QDir(folder).entryList(QDir::Files | QDir::Hidden),
                 (QStringList{"notes.txt", "offline-snapshot.json"}));
        QCOMPARE(readAll(disk.fileURL()), saved);

        // A file that does not decode stays on disk and reads as nothing.
        QFile file(disk.fileURL());
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("garbage");
        file.close();
        QCOMPARE(disk.load(), std::nullopt);
        QVERIFY(QFile::exists(disk.fileURL()));
        disk.clear();
        QVERIFY(!QFile::exists(disk.fileURL()));
        disk.clear(); // a missing file is no error
    }

    // An unreadable file goes aside, the three newest kept, and out of the start's sweep.
    void setAside() {
        QTemporaryDir dir;
        const OfflineDisk disk(dir.path());
        QVERIFY(!disk.setAside());
        for (const char* bytes : {"first", "second", "third", "fourth"}) {
            QFile file(disk.fileURL());
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write(bytes);
            file.close();
            QVERIFY(disk.setAside());
            QVERIFY(!QFile::exists(disk.fileURL()));
        }
        disk.removeStrayTemporaries();
        QCOMPARE(
            QDir(dir.path()).entryList(QDir::Files | QDir::Hidden),
            (QStringList{"offline-snapshot.unreadable-1.json", "offline-snapshot.unreadable-2.json",
                         "offline-snapshot.unreadable-3.json"}));
        QCOMPARE(readAll(disk.asideURL(1)), "fourth");
        QCOMPARE(readAll(disk.asideURL(3)), "second");
        QCOMPARE(mode(disk.asideURL(1)), 0600);
    }

    // --- sync rules ---

    void syncDecision_data() {
        QTest::addColumn<qint64>("server");
        QTest::addColumn<qint64>("synced");
        QTest::addColumn<bool>("queueEmpty");
        QTest::addColumn<SyncDecision>("expected");
        QTest::newRow("same, queue") << 7LL << 7LL << false << SyncDecision::replaySilently;
        QTest::newRow("moved, empty") << 8LL << 7LL << true << SyncDecision::adoptServerSilently;
        QTest::newRow("moved, queue") << 8LL << 7LL << false << SyncDecision::askUser;
        QTest::newRow("same, empty") << 7LL << 7LL << true << SyncDecision::nothingToDo;
        // Versions are opaque: a smaller one is just as much a change.
        QTest::newRow("went back") << 3LL << 7LL << true << SyncDecision::adoptServerSilently;
        QTest::newRow("first sync, server at 0") << 0LL << 0LL << true << SyncDecision::nothingToDo;
    }
    void syncDecision() {
        QFETCH(qint64, server);
        QFETCH(qint64, synced);
        QFETCH(bool, queueEmpty);
        QTEST(Sync::decide(server, synced, queueEmpty), "expected");
    }

    void limitText_data() {
        QTest::addColumn<QString>("body");
        QTest::addColumn<QString>("expected");
        QTest::newRow("message") << R"({"message":"You have reached 50 open tasks.","cap":50})"
                                 << QString("You have reached 50 open tasks.");
        // Anything else is shown as it came.
        for (const char* body : {"Upgrade to add more.", R"({"message":50})", R"(["message"])", ""})
            QTest::addRow("as is: %s", body) << QString(body) << QString(body);
    }
    void limitText() {
        QFETCH(QString, body);
        QTEST(Sync::limitText(body), "expected");
        // The titled form is checked where the Store sets an edit aside (tst_store_sync); here
        // only a title that looks like a placeholder.
        QCOMPARE(Sync::setAsideMessage(std::nullopt),
                 QStringLiteral(
                     "One change couldn't be saved after 5 tries \u2014 it's been set aside."));
        QCOMPARE(Sync::setAsideMessage(QStringLiteral("Cut 50%1 of %2")),
                 QStringLiteral("Couldn't save \u201cCut 50%1 of %2\u201d after 5 tries \u2014 "
                                "it's been set aside."));
    }

    void unreachable_data() {
        QTest::addColumn<QNetworkReply::NetworkError>("code");
        QTest::addColumn<bool>("offline");
        using E = QNetworkReply;
        QTest::newRow("refused") << E::ConnectionRefusedError << true;
        QTest::newRow("closed") << E::RemoteHostClosedError << true;
        QTest::newRow("no host") << E::HostNotFoundError << true;
        QTest::newRow("time-out") << E::TimeoutError << true;
        QTest::newRow("session failed") << E::NetworkSessionFailedError << true;
        QTest::newRow("temporary failure") << E::TemporaryNetworkFailureError << true;
        QTest::newRow("network unreachable") << E::UnknownNetworkError << true;
        QTest::newRow("proxy refused") << E::ProxyConnectionRefusedError << true;
        QTest::newRow("background not allowed") << E::BackgroundRequestNotAllowedError << true;
        QTest::newRow("tls") << E::SslHandshakeFailedError << false;
        QTest::newRow("cancelled") << E::OperationCanceledError << false;
        QTest::newRow("http 404 code") << E::ContentNotFoundError << false;
        QTest::newRow("protocol") << E::ProtocolFailure << false;
    }
    void unreachable() {
        QFETCH(QNetworkReply::NetworkError, code);
        QFETCH(bool, offline);
        QCOMPARE(Sync::isUnreachable(code), offline);
        QCOMPARE(Sync::isUnreachable(TransportError(code, QStringLiteral("x"))), offline);
        QCOMPARE(Sync::isUnreachable(std::make_exception_ptr(TransportError(code, "x"))), offline);
        // A reply from the server, whatever it says, is never "offline".
        for (const auto& error :
             {APIError::server(503, {}), APIError::unauthorised(), APIError::notConfigured(),
              APIError::decoding(QStringLiteral("x"))})
            QVERIFY(!Sync::isUnreachable(error));
        QVERIFY(!Sync::isUnreachable(std::make_exception_ptr(std::runtime_error("x"))));
    }

    // --- the pane ---

    void paneContent() {
        using P = PaneContent;
        QCOMPARE(PaneContents::resolve(true, true, true), P::draft);
        QCOMPARE(PaneContents::resolve(false, true, true), P::screen);
        QCOMPARE(PaneContents::resolve(false, false, true), P::item);
        QCOMPARE(PaneContents::resolve(false, false, false), P::placeholder);
        QCOMPARE(PaneContents::resolve(true, false, false), P::draft);

        using S = AppChrome::Screen;
        const AppChrome::Spec settings = AppChrome::spec(S::settings);
        QVERIFY(!settings.settingsEnabled && settings.aiEnabled && !settings.showsPeople);
        QCOMPARE(settings.buttonCount(), 2);
        const AppChrome::Spec updates = AppChrome::spec(S::updates);
        QVERIFY(updates.showsHelp && updates.showsPeople);
        QCOMPARE(updates.buttonCount(), 3);
        QVERIFY(!AppChrome::spec(S::aiAssistant).aiEnabled);
    }

    void paneWidth_data() {
        QTest::addColumn<double>("total");
        QTest::addColumn<double>("fraction");
        QTest::addColumn<double>("width");
        QTest::newRow("default split") << 1000.0 << 0.42 << 420.0;
        QTest::newRow("the list's floor binds exactly") << 1000.0 << 0.7 << 620.0;
        QTest::newRow("the list keeps 380") << 860.0 << 0.7 << 480.0;
        QTest::newRow("the pane keeps its floor") << 600.0 << 0.3 << 340.0;
        QTest::newRow("a fraction beyond the range is held") << 1000.0 << 0.95 << 620.0;
        QTest::newRow("below the range too") << 2000.0 << 0.1 << 600.0;
    }
    void paneWidth() {
        QFETCH(double, total);
        QFETCH(double, fraction);
        QTEST(PaneSplit::paneWidth(total, fraction, 380, 340), "width");
        QCOMPARE(PaneSplit::clamp(fraction), std::clamp(fraction, 0.3, 0.7));
    }

    // --- one activation at a time ---

    void overlappingActivationsShareOneRun() {
        QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
        ActivationGate gate;
        int runs = 0;
        QList<bool> results;
        const std::function<QCoro::Task<>()> work = [&]() -> QCoro::Task<> {
            ++runs;
            QTimer timer;
            timer.start(50);
            co_await timer;
        };
        auto caller = [&]() -> QCoro::Task<> {
            auto task = gate.run(work);
            results << co_await std::move(task);
        };
        auto first = caller();
        auto second = caller();
        auto third = caller();
        QVERIFY(gate.isRunning());
        TestAwait::await(std::move(first));
        TestAwait::await(std::move(second));
        TestAwait::await(std::move(third));
        QCOMPARE(runs, 1);
        QCOMPARE(results, (QList<bool>{true, false, false}));
        QVERIFY(!gate.isRunning());

        // Once it has ended, the next activation runs the work again.
        QVERIFY(TestAwait::await(gate.run(work)));
        QCOMPARE(runs, 2);
    }

    // --- the item forms ---

    void limitedCountsWhatTheReaderSees_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("limit");
        QTest::addColumn<QString>("cut");
        QTest::addColumn<int>("length");
        const QString thumb = QStringLiteral("\U0001F44D\U0001F3FD"); // thumbs up, skin tone
        const QString flag = QStringLiteral("\U0001F1F3\U0001F1F1");  // NL
        const QString family = QStringLiteral("\U0001F469\u200D\U0001F467");
        const QString accent = QStringLiteral("e\u0301");
        QTest::newRow("short text stays") << "abc" << 5 << "abc" << 3;
        QTest::newRow("plain text cut") << "abcdef" << 4 << "abcd" << 6;
        QTest::newRow("skin tone is one") << thumb + thumb + "x" << 2 << thumb + thumb << 3;
        QTest::newRow("flags are one each") << flag + flag + flag << 2 << flag + flag << 3;
        QTest::newRow("joined emoji is one") << family + "ab" << 1 << family << 3;
        QTest::newRow("combining accent kept whole") << accent + accent << 1 << accent << 2;
        QTest::newRow("empty") << "" << 3 << "" << 0;
    }
    void limitedCountsWhatTheReaderSees() {
        QFETCH(QString, text);
        QFETCH(int, limit);
        QTEST(Characters::left(text, limit), "cut");
        QFETCH(int, length);
        QCOMPARE(Characters::count(text), length);
    }

    // A new link needs a label and a web address not yet attached; empty name: refused.
    void newLink_data() {
        QTest::addColumn<QString>("label");
        QTest::addColumn<QString>("url");
        QTest::addColumn<QString>("name");
        QTest::addColumn<bool>("canAdd");
        const auto row = [](const char* tag, const char* label, const char* url, const char* name,
                            bool canAdd) {
            QTest::newRow(tag) << QString(label) << QString(url) << QString(name) << canAdd;
        };
        row("https", "Doc", "https://example.com/a", "Doc", true);
        row("http", "Doc", "http://example.com", "Doc", true);
        row("scheme in capitals", "Doc", "HTTPS://example.com", "Doc", true);
        row("spaces and tabs trimmed", " \tDoc \t", "\t https://e.com ", "Doc", true);
        row("ftp", "Doc", "ftp://example.com", "", false);
        row("mailto", "Doc", "mailto:ana@example.com", "", false);
        row("no scheme", "Doc", "example.com", "", false);
        row("blank label", " \t ", "https://example.com", "", false);
        row("blank address", "Doc", "  ", "", false);
        row("does not parse", "Doc", "https://exa mple.com", "", false);
        row("attached address, other label", "Other", "https://d.example", "Other", false);
        row("attached address, padded", "Other", " https://t.example\t", "Other", false);
    }
    void newLink() {
        QFETCH(QString, label);
        QFETCH(QString, url);
        QFETCH(QString, name);
        const auto parsed = ItemForms::parsedNewLink(label, url);
        QCOMPARE(parsed.has_value(), !name.isEmpty());
        if (parsed) {
            QCOMPARE(parsed->label, name);
            QCOMPARE(parsed->url.scheme().toLower(), url.trimmed().section(u':', 0, 0).toLower());
        }
        QTEST(ItemForms::canAddLink(formItem().links, label, url), "canAdd");
    }

    void dirty_data() {
        QTest::addColumn<ItemEdits>("edits");
        QTest::addColumn<bool>("isDirty");
        const auto edited = [](const std::function<void(ItemEdits&)>& change) {
            ItemEdits edits = ItemEdits::of(formItem());
            change(edits);
            return edits;
        };
        // The item has no note: "as loaded" also shows a missing note taken as empty.
        QTest::newRow("as loaded") << edited([](ItemEdits&) {}) << false;
        QTest::newRow("title") << edited([](ItemEdits& e) { e.title += u'!'; }) << true;
        QTest::newRow("note typed") << edited([](ItemEdits& e) { e.note = "more"; }) << true;
        QTest::newRow("who cleared") << edited([](ItemEdits& e) { e.source.clear(); }) << true;
        QTest::newRow("date cleared") << edited([](ItemEdits& e) { e.due.reset(); }) << true;
        QTest::newRow("priority") << edited([](ItemEdits& e) { e.priority = Priority::low; })
                                  << true;
        QTest::newRow("links reordered")
            << edited([](ItemEdits& e) { std::swap(e.links[0], e.links[1]); }) << true;
        QTest::newRow("same day, other zone")
            << edited([](ItemEdits& e) { e.due = e.due->toUTC(); }) << false;
    }
    void dirty() {
        QFETCH(ItemEdits, edits);
        QTEST(ItemForms::dirty(edits, formItem()), "isDirty");
    }

    void formLines() {
        QCOMPARE(ItemForms::shareStatus({QStringLiteral("Ana"), SharedState::pending}),
                 "Sent to Ana — not accepted yet");
        QCOMPARE(ItemForms::shareStatus({QStringLiteral("Ana"), SharedState::accepted}),
                 "Ana has this");
        QCOMPARE(ItemForms::shareStatus({QStringLiteral("Ana"), SharedState::declined}),
                 "Ana said no — it is yours again");
        QCOMPARE(ItemForms::shareStatus({QStringLiteral("Ana"), SharedState::doneClaimed}),
                 "Ana says this is done");
        QCOMPARE(limitReachedLine(200), QStringLiteral("Limit reached — 200 characters."));
        QCOMPARE(linksAttachedLine({}), QString());
        QCOMPARE(linksAttachedLine({formItem().links.first()}),
                 QStringLiteral("1 link attached: Doc"));
        QCOMPARE(linksAttachedLine(formItem().links),
                 QStringLiteral("2 links attached: Doc, Ticket"));
        QCOMPARE(trimmed(QStringLiteral(" \n\tTitle \r\n")), QStringLiteral("Title"));
        QCOMPARE(priorityTitle(Priority::medium), QStringLiteral("Medium"));
        const QDateTime added(QDate(2026, 1, 6), QTime(15, 4));
        QCOMPARE(addedLabel(added, QLocale(QLocale::English, QLocale::UnitedStates)),
                 QStringLiteral("Jan 6, 2026, 3:04\u202FPM"));
    }
};

QTEST_MAIN(TestStoreLogic)
#include "tst_store_logic.moc"
