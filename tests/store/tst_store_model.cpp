// Random sequences of edits, lost connections, changes from another device and server
// faults, run by a Store against a real velmora-server. After every step the server's
// document, the queue, the offline and conflict state and the file are compared with a
// small model of what the rules promise; at the end the client settles and must show
// exactly what the server holds.
//
// A failure names its seed; VELMORA_MODEL_SEED=<n> runs that one sequence alone.

#include "Await.h"
#include "ServerProcess.h"
#include "Store.h"
#include "WireFormats.h"
#include "WireJson.h"

#include <QNetworkProxy>
#include <QStandardPaths>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QtTest>

#include <memory>
#include <random>

using TestAwait::await;

namespace {

#if defined(__SANITIZE_ADDRESS__)
constexpr int sequenceCount = 200; // the instrumented build is several times slower
#else
constexpr int sequenceCount = 400;
#endif

// --- the network between client and server ---------------------------------------------

// The client's session goes direct when online. Offline, it goes through a "proxy" that
// refuses, hangs up or never answers, so a request made offline never reaches the server.
class Network {
public:
    enum class Outage { none, refused, hangUp, silent };

    Network() {
        QTcpServer probe; // a port that was free a moment ago refuses connections
        probe.listen(QHostAddress::LocalHost);
        m_refusedPort = probe.serverPort();
        probe.close();
        m_hangUp.listen(QHostAddress::LocalHost);
        QObject::connect(&m_hangUp, &QTcpServer::newConnection, [this] {
            while (auto* socket = m_hangUp.nextPendingConnection())
                socket->abort();
        });
        m_silent.listen(QHostAddress::LocalHost);
        QObject::connect(&m_silent, &QTcpServer::newConnection, [this] {
            while (auto* socket = m_silent.nextPendingConnection())
                m_held << socket; // never read, never answered
        });
    }

    QNetworkAccessManager* session() { return &m_session; }
    Outage outage() const { return m_outage; }
    bool isDown() const { return m_outage != Outage::none; }

    // A short time-out only while nothing answers: it is what makes that case fail.
    void set(Outage outage, APIClient& client) {
        m_outage = outage;
        qDeleteAll(std::exchange(m_held, {}));
        client.setTimeoutMs(outage == Outage::silent ? 200 : 10'000);
        const quint16 port = outage == Outage::refused  ? m_refusedPort
                             : outage == Outage::hangUp ? m_hangUp.serverPort()
                                                        : m_silent.serverPort();
        m_session.setProxy(
            outage == Outage::none
                ? QNetworkProxy(QNetworkProxy::NoProxy)
                : QNetworkProxy(QNetworkProxy::HttpProxy, QStringLiteral("127.0.0.1"), port));
    }

private:
    QNetworkAccessManager m_session;
    QTcpServer m_hangUp;
    QTcpServer m_silent;
    QList<QTcpSocket*> m_held;
    quint16 m_refusedPort = 0;
    Outage m_outage = Outage::none;
};

// The Store syncs its file at every save; on tmpfs that costs nothing, and what is checked
// here is the file's content, not its durability.
QString fileFolder() {
    const QString shm = QStringLiteral("/dev/shm");
    const QString base = QFileInfo(shm).isWritable() ? shm : QDir::tempPath();
    return base + QStringLiteral("/velmora-model-XXXXXX");
}

QMap<QString, int>& coverage() {
    static QMap<QString, int> counts;
    return counts;
}
void reached(const char* what) {
    ++coverage()[QLatin1String(what)];
}

// --- the model ---------------------------------------------------------------------------

// Every task is named by a key that its title carries ("K3#2": task K3, second title), so
// an item can be followed across ids and renames.
QString keyOf(const QString& title) {
    return title.section(QLatin1Char('#'), 0, 0);
}

enum class Kind { setDone, setFlagged, remove, add, update };

struct ModelOp {
    Kind kind = Kind::add;
    QString key;
    bool local = false; // names the task by its local id (an add not yet on the server)
    bool value = false; // done or flagged
    QString title;      // add, update
    Priority priority = Priority::medium;

