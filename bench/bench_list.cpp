// How the main list keeps up with a large document, on the real app shell: the time from
// pressing Return in the add row to the frame that shows the new row, and the frame times while
// the list scrolls from top to bottom. A report, measured once per run (not a benchmark loop).
//
// The app runs offline (see ShellHarness.h), so an add is applied to the document and queued at
// once, as it is without network: what is measured is the local apply, the snapshot's save
// (a queued edit is on disk before the key is handled) and the drawing.
//
// Frames are stamped as the software render loop goes through them: the window's update
// request starts one, then polish, sync, render and the flush to the window (frameSwapped).

#include "ShellHarness.h"

#include "MainWindow.h"

#include <QApplication>
#include <QDeadlineTimer>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QKeyEvent>
#include <QQuickItem>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <optional>
#include <string_view>
#include <vector>

namespace {

constexpr int defaultItemCount = 10000;
constexpr int defaultAdds = 30;
constexpr int defaultStepPx = 120;
constexpr double frameBudgetMs = 16;
constexpr int settleMs = 80;
constexpr int frameTimeoutMs = 3000;
// A guard against a list that never reports its end.
constexpr int maxScrollSteps = 20000;

QElapsedTimer clock_;

double nowMs() {
    return double(clock_.nsecsElapsed()) / 1e6;
}

// The CPU time of the calling thread: against the wall clock it tells waiting (on the disk, or
// for a core on a busy machine) from work. The software render loop draws on this thread.
double threadCpuMs() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return double(now.tv_sec) * 1e3 + double(now.tv_nsec) / 1e6;
}

// Keeps the event loop running for `ms` so the app goes on handling its events meanwhile.
void wait(int ms) {
    QEventLoop loop;
    QTimer::singleShot(ms, &loop, &QEventLoop::quit);
    loop.exec();
}

struct Stats {
    double median = NAN, p95 = NAN, max = NAN;
    int count = 0;
};

// Nearest-rank percentiles: with 30 samples the 95th is the 29th smallest.
Stats stats(std::vector<double> values) {
    values.erase(
        std::remove_if(values.begin(), values.end(), [](double v) { return std::isnan(v); }),
        values.end());
    Stats out;
    out.count = int(values.size());
    if (values.empty())
        return out;
    std::sort(values.begin(), values.end());
    const auto rank = [&](double p) {
        const auto at = std::size_t(std::ceil(p * double(values.size())));
        return values[std::clamp<std::size_t>(at, 1, values.size()) - 1];
    };
    out.median = rank(0.5);
    out.p95 = rank(0.95);
    out.max = values.back();
    return out;
}

void header() {
    std::printf("%-44s %8s %8s %8s  %s\n", "figure (ms)", "median", "p95", "max", "target");
}

// `target` applies to the worst sample; 0 for a line without one.
void row(const char* figure, const Stats& s, double target = 0) {
    std::printf("%-44s %8.2f %8.2f %8.2f", figure, s.median, s.p95, s.max);
    if (target > 0)
        std::printf("  < %g%s", target, s.max < target ? "" : "  OVER TARGET");
    std::printf("\n");
    std::fflush(stdout);
}

// One frame of the window. NaN where the loop went by without the stamp: a frame drawn on
// exposure starts without an update request.
struct Frame {
    double start = NAN, polished = NAN, synced = NAN, rendered = NAN, swapped = NAN;
    double cpuStart = NAN, cpuSwapped = NAN;
    double work() const { return swapped - start; }
    double cpu() const { return cpuSwapped - cpuStart; }
};

// Stamps every frame of a window and hands each over when it is on screen.
class FrameProbe : public QObject {
public:
    explicit FrameProbe(QQuickWindow* window)
        : m_window(window) {
        window->installEventFilter(this);
        connect(
            window, &QQuickWindow::afterAnimating, this, [this] { m_frame.polished = nowMs(); },
            Qt::DirectConnection);
        connect(
            window, &QQuickWindow::afterSynchronizing, this, [this] { m_frame.synced = nowMs(); },
            Qt::DirectConnection);
        connect(
            window, &QQuickWindow::afterRendering, this, [this] { m_frame.rendered = nowMs(); },
            Qt::DirectConnection);
        connect(
            window, &QQuickWindow::frameSwapped, this,
            [this] {
                m_frame.swapped = nowMs();
                m_frame.cpuSwapped = threadCpuMs();
                const Frame frame = m_frame;
                m_frame = {};
                if (onFrame)
                    onFrame(frame);
            },
            Qt::DirectConnection);
    }

    std::function<void(const Frame&)> onFrame;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override {
        // The software render loop draws the window when it handles this event.
        if (watched == m_window && event->type() == QEvent::UpdateRequest) {
            m_frame = Frame{nowMs()};
            m_frame.cpuStart = threadCpuMs();
        }
        return false;
    }

private:
    QQuickWindow* m_window;
    Frame m_frame;
};

