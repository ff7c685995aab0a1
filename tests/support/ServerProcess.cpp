#include "ServerProcess.h"

#include <sys/prctl.h>

#include <csignal>

#include "WireJson.h"

#include <QDeadlineTimer>
#include <QFile>

#include <httplib.h>

#include <stdexcept>

#ifndef VELMORA_SERVER_PATH
#error "VELMORA_SERVER_PATH must name the velmora-server binary"
#endif

namespace {

constexpr int timeoutMs = 15000; // to start, and to stop

[[noreturn]] void fail(const QString& what) {
    throw std::runtime_error(what.toStdString());
}

QByteArray readSecret(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        fail(QStringLiteral("cannot read %1").arg(path));
    return file.readAll().trimmed();
}

ServerProcess::Reply send(quint16 port, const QByteArray& method, const QByteArray& path,
                          const QByteArray& body, const ServerProcess::Headers& headers) {
    httplib::Client client("127.0.0.1", port);
    client.set_connection_timeout(5);
    client.set_read_timeout(60);
    client.set_keep_alive(false);
    client.set_tcp_nodelay(true);
    httplib::Request request;
    request.method = method.toStdString();
    request.path = path.toStdString();
    request.body = body.toStdString();
    for (const auto& [name, value] : headers)
        request.set_header(name.toStdString(), value.toStdString());
    if (!body.isEmpty() && !request.has_header("Content-Type"))
        request.set_header("Content-Type", "application/json");
    const auto result = client.send(request);
    if (!result)
        return {};
    return {result->status, QByteArray::fromStdString(result->body),
            QByteArray::fromStdString(result->get_header_value("Location"))};
}

} // namespace

JsonValue ServerProcess::Reply::json() const {
    return JsonValue::parse(body).value_or(JsonValue());
}

ServerProcess::ServerProcess()
    : ServerProcess(Options{}) {}

ServerProcess::ServerProcess(Options options)
    : m_options(std::move(options)) {
    if (!m_dir.isValid())
        fail(QStringLiteral("no temporary directory"));
    start();
}

ServerProcess::~ServerProcess() {
    stop();
}

void ServerProcess::start() {
    if (isRunning())
        return;
    const QString adminFile = m_dir.filePath(QStringLiteral("admin-secret"));
    const QString tokenFile = m_dir.filePath(QStringLiteral("demo-token"));
    QStringList args{
        QStringLiteral("--db"),
        m_options.databasePath.isEmpty() ? QStringLiteral(":memory:") : m_options.databasePath,
        QStringLiteral("serve"), QStringLiteral("--port"),
        // A restart comes back on the same address, as a real server would.
        QString::number(m_port), QStringLiteral("--admin-file"), adminFile,
        // A briefing lands at once rather than after the demo's pause, unless a
        // test of waiting for a run asks for a moment.
        QStringLiteral("--briefing-delay-ms"), QString::number(qMax(0, m_options.briefingDelayMs))};
    if (m_options.demo)
        args << QStringLiteral("--demo") << QStringLiteral("--token-file") << tokenFile;
    if (!m_options.autoSignIn.isEmpty())
        args << QStringLiteral("--auto-sign-in") << m_options.autoSignIn;

    m_process = std::make_unique<QProcess>();
    m_process->setProcessChannelMode(QProcess::ForwardedErrorChannel);
    // A test that crashes must not leave its server running.
    m_process->setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGTERM); });
    m_process->start(QStringLiteral(VELMORA_SERVER_PATH), args);
    if (!m_process->waitForStarted(timeoutMs))
        fail(QStringLiteral("velmora-server did not start: %1").arg(m_process->errorString()));

    // The first line is the port, the second the admin port.
    QByteArray output;
    QDeadlineTimer deadline(timeoutMs);
    while (output.count('\n') < 2) {
        if (deadline.hasExpired() || m_process->state() != QProcess::Running)
            fail(QStringLiteral("velmora-server did not report its ports (output: \"%1\")")
                     .arg(QString::fromUtf8(output)));
        m_process->waitForReadyRead(int(qMax<qint64>(1, deadline.remainingTime())));
        output += m_process->readAllStandardOutput();
    }
    const QList<QByteArray> lines = output.split('\n');
    bool ok = false, adminOk = false;
    m_port = lines[0].trimmed().toUShort(&ok);
    m_adminPort =
        lines[1].trimmed().startsWith("admin ") ? lines[1].trimmed().mid(6).toUShort(&adminOk) : 0;
    if (!ok || !adminOk)
        fail(QStringLiteral("velmora-server printed \"%1\"").arg(QString::fromUtf8(output)));
    m_secret = readSecret(adminFile);
}