    QString rpc() const {
        static const char* rpcs[] = {"setItemStatus", "updateItem", "softDelete", "addItem",
                                     "updateItem"};
        return QString::fromLatin1(rpcs[int(kind)]);
    }
    // Equal records share one strike count, as the queue keys them by value.
    QString identity() const {
        return QStringLiteral("%1|%2|%3|%4|%5|%6")
            .arg(int(kind))
            .arg(key)
            .arg(local)
            .arg(value)
            .arg(title)
            .arg(int(priority));
    }
    QString describe() const {
        static const char* names[] = {"setDone", "setFlagged", "delete", "add", "update"};
        return QStringLiteral("%1(%2%3%4)")
            .arg(QLatin1String(names[int(kind)]), key, local ? QStringLiteral(" local") : QString(),
                 kind == Kind::add || kind == Kind::update ? QStringLiteral(" \"%1\"").arg(title)
                 : kind == Kind::remove                    ? QString()
                                                           : QStringLiteral(" %1").arg(value));
    }
};

struct ModelItem {
    QString title;
    bool done = false;
    bool flagged = false;
    bool deleted = false;
    Priority priority = Priority::medium;
    bool operator==(const ModelItem&) const = default;
};

// A fault scripted for the next write of one remote method.
struct Fault {
    enum Type { none, refusal, lostReply } type = none;
    int status = 0;
    int count = 1; // lost replies: 2 defeats the client's own resend as well
};

// What the rules say the server holds and the client keeps, step by step.
struct Model {
    QMap<QString, ModelItem> server; // absent: not on the server at all
    QSet<QString> addedKeys;         // adds the server has applied, hence keyed
    QList<ModelOp> queue;
    QHash<QString, int> strikes;
    bool offline = false;
    bool conflict = false;
    bool moved = false; // the server's version is not the client's baseline
    bool faultUsed = false;
    QString limitMessage;
    bool setAside = false;

    enum class Reply { applied, unchanged, notFound };

    // The server handling one write.
    Reply serverApply(const ModelOp& op) {
        if (op.kind == Kind::add) {
            if (addedKeys.contains(op.key)) {
                reached("repeated add");
                return Reply::unchanged;
            } // the idempotency key answers with the first reply
            addedKeys.insert(op.key);
            server[op.key] = ModelItem{op.title, false, false, false, op.priority};
            moved = true;
            return Reply::applied;
        }
        if (op.local || !server.contains(op.key))
            return Reply::notFound;
        ModelItem& item = server[op.key];
        switch (op.kind) {
        case Kind::setDone:
            item.done = op.value;
            break;
        case Kind::setFlagged:
            item.flagged = op.value;
            break;
        case Kind::remove:
            item.deleted = true;
            break;
        case Kind::update:
            item.title = op.title;
            item.priority = op.priority;
            break;
        case Kind::add:
            break;
        }
        moved = true; // every accepted write is a new version, even an idle one
        return Reply::applied;
    }

    void adopt() {
        moved = false;
        offline = false;
    }

    void dropHead() {
        queue.pop_front();
        QSet<QString> held;
        for (const auto& op : queue)
            held.insert(op.identity());
        strikes.removeIf([&](const auto& entry) { return !held.contains(entry.key()); });
    }

    // One edit: applied at once on screen, then sent, or queued while offline.
    // Returns whether it was accepted (saved or queued).
    bool perform(const ModelOp& op, const Fault& fault, bool networkDown, bool resent) {
        if (offline || networkDown) {
            offline = true;
            queue.push_back(op);
            return true;
        }
        if (fault.type == Fault::refusal) {
            faultUsed = true;
            if (fault.status == 402)
                limitMessage = QStringLiteral("Cap %1").arg(op.key);
            return false; // refused and rolled back
        }
        if (fault.type == Fault::lostReply) {
            faultUsed = true;
            serverApply(op);
            if (!resent) {
                // No answer at all: indistinguishable from a lost connection.
                reached("live reply lost");
                offline = true;
                queue.push_back(op);
                return true;
            }
            // The client's own resend got an answer: the write was applied again.
            reached("live reply lost, resent");
        }
        if (serverApply(op) == Reply::notFound) {
            reached("live edit of a gone task");
            return false;
        }
        adopt();
        return true;
    }