// Items made by a Repeater or a view have a visual parent only, so the search walks that tree.
QQuickItem* findItem(QQuickWindow* window, const QString& name) {
    QList<QQuickItem*> pending{window->contentItem()};
    if (auto* root = window->contentItem()->parentItem())
        pending = {root};
    while (!pending.isEmpty()) {
        QQuickItem* item = pending.takeLast();
        if (item->objectName() == name)
            return item;
        pending.append(item->childItems());
    }
    return nullptr;
}

int fail(const char* why) {
    std::fprintf(stderr, "velmora-list-bench: %s\n", why);
    return 1;
}

struct Options {
    int itemCount = defaultItemCount;
    int adds = defaultAdds;
    int stepPx = defaultStepPx;
};

struct AddSample {
    double inserted = NAN; // Return -> rowsInserted
    double queued = NAN;   // Return -> the edit queued (its save follows at once)
    double handled = NAN;  // Return -> the key event handled
    double handledCpu = NAN;
    double drawn = NAN; // Return -> frameSwapped
    double pressedAt = NAN;
    Frame frame;
    int row = -1;
    bool inView = false;
};

class ListBench {
public:
    ListBench(VelmoraApp& app, QQuickWindow* window, QQuickItem* field, QQuickItem* list)
        : m_app(app)
        , m_window(window)
        , m_field(field)
        , m_list(list)
        , m_probe(window) {
        QObject::connect(app.mainModel()->rows(), &QAbstractItemModel::rowsInserted, &m_probe,
                         [this](const QModelIndex&, int first, int) {
                             if (m_add && std::isnan(m_add->inserted)) {
                                 m_add->inserted = nowMs() - m_pressedAt;
                                 m_add->row = first;
                             }
                         });
        // Connected last, so it runs after the app's own handlers of the change.
        QObject::connect(app.store(), &Store::queuedEditsChanged, &m_probe, [this] {
            if (m_add && std::isnan(m_add->queued))
                m_add->queued = nowMs() - m_pressedAt;
        });
        m_probe.onFrame = [this](const Frame& frame) { frameSwapped(frame); };
    }

    // Types `title` into the add row and presses Return; nullopt when no row came.
    std::optional<AddSample> add(const QString& title) {
        m_field->forceActiveFocus();
        for (const QChar c : title)
            QTest::keyClick(m_window, c.toLatin1());
        if (m_app.mainModel()->newTitle() != title)
            return std::nullopt;
        // Typing's own frames are drawn before the clock starts.
        wait(settleMs);

        AddSample sample;
        m_add = &sample;
        QEventLoop untilDrawn;
        m_untilDrawn = &untilDrawn;
        QTimer::singleShot(frameTimeoutMs, &untilDrawn, &QEventLoop::quit);
        QKeyEvent press(QEvent::KeyPress, Qt::Key_Return, Qt::NoModifier, QStringLiteral("\r"));
        const double cpuBefore = threadCpuMs();
        m_pressedAt = sample.pressedAt = nowMs();
        QCoreApplication::sendEvent(m_window, &press);
        sample.handled = nowMs() - m_pressedAt;
        sample.handledCpu = threadCpuMs() - cpuBefore;
        if (std::isnan(sample.drawn))
            untilDrawn.exec();
        m_untilDrawn = nullptr;
        m_add = nullptr;
        QKeyEvent release(QEvent::KeyRelease, Qt::Key_Return, Qt::NoModifier, QStringLiteral("\r"));
        QCoreApplication::sendEvent(m_window, &release);
        if (std::isnan(sample.drawn))
            return std::nullopt;
        wait(settleMs);
        return sample;
    }

    void showRow(int row) {
        QMetaObject::invokeMethod(m_list, "positionViewAtIndex", Q_ARG(int, row),
                                  Q_ARG(int, 1 /* ListView.Center */));
        wait(settleMs);
    }

    // Steps the list from top to bottom, one step per frame; false when it stalled.
    bool scroll(int stepPx) {
        QMetaObject::invokeMethod(m_list, "positionViewAtBeginning");
        wait(4 * settleMs);
        m_frames.clear();
        m_steps.clear();
        m_stepsCpu.clear();
        m_scrolling = true;
        m_stalled = false;
        QEventLoop untilEnd;
        m_untilEnd = &untilEnd;
        m_stepPx = stepPx;
        QTimer watchdog;
        watchdog.setSingleShot(true);
        QObject::connect(&watchdog, &QTimer::timeout, &untilEnd, [&] {
            m_stalled = true;
            untilEnd.quit();
        });
        m_watchdog = &watchdog;
        step();
        if (m_stepped)
            untilEnd.exec();
        m_scrolling = false;
        m_untilEnd = nullptr;
        m_watchdog = nullptr;
        return !m_stalled;
    }

