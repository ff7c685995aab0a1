// The list queries a screen runs on every change, over a 10,000-item list: the visible
// rows (grouped, sorted flat by title, searched), the section chips' counts and the due
// count of the menu bar icon.

#include "ListQueries.h"

#include <benchmark/benchmark.h>

#include <QDate>
#include <QLocale>

#include <random>

namespace {

const char* const queryWords[] = {"quarterly", "budget", "review",  "send",     "deck",
                                  "follow",    "up",     "client",  "contract", "draft",
                                  "meeting",   "notes",  "invoice", "approve",  "team",
                                  "Item 12",   "Item 3", "plan",    "roadmap",  "launch"};

QString queryPhrase(std::mt19937& rng, int count) {
    std::uniform_int_distribution<int> pick(0, int(std::size(queryWords)) - 1);
    QString out;
    for (int i = 0; i < count; ++i) {
        if (i)
            out += QLatin1Char(' ');
        out += QLatin1String(queryWords[pick(rng)]);
    }
    return out;
}

const QDateTime queryNow(QDate(2026, 3, 15), QTime(10, 0));

// A deterministic list with the mix of fields a heavy user has: most items dated over a
// few months around today, a fifth done, many ties on day and priority.
Document queryDocument(int count) {
    std::mt19937 rng(20260315);
    const auto one = [&](int n) { return std::uniform_int_distribution<int>(0, n - 1)(rng); };
    Document doc;
    doc.items.reserve(count);
    for (int i = 0; i < count; ++i) {
        Item item;
        item.id = QStringLiteral("itm_%1").arg(i);
        item.title = queryPhrase(rng, 3 + one(6));
        if (i % 2 == 0)
            item.note = queryPhrase(rng, 10 + one(20));
        if (one(10) < 7)
            item.source = one(2) ? QStringLiteral("Dana Whitfield") : QStringLiteral("ana");
        item.section = Section(one(3));
        item.channel = Channel(one(5));
        item.priority = Priority(one(3));
        item.flagged = one(5) == 0;
        if (one(10) < 6)
            item.due = QDateTime(queryNow.date().addDays(one(120) - 60), QTime(0, 0));
        // Instants arrive from the server in UTC.
        item.createdAt = queryNow.toUTC().addSecs(-3600 * one(24 * 200));
        if (one(5) == 0) {
            item.status = ItemStatus::done;
            item.completedAt = item.createdAt.addSecs(3600 * one(100));
        }
        doc.items.push_back(std::move(item));
    }
    return doc;
}

const Document& tenThousand() {
    static const Document doc = queryDocument(10000);
    return doc;
}

void BM_VisibleItemsGrouped(benchmark::State& state) {
    const ViewSettings view;
    for (auto _ : state)
        benchmark::DoNotOptimize(ListQueries::visibleItems(tenThousand(), view, queryNow));
}
BENCHMARK(BM_VisibleItemsGrouped)->Unit(benchmark::kMillisecond);

void BM_VisibleItemsByDateDescending(benchmark::State& state) {
    ViewSettings view;
    view.sortAscending = false;
    for (auto _ : state)
        benchmark::DoNotOptimize(ListQueries::visibleItems(tenThousand(), view, queryNow));
}
BENCHMARK(BM_VisibleItemsByDateDescending)->Unit(benchmark::kMillisecond);

void BM_VisibleItemsByTitle(benchmark::State& state) {
    QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates));
    ViewSettings view;
    view.sortField = SortField::title;
    for (auto _ : state)
        benchmark::DoNotOptimize(ListQueries::visibleItems(tenThousand(), view, queryNow));
}
BENCHMARK(BM_VisibleItemsByTitle)->Unit(benchmark::kMillisecond);

void BM_VisibleItemsSearched(benchmark::State& state) {
    ViewSettings view;
    view.search = QStringLiteral(" Ana ");
    for (auto _ : state)
        benchmark::DoNotOptimize(ListQueries::visibleItems(tenThousand(), view, queryNow));
}
BENCHMARK(BM_VisibleItemsSearched)->Unit(benchmark::kMillisecond);

void BM_SectionCounts(benchmark::State& state) {
    const ViewSettings view;
    for (auto _ : state)
        benchmark::DoNotOptimize(ListQueries::sectionCounts(tenThousand(), view, queryNow));
}
BENCHMARK(BM_SectionCounts)->Unit(benchmark::kMillisecond);

void BM_DueCount(benchmark::State& state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(ListQueries::dueCount(tenThousand(), queryNow));
}
BENCHMARK(BM_DueCount)->Unit(benchmark::kMillisecond);

void BM_OverdueCount(benchmark::State& state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(ListQueries::overdueCount(tenThousand(), queryNow));
}
BENCHMARK(BM_OverdueCount)->Unit(benchmark::kMillisecond);

} // namespace
