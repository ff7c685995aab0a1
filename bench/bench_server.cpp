// velmora-server's full-document reply and write cost as lists grow, and the first load of a
// large list end to end, as a report. Server figures are the CPU time the server process
// spent (all its threads, from /proc), so that other work on the machine does not move
// them; the end-to-end load is wall time, with this process's CPU time beside it.

#include "ReplyEncoding.h"
#include "SampleDocument.h"
#include "ServerProcess.h"
#include "Service.h"
#include "Storage.h"
#include "StoreRig.h"
#include "WireJson.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QStandardPaths>
#include <QTemporaryDir>

#include <httplib.h>

#include <sys/resource.h>

#include <ctime>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstring>
#include <functional>
#include <thread>
#include <vector>

namespace {

// What Qt 6.4's network access sends when the caller sets nothing.
constexpr const char* qtAcceptEncoding = "deflate, gzip, br, zstd";

// CPU time of every thread of `pid`, in ms, from each task's schedstat (ns, not ticks).
double processCpuMs(qint64 pid) {
    double total = 0;
    const QDir tasks(QStringLiteral("/proc/%1/task").arg(pid));
    for (const QString& task : tasks.entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        QFile file(tasks.filePath(task) + QStringLiteral("/schedstat"));
        if (file.open(QIODevice::ReadOnly))
            total += file.readAll().split(' ').value(0).toDouble() / 1e6;
    }
    return total;
}

// The velmora-server process serving `database`, found by its command line.
qint64 serverPid(const QString& database) {
    const QDir proc(QStringLiteral("/proc"));
    for (const QString& entry : proc.entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        bool number = false;
        const qint64 pid = entry.toLongLong(&number);
        QFile file(proc.filePath(entry) + QStringLiteral("/cmdline"));
        if (!number || !file.open(QIODevice::ReadOnly))
            continue;
        const QByteArray line = file.readAll();
        if (line.contains("velmora-server") && line.contains(database.toLocal8Bit()))
            return pid;
    }
    return -1;
}

double ownCpuMs() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return (usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) * 1e3 +
           (usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e3;
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values.empty() ? 0 : values[values.size() / 2];
}

double threadCpuMs() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return double(now.tv_sec) * 1e3 + double(now.tv_nsec) / 1e6;
}

// The document's JSON, and each coding and level over it: CPU time and size, for the choice
// of the level the server uses.
void encoderFigures(int items, int rounds) {
    const WireDocument document = sampleDocument(items);
    std::vector<double> samples;
    QByteArray json;
    for (int i = 0; i < rounds; ++i) {
        const double start = threadCpuMs();
        json = WireJson::encode(document);
        samples.push_back(threadCpuMs() - start);
    }
    std::printf("%6d items  JSON of the document: %8.2f ms CPU, %lld bytes\n", items,
                median(samples), qlonglong(json.size()));
    struct Choice {
        ContentCoding coding;
        int level;
    };
    for (const Choice choice : {Choice{ContentCoding::gzip, 1}, Choice{ContentCoding::gzip, 4},
                                Choice{ContentCoding::gzip, 6}, Choice{ContentCoding::br, 1},
                                Choice{ContentCoding::br, 4}, Choice{ContentCoding::br, 5},
                                Choice{ContentCoding::br, 6}, Choice{ContentCoding::br, 11}}) {
        // Highest quality is the old default; once is enough to show what it costs.
        const int times = choice.level == 11 ? 1 : rounds;
        samples.clear();
        qsizetype size = 0;
        for (int i = 0; i < times; ++i) {
            const double start = threadCpuMs();
            size = ReplyEncoding::encode(json, choice.coding, choice.level).value_or(json).size();
            samples.push_back(threadCpuMs() - start);
        }
        std::printf("%6d items  %-4s %2d: %9.2f ms CPU, %9lld bytes (%.1f %%)\n", items,
                    ReplyEncoding::name(choice.coding), choice.level, median(samples),
                    qlonglong(size), 100.0 * double(size) / double(json.size()));
    }
}

struct Account {
    QTemporaryDir dir;
    QString database;
    QString token;
    QStringList ids;
};

// A database file with one user and `items` generated tasks, written in this process (the
// public API stops at 10,000 tasks; the bench goes past it).
void fill(Account& account, int items) {
    account.database = account.dir.filePath(QStringLiteral("bench.sqlite"));
    Storage storage(account.database);
    Service service(storage);
    account.token = service.issueToken(QStringLiteral("bench")).token;
    const WireDocument document = sampleDocument(items);
    for (const WireItem& item : document.items)
        if (!item.deletedAt)
            account.ids << item.id;
    service.replaceDocument(QStringLiteral("bench"), document);
}

struct HttpReply {
    int status = 0;
    std::string coding;
    std::size_t bytes = 0;
};

HttpReply post(httplib::Client& client, const Account& account, const QByteArray& body) {
    httplib::Headers headers{{"Authorization", "Bearer " + account.token.toStdString()},
                             {"Accept-Encoding", qtAcceptEncoding}};
    const auto result = client.Post("/api/store", headers, body.toStdString(), "application/json");
    if (!result)
        return {};
    return {result->status, result->get_header_value("Content-Encoding"), result->body.size()};
}