    const std::vector<Frame>& frames() const { return m_frames; }
    // The step that preceded each frame, in the same order.
    const std::vector<double>& steps() const { return m_steps; }
    const std::vector<double>& stepsCpu() const { return m_stepsCpu; }
    double scrolledTo() const { return m_list->property("contentY").toDouble(); }

private:
    void frameSwapped(const Frame& frame) {
        if (m_add && !std::isnan(m_add->inserted) && std::isnan(m_add->drawn)) {
            m_add->drawn = frame.swapped - m_pressedAt;
            m_add->frame = frame;
            m_add->inView = rowInView(m_add->row);
            if (m_untilDrawn)
                m_untilDrawn->quit();
        }
        if (m_scrolling && m_stepped) {
            m_stepped = false;
            m_frames.push_back(frame);
            m_steps.push_back(m_stepMs);
            m_stepsCpu.push_back(m_stepCpuMs);
            if (m_list->property("atYEnd").toBool() || int(m_frames.size()) >= maxScrollSteps) {
                m_untilEnd->quit();
                return;
            }
            // The next step runs from the event loop, as a wheel event would, not inside
            // the frame.
            QTimer::singleShot(0, &m_probe, [this] {
                if (m_scrolling)
                    step();
            });
        }
    }

    void step() {
        const double from = m_list->property("contentY").toDouble();
        const double end = m_list->property("originY").toDouble() +
                           m_list->property("contentHeight").toDouble() - m_list->height();
        const double to = std::min(from + m_stepPx, end);
        const double started = nowMs(), cpuStarted = threadCpuMs();
        m_list->setProperty("contentY", to);
        m_stepMs = nowMs() - started;
        m_stepCpuMs = threadCpuMs() - cpuStarted;
        if (m_list->property("contentY").toDouble() == from) {
            // Nothing moved, so no frame comes: the end.
            m_untilEnd->quit();
            return;
        }
        m_stepped = true;
        m_watchdog->start(frameTimeoutMs);
    }

    bool rowInView(int row) const {
        QQuickItem* delegate = nullptr;
        QMetaObject::invokeMethod(m_list, "itemAtIndex", Q_RETURN_ARG(QQuickItem*, delegate),
                                  Q_ARG(int, row));
        if (!delegate || !delegate->isVisible())
            return false;
        const double top = m_list->property("contentY").toDouble();
        return delegate->y() + delegate->height() > top && delegate->y() < top + m_list->height();
    }

    VelmoraApp& m_app;
    QQuickWindow* m_window;
    QQuickItem* m_field;
    QQuickItem* m_list;
    FrameProbe m_probe;

    AddSample* m_add = nullptr;
    double m_pressedAt = 0;
    QEventLoop* m_untilDrawn = nullptr;

    bool m_scrolling = false;
    bool m_stepped = false;
    bool m_stalled = false;
    int m_stepPx = defaultStepPx;
    double m_stepMs = 0;
    double m_stepCpuMs = 0;
    QEventLoop* m_untilEnd = nullptr;
    QTimer* m_watchdog = nullptr;
    std::vector<Frame> m_frames;
    std::vector<double> m_steps;
    std::vector<double> m_stepsCpu;
};