int ServerProcess::stop() {
    if (!isRunning())
        return -1;
    m_process->terminate();
    if (m_process->waitForFinished(timeoutMs))
        return m_process->exitStatus() == QProcess::NormalExit ? m_process->exitCode() : -1;
    m_process->kill();
    m_process->waitForFinished(timeoutMs);
    return -1;
}

bool ServerProcess::isRunning() const {
    return m_process && m_process->state() != QProcess::NotRunning;
}

QUrl ServerProcess::baseURL() const {
    return QUrl(QStringLiteral("http://127.0.0.1:%1/").arg(m_port));
}

QString ServerProcess::demoToken() const {
    if (!m_options.demo)
        fail(QStringLiteral("the server was started without --demo"));
    return QString::fromUtf8(readSecret(demoTokenFile()));
}

QString ServerProcess::demoTokenFile() const {
    return m_dir.filePath(QStringLiteral("demo-token"));
}

ServerProcess::Reply ServerProcess::admin(const QByteArray& method, const QString& path,
                                          const QByteArray& body) {
    if (!isRunning())
        fail(QStringLiteral("velmora-server is not running"));
    return send(m_adminPort, method, path.toUtf8(), body,
                {{QByteArrayLiteral("Authorization"), "Bearer " + m_secret}});
}

JsonValue ServerProcess::adminJson(const QByteArray& method, const QString& path,
                                   const QByteArray& body) {
    const Reply reply = admin(method, path, body);
    if (reply.status != 200)
        fail(QStringLiteral("admin %1 %2 answered %3: %4")
                 .arg(QString::fromLatin1(method), path)
                 .arg(reply.status)
                 .arg(QString::fromUtf8(reply.body)));
    return reply.json();
}

static QString userPath(const QString& name, const char* what) {
    return QStringLiteral("/admin/users/%1/%2")
        .arg(QString::fromLatin1(QUrl::toPercentEncoding(name)), QLatin1String(what));
}

// The body {"<key>": value} of most admin calls.
static QByteArray field(const char* key, const JsonValue& value) {
    return JsonValue::object({{QString::fromLatin1(key), value}}).toJson();
}

QString ServerProcess::createUser(const QString& name) {
    const JsonValue reply = adminJson("POST", QStringLiteral("/admin/users"), field("name", name));
    const JsonValue* token = reply.find(u"token");
    if (!token || !token->isString())
        fail(QStringLiteral("no token for %1").arg(name));
    return token->toString();
}

void ServerProcess::setOpenCap(const QString& name, std::optional<qint64> cap) {
    adminJson("PUT", userPath(name, "cap"), field("cap", cap));
}

void ServerProcess::setMcpDailyCap(qint64 cap) {
    adminJson("PUT", QStringLiteral("/admin/mcp/cap"), field("cap", cap));
}

void ServerProcess::grantCredits(const QString& name, qint64 amount) {
    adminJson("POST", userPath(name, "credits"), field("amount", amount));
}

bool ServerProcess::recordRun(const QString& name, bool succeeded) {
    const Reply reply =
        admin("POST", userPath(name, "credits/runs"), field("succeeded", succeeded));
    if (reply.status != 200 && reply.status != 402)
        throw std::runtime_error("recordRun: HTTP " + std::to_string(reply.status));
    return reply.status == 200;
}