    // Sends the queue from its head; false when a failure stopped it.
    bool replay(const Fault& fault, bool networkDown, bool resent) {
        bool first = true;
        while (!queue.isEmpty()) {
            const ModelOp op = queue.front();
            const Fault now = first ? fault : Fault{};
            first = false;
            if (networkDown) {
                offline = true;
                return false;
            }
            if (now.type == Fault::refusal) {
                faultUsed = true;
                if (now.status == 401) {
                    reached("replay 401");
                    return false; // no strike, the edit stays
                }
                if (now.status == 402)
                    limitMessage = QStringLiteral("Cap %1").arg(op.key);
                if (now.status < 500) {
                    reached("replay refused");
                    dropHead();
                    continue;
                }
                if (++strikes[op.identity()] < Sync::strikeLimit)
                    return false;
                reached("set aside");
                setAside = true;
                dropHead();
                continue;
            }
            if (now.type == Fault::lostReply) {
                faultUsed = true;
                serverApply(op);
                if (!resent) {
                    reached("replay reply lost");
                    offline = true;
                    return false;
                }
            }
            const Reply reply = serverApply(op);
            if (reply == Reply::notFound)
                reached("replay of a gone task");
            dropHead();
            if (op.kind == Kind::add && reply != Reply::notFound)
                for (auto& later : queue)
                    if (later.key == op.key && later.local) {
                        reached("remapped");
                        later.local = false;
                    }
        }
        return true;
    }

    void sync(const Fault& fault, bool networkDown, bool resent) {
        if (networkDown) {
            offline = true;
            return;
        }
        if (queue.isEmpty()) {
            adopt(); // a load when the version moved; "Back online" when it did not
            return;
        }
        if (moved) {
            reached("conflict");
            offline = false;
            conflict = true;
            return;
        }
        if (replay(fault, networkDown, resent))
            adopt();
    }

    void keepMine(const Fault& fault, bool networkDown, bool resent) {
        reached("keep mine");
        conflict = false;
        if (networkDown) {
            offline = true;
            return;
        }
        if (replay(fault, networkDown, resent))
            adopt();
    }

    void keepOnline(bool networkDown) {
        reached(queue.isEmpty() ? "keep online (no edits)" : "keep online");
        conflict = false;
        queue.clear();
        strikes.clear();
        if (networkDown)
            offline = true;
        else
            adopt();
    }
};

// --- one sequence --------------------------------------------------------------------------

class Sequence {
public:
    Sequence(ServerProcess& server, Network& network, quint32 seed)
        : m_server(server)
        , m_network(network)
        , m_rng(seed)
        , m_user(QStringLiteral("model%1").arg(seed)) {
        m_token = m_server.createUser(m_user);
        m_server.clearFaults();
        launch();
    }

    ~Sequence() {
        m_store.reset();
        m_server.clearFaults();
    }

    void run() {
        m_network.set(Network::Outage::none, m_store->client());
        await(m_store->refresh(false)); // the first load gives the baseline
        expect(m_store->syncedWire().has_value(), "no baseline after the first load");
        check();
        const int steps = pick(15, 30);
        for (int i = 0; i < steps; ++i) {
            step();
            check();
        }
        settle();
    }

    const QStringList& log() const { return m_log; }

private:
    int pick(int low, int high) { return std::uniform_int_distribution<int>(low, high)(m_rng); }
    bool chance(int percent) { return pick(0, 99) < percent; }

    void expect(bool condition, const QString& what) {
        if (!condition)
            throw std::runtime_error(what.toStdString());
    }

    void launch() {
        m_store.reset();
        auto* client = new APIClient(m_server.baseURL(), m_token, m_network.session());
        m_store = std::make_unique<Store>(client, OfflineDisk(m_dir.path()),
                                          Keychain(m_secrets, QStringLiteral("svc")));
        m_network.set(m_network.outage(), *client);
    }

    // --- steps ---

