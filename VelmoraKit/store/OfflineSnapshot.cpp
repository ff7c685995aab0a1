#include "OfflineSnapshot.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QStandardPaths>

#include <cerrno>
#include <cmath>
#include <limits>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// 2001-01-01T00:00:00Z in milliseconds since the Unix epoch.
constexpr qint64 referenceEpochMs = 978'307'200'000;

// Whole numbers only, within [low, high]: a file is input like any other.
std::optional<qint64> integer(const JsonValue* value, qint64 low, qint64 high) {
    if (!value || !value->isInteger() || value->toInteger() < low || value->toInteger() > high)
        return std::nullopt;
    return value->toInteger();
}

// Far beyond any real save time (about 30,000 years either side of 2001), and small enough
// that its milliseconds fit a qint64 with room to spare.
constexpr double maxSyncedAtSeconds = 1e12;

// A file system that cannot sync (EINVAL) is no reason to give up the save.
bool syncData(int fd) {
    return ::fdatasync(fd) == 0 || errno == EINVAL;
}

void syncDirectory(const QString& path) {
    const int fd = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0)
        return;
    ::fsync(fd);
    ::close(fd);
}

// The synced document changes only on a sync, while the snapshot is saved on every edit:
// its base64 is kept for as long as the same bytes are handed in.
const QByteArray& base64Of(const QByteArray& wire) {
    thread_local QByteArray source;
    thread_local QByteArray encoded;
    if (!wire.isSharedWith(source) || source.isNull()) {
        source = wire;
        encoded = wire.toBase64();
    }
    return encoded;
}

} // namespace

QByteArray OfflineSnapshot::encode() const {
    JsonValue::Array ops;
    ops.reserve(queue.size());
    for (const auto& op : queue)
        ops.push_back(PendingOps::toJson(op));

    const QDateTime at = syncedAt.isValid() ? syncedAt : QDateTime::currentDateTimeUtc();
    JsonValue root;
    // Base64 needs no escaping in JSON, so the document goes in between the quotes of an
    // empty placeholder rather than through the writer: megabytes copied once, not thrice.
    root.set(QStringLiteral("wireDocument"), QString());
    root.set(QStringLiteral("syncedVersion"), syncedVersion);
    root.set(QStringLiteral("syncedAt"),
             double(at.toMSecsSinceEpoch() - referenceEpochMs) / 1000.0);
    root.set(QStringLiteral("queue"), std::move(ops));
    if (!strikes.isEmpty()) {
        JsonValue::Array flat;
        for (auto it = strikes.cbegin(); it != strikes.cend(); ++it) {
            flat.push_back(PendingOps::toJson(it.key()));
            flat.push_back(it.value());
        }
        root.set(QStringLiteral("strikes"), std::move(flat));
    }
    QByteArray json = root.toJson();
    static const QByteArray placeholder = QByteArrayLiteral("\"wireDocument\":\"\"");
    const qsizetype slot = json.indexOf(placeholder);
    if (slot >= 0)
        json.insert(slot + placeholder.size() - 1, base64Of(wireDocument));
    return json;
}