void ServerProcess::failNextBriefing(const QString& name) {
    adminJson("POST", userPath(name, "briefing/fail"));
}

ServerProcess::StoredDocument ServerProcess::document(const QString& name) {
    const JsonValue reply = adminJson("GET", userPath(name, "document"));
    const JsonValue* document = reply.find(u"document");
    const JsonValue* version = reply.find(u"version");
    if (!document || !version)
        fail(QStringLiteral("no document for %1").arg(name));
    return {WireJson::fromJson<WireDocument>(*document), version->toInteger()};
}

qint64 ServerProcess::replaceDocument(const QString& name, const WireDocument& document) {
    const JsonValue reply =
        adminJson("PUT", userPath(name, "document"), WireJson::encode(document));
    return reply.find(u"version") ? reply.find(u"version")->toInteger() : 0;
}

QString ServerProcess::createProposal(const QString& name, const JsonValue& proposal) {
    const JsonValue reply = adminJson("PUT", userPath(name, "proposal"), proposal.toJson());
    const JsonValue* stored = reply.find(u"proposal");
    const JsonValue* createdAt = stored ? stored->find(u"created_at") : nullptr;
    return createdAt ? createdAt->toString() : QString();
}

void ServerProcess::clearProposal(const QString& name) {
    adminJson("DELETE", userPath(name, "proposal"));
}

void ServerProcess::inject(const Fault& fault) {
    // The server reads null as "not set": any method, its own status, its own body.
    const auto orNull = [](const QString& text) { return text.isEmpty() ? JsonValue() : text; };
    adminJson("POST", QStringLiteral("/admin/faults"),
              JsonValue::object({{QStringLiteral("method"), fault.method},
                                 {QStringLiteral("path"), fault.path},
                                 {QStringLiteral("rpc"), orNull(fault.rpc)},
                                 {QStringLiteral("count"), fault.count},
                                 {QStringLiteral("delay_ms"), fault.delayMs},
                                 {QStringLiteral("status"), fault.status},
                                 {QStringLiteral("body"), orNull(QString::fromUtf8(fault.body))},
                                 {QStringLiteral("close_after_write"), fault.closeAfterWrite},
                                 {QStringLiteral("cut_after_headers"), fault.cutAfterHeaders}})
                  .toJson());
}

void ServerProcess::failNext(const QString& rpc, int status, const QByteArray& body, int count) {
    inject({.rpc = rpc, .count = count, .status = status, .body = body});
}

void ServerProcess::delayNext(const QString& rpc, int delayMs, int count) {
    inject({.rpc = rpc, .count = count, .delayMs = delayMs, .status = {}, .body = {}});
}

void ServerProcess::dropReplyAfterWrite(const QString& rpc, int count) {
    inject({.rpc = rpc, .count = count, .status = {}, .body = {}, .closeAfterWrite = true});
}

int ServerProcess::pendingFaults() {
    const JsonValue reply = adminJson("GET", QStringLiteral("/admin/faults"));
    return reply.find(u"pending") ? int(reply.find(u"pending")->toInteger()) : 0;
}

void ServerProcess::clearFaults() {
    adminJson("DELETE", QStringLiteral("/admin/faults"));
}

ServerProcess::Reply ServerProcess::request(const QByteArray& method, const QByteArray& path,
                                            const QByteArray& body, const Headers& headers) {
    return send(m_port, method, path, body, headers);
}

ServerProcess::Reply ServerProcess::call(const QString& token, const QString& rpc,
                                         const JsonValue::Array& args, const Headers& headers) {
    Headers all = headers;
    all.push_back({QByteArrayLiteral("Authorization"), "Bearer " + token.toUtf8()});
    const QByteArray body =
        JsonValue::object({{QStringLiteral("method"), rpc}, {QStringLiteral("args"), args}})
            .toJson();
    return request("POST", "/api/store", body, all);
}