    void step() {
        if (m_store->hasPendingConflict() && chance(50))
            return answer(randomFault());
        const int roll = pick(0, 99);
        if (roll < 16)
            return edit(newAdd(), Fault{});
        if (roll < 46)
            return edit(editOfExisting(), Fault{});
        if (roll < 54)
            return editWithFault(Fault{Fault::refusal, refusal()});
        if (roll < 60)
            return editWithFault(Fault{Fault::lostReply, 0, pick(1, 2)});
        if (roll < 68)
            return flipNetwork();
        if (roll < 75)
            return otherDevice();
        if (roll < 86)
            return syncWithFault(randomFault());
        if (roll < 93)
            return flakyServer();
        if (roll < 96)
            return relaunch();
        return syncWithFault(Fault{});
    }

    int refusal() {
        static const int statuses[] = {400, 401, 402, 404, 409, 500, 502, 503};
        return statuses[pick(0, int(std::size(statuses)) - 1)];
    }

    Fault randomFault() {
        if (chance(35))
            return Fault{};
        if (chance(65))
            return Fault{Fault::refusal, refusal()};
        return Fault{Fault::lostReply, 0, pick(1, 2)};
    }

    ModelOp newAdd() {
        ModelOp op;
        op.kind = Kind::add;
        op.key = QStringLiteral("K%1").arg(++m_keys);
        op.title = op.key + QStringLiteral("#0");
        op.priority = Priority(pick(0, 2));
        op.local = true;
        return op;
    }

    // An edit of an item the user sees, or an add when the list is empty.
    ModelOp editOfExisting() {
        const auto& items = m_store->document().items;
        if (items.isEmpty())
            return newAdd();
        const Item& item = items[pick(0, int(items.size()) - 1)];
        ModelOp op;
        op.key = keyOf(item.title);
        op.local = LocalID::isLocal(item.id);
        switch (pick(0, 3)) {
        case 0:
            op.kind = Kind::setDone;
            op.value = !item.isDone();
            break;
        case 1:
            op.kind = Kind::setFlagged;
            op.value = chance(50);
            break;
        case 2:
            op.kind = Kind::remove;
            break;
        default:
            op.kind = Kind::update;
            op.title = QStringLiteral("%1#%2").arg(op.key).arg(++m_renames);
            op.priority = Priority(pick(0, 2));
            break;
        }
        return op;
    }

    const Item* itemFor(const ModelOp& op) const {
        for (const auto& item : m_store->document().items)
            if (keyOf(item.title) == op.key && LocalID::isLocal(item.id) == op.local)
                return &item;
        return nullptr;
    }

    void inject(const ModelOp& op, const Fault& fault) {
        m_model.faultUsed = false;
        if (fault.type == Fault::refusal) {
            const QByteArray body =
                fault.status == 402 ? QStringLiteral(R"({"message":"Cap %1"})").arg(op.key).toUtf8()
                                    : QByteArray();
            m_server.failNext(op.rpc(), fault.status, body);
        } else if (fault.type == Fault::lostReply) {
            m_server.dropReplyAfterWrite(op.rpc(), fault.count);
        }
    }

    // Qt sends a POST again by itself when the connection closes unanswered, a number of
    // times that depends on the connection's history. Whether a repeat got through shows
    // in the client: a write that got no answer at all leaves it offline.
    bool resent() const { return !m_store->isOffline(); }

    // After a step with a fault: the model says whether a request met it.
    void faultSettled(const Fault& fault) {
        if (fault.type == Fault::none)
            return;
        const int pending = m_server.pendingFaults();
        const bool used = fault.type == Fault::lostReply ? pending < fault.count : pending == 0;
        expect(used == m_model.faultUsed,
               QStringLiteral("the injected fault was %1 used").arg(used ? "" : "not"));
        m_server.clearFaults();
    }

    void edit(const ModelOp& op, const Fault& fault) {
        m_log << QStringLiteral("edit %1%2").arg(op.describe(), describe(fault));
        inject(op, fault);
        const bool networkDown = m_network.isDown();
        bool accepted = true;
        if (op.kind == Kind::add) {
            accepted = await(m_store->add(op.title, {}, {}, Section::action, {}, op.priority, {},
                                          LocalID::make()));
        } else {
            const Item* item = itemFor(op);
            expect(item, QStringLiteral("no item for %1").arg(op.describe()));
            const Item copy = *item;
            switch (op.kind) {
            case Kind::setDone:
                expect(copy.isDone() != op.value, QStringLiteral("toggle goes the wrong way"));
                await(m_store->toggle(copy));
                break;
            case Kind::setFlagged:
                await(m_store->setFlagged(copy, op.value));
                break;
            case Kind::remove:
                await(m_store->deleteItem(copy));
                break;
            default:
                accepted = await(
                    m_store->update(copy, op.title, copy.note, copy.source, {}, op.priority, {}));
                break;
            }
        }
        const bool expected = m_model.perform(op, fault, networkDown, resent());
        if (op.kind == Kind::add || op.kind == Kind::update)
            expect(accepted == expected,
                   QStringLiteral("the edit returned %1").arg(accepted ? "true" : "false"));
        faultSettled(fault);
    }

