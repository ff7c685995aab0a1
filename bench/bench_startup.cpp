// Cold start, memory and idle cost of the app shell, measured once per run (not a benchmark
// loop): the time from process start to the main window's first frame, the resident memory
// once the window has settled, and optionally the CPU the open window uses while idle.
//
// The run is offline and deterministic (see ShellHarness.h): a stored token, a 1,000-task
// snapshot in a private data folder, and a server where every request is refused at once.
//
// The bench prepares the data folder first and then launches itself again to measure: the
// kernel stamps a process's start time at fork, so the measured process does nothing before
// the app's own work but what any executable does (exec, dynamic linking, static init).

#include "ShellHarness.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QTemporaryDir>
#include <QTimer>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <malloc.h>
#include <optional>
#include <spawn.h>
#include <string>
#include <string_view>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace {

// Tasks in the snapshot; --items changes it.
int itemCount = 1000;
constexpr int settleSeconds = 5;
constexpr double firstFrameTargetMs = 250;
constexpr double rssTargetMB = 90;
constexpr double idleCpuTargetPercent = 0.1;
constexpr auto measureFlag = "--measure";

// CLOCK_BOOTTIME is the clock the kernel stamps a process's start with (field 22 of
// /proc/self/stat, in clock ticks since boot), and the one /proc/uptime shows; reading it
// directly gives nanoseconds instead of /proc/uptime's hundredths.
double bootTimeMs() {
    timespec now{};
    clock_gettime(CLOCK_BOOTTIME, &now);
    return double(now.tv_sec) * 1e3 + double(now.tv_nsec) / 1e6;
}

// The process's start in the same milliseconds since boot. The tick is 10 ms on Linux (USER_HZ
// 100) and the kernel rounds down, so durations from it read up to one tick long.
std::optional<double> processStartMs() {
    QFile stat(QStringLiteral("/proc/self/stat"));
    if (!stat.open(QIODevice::ReadOnly))
        return std::nullopt;
    const QByteArray text = stat.readAll();
    // The command name (field 2) may hold blanks and parentheses; fields after it may not.
    const qsizetype close = text.lastIndexOf(')');
    if (close < 0)
        return std::nullopt;
    const QList<QByteArray> fields = text.mid(close + 2).split(' ');
    constexpr int startTimeField = 22, firstFieldAfterName = 3;
    if (fields.size() <= startTimeField - firstFieldAfterName)
        return std::nullopt;
    bool ok = false;
    const qulonglong ticks = fields[startTimeField - firstFieldAfterName].toULongLong(&ok);
    const long ticksPerSecond = sysconf(_SC_CLK_TCK);
    if (!ok || ticksPerSecond <= 0)
        return std::nullopt;
    return double(ticks) * 1e3 / double(ticksPerSecond);
}

// A "Name:   1234 kB" line of a /proc file, in MiB.
std::optional<double> procMB(const QString& file, const QByteArray& name) {
    QFile status(file);
    if (!status.open(QIODevice::ReadOnly))
        return std::nullopt;
    for (const QByteArray& line : status.readAll().split('\n')) {
        if (!line.startsWith(name))
            continue;
        bool ok = false;
        const double kB = line.mid(name.size()).trimmed().split(' ').value(0).toDouble(&ok);
        if (ok)
            return kB / 1024;
    }
    return std::nullopt;
}

std::optional<double> residentMB() {
    return procMB(QStringLiteral("/proc/self/status"), "VmRSS:");
}