QByteArray rpc(const QString& method, const JsonValue::Array& args = {}) {
    return JsonValue::object({{QStringLiteral("method"), method}, {QStringLiteral("args"), args}})
        .toJson();
}

// Server CPU per request: `before` runs first, outside the measure, on each round.
template <typename Before>
double serverCpu(qint64 pid, int rounds, Before before, const std::function<HttpReply()>& work,
                 HttpReply* last) {
    std::vector<double> samples;
    for (int i = 0; i < rounds; ++i) {
        before(i);
        const double start = processCpuMs(pid);
        *last = work();
        samples.push_back(processCpuMs(pid) - start);
    }
    return median(samples);
}

void serverFigures(int items, int rounds) {
    Account account;
    fill(account, items);
    ServerProcess server(ServerProcess::Options{account.database, false});
    const qint64 pid = serverPid(account.database);
    if (pid < 0) {
        std::printf("no server process found\n");
        return;
    }
    httplib::Client client("127.0.0.1", server.port());
    client.set_decompress(false);
    client.set_read_timeout(120);
    client.set_keep_alive(true);

    const QByteArray load = rpc(QStringLiteral("load"));
    auto edit = [&](int i) {
        const JsonValue::Array args{
            account.ids.value(i % account.ids.size()),
            JsonValue::object({{QStringLiteral("title"), QStringLiteral("Edited %1").arg(i)}})};
        return post(client, account, rpc(QStringLiteral("updateItem"), args));
    };
    HttpReply reply;
    const double fresh = serverCpu(
        pid, rounds, [&](int i) { edit(i); }, [&] { return post(client, account, load); }, &reply);
    std::printf("%6d items  full-document reply after a change: %9.2f ms server CPU  "
                "(%s, %zu bytes, status %d)\n",
                items, fresh, reply.coding.empty() ? "identity" : reply.coding.c_str(), reply.bytes,
                reply.status);
    const double again = serverCpu(
        pid, rounds, [](int) {}, [&] { return post(client, account, load); }, &reply);
    std::printf("%6d items  the same version loaded again:      %9.2f ms server CPU\n", items,
                again);
    const double write = serverCpu(
        pid, rounds, [](int) {}, [&, i = 0]() mutable { return edit(1000 + i++); }, &reply);
    std::printf("%6d items  one updateItem:                     %9.2f ms server CPU  "
                "(status %d)\n",
                items, write, reply.status);
}

// Writes a second with `clients` clients editing one list at once, each on its own
// keep-alive connection: wall time, since what it measures is the server's throughput.
double writeRate(int items, int clients, double seconds) {
    Account account;
    fill(account, items);
    ServerProcess server(ServerProcess::Options{account.database, false});
    std::atomic<int> writes{0}, failures{0};
    std::atomic<bool> stop{false};
    std::vector<std::thread> threads;
    QElapsedTimer timer;
    timer.start();
    for (int c = 0; c < clients; ++c)
        threads.emplace_back([&, c] {
            httplib::Client client("127.0.0.1", server.port());
            client.set_keep_alive(true);
            client.set_read_timeout(60);
            for (int i = 0; !stop; ++i) {
                const JsonValue::Array args{
                    account.ids.value((c * 997 + i * 31) % account.ids.size()),
                    JsonValue::object(
                        {{QStringLiteral("title"), QStringLiteral("Edit %1 %2").arg(c).arg(i)}})};
                const HttpReply reply =
                    post(client, account, rpc(QStringLiteral("updateItem"), args));
                (reply.status == 200 ? writes : failures) += 1;
            }
        });
    while (timer.elapsed() < qint64(seconds * 1000))
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    stop = true;
    for (std::thread& thread : threads)
        thread.join();
    const double rate = writes / (double(timer.nsecsElapsed()) / 1e9);
    std::printf("%6d items  writes/s, %d clients at once:   %9.0f  (%d writes, %d refused)\n",
                items, clients, rate, int(writes), int(failures));
    return rate;
}