    void editWithFault(const Fault& fault) {
        edit(chance(30) ? newAdd() : editOfExisting(), fault);
    }

    void flipNetwork() {
        Network::Outage outage = Network::Outage::none;
        if (!m_network.isDown()) {
            const int roll = pick(0, 99);
            outage = roll < 75   ? Network::Outage::refused
                     : roll < 95 ? Network::Outage::hangUp
                                 : Network::Outage::silent;
        }
        static const char* names[] = {"online", "offline (refused)", "offline (hang-up)",
                                      "offline (silent)"};
        m_log << QString::fromLatin1(names[int(outage)]);
        m_network.set(outage, m_store->client());
    }

    void otherDevice() {
        auto stored = m_server.document(m_user).document;
        QList<qsizetype> live;
        for (qsizetype i = 0; i < stored.items.size(); ++i)
            if (!stored.items[i].deletedAt)
                live << i;
        const int roll = pick(0, 99);
        if (roll < 50 || live.isEmpty()) {
            WireItem item;
            const QString key = QStringLiteral("O%1").arg(++m_keys);
            item.id = QStringLiteral("other-") + key;
            item.title = key + QStringLiteral("#0");
            item.createdAt = QStringLiteral("2026-01-01T00:00:00Z");
            stored.items.push_back(item);
            m_model.server[key] = ModelItem{item.title};
            m_model.addedKeys.insert(key);
            m_log << QStringLiteral("another device adds %1").arg(key);
        } else {
            const qsizetype index = live[pick(0, int(live.size()) - 1)];
            const QString key = keyOf(stored.items[index].title);
            if (roll < 75) {
                stored.items[index].deletedAt = QStringLiteral("2026-01-02T00:00:00Z");
                m_model.server[key].deleted = true;
                m_log << QStringLiteral("another device deletes %1").arg(key);
            } else {
                stored.items.removeAt(index);
                m_model.server.remove(key);
                m_log << QStringLiteral("another device purges %1").arg(key);
            }
        }
        m_server.replaceDocument(m_user, stored);
        m_model.moved = true;
    }

    // The first write a sync would send is the head of the queue: the fault aims at it.
    Fault aimAtHead(const Fault& fault) {
        if (fault.type == Fault::none || m_model.queue.isEmpty())
            return Fault{};
        inject(m_model.queue.front(), fault);
        return fault;
    }

    void syncWithFault(const Fault& wanted) {
        const Fault fault = aimAtHead(wanted);
        const bool viaRefresh = chance(40);
        m_log << QStringLiteral("%1%2").arg(viaRefresh ? "refresh" : "sync", describe(fault));
        m_model.setAside = false;
        if (viaRefresh)
            await(m_store->refresh(chance(50)));
        else
            await(m_store->sync());
        m_model.sync(fault, m_network.isDown(), resent());
        faultSettled(fault);
        checkNotices();
        if (m_store->hasPendingConflict() && chance(60))
            answer(randomFault());
    }

    // The server fails the head of the queue on several syncs running.
    void flakyServer() {
        const int times = pick(2, 5);
        m_log << QStringLiteral("flaky server x%1").arg(times);
        for (int i = 0; i < times; ++i) {
            syncWithFault(Fault{Fault::refusal, 503});
            check();
        }
    }

