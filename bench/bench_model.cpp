// What `load` costs on the client for a large list: the strict read of the envelope, the
// mapping to the domain and the re-encoding that becomes the baseline.

#include "Records.h"
#include "SampleDocument.h"
#include "WireJson.h"

#include <benchmark/benchmark.h>

#include <QDate>

#include <random>

namespace {

constexpr int itemCount = 10'000;

const QByteArray& envelope() {
    static const QByteArray bytes =
        "{\"result\":" + WireJson::encode(sampleDocument(itemCount)) + ",\"version\":7}";
    return bytes;
}

void setBytes(benchmark::State& state) {
    state.counters["json_bytes"] = double(envelope().size());
    state.SetBytesProcessed(state.iterations() * envelope().size());
}

void BM_Load(benchmark::State& state) {
    for (auto _ : state) {
        std::optional<qint64> version;
        const auto wire = WireJson::decodeEnvelope<WireDocument>(envelope(), &version);
        benchmark::DoNotOptimize(WireMapping::document(wire));
        benchmark::DoNotOptimize(WireJson::encode(wire));
    }
    setBytes(state);
}

void BM_Decode(benchmark::State& state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(WireJson::decodeEnvelope<WireDocument>(envelope()));
    setBytes(state);
}

void BM_Map(benchmark::State& state) {
    const auto wire = WireJson::decodeEnvelope<WireDocument>(envelope());
    for (auto _ : state)
        benchmark::DoNotOptimize(WireMapping::document(wire));
}

void BM_Encode(benchmark::State& state) {
    const auto wire = WireJson::decodeEnvelope<WireDocument>(envelope());
    for (auto _ : state)
        benchmark::DoNotOptimize(WireJson::encode(wire));
}

} // namespace

BENCHMARK(BM_Load)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Decode)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Map)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Encode)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
