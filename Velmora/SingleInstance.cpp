#include "SingleInstance.h"

#include <QCryptographicHash>
#include <QDataStream>
#include <QDir>
#include <QEventLoop>
#include <QLocalSocket>
#include <QPointer>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTimer>
#include <QtEndian>

namespace {

// A launch sends a few paths and URLs; anything larger isn't one of ours.
constexpr quint32 maxMessageBytes = 1024 * 1024;
// A client that connects and then stalls is dropped after this long.
constexpr int primaryReadTimeoutMs = 5000;
constexpr char ackByte = '\x06';

// Readable but safe for a file name, and unique per key: keychain service names carry URLs.
QString baseName(const QString& key) {
    QString safe;
    for (const QChar c : key.left(48))
        safe += (c.isLetterOrNumber() && c.unicode() < 128) || c == QLatin1Char('.') ||
                        c == QLatin1Char('-') || c == QLatin1Char('_')
                    ? c
                    : QLatin1Char('_');
    const QByteArray digest = QCryptographicHash::hash(key.toUtf8(), QCryptographicHash::Sha1);
    return safe + QLatin1Char('-') + QString::fromLatin1(digest.toHex().left(8));
}

QByteArray encode(const QStringList& arguments) {
    QByteArray payload;
    QDataStream out(&payload, QIODevice::WriteOnly);
    out.setVersion(QDataStream::Qt_6_4);
    out << arguments;
    QByteArray message(4, Qt::Uninitialized);
    qToBigEndian(static_cast<quint32>(payload.size()), message.data());
    return message + payload;
}

std::optional<QStringList> decode(const QByteArray& payload) {
    QDataStream in(payload);
    in.setVersion(QDataStream::Qt_6_4);
    QStringList arguments;
    in >> arguments;
    if (in.status() != QDataStream::Ok || !in.atEnd())
        return std::nullopt;
    return arguments;
}

} // namespace

SingleInstance::SingleInstance(QString key, QString directory, QObject* parent)
    : QObject(parent)
    , m_key(std::move(key))
    , m_directory(std::move(directory)) {
    if (m_directory.isEmpty())
        m_directory = QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation);
    if (m_directory.isEmpty())
        m_directory = QDir::tempPath();
}

SingleInstance::~SingleInstance() {
    // The socket goes before the lock, so no later process finds a lock-less socket.
    if (m_server)
        m_server->close();
    m_server.reset();
    m_lock.reset();
}

QString SingleInstance::socketPath() const {
    return m_directory + QLatin1Char('/') + baseName(m_key) + QStringLiteral(".socket");
}

bool SingleInstance::claim() {
    if (m_lock && m_lock->isLocked())
        return true;
    QDir().mkpath(m_directory);
    m_lock = std::make_unique<QLockFile>(m_directory + QLatin1Char('/') + baseName(m_key) +
                                         QStringLiteral(".lock"));
    // Only a dead owner makes the lock stale, never its age: a primary may run for weeks.
    m_lock->setStaleLockTime(0);
    if (!m_lock->tryLock(0)) {
        const auto error = m_lock->error();
        m_lock.reset();
        if (error == QLockFile::LockFailedError)
            return false;
        // A folder we can't write to mustn't keep the app from starting at all.
        qWarning("single instance: cannot create the lock in %s; running without it",
                 qPrintable(m_directory));
        return true;
    }

    const QString path = socketPath();
    // We hold the lock, so a socket file still there was left by a crashed primary.
    QLocalServer::removeServer(path);
    m_server = std::make_unique<QLocalServer>();
    m_server->setSocketOptions(QLocalServer::UserAccessOption);
    connect(m_server.get(), &QLocalServer::newConnection, this, [this] {
        while (QLocalSocket* socket = m_server->nextPendingConnection())
            serve(socket);
    });
    if (!m_server->listen(path))
        qWarning("single instance: cannot listen on %s: %s", qPrintable(path),
                 qPrintable(m_server->errorString()));
    return true;
}

void SingleInstance::serve(QLocalSocket* socket) {
    // The socket is a child of the server, so closing the server cleans up unfinished reads.
    const auto drop = [socket] {
        socket->abort();
        socket->deleteLater();
    };
    auto* deadline = new QTimer(socket);
    deadline->setSingleShot(true);
    connect(deadline, &QTimer::timeout, socket, drop);
    deadline->start(primaryReadTimeoutMs);
    connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
    connect(socket, &QLocalSocket::readyRead, this, [this, socket, drop] {
        if (socket->bytesAvailable() < 4)
            return;
        const QByteArray header = socket->peek(4);
        const quint32 size = qFromBigEndian<quint32>(header.constData());
        if (size > maxMessageBytes) {
            drop();
            return;
        }
        if (socket->bytesAvailable() < 4 + static_cast<qint64>(size))
            return;
        socket->skip(4);
        const auto arguments = decode(socket->read(size));
        // One message per connection.
        disconnect(socket, &QLocalSocket::readyRead, this, nullptr);
        if (!arguments) {
            drop();
            return;
        }
        // Acknowledge first, so whatever the slot does doesn't keep the sender waiting.
        socket->write(QByteArray(1, ackByte));
        socket->flush();
        socket->disconnectFromServer();
        Q_EMIT activated(*arguments);
    });
}

