#pragma once

#include "Json.h"
#include "Wire.h"

#include <QByteArray>
#include <QList>
#include <QPair>
#include <QProcess>
#include <QString>
#include <QTemporaryDir>
#include <QUrl>

#include <memory>
#include <optional>

// velmora-server as a child process, for tests that need a real server.
//
//     ServerProcess server;                      // starts at once, on a free port
//     const QString token = server.createUser("ana");
//     APIClient client(server.baseURL(), token);
//     server.failNext("addItem", 500);           // the next addItem answers 500
//
// Every call is synchronous and bounded in time; a failure throws std::runtime_error
// with the reason. The administrative calls go to the server's admin listener (127.0.0.1
// only), which is guarded by a secret the server writes to a private file; the demo
// token is read from its file too, never from the command line or stdout.
class ServerProcess {
public:
    struct Options {
        // Empty: an in-memory database, gone when the process ends. A path survives
        // stop() and start(), which is how a restart is tested.
        QString databasePath;
        // Seed the demo account (`serve --demo`); its token is demoToken().
        bool demo = false;
        // How long an asked-for briefing takes to land; 0 lands it at once.
        int briefingDelayMs = 0;
        // `serve --auto-sign-in NAME`: the browser sign-in signs straight in as NAME.
        QString autoSignIn = {};
    };

    ServerProcess();
    explicit ServerProcess(Options options);
    ~ServerProcess(); // stops the process
    ServerProcess(const ServerProcess&) = delete;
    ServerProcess& operator=(const ServerProcess&) = delete;

    // Starts (again, after stop(), on the same port) and waits until the server listens.
    void start();
    // SIGTERM, then waits for a clean exit; kills it after a bound. Returns the exit code
    // (-1 when it had to be killed or was not running).
    int stop();
    bool isRunning() const;

    quint16 port() const { return m_port; }
    // "http://127.0.0.1:<port>/", the form APIClient takes.
    QUrl baseURL() const;
    // The demo account's token (Options::demo only).
    QString demoToken() const;
    // Where the server wrote it (owner-only permissions).
    QString demoTokenFile() const;

    // --- accounts --------------------------------------------------------------------

    // Creates the user if needed and returns a fresh token for it.
    QString createUser(const QString& name);
    // Open tasks the user may hold; nullopt removes the cap.
    void setOpenCap(const QString& name, std::optional<qint64> cap);
    // Agent (MCP tool) calls every user may make a day.
    void setMcpDailyCap(qint64 cap);
    // AI credits: a purchase that never expires; a run recorded as a feature would (false
    // when it was refused for want of credit).
    void grantCredits(const QString& name, qint64 amount);
    bool recordRun(const QString& name, bool succeeded = true);
    // The user's next briefing run fails: it is kept with a null body.
    void failNextBriefing(const QString& name);

    // --- the stored document ---------------------------------------------------------

    struct StoredDocument {
        WireDocument document;
        qint64 version = 0;
    };
    StoredDocument document(const QString& name);
    // Replaces the whole document as another device would; returns the new version.
    qint64 replaceDocument(const QString& name, const WireDocument& document);
    // Stores a pending proposal (replacing any); `created_at` is stamped when absent.
    // Returns the stored `created_at`.
    QString createProposal(const QString& name, const JsonValue& proposal);
    void clearProposal(const QString& name);

    // --- fault injection -------------------------------------------------------------

    // A scripted misbehaviour for the next `count` requests matching `method` and `path`
    // (and, for "/api/store", the remote method `rpc` when given).
    struct Fault {
        QString method = QStringLiteral("POST");
        QString path = QStringLiteral("/api/store");
        QString rpc;
        int count = 1;
        int delayMs = 0;              // wait first
        std::optional<int> status;    // then answer this instead of handling the request
        QByteArray body;              // with this body; empty gives {"message": ...}
        bool closeAfterWrite = false; // or handle it and close with no reply at all
        bool cutAfterHeaders = false; // or handle it and close halfway through the reply
    };
    void inject(const Fault& fault);
    // The same for any path: `status` (none: the request is handled, so the fault only
    // counts it) after `delayMs`, with `body`.
    void injectOn(const QString& method, const QString& path, std::optional<int> status,
                  int count = 1, int delayMs = 0, const QByteArray& body = {}) {
        Fault fault;
        fault.method = method;
        fault.path = path;
        fault.status = status;
        fault.count = count;
        fault.delayMs = delayMs;
        fault.body = body;
        inject(fault);
    }
    // Shorthands for `api/store` calls of remote method `rpc` (empty: any).
    void failNext(const QString& rpc, int status, const QByteArray& body = {}, int count = 1);
    void delayNext(const QString& rpc, int delayMs, int count = 1);
    // The write is applied, then the connection closes without a reply.
    void dropReplyAfterWrite(const QString& rpc, int count = 1);
    // Faults scripted and not yet used up.
    int pendingFaults();
    void clearFaults();

    // --- plain HTTP to the public API, for tests of the server itself -----------------

    struct Reply {
        int status = 0; // 0: no HTTP reply (connection closed, refused...)
        QByteArray body;
        JsonValue json() const;   // the body parsed; null when it is not JSON
        QByteArray location = {}; // the Location header of a redirect
    };
    using Headers = QList<QPair<QByteArray, QByteArray>>;
    Reply request(const QByteArray& method, const QByteArray& path, const QByteArray& body = {},
                  const Headers& headers = {});
    // `POST /api/store` with `{"method": rpc, "args": args}` and the bearer token.
    Reply call(const QString& token, const QString& rpc, const JsonValue::Array& args = {},
               const Headers& headers = {});

    QString databasePath() const { return m_options.databasePath; }

    // The admin listener as it stands, for tests of what it refuses.
    Reply admin(const QByteArray& method, const QString& path, const QByteArray& body = {});

private:
    JsonValue adminJson(const QByteArray& method, const QString& path, const QByteArray& body = {});

    Options m_options;
    QTemporaryDir m_dir;
    std::unique_ptr<QProcess> m_process;
    quint16 m_port = 0;
    quint16 m_adminPort = 0;
    QByteArray m_secret;
};