    void answer(const Fault& wanted) {
        expect(m_model.conflict, QStringLiteral("a conflict the model did not expect"));
        const bool mine = chance(50);
        const Fault fault = mine ? aimAtHead(wanted) : Fault{};
        m_log << QStringLiteral("answer: keep %1%2").arg(mine ? "mine" : "online", describe(fault));
        m_model.setAside = false;
        if (mine) {
            await(m_store->resolveConflictKeepingMine());
            m_model.keepMine(fault, m_network.isDown(), resent());
        } else {
            await(m_store->resolveConflictKeepingOnline());
            m_model.keepOnline(m_network.isDown());
        }
        faultSettled(fault);
        checkNotices();
    }

    void relaunch() {
        m_log << QStringLiteral("relaunch");
        launch();
        // Neither the offline state nor the question survive a launch.
        m_model.offline = false;
        m_model.conflict = false;
    }

    // Back online for good: sync and answer until nothing is left to settle.
    void settle() {
        m_log << QStringLiteral("settle");
        m_server.clearFaults();
        m_network.set(Network::Outage::none, m_store->client());
        for (int round = 0; round < 8; ++round) {
            if (m_store->hasPendingConflict())
                answer(Fault{});
            else if (!m_model.queue.isEmpty() || m_model.offline || m_model.moved)
                syncWithFault(Fault{});
            else
                break;
            check();
        }
        expect(m_model.queue.isEmpty() && !m_model.conflict && !m_model.moved && !m_model.offline,
               QStringLiteral("did not settle"));
        const auto stored = m_server.document(m_user);
        const Document expected = WireMapping::document(stored.document);
        const auto list = [](const Document& document) {
            QStringList lines;
            for (const auto& item : document.items)
                lines << item.id + QLatin1Char(' ') + item.title;
            return lines.join(QStringLiteral(", "));
        };
        expect(m_store->document() == expected,
               QStringLiteral("settled document differs from the server's:\n  client %1\n"
                              "  server %2")
                   .arg(list(m_store->document()), list(expected)));
        expect(m_store->syncedWire() && WireCompat::decodeDocument(*m_store->syncedWire()) ==
                                            std::optional(stored.document),
               QStringLiteral("the baseline is not the server's document"));
    }

    // --- checks ---

    void checkNotices() {
        if (!m_model.limitMessage.isEmpty()) {
            expect(m_store->limitMessage() == m_model.limitMessage,
                   QStringLiteral("limit message \"%1\"").arg(m_store->limitMessage()));
            m_store->clearLimitMessage();
            m_model.limitMessage.clear();
        }
        if (m_model.setAside && !m_model.moved)
            expect(m_store->lastError().endsWith(QStringLiteral("it's been set aside.")),
                   QStringLiteral("no set-aside notice after the load: \"%1\"")
                       .arg(m_store->lastError()));
        m_model.setAside = false;
    }

