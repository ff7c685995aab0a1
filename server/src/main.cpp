// velmora-server: the reference server for tests and the local demo.

#include "AuthApi.h"
#include "BriefingApi.h"
#include "Demo.h"
#include "Faults.h"
#include "HttpApi.h"
#include "HttpServer.h"
#include "Service.h"
#include "SettingsApi.h"
#include "Storage.h"
#include "WelcomeApi.h"

#include <QDateTime>
#include <QStringList>

#include <httplib.h>

#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <thread>

namespace {

constexpr const char* usage =
    "usage:\n"
    "  velmora-server --help\n"
    "  velmora-server --db FILE user add NAME\n"
    "  velmora-server --db FILE user cap NAME N|none\n"
    "  velmora-server --db FILE serve [--port N] [--bind ADDRESS] [--demo --token-file PATH]\n"
    "                                 [--admin-file PATH] [--admin-port N] [--threads N]\n"
    "                                 [--smart-insert-cap N] [--briefing-delay-ms N]\n"
    "                                 [--auto-sign-in NAME]\n"
    "FILE may be :memory:.\n";

int fail(const QString& message) {
    std::fprintf(stderr, "velmora-server: %s\n", qPrintable(message));
    return 1;
}

int usageError(const QString& message) {
    std::fprintf(stderr, "velmora-server: %s\n%s", qPrintable(message), usage);
    return 2;
}

// Writes a secret readable by its owner only; it never goes to stdout or into argv.
bool writeSecret(const QString& path, const QString& secret) {
    const QByteArray file = path.toLocal8Bit();
    const int fd = ::open(file.constData(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (fd < 0)
        return false;
    const QByteArray line = secret.toUtf8() + '\n';
    const bool ok = ::fchmod(fd, 0600) == 0 &&
                    ::write(fd, line.constData(), std::size_t(line.size())) == line.size();
    return ::close(fd) == 0 && ok;
}

std::optional<int> portArgument(const QString& text) {
    bool ok = false;
    const int port = text.toInt(&ok);
    if (!ok || port < 0 || port > 65535)
        return std::nullopt;
    return port;
}

int userCommand(Service& service, const QStringList& args) {
    if (args.size() == 2 && args[0] == u"add") {
        const auto issued = service.issueToken(args[1]);
        std::printf("%s\n", qPrintable(issued.token));
        return 0;
    }
    if (args.size() == 3 && args[0] == u"cap") {
        std::optional<qint64> cap;
        if (args[2] != u"none") {
            bool ok = false;
            cap = args[2].toLongLong(&ok);
            if (!ok || *cap < 0)
                return usageError(QStringLiteral("the cap must be a count or \"none\""));
        }
        if (!service.setOpenCap(args[1], cap))
            return fail(QStringLiteral("no user named \"%1\"").arg(args[1]));
        return 0;
    }
    return usageError(QStringLiteral("unknown user command"));
}

struct ServeOptions {
    int port = 0;
    QString bind = QStringLiteral("127.0.0.1");
    bool demo = false;
    QString tokenFile;
    QString adminFile;
    int adminPort = 0;
    int threads = 16;
    std::optional<qint64> smartInsertCap;
    qint64 briefingDelayMs = 2000;
    QString autoSignIn;
};

int cannotListen(const QString& host, int port) {
    const int error = errno;
    return fail(QStringLiteral("cannot listen on %1:%2: %3")
                    .arg(host)
                    .arg(port)
                    .arg(error == EADDRINUSE ? QStringLiteral("port in use")
                                             : QString::fromLocal8Bit(std::strerror(error))));
}

// Runs a listener on its own thread; `done` tells when it returned.
struct Listener {
    httplib::Server& server;
    std::atomic<bool> done{false};
    std::thread thread;

    explicit Listener(httplib::Server& s)
        : server(s)
        , thread([this] {
            server.listen_after_bind();
            done = true;
            // A listener that ends on its own ends the process.
            ::kill(::getpid(), SIGTERM);
        }) {}

    void stop() {
        // stop() only works once the accept loop runs.
        for (int i = 0; i < 2000 && !done && !server.is_running(); ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        server.stop();
        thread.join();
    }
};

int serve(Service& service, const ServeOptions& options) {
    FaultPlan faults;
    if (options.smartInsertCap)
        service.setSmartInsertCap(*options.smartInsertCap);
    BriefingApi::setDelay(std::chrono::milliseconds(options.briefingDelayMs));
    AuthApi::setAutoSignIn(options.autoSignIn);
    if (options.demo) {
        const bool existed = service.state(Demo::userName).has_value();
        // Only the token of this run opens the demo account.
        const auto issued = service.issueToken(Demo::userName, true);
        if (!existed)
            service.replaceDocument(
                Demo::userName,
                Demo::document(QDate::currentDate(), QDateTime::currentDateTimeUtc()));
        // The demo opens on its list; the welcome is for accounts people make.
        WelcomeApi::markWelcomed(service, Demo::userName);
        if (!writeSecret(options.tokenFile, issued.token))
            return fail(QStringLiteral("cannot write %1").arg(options.tokenFile));
    }

    HttpServer api(HttpApi::limits(std::size_t(options.threads)));
    HttpApi::configure(api);
    HttpApi::installApi(api, service, faults);
    const int port = api.bindTo(options.bind.toStdString(), options.port);
    if (port < 0)
        return cannotListen(options.bind, options.port);

    HttpServer admin(HttpApi::limits(4));
    int adminPort = -1;
    if (!options.adminFile.isEmpty()) {
        const QString secret = Service::newToken();
        HttpApi::configure(admin);
        HttpApi::installAdmin(admin, service, faults, secret.toUtf8());
        // Fault injection and direct edits are for tests on this machine only.
        adminPort = admin.bindTo("127.0.0.1", options.adminPort);
        if (adminPort < 0)
            return cannotListen(QStringLiteral("127.0.0.1"), options.adminPort);
        if (!writeSecret(options.adminFile, secret))
            return fail(QStringLiteral("cannot write %1").arg(options.adminFile));
    }

    // Signals are taken by sigwait below, never by a handler on some pool thread.
    sigset_t stopSignals;
    sigemptyset(&stopSignals);
    sigaddset(&stopSignals, SIGINT);
    sigaddset(&stopSignals, SIGTERM);
    // A shell may start us with SIGINT ignored; an ignored signal never reaches sigwait.
    ::signal(SIGINT, SIG_DFL);
    ::signal(SIGTERM, SIG_DFL);
    pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);

    std::printf("%d\n", port);
    if (adminPort >= 0)
        std::printf("admin %d\n", adminPort);
    std::fflush(stdout);

    Listener apiListener(api);
    // Started after the signal mask, which it inherits; stopped before the service goes.
    SettingsApi::ScheduleClock scheduleClock(service);
    std::optional<Listener> adminListener;
    if (adminPort >= 0)
        adminListener.emplace(admin);

    int received = 0;
    sigwait(&stopSignals, &received);
    apiListener.stop();
    if (adminListener)
        adminListener->stop();
    return 0;
}

int run(const QStringList& args) {
    QString db;
    int i = 0;
    for (; i < args.size() && args[i].startsWith(QLatin1String("--")); ++i) {
        if (args[i] == u"--help") {
            std::fputs(usage, stdout);
            return 0;
        }
        if (args[i] == u"--db" && i + 1 < args.size())
            db = args[++i];
        else
            return usageError(QStringLiteral("unknown option %1").arg(args[i]));
    }
    if (db.isEmpty())
        return usageError(QStringLiteral("--db FILE is required"));
    if (i >= args.size())
        return usageError(QStringLiteral("a command is required"));
    const QString command = args[i++];
    const QStringList rest = args.mid(i);

    if (command != u"user" && command != u"serve")
        return usageError(QStringLiteral("unknown command %1").arg(command));

    ServeOptions options;
    if (command == u"serve") {
        for (int k = 0; k < rest.size(); ++k) {
            const QString& option = rest[k];
            const bool hasValue = k + 1 < rest.size();
            if (option == u"--demo") {
                options.demo = true;
            } else if (option == u"--port" && hasValue) {
                const auto port = portArgument(rest[++k]);
                if (!port)
                    return usageError(QStringLiteral("bad port"));
                options.port = *port;
            } else if (option == u"--admin-port" && hasValue) {
                const auto port = portArgument(rest[++k]);
                if (!port)
                    return usageError(QStringLiteral("bad admin port"));
                options.adminPort = *port;
            } else if (option == u"--threads" && hasValue) {
                options.threads = rest[++k].toInt();
                if (options.threads < 1 || options.threads > 256)
                    return usageError(QStringLiteral("--threads takes 1 to 256"));
            } else if (option == u"--smart-insert-cap" && hasValue) {
                bool ok = false;
                options.smartInsertCap = rest[++k].toLongLong(&ok);
                if (!ok || *options.smartInsertCap < 0)
                    return usageError(QStringLiteral("--smart-insert-cap takes a count"));
            } else if (option == u"--briefing-delay-ms" && hasValue) {
                bool ok = false;
                options.briefingDelayMs = rest[++k].toLongLong(&ok);
                if (!ok || options.briefingDelayMs < 0 || options.briefingDelayMs > 600000)
                    return usageError(QStringLiteral("--briefing-delay-ms takes 0 to 600000"));
            } else if (option == u"--auto-sign-in" && hasValue) {
                options.autoSignIn = rest[++k].trimmed();
                if (options.autoSignIn.isEmpty() || options.autoSignIn.size() > 100)
                    return usageError(QStringLiteral("--auto-sign-in takes a user name"));
            } else if (option == u"--bind" && hasValue) {
                options.bind = rest[++k];
            } else if (option == u"--token-file" && hasValue) {
                options.tokenFile = rest[++k];
            } else if (option == u"--admin-file" && hasValue) {
                options.adminFile = rest[++k];
            } else {
                return usageError(QStringLiteral("unknown serve option %1").arg(option));
            }
        }
        if (options.demo && options.tokenFile.isEmpty())
            return usageError(QStringLiteral("--demo needs --token-file PATH"));
    }

    try {
        Storage storage(db);
        Service service(storage);
        if (command == u"user")
            return userCommand(service, rest);
        return serve(service, options);
    } catch (const std::exception& error) {
        return fail(QString::fromUtf8(error.what()));
    }
}

} // namespace

int main(int argc, char** argv) {
    // A client that hangs up must not kill the server with SIGPIPE.
    ::signal(SIGPIPE, SIG_IGN);
    QStringList args;
    for (int i = 1; i < argc; ++i)
        args.push_back(QString::fromLocal8Bit(argv[i]));
    return run(args);
}
