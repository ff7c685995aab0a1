// What the Store costs on the main thread for a large list: writing the snapshot, taking in
// a loaded document, rebuilding the screen's document from the baseline and the queue, and
// the local apply of one edit before the screen updates.

#include "Store.h"
#include "WireFormats.h"
#include "WireJson.h"

#include <benchmark/benchmark.h>

#include <QCoreApplication>
#include <QDate>
#include <QDeadlineTimer>
#include <QFileInfo>
#include <QTemporaryDir>

#include <memory>
#include <random>

namespace {

const char* const storeWords[] = {"quarterly", "budget",  "review",  "send",     "deck",
                                  "follow",    "up",      "client",  "contract", "draft",
                                  "meeting",   "notes",   "invoice", "approve",  "team",
                                  "agenda",    "hiring",  "plan",    "roadmap",  "launch",
                                  "vendor",    "renewal", "audit",   "call",     "design"};

QString storePhrase(std::mt19937& rng, int count) {
    std::uniform_int_distribution<int> pick(0, int(std::size(storeWords)) - 1);
    QString out;
    for (int i = 0; i < count; ++i) {
        if (i)
            out += QLatin1Char(' ');
        out += QLatin1String(storeWords[pick(rng)]);
    }
    return out;
}

// A deterministic list of `count` tasks with the mix of fields a heavy user has.
WireDocument storeDocument(int count) {
    std::mt19937 rng(20'260'302);
    const auto one = [&](int n) { return std::uniform_int_distribution<int>(0, n - 1)(rng); };
    WireDocument doc;
    doc.schemaVersion = 4;
    doc.items.reserve(count);
    for (int i = 0; i < count; ++i) {
        WireItem item;
        item.id = QStringLiteral("itm_%1").arg(i, 8, 16, QLatin1Char('0'));
        item.title = storePhrase(rng, 3 + one(8));
        if (i % 2 == 0)
            item.note = storePhrase(rng, 10 + one(32));
        item.section = Section(one(3));
        item.channel = Channel(one(5));
        if (one(10) < 7)
            item.source = QStringLiteral("Dana Whitfield");
        if (item.channel != Channel::self)
            item.sourceId = QStringLiteral("msg-%1").arg(rng(), 0, 16);
        if (one(10) < 6)
            item.due = QDate(2026, 1, 1).addDays(one(200)).toString(Qt::ISODate);
        item.priority = Priority(one(3));
        if (one(5) == 0)
            item.flagged = true;
        if (i % 3 == 0)
            item.links.push_back(
                {storePhrase(rng, 2), QStringLiteral("https://docs.example.com/d/%1/edit").arg(i)});
        item.status = one(10) < 3 ? ItemStatus::done : ItemStatus::open;
        item.createdAt = QStringLiteral("2025-%1-%2T09:30:00Z")
                             .arg(1 + one(12), 2, 10, QLatin1Char('0'))
                             .arg(1 + one(28), 2, 10, QLatin1Char('0'));
        if (item.status == ItemStatus::done)
            item.completedAt = QStringLiteral("2026-02-01T10:00:00.250Z");
        doc.items.push_back(std::move(item));
    }
    doc.focus = {QStringLiteral("itm_00000010")};
    return doc;
}

LoadResult loadResult(const WireDocument& wire, qint64 version) {
    return LoadResult{WireMapping::document(wire), WireJson::encode(wire), version};
}

void ensureApplication() {
    static int argc = 1;
    static char name[] = "velmora-bench";
    static char* argv[] = {name, nullptr};
    static QCoreApplication* app =
        QCoreApplication::instance() ? nullptr : new QCoreApplication(argc, argv);
    (void)app;
}

// A Store whose client has a token but no server to reach, its file in a temporary folder,
// holding a loaded document of `count` tasks.
struct StoreBench {
    QTemporaryDir dir;
    MemorySecretStore secrets;
    std::unique_ptr<Store> store;
    WireDocument wire;
    LoadResult loaded;

    explicit StoreBench(int count) {
        ensureApplication();
        wire = storeDocument(count);
        loaded = loadResult(wire, 7);
        // Port 9 (discard) on loopback: refused at once.
        auto* client = new APIClient(QUrl(QStringLiteral("http://127.0.0.1:9/")),
                                     QStringLiteral("bench-token"));
        store = std::make_unique<Store>(client, OfflineDisk(dir.path()),
                                        Keychain(secrets, QStringLiteral("svc")));
        store->adopt(loaded);
    }

    // Offline edits of the first `count` tasks, as a queue to rebuild from.
    void queueEdits(int count) {
        store->pathUpdated(false);
        for (int i = 0; i < count; ++i) {
            const Item item = store->document().items[i * 7];
            auto task = i % 2 ? store->toggle(item) : store->setFlagged(item, !item.flagged);
            (void)task; // offline: done before it returns
        }
    }
};

void BM_Persist(benchmark::State& state) {
    StoreBench bench(int(state.range(0)));
    bench.queueEdits(10);
    for (auto _ : state)
        bench.store->persist();
    state.counters["file_bytes"] = double(QFileInfo(bench.store->disk().fileURL()).size());
}

// Alternates two documents that differ in their last task, so each adopt replaces the
// document after comparing all of it, then writes the file.
void BM_Adopt(benchmark::State& state) {
    StoreBench bench(int(state.range(0)));
    WireDocument other = bench.wire;
    other.items.back().title += QStringLiteral(" (edited)");
    const LoadResult results[] = {loadResult(other, 8), bench.loaded};
    int turn = 0;
    for (auto _ : state)
        bench.store->adopt(results[turn++ % 2]);
}

void BM_RebuiltFromBaseline(benchmark::State& state) {
    StoreBench bench(int(state.range(0)));
    bench.queueEdits(10);
    for (auto _ : state) {
        auto document = bench.store->rebuiltFromBaseline();
        benchmark::DoNotOptimize(document);
    }
}

// The part of an edit that runs before the screen updates: the edit applied to a copy of
// the document, the document replaced and observers told. The send that follows fails at
// once (nothing listens), and the edit is queued; that part, and putting the document
// back for the next round, are not timed.
void BM_LocalApply(benchmark::State& state) {
    StoreBench bench(int(state.range(0)));
    int notified = 0;
    QObject::connect(bench.store.get(), &Store::documentChanged, [&] { ++notified; });
    std::mt19937 rng(7);
    std::uniform_int_distribution<int> pick(0, int(bench.loaded.document.items.size()) - 1);
    for (auto _ : state) {
        const Item item = bench.store->document().items[pick(rng)];
        auto task = bench.store->toggle(item);
        state.PauseTiming();
        QDeadlineTimer bound(5000);
        while (!task.isReady() && !bound.hasExpired())
            QCoreApplication::processEvents(QEventLoop::AllEvents, 50);
        if (!task.isReady())
            state.SkipWithError("the failed send did not come back");
        bench.store->adopt(bench.loaded); // online again, document as loaded
        state.ResumeTiming();
    }
    state.counters["notified"] = notified;
}

} // namespace

BENCHMARK(BM_Persist)->Arg(1'000)->Arg(10'000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Adopt)->Arg(1'000)->Arg(10'000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_RebuiltFromBaseline)->Arg(1'000)->Arg(10'000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_LocalApply)->Arg(10'000)->Iterations(300)->Unit(benchmark::kMicrosecond);