std::optional<OfflineSnapshot> OfflineSnapshot::decode(QByteArrayView json) {
    const auto root = JsonValue::parse(json);
    if (!root || !root->isObject())
        return std::nullopt;

    OfflineSnapshot out;
    const JsonValue* wire = root->find(u"wireDocument");
    if (!wire || !wire->isString())
        return std::nullopt;
    auto decoded = QByteArray::fromBase64Encoding(wire->toString().toLatin1(),
                                                  QByteArray::AbortOnBase64DecodingErrors);
    if (!decoded)
        return std::nullopt;
    out.wireDocument = *decoded;
    // Decoded in the base64 text's buffer, a third larger; the copy kept is cut to size.
    out.wireDocument.squeeze();

    const auto version = integer(root->find(u"syncedVersion"), std::numeric_limits<qint64>::min(),
                                 std::numeric_limits<qint64>::max());
    if (!version)
        return std::nullopt;
    out.syncedVersion = *version;

    const JsonValue* at = root->find(u"syncedAt");
    if (!at || !at->isNumber() || !(std::fabs(at->toDouble()) <= maxSyncedAtSeconds))
        return std::nullopt;
    out.syncedAt = QDateTime::fromMSecsSinceEpoch(
        referenceEpochMs + qint64(std::llround(at->toDouble() * 1000.0)), Qt::UTC);

    const JsonValue* queue = root->find(u"queue");
    if (!queue || !queue->isArray())
        return std::nullopt;
    for (const auto& element : queue->toArray()) {
        auto op = PendingOps::fromJson(element);
        if (!op)
            return std::nullopt;
        out.queue.push_back(std::move(*op));
    }

    if (const JsonValue* strikes = root->find(u"strikes")) {
        const auto& flat = strikes->toArray();
        if (!strikes->isArray() || flat.size() % 2 != 0)
            return std::nullopt;
        for (std::size_t i = 0; i < flat.size(); i += 2) {
            auto op = PendingOps::fromJson(flat[i]);
            const auto count = integer(&flat[i + 1], 0, std::numeric_limits<int>::max());
            if (!op || !count)
                return std::nullopt;
            out.strikes.insert(std::move(*op), int(*count));
        }
    }
    return out;
}

OfflineDisk::OfflineDisk(const std::optional<QString>& directory) {
    const QString folder =
        directory ? *directory
                  : QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) +
                        QStringLiteral("/Velmora");
    m_file = QDir(folder).filePath(QString::fromLatin1(fileName));
}

void OfflineDisk::save(const OfflineSnapshot& snapshot) const {
    const QByteArray bytes = snapshot.encode();
    const QString folder = QFileInfo(m_file).absolutePath();
    QDir().mkpath(folder);
    // The list is the user's alone: the folder and the file are closed to other accounts,
    // including a folder left open by an earlier version.
    ::chmod(QFile::encodeName(folder).constData(), S_IRWXU);
    QSaveFile file(m_file);
    if (!file.open(QIODevice::WriteOnly))
        return;
    // QSaveFile buffers a small write and, at commit, ignores both a failed flush and a
    // failed sync: a full disk would put an empty file in place of the old one. Check both
    // here, while the old file still stands.
    if (::fchmod(file.handle(), S_IRUSR | S_IWUSR) != 0 || file.write(bytes) != bytes.size() ||
        !file.flush() || !syncData(file.handle())) {
        file.cancelWriting();
        return;
    }
    if (file.commit())
        syncDirectory(folder); // the rename itself must reach the disk too
}

std::optional<OfflineSnapshot> OfflineDisk::load() const {
    QFile file(m_file);
    if (!file.open(QIODevice::ReadOnly) || file.size() > maxFileBytes)
        return std::nullopt;
    return OfflineSnapshot::decode(file.read(maxFileBytes));
}

bool OfflineDisk::setAside() const {
    if (!QFile::exists(m_file))
        return false;
    QFile::remove(asideURL(keptAside));
    for (int n = keptAside - 1; n >= 1; --n)
        QFile::rename(asideURL(n), asideURL(n + 1));
    const QByteArray target = QFile::encodeName(asideURL(1));
    if (::rename(QFile::encodeName(m_file).constData(), target.constData()) != 0)
        return false;
    ::chmod(target.constData(), S_IRUSR | S_IWUSR);
    syncDirectory(QFileInfo(m_file).absolutePath());
    return true;
}

QString OfflineDisk::asideURL(int n) const {
    // Not "offline-snapshot.json.*", which is what a crashed save leaves and the start sweeps.
    const QFileInfo info(m_file);
    return info.dir().filePath(
        QStringLiteral("%1.unreadable-%2.json").arg(info.completeBaseName(), QString::number(n)));
}

void OfflineDisk::clear() const {
    QFile::remove(m_file);
}

void OfflineDisk::removeStrayTemporaries() const {
    const QFileInfo info(m_file);
    QDir folder(info.absolutePath());
    const QStringList strays =
        folder.entryList({info.fileName() + QStringLiteral(".*")}, QDir::Files | QDir::Hidden);
    for (const auto& name : strays)
        folder.remove(name);
}