    void check() {
        checkNotices();
        const auto stored = m_server.document(m_user);

        // The server holds what the model says: each edit applied once, nothing doubled.
        QMap<QString, ModelItem> actual;
        for (const auto& item : stored.document.items) {
            const QString key = keyOf(item.title);
            expect(!actual.contains(key),
                   QStringLiteral("task %1 is on the server twice").arg(key));
            actual[key] =
                ModelItem{item.title, item.status == ItemStatus::done, item.flagged.value_or(false),
                          item.deletedAt.has_value(), item.priority};
        }
        if (actual != m_model.server) {
            // Every field is shown, so two items differ exactly when their lines do.
            const auto show = [](const QMap<QString, ModelItem>& items, const QString& key) {
                if (!items.contains(key))
                    return QStringLiteral("absent");
                const ModelItem& i = items[key];
                return QStringLiteral("%1%2%3%4 p%5")
                    .arg(i.title, i.done ? " done" : "", i.flagged ? " flagged" : "",
                         i.deleted ? " deleted" : "")
                    .arg(int(i.priority));
            };
            QStringList lines;
            for (const auto& key :
                 QSet<QString>(actual.keyBegin(), actual.keyEnd()) +
                     QSet<QString>(m_model.server.keyBegin(), m_model.server.keyEnd()))
                if (show(actual, key) != show(m_model.server, key))
                    lines << QStringLiteral("%1: server %2, model %3")
                                 .arg(key, show(actual, key), show(m_model.server, key));
            expect(false, QStringLiteral("server differs: ") + lines.join(QStringLiteral("; ")));
        }

        // The client's state.
        QStringList queue, modelQueue, described;
        for (const auto& op : m_store->queue())
            queue << QString::number(op.index());
        for (const auto& op : m_model.queue) {
            modelQueue << QString::number(int(op.kind));
            described << op.describe();
        }
        expect(queue == modelQueue, QStringLiteral("queue kinds %1, model %2 [%3]")
                                        .arg(queue.join(','), modelQueue.join(','),
                                             described.join(QStringLiteral(", "))));
        expect(m_store->isOffline() == m_model.offline,
               QStringLiteral("isOffline %1").arg(m_store->isOffline()));
        expect(m_store->hasPendingConflict() == m_model.conflict,
               QStringLiteral("pending conflict %1").arg(m_store->hasPendingConflict()));
        expect((m_store->syncedVersion() != stored.version) == m_model.moved,
               QStringLiteral("baseline version %1, server %2")
                   .arg(m_store->syncedVersion())
                   .arg(stored.version));
        if (!m_model.queue.isEmpty()) {
            const int strikes = m_store->strikes().value(m_store->queue().front());
            expect(strikes == m_model.strikes.value(m_model.queue.front().identity()),
                   QStringLiteral("%1 strikes on the head").arg(strikes));
        }

        // The file holds the same queue and strikes, ready for a relaunch.
        const auto snapshot = m_store->disk().load();
        expect(snapshot.has_value(), QStringLiteral("no snapshot file"));
        expect(snapshot->queue == m_store->queue(), QStringLiteral("the file's queue differs"));
        expect(snapshot->strikes == m_store->strikes(),
               QStringLiteral("the file's strikes differ"));
    }

    static QString describe(const Fault& fault) {
        switch (fault.type) {
        case Fault::refusal:
            return QStringLiteral(" [%1]").arg(fault.status);
        case Fault::lostReply:
            return QStringLiteral(" [reply lost x%1]").arg(fault.count);
        default:
            return {};
        }
    }

    ServerProcess& m_server;
    Network& m_network;
    std::mt19937 m_rng;
    QString m_user;
    QString m_token;
    QTemporaryDir m_dir{fileFolder()};
    MemorySecretStore m_secrets;
    std::unique_ptr<Store> m_store;
    Model m_model;
    int m_keys = 0;
    int m_renames = 0;
    QStringList m_log;
};

} // namespace

class TestStoreModel : public QObject {
    Q_OBJECT
    std::unique_ptr<ServerProcess> server;
    std::unique_ptr<Network> network;

private Q_SLOTS:
    void initTestCase() {
        QStandardPaths::setTestModeEnabled(true);
        server = std::make_unique<ServerProcess>();
        network = std::make_unique<Network>();
    }
    void cleanupTestCase() {
        // What the sequences reached, so that a change that starves a path shows here.
        QStringList reached;
        for (auto it = coverage().cbegin(); it != coverage().cend(); ++it)
            reached << QStringLiteral("%1 %2").arg(it.key()).arg(it.value());
        qInfo("%s", qPrintable(reached.join(QStringLiteral(", "))));
        network.reset();
        server.reset();
    }

    void randomSequences_data() {
        QTest::addColumn<quint32>("seed");
        const QByteArray chosen = qgetenv("VELMORA_MODEL_SEED");
        if (!chosen.isEmpty()) {
            QTest::newRow(chosen.constData()) << chosen.toUInt();
            return;
        }
        for (quint32 i = 1; i <= quint32(sequenceCount); ++i)
            QTest::addRow("seed %u", 7919 * i) << 7919 * i;
    }

    void randomSequences() {
        QFETCH(quint32, seed);
        Sequence sequence(*server, *network, seed);
        try {
            sequence.run();
        } catch (const std::exception& error) {
            QFAIL(qPrintable(QStringLiteral("seed %1: %2\nsteps:\n  %3\nrerun with "
                                            "VELMORA_MODEL_SEED=%1")
                                 .arg(seed)
                                 .arg(QString::fromUtf8(error.what()),
                                      sequence.log().join(QStringLiteral("\n  ")))));
        }
    }
};

QTEST_GUILESS_MAIN(TestStoreModel)
#include "tst_store_model.moc"