double cpuSeconds() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval& t) {
        return double(t.tv_sec) + double(t.tv_usec) / 1e6;
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

void report(const char* figure, double value, const char* unit, int decimals, double target) {
    std::printf("%-34s %9.*f %-3s (target < %g %s)%s\n", figure, decimals, value, unit, target,
                unit, value < target ? "" : "  OVER TARGET");
    std::fflush(stdout);
}

void note(const char* figure, double value, const char* unit) {
    std::printf("%-34s %9.1f %s\n", figure, value, unit);
    std::fflush(stdout);
}

// Keeps the event loop running for `ms` so the app goes on handling its events meanwhile.
void wait(int ms) {
    QEventLoop loop;
    QTimer::singleShot(ms, &loop, &QEventLoop::quit);
    loop.exec();
}

// Runs the app on the prepared folder and prints the figures.
int measure(const QString& folder, int idleSeconds) {
    const double mainEntered = bootTimeMs();
    const std::optional<double> processStarted = processStartMs();

    ShellHarness::prepareProcess();

    int argc = 1;
    char name[] = "velmora-startup-bench";
    char* argv[] = {name, nullptr};
    QApplication app(argc, argv);
    ShellHarness::nameApplication();

    BenchShell shell(folder);
    VelmoraApp& velmora = shell.app();
    std::optional<double> windowsBuilt, firstFrame;
    const QString failure =
        shell.start([&] { windowsBuilt = bootTimeMs(); }, [&] { firstFrame = bootTimeMs(); });
    if (!failure.isEmpty()) {
        std::fprintf(stderr, "velmora-startup-bench: %s\n", qPrintable(failure));
        return 1;
    }

    const qsizetype shown = velmora.store()->document().items.size();
    // A few of the sample's tasks are deleted ones, which the document leaves out.
    std::printf("velmora-startup-bench: %lld of %d tasks live after restore, %s, %s scene graph\n",
                static_cast<long long>(shown), itemCount,
                velmora.store()->hasToken() ? "token stored" : "no token",
                qPrintable(qEnvironmentVariable("QT_QUICK_BACKEND")));
    if (shown == 0)
        std::printf("  (the snapshot was not restored: the figures are not comparable)\n");

    if (processStarted) {
        note("process start -> main()", mainEntered - *processStarted, "ms");
        report("first frame, from process start", *firstFrame - *processStarted, "ms", 1,
               firstFrameTargetMs);
    } else {
        std::printf("process start unknown: /proc/self/stat could not be read\n");
    }
    note("main() -> windows built", *windowsBuilt - mainEntered, "ms");
    note("main() -> first frame", *firstFrame - mainEntered, "ms");

    wait(settleSeconds * 1000);
    if (const auto rss = residentMB())
        report("RSS after 5 s", *rss, "MB", 1, rssTargetMB);
    else
        std::printf("RSS unknown: /proc/self/status could not be read\n");
    // Shared libraries counted by their share: what bench/peer-round.sh reports.
    if (const auto pss = procMB(QStringLiteral("/proc/self/smaps_rollup"), "Pss:"))
        note("PSS after 5 s", *pss, "MiB");
    // PSS (and the clean private pages) move with whatever else maps the same libraries; the
    // pages the app wrote itself (heap, stacks, relocated data) do not.
    if (const auto dirty = procMB(QStringLiteral("/proc/self/smaps_rollup"), "Private_Dirty:"))
        note("written private after 5 s", *dirty, "MiB");
    // The C heap: what is allocated, and what is free in malloc's lists (whose pages the app
    // gives back to the system once a document is read).
    const struct mallinfo2 heap = mallinfo2();
    note("heap in use", double(heap.uordblks + heap.hblkhd) / (1024 * 1024), "MiB");
    note("heap free in malloc's lists", double(heap.fordblks) / (1024 * 1024), "MiB");

    if (idleSeconds > 0) {
        QElapsedTimer wall;
        const double cpuBefore = cpuSeconds();
        wall.start();
        wait(idleSeconds * 1000);
        const double cpu = cpuSeconds() - cpuBefore;
        const double percent = cpu / (double(wall.nsecsElapsed()) / 1e9) * 100;
        char figure[64];
        std::snprintf(figure, sizeof figure, "idle CPU over %d s", idleSeconds);
        report(figure, percent, "%", 3, idleCpuTargetPercent);
    }
    return 0;
}

// Writes the snapshot into a temporary folder, then runs this program again to measure.
int prepareAndLaunch(const char* self, int idleSeconds) {
    QTemporaryDir folder;
    if (!folder.isValid()) {
        std::fprintf(stderr, "velmora-startup-bench: no temporary folder\n");
        return 1;
    }
    if (!ShellHarness::writeSnapshot(folder.path(), itemCount)) {
        std::fprintf(stderr, "velmora-startup-bench: the snapshot was not written\n");
        return 1;
    }

    const std::string path = folder.path().toStdString();
    const std::string idle = std::to_string(idleSeconds);
    const std::string items = std::to_string(itemCount);
    const char* childArguments[] = {self,         measureFlag, path.c_str(),  "--idle-seconds",
                                    idle.c_str(), "--items",   items.c_str(), nullptr};
    pid_t child = 0;
    // posix_spawn takes non-const argument strings for historical reasons; it does not write.
    const int error = posix_spawn(&child, "/proc/self/exe", nullptr, nullptr,
                                  const_cast<char**>(childArguments), environ);
    if (error != 0) {
        std::fprintf(stderr, "velmora-startup-bench: cannot start: %s\n", std::strerror(error));
        return 1;
    }
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    if (WIFEXITED(status))
        return WEXITSTATUS(status);
    std::fprintf(stderr, "velmora-startup-bench: the measured run ended abnormally\n");
    return 1;
}

int usage() {
    std::fprintf(stderr, "usage: velmora-startup-bench [--idle-seconds N] [--items N]\n"
                         "Run under an X server, e.g. xvfb-run -a -s '-screen 0 1920x1080x24'.\n");
    return 2;
}

} // namespace

int main(int argc, char* argv[]) {
    std::optional<QString> measureIn;
    int idleSeconds = 0;
    for (int i = 1; i < argc; ++i) {
        const std::string_view argument = argv[i];
        if (argument == "--idle-seconds" && i + 1 < argc) {
            char* end = nullptr;
            const long value = std::strtol(argv[++i], &end, 10);
            if (*end != '\0' || value < 0 || value > 24 * 3600)
                return usage();
            idleSeconds = int(value);
        } else if (argument == "--items" && i + 1 < argc) {
            char* end = nullptr;
            const long value = std::strtol(argv[++i], &end, 10);
            if (*end != '\0' || value < 1 || value > 200000)
                return usage();
            itemCount = int(value);
        } else if (argument == measureFlag && i + 1 < argc) {
            measureIn = QString::fromLocal8Bit(argv[++i]);
        } else {
            return usage();
        }
    }
    return measureIn ? measure(*measureIn, idleSeconds) : prepareAndLaunch(argv[0], idleSeconds);
}