int run(const Options& options) {
    QTemporaryDir folder;
    if (!folder.isValid())
        return fail("no temporary folder");
    if (!ShellHarness::writeSnapshot(folder.path(), options.itemCount))
        return fail("the snapshot was not written");

    ShellHarness::prepareProcess();
    int argc = 1;
    char name[] = "velmora-list-bench";
    char* argv[] = {name, nullptr};
    QApplication application(argc, argv);
    ShellHarness::nameApplication();
    clock_.start();

    BenchShell shell(folder.path());
    VelmoraApp& app = shell.app();
    if (const QString failure = shell.start(); !failure.isEmpty())
        return fail(qPrintable(failure));
    QQuickWindow* window = app.mainWindow();
    QQuickItem* field = findItem(window, QStringLiteral("addField"));
    QQuickItem* list = findItem(window, QStringLiteral("itemList"));
    if (!field || !list)
        return fail("the main window has no add row or no list");

    // The first refresh is refused; from then on adds are queued without a request.
    QDeadlineTimer offline(10000);
    while (!app.store()->isOffline() && !offline.hasExpired())
        wait(20);
    if (!app.store()->isOffline())
        return fail("the app did not go offline");
    window->requestActivate();
    // Keys go to the focused field either way; an active window shows it as a user sees it.
    (void)QTest::qWaitForWindowActive(window, 2000);
    wait(500);

    ListBench bench(app, window, field, list);
    const int rowsBefore = app.mainModel()->rows()->count();
    std::printf("velmora-list-bench: %lld of %d tasks live, %d rows listed, %s view, %s scene "
                "graph, window %dx%d\n",
                static_cast<long long>(app.store()->document().items.size()), options.itemCount,
                rowsBefore, app.store()->isGrouped() ? "grouped" : "flat",
                qPrintable(qEnvironmentVariable("QT_QUICK_BACKEND")), window->width(),
                window->height());

    // The first add makes what the others reuse; it is shown apart. Later adds land next to
    // it, so the view is centred there and each new row is drawn on screen.
    const auto first = bench.add(QStringLiteral("Bench task 00"));
    if (!first)
        return fail("Return in the add row added no row (did the field take the keys?)");
    bench.showRow(first->row);
    std::vector<AddSample> adds;
    for (int i = 1; i <= options.adds; ++i) {
        const auto sample = bench.add(QStringLiteral("Bench task %1").arg(i, 2, 10, QChar('0')));
        if (!sample)
            return fail("an add drew no new row");
        adds.push_back(*sample);
    }
    const auto inView =
        std::count_if(adds.begin(), adds.end(), [](const AddSample& s) { return s.inView; });
    const auto column = [&](auto field) {
        std::vector<double> values;
        for (const AddSample& s : adds)
            values.push_back(field(s));
        return stats(values);
    };

    std::printf("\nadd: %d adds, new rows at %d..%d, %lld drawn on screen; first add %.2f ms\n",
                int(adds.size()), adds.front().row, adds.back().row, static_cast<long long>(inView),
                first->drawn);
    header();
    row("Return -> new row drawn", column([](const AddSample& s) { return s.drawn; }),
        frameBudgetMs);
    row("  Return -> row inserted", column([](const AddSample& s) { return s.inserted; }));
    row("  row inserted -> edit queued (labels etc.)",
        column([](const AddSample& s) { return s.queued - s.inserted; }));
    row("  edit queued -> key handled",
        column([](const AddSample& s) { return s.handled - s.queued; }));
    row("  key handling's CPU time (rest: waiting)",
        column([](const AddSample& s) { return s.handledCpu; }));
    row("  key handled -> frame started",
        column([](const AddSample& s) { return s.frame.start - s.pressedAt - s.handled; }));
    row("  frame: update request -> swapped",
        column([](const AddSample& s) { return s.frame.work(); }));

    if (!bench.scroll(options.stepPx))
        std::printf("\n(the list stopped drawing frames while scrolling: figures are partial)\n");
    const auto& frames = bench.frames();
    std::vector<double> intervals, work, cpu, steps, polish, sync, render, flush;
    for (std::size_t i = 0; i < frames.size(); ++i) {
        const Frame& f = frames[i];
        if (i > 0)
            intervals.push_back(f.swapped - frames[i - 1].swapped);
        work.push_back(bench.steps()[i] + f.work());
        cpu.push_back(bench.stepsCpu()[i] + f.cpu());
        steps.push_back(bench.steps()[i]);
        polish.push_back(f.polished - f.start);
        sync.push_back(f.synced - f.polished);
        render.push_back(f.rendered - f.synced);
        flush.push_back(f.swapped - f.rendered);
    }
    const auto over =
        std::count_if(work.begin(), work.end(), [](double ms) { return ms >= frameBudgetMs; });
    std::printf("\nscroll: %d frames of %d px, top to %.0f px; %lld cost %g ms or more\n",
                int(frames.size()), options.stepPx, bench.scrolledTo(),
                static_cast<long long>(over), frameBudgetMs);
    header();
    row("frame interval (swap -> swap)", stats(intervals), frameBudgetMs);
    row("frame cost (step + frame work)", stats(work), frameBudgetMs);
    row("  its CPU time (rest: waiting for a core)", stats(cpu));
    row("  step: contentY set (delegates)", stats(steps));
    row("  polish", stats(polish));
    row("  sync", stats(sync));
    row("  render", stats(render));
    row("  flush to window", stats(flush));
    return 0;
}

int usage() {
    std::fprintf(stderr, "usage: velmora-list-bench [--items N] [--adds N] [--step PX]\n"
                         "Run under an X server, e.g. xvfb-run -a -s '-screen 0 1920x1080x24'.\n");
    return 2;
}

} // namespace

int main(int argc, char* argv[]) {
    Options options;
    for (int i = 1; i < argc; ++i) {
        const std::string_view argument = argv[i];
        int* target = argument == "--items"  ? &options.itemCount
                      : argument == "--adds" ? &options.adds
                      : argument == "--step" ? &options.stepPx
                                             : nullptr;
        if (!target || i + 1 >= argc)
            return usage();
        char* end = nullptr;
        const long value = std::strtol(argv[++i], &end, 10);
        if (*end != '\0' || value < 1 || value > 1000000)
            return usage();
        *target = int(value);
    }
    return run(options);
}
