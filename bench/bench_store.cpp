// What the Store costs on the main thread for a large list: writing the snapshot, taking in
// a loaded document, rebuilding the screen's document from the baseline and the queue, and
// the local apply of one edit before the screen updates.

#include "SampleDocument.h"
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
        wire = sampleDocument(count);
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