bool SingleInstance::sendToPrimary(const QStringList& arguments, int timeoutMs) {
    const QString path = socketPath();
    const QByteArray message = encode(arguments);
    QLocalSocket socket;
    QEventLoop loop;
    bool sent = false;
    bool delivered = false;
    QTimer deadline;
    deadline.setSingleShot(true);
    connect(&deadline, &QTimer::timeout, &loop, &QEventLoop::quit);
    // A primary that holds the lock may not listen yet: try again until the deadline.
    QTimer retry;
    retry.setSingleShot(true);
    connect(&retry, &QTimer::timeout, &socket, [&] {
        socket.abort();
        socket.connectToServer(path);
    });
    connect(&socket, &QLocalSocket::connected, &socket, [&] {
        sent = true;
        socket.write(message);
    });
    const auto takeAck = [&] {
        if (socket.bytesAvailable() > 0) {
            delivered = socket.read(1) == QByteArray(1, ackByte);
            loop.quit();
        }
    };
    connect(&socket, &QLocalSocket::readyRead, &socket, takeAck);
    connect(&socket, &QLocalSocket::errorOccurred, &socket, [&](QLocalSocket::LocalSocketError) {
        if (sent) {
            // Once the message went out it is never sent twice: the answer decides.
            takeAck();
            loop.quit();
        } else {
            retry.start(100);
        }
    });
    deadline.start(timeoutMs);
    socket.connectToServer(path);
    // Run a loop rather than block on the socket, so a primary on this same thread (as in the
    // tests) can still answer.
    loop.exec(QEventLoop::ExcludeUserInputEvents);
    retry.stop();
    socket.abort();
    return delivered;
}

int SingleInstance::sendToEveryPrimary(const QStringList& keys, const QStringList& arguments,
                                       const QString& directory, int timeoutMs) {
    int delivered = 0;
    QStringList seen;
    for (const QString& key : keys) {
        if (seen.contains(key))
            continue;
        seen << key;
        SingleInstance other(key, directory);
        // A held lock is a running primary; a free one is let go at once.
        QLockFile lock(other.m_directory + QLatin1Char('/') + baseName(key) +
                       QStringLiteral(".lock"));
        lock.setStaleLockTime(0);
        if (lock.tryLock(0)) {
            lock.unlock();
            continue;
        }
        if (other.sendToPrimary(arguments, timeoutMs))
            ++delivered;
    }
    return delivered;
}

namespace Handover {

namespace {

const QLatin1String tokenOption("--activation-token=");
const QLatin1String startupIdOption("--startup-id=");

bool plain(const QString& text) {
    static const QRegularExpression pattern(QStringLiteral("^[!-~]{1,256}$"));
    return pattern.match(text).hasMatch();
}

} // namespace

Activation fromEnvironment() {
    return {qEnvironmentVariable("XDG_ACTIVATION_TOKEN"),
            qEnvironmentVariable("DESKTOP_STARTUP_ID")};
}

QStringList withActivation(QStringList arguments, const Activation& activation) {
    if (!activation.token.isEmpty())
        arguments << tokenOption + activation.token;
    if (!activation.startupId.isEmpty())
        arguments << startupIdOption + activation.startupId;
    return arguments;
}

Activation activationOf(const QStringList& arguments) {
    Activation out;
    for (const QString& argument : arguments) {
        for (const auto& [option, field] :
             {std::pair{tokenOption, &out.token}, std::pair{startupIdOption, &out.startupId}})
            if (argument.startsWith(option) && plain(argument.mid(option.size())))
                *field = argument.mid(option.size());
    }
    return out;
}

std::optional<quint32> startupTime(const QString& startupId) {
    static const QRegularExpression pattern(QStringLiteral("_TIME([0-9]{1,10})$"));
    const auto match = pattern.match(startupId);
    bool ok = false;
    const qulonglong time = match.captured(1).toULongLong(&ok);
    if (!match.hasMatch() || !ok || time > 0xFFFFFFFFull)
        return std::nullopt;
    return quint32(time);
}

} // namespace Handover