// One edit as the app makes it: the write, then the reload that follows it, the reply in
// gzip and decoded as the app's network stack does. Wall time, median of `rounds`.
void editRoundTrip(int items, int rounds) {
    Account account;
    fill(account, items);
    ServerProcess server(ServerProcess::Options{account.database, false});
    httplib::Client client("127.0.0.1", server.port());
    client.set_keep_alive(true);
    client.set_read_timeout(120);
    client.set_decompress(true);
    const QByteArray load = rpc(QStringLiteral("load"));
    post(client, account, load); // the first load of a fresh server, not an edit's
    const qint64 pid = serverPid(account.database);
    std::vector<double> samples, own, served;
    HttpReply reply;
    for (int i = 0; i < rounds; ++i) {
        const double cpu = ownCpuMs();
        const double serverStart = processCpuMs(pid);
        const JsonValue::Array args{
            account.ids.value((i * 37) % account.ids.size()),
            JsonValue::object({{QStringLiteral("title"), QStringLiteral("Round %1").arg(i)}})};
        QElapsedTimer timer;
        timer.start();
        post(client, account, rpc(QStringLiteral("updateItem"), args));
        reply = post(client, account, load);
        samples.push_back(double(timer.nsecsElapsed()) / 1e6);
        own.push_back(ownCpuMs() - cpu);
        served.push_back(processCpuMs(pid) - serverStart);
    }
    std::printf("%6d items  one edit's round trip (write + reload): %7.2f ms wall "
                "(min %.2f), client CPU %.2f ms, server CPU %.2f ms (%zu bytes decoded, "
                "status %d)\n",
                items, median(samples), *std::min_element(samples.begin(), samples.end()),
                median(own), median(served), reply.bytes, reply.status);
}

// A load of a state that is not in memory (the server just started, or the user's state
// went out of the cache): read from the database, written, and coded in gzip. In-process,
// thread CPU time per part, median of `rounds`, each on a fresh Service.
void coldLoad(int items, int rounds) {
    Account account;
    fill(account, items);
    std::vector<double> read, written, coded;
    for (int i = 0; i < rounds; ++i) {
        Storage storage(account.database);
        Service service(storage);
        const qint64 user = *service.findUser(QStringLiteral("bench"));
        double start = threadCpuMs();
        service.state(QStringLiteral("bench"));
        read.push_back(threadCpuMs() - start);
        start = threadCpuMs();
        const Reply reply = service.call(user, rpc(QStringLiteral("load")), std::nullopt, false);
        written.push_back(threadCpuMs() - start);
        start = threadCpuMs();
        service.deflatedBlocks().gzip(*reply.documentBody, ReplyEncoding::gzipLevel);
        coded.push_back(threadCpuMs() - start);
    }
    std::printf("%6d items  a load of a state not in memory: read %.2f ms, written %.2f ms, "
                "gzip %.2f ms CPU\n",
                items, median(read), median(written), median(coded));
}

// Sign-in's first load: a Store with the token and no snapshot refreshes once.
void firstLoad(int items, int rounds) {
    Account account;
    fill(account, items);
    ServerProcess server(ServerProcess::Options{account.database, false});
    const qint64 pid = serverPid(account.database);
    std::vector<double> wall, own, served;
    for (int i = 0; i < rounds; ++i) {
        StoreRig rig(server.baseURL(), account.token, 60000);
        const double cpu = ownCpuMs();
        const double serverStart = processCpuMs(pid);
        QElapsedTimer timer;
        timer.start();
        TestAwait::await(rig.store.refresh(false), 120000);
        wall.push_back(double(timer.nsecsElapsed()) / 1e6);
        own.push_back(ownCpuMs() - cpu);
        served.push_back(processCpuMs(pid) - serverStart);
        if (rig.store.document().items.size() < items / 2)
            std::printf("the load did not arrive (%lld items)\n",
                        qlonglong(rig.store.document().items.size()));
    }
    std::printf("%6d items  first load end to end: %9.2f ms wall (min %.2f), app CPU %.2f ms, "
                "server CPU %.2f ms (medians of %d)\n",
                items, median(wall), *std::min_element(wall.begin(), wall.end()), median(own),
                median(served), rounds);
}

} // namespace

int main(int argc, char** argv) {
    // Each line as it comes: a run at 50,000 tasks takes minutes.
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    QCoreApplication app(argc, argv);
    QStandardPaths::setTestModeEnabled(true);
    const QStringList args = app.arguments();
    int rounds = 5;
    if (const auto at = args.indexOf(QStringLiteral("--rounds")); at > 0)
        rounds = std::clamp(args.value(at + 1).toInt(), 1, 100);
    QList<int> sizes{100, 10000, 50000};
    if (const auto at = args.indexOf(QStringLiteral("--items")); at > 0) {
        sizes.clear();
        for (const QString& size : args.value(at + 1).split(QLatin1Char(',')))
            sizes << std::clamp(size.toInt(), 1, 200000);
    }
    try {
        if (args.contains(QStringLiteral("--encoders"))) {
            for (const int items : sizes)
                encoderFigures(items, rounds);
            return 0;
        }
        if (args.contains(QStringLiteral("--writes"))) {
            // The issue's sizes: a small list and one past the API's cap.
            const double small = writeRate(100, 8, 4);
            const double large = writeRate(12000, 8, 4);
            std::printf("         12,000 items write at %.0f %% of 100 items' rate\n",
                        100 * large / small);
            return 0;
        }
        for (const int items : sizes)
            serverFigures(items, rounds);
        const int typical = sizes.contains(10000) ? 10000 : sizes.constLast();
        coldLoad(typical, rounds);
        editRoundTrip(typical, std::max(rounds, 9));
        firstLoad(typical, rounds);
    } catch (const std::exception& error) {
        std::printf("failed: %s\n", error.what());
        return 1;
    }
    return 0;
}
