#include "Service.h"

#include "Methods.h"
#include "Proposals.h"
#include "SettingsApi.h"
#include "SmartReading.h"
#include "WireJson.h"

#include <QCryptographicHash>
#include <QDate>
#include <QDateTime>
#include <QRandomGenerator>
#include <QUuid>

namespace {

constexpr qint64 replyLifetimeSeconds = 24 * 60 * 60;

QByteArray envelope(const QByteArray& result, qint64 version) {
    return "{\"result\":" + result + ",\"version\":" + QByteArray::number(version) + '}';
}

Reply failure(int status, const QString& text) {
    return Reply{status, messageBody(text)};
}

QString newItemId() {
    return QUuid::createUuid().toString(QUuid::WithoutBraces);
}

Reply internalError(const std::exception& fault) {
    return failure(500, QStringLiteral("Internal error: %1").arg(QString::fromUtf8(fault.what())));
}

} // namespace

QByteArray messageBody(const QString& text) {
    return JsonValue::object({{QStringLiteral("message"), text}}).toJson();
}

Reply messageReply(int status, const QString& text) {
    return failure(status, text);
}

Service::Service(Storage& storage)
    : m_storage(storage)
    , m_smartInsertCap(SmartReading::defaultMonthlyCap) {}

QByteArray Service::fingerprint(const QString& token) {
    return QCryptographicHash::hash(token.toUtf8(), QCryptographicHash::Sha256).toHex();
}

QString Service::newToken() {
    static constexpr char alphabet[] =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
    QString token = QStringLiteral("vl-");
    for (int i = 0; i < 40; ++i)
        token += QLatin1Char(alphabet[QRandomGenerator::system()->bounded(62)]);
    return token;
}

QString Service::now() {
    return QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs);
}

std::optional<qint64> Service::authenticate(const QByteArray& token) {
    if (token.isEmpty())
        return std::nullopt;
    const QByteArray print = fingerprint(QString::fromUtf8(token));
    std::lock_guard lock(m_mutex);
    const auto user = m_storage.userForFingerprint(print);
    if (!user)
        return std::nullopt;
    const qint64 seconds = QDateTime::currentSecsSinceEpoch();
    qint64& touched = m_touched[print];
    if (seconds - touched >= 60) {
        // A failed stamp must not refuse the call it stamps.
        try {
            m_storage.touchToken(print, now());
            touched = seconds;
        } catch (const StorageError&) {
        }
    }
    if (m_touched.size() > 100000)
        m_touched.clear();
    return user->id;
}

Service::Cached& Service::cachedOf(qint64 userId) {
    auto it = m_cache.find(userId);
    if (it == m_cache.end()) {
        UserState state = m_storage.loadState(userId);
        it = m_cache.try_emplace(userId).first;
        it->second.state = std::move(state);
        m_uses.push_front(userId);
        it->second.use = m_uses.begin();
    } else {
        m_uses.splice(m_uses.begin(), m_uses, it->second.use);
    }
    if (m_reweigh.empty() || m_reweigh.back() != userId)
        m_reweigh.push_back(userId);
    return it->second;
}

void Service::setCacheBound(std::size_t items) {
    std::lock_guard lock(m_mutex);
    m_cacheBound = items;
    trimCache();
}

void Service::trimCache() {
    for (const qint64 id : m_reweigh) {
        const auto it = m_cache.find(id);
        if (it == m_cache.end())
            continue;
        const WireDocument& document = it->second.state.document;
        const auto weight = std::size_t(document.items.size() + document.rules.size()) + 1;
        m_cacheWeight = m_cacheWeight - it->second.weight + weight;
        it->second.weight = weight;
    }
    m_reweigh.clear();
    while (m_cacheWeight > m_cacheBound && m_uses.size() > 1) {
        const auto it = m_cache.find(m_uses.back());
        m_cacheWeight -= it->second.weight;
        m_uses.pop_back();
        m_cache.erase(it);
    }
}

qsizetype Service::position(Cached& cached, const QList<WireItem>& items, const QString& id) {
    const auto hint = cached.positions.constFind(id);
    if (hint != cached.positions.constEnd() && *hint < items.size() && items[*hint].id == id)
        return *hint;
    // Unknown or moved: index the list again, the first of equal ids first as a search would.
    cached.positions.clear();
    cached.positions.reserve(items.size());
    for (qsizetype i = 0; i < items.size(); ++i)
        if (!cached.positions.contains(items[i].id))
            cached.positions.insert(items[i].id, i);
    return cached.positions.value(id, -1);
}

std::optional<qint64> Service::userId(const QString& name) {
    if (const auto user = m_storage.findUser(name))
        return user->id;
    return std::nullopt;
}

std::optional<qint64> Service::findUser(const QString& name) {
    std::lock_guard lock(m_mutex);
    return userId(name);
}

void Service::commit(qint64 userId, UserState&& next, const std::optional<QString>& key,
                     const Reply* reply, const std::vector<qsizetype>* changedItems) {
    UserState& current = stateOf(userId);
    Storage::Transaction transaction(m_storage);
    m_storage.saveState(userId, current, next, changedItems);
    Staged staged(*this);
    if (changedItems || next.document != current.document)
        for (const Follower& follower : m_followers)
            follower(userId, next.document, staged, m_storage);
    staged.m_states.erase(userId);
    saveStaged(staged);
    if (key && reply) {
        const qint64 seconds = QDateTime::currentSecsSinceEpoch();
        if (seconds - m_lastPurge > 60) {
            m_storage.purgeReplies(seconds - replyLifetimeSeconds);
            m_lastPurge = seconds;
        }
        m_storage.storeReply(userId, *key, seconds, {reply->status, reply->body});
    }
    transaction.commit();
    current = std::move(next);
    if (!changedItems)
        cachedOf(userId).writer.unknown();
    adoptStaged(staged);
}

Reply Service::call(qint64 userId, const QByteArray& body,
                    const std::optional<QString>& idempotencyKey, bool joinDocument) {
    QString error;
    const auto json = JsonValue::parse(body, &error);
    if (!json)
        return failure(400, QStringLiteral("The body is not JSON: %1.").arg(error));
    const JsonValue* method = json->find(u"method");
    if (!method || !method->isString())
        return failure(400, QStringLiteral("The body needs a \"method\" string."));
    const JsonValue* args = json->find(u"args");
    if (args && !args->isNull() && !args->isArray())
        return failure(400, QStringLiteral("\"args\" must be an array."));
    static const JsonValue::Array noArgs;
    const JsonValue::Array& argList = args && args->isArray() ? args->toArray() : noArgs;
    const QString name = method->toString();
    const auto kind = Methods::kind(name);
    if (!kind)
        return failure(400, QStringLiteral("Unknown method \"%1\".").arg(name));

    std::lock_guard lock(m_mutex);
    TrimAfter trim{*this};
    try {
        Cached& cached = cachedOf(userId);
        UserState& current = cached.state;
        const bool keyed = *kind == Methods::Kind::write && idempotencyKey;
        if (keyed)
            if (const auto stored = m_storage.findReply(userId, *idempotencyKey))
                return Reply{stored->status, stored->body};

        // `user cap` may change the cap from another process while this one runs.
        if (name == u"addItem")
            current.openCap = m_storage.openCap(userId);
        if (name == u"load") {
            // The whole document: written once per version, from the items' JSON of the
            // last one where the items are the same.
            auto body = cached.writer.write(current);
            return Reply{200, joinDocument ? body->json() : QByteArray(), body->version, body};
        }
        if (*kind == Methods::Kind::write && name != u"resolveProposal")
            return writeInPlace(userId, name, argList, keyed ? idempotencyKey : std::nullopt);
        const Methods::Context context{now(), newItemId};
        UserState next = current;
        const QByteArray result = Methods::apply(next, name, argList, context);
        if (*kind == Methods::Kind::read)
            return Reply{200, envelope(result, current.version)};
        next.version = current.version + 1;
        const Reply reply{200, envelope(result, next.version)};
        commit(userId, std::move(next), keyed ? idempotencyKey : std::nullopt, &reply);
        return reply;
    } catch (const RpcError& refusal) {
        return failure(refusal.status(), refusal.message());
    } catch (const std::exception& fault) {
        return internalError(fault);
    }
}

// A write through `api/store` changes the cached list itself rather than a copy of it: a
// copy of thousands of items costs more than the write. Every existing item a method
// changes passes through Context::changeItem first, which keeps it as it was; a refusal or
// a failed commit puts those back and drops what was appended, so the cache never holds
// what the database does not, and only the rows of those items are written.
// resolveProposal changes items by other ways, and works on a copy.
Reply Service::writeInPlace(qint64 userId, const QString& name, const JsonValue::Array& args,
                            const std::optional<QString>& key) {
    Cached& cached = cachedOf(userId);
    UserState& current = cached.state;
    QList<WireItem> items = std::move(current.document.items);
    current.document.items = {};
    UserState next = current;
    next.document.items = std::move(items);
    const qsizetype appendedFrom = next.document.items.size();
    std::vector<std::pair<qsizetype, WireItem>> before;
    const auto changeItem = [&](const WireDocument& document, const QString& id) {
        const qsizetype at = position(cached, document.items, id);
        const bool kept = std::any_of(before.begin(), before.end(),
                                      [at](const auto& entry) { return entry.first == at; });
        if (at >= 0 && at < appendedFrom && !kept)
            before.emplace_back(at, document.items[at]);
        return at;
    };
    const Methods::Context context{now(), newItemId, changeItem};
    try {
        const QByteArray result = Methods::apply(next, name, args, context);
        next.version = current.version + 1;
        const Reply reply{200, envelope(result, next.version)};
        std::vector<qsizetype> changed;
        for (const auto& entry : before)
            changed.push_back(entry.first);
        for (qsizetype i = appendedFrom; i < next.document.items.size(); ++i)
            changed.push_back(i);
        commit(userId, std::move(next), key, &reply, &changed);
        for (const qsizetype at : changed)
            cached.writer.changed(at);
        return reply;
    } catch (...) {
        QList<WireItem>& list = next.document.items;
        for (auto& [at, item] : before)
            list[at] = std::move(item);
        if (list.size() > appendedFrom)
            list.resize(appendedFrom);
        current.document.items = std::move(list);
        throw;
    }
}

Reply Service::version(qint64 userId) {
    std::lock_guard lock(m_mutex);
    TrimAfter trim{*this};
    try {
        return Reply{200, WireJson::encode(VersionReply{stateOf(userId).version})};
    } catch (const std::exception& fault) {
        return internalError(fault);
    }
}

Reply Service::read(qint64 userId, const ReadWork& work) {
    std::lock_guard lock(m_mutex);
    TrimAfter trim{*this};
    try {
        return work(stateOf(userId), m_storage);
    } catch (const RpcError& refusal) {
        return failure(refusal.status(), refusal.message());
    } catch (const std::exception& fault) {
        return internalError(fault);
    }
}

Reply Service::transact(qint64 userId, const WriteWork& work) {
    std::lock_guard lock(m_mutex);
    TrimAfter trim{*this};
    try {
        UserState& current = stateOf(userId);
        UserState next = current;
        Storage::Transaction transaction(m_storage);
        const Reply reply = work(next, m_storage);
        if (reply.status < 200 || reply.status > 299)
            return reply;
        next.version = current.version;
        const bool changed = next.document != current.document || next.proposal != current.proposal;
        if (changed) {
            next.version += 1;
            m_storage.saveState(userId, current, next);
        }
        transaction.commit();
        if (changed) {
            current = std::move(next);
            cachedOf(userId).writer.unknown();
        }
        return reply;
    } catch (const RpcError& refusal) {
        return failure(refusal.status(), refusal.message());
    } catch (const std::exception& fault) {
        return internalError(fault);
    }
}

void Service::migrate(const std::function<void(Storage& storage)>& work) {
    std::lock_guard lock(m_mutex);
    Storage::Transaction transaction(m_storage);
    work(m_storage);
    transaction.commit();
}

Service::NewToken Service::issueToken(const QString& name, bool onlyOne) {
    std::lock_guard lock(m_mutex);
    Storage::Transaction transaction(m_storage);
    auto user = m_storage.findUser(name);
    if (!user)
        user = m_storage.createUser(name, now());
    else if (onlyOne)
        m_storage.removeTokens(user->id);
    const QString token = newToken();
    m_storage.addToken(user->id, fingerprint(token), now());
    transaction.commit();
    return NewToken{user->name, token};
}

qint64 Service::ensureUser(const QString& name) {
    std::lock_guard lock(m_mutex);
    if (const auto id = userId(name))
        return *id;
    Storage::Transaction transaction(m_storage);
    const qint64 id = m_storage.createUser(name, now()).id;
    transaction.commit();
    return id;
}

bool Service::setOpenCap(const QString& name, std::optional<qint64> cap) {
    std::lock_guard lock(m_mutex);
    const auto id = userId(name);
    if (!id)
        return false;
    m_storage.setOpenCap(*id, cap);
    if (auto it = m_cache.find(*id); it != m_cache.end())
        it->second.state.openCap = cap;
    return true;
}

std::optional<UserState> Service::state(const QString& name) {
    std::lock_guard lock(m_mutex);
    TrimAfter trim{*this};
    const auto id = userId(name);
    if (!id)
        return std::nullopt;
    return stateOf(*id);
}

std::optional<qint64> Service::replaceDocument(const QString& name, const WireDocument& document) {
    std::lock_guard lock(m_mutex);
    TrimAfter trim{*this};
    const auto id = userId(name);
    if (!id)
        return std::nullopt;
    UserState next = stateOf(*id);
    next.document = document;
    next.version += 1;
    const qint64 version = next.version;
    commit(*id, std::move(next));
    return version;
}

std::optional<Service::FiledProposal> Service::setProposal(const QString& name,
                                                           std::optional<JsonValue> proposal) {
    std::lock_guard lock(m_mutex);
    TrimAfter trim{*this};
    const auto id = userId(name);
    if (!id)
        return std::nullopt;
    UserState next = stateOf(*id);
    // Rules read the due dates against the user's day, in the account's zone.
    if (proposal)
        Proposals::file(next, std::move(*proposal), now(),
                        SettingsApi::userDay(m_storage, *id, QDateTime::currentDateTimeUtc()));
    else
        next.proposal.reset();
    next.version += 1;
    FiledProposal filed{next.proposal.value_or(JsonValue()), next.version};
    commit(*id, std::move(next));
    return filed;
}

// --- changes across users ---

UserState& Service::Staged::of(qint64 userId) {
    auto it = m_states.find(userId);
    if (it == m_states.end())
        it = m_states.emplace(userId, m_service.stateOf(userId)).first;
    return it->second;
}

void Service::saveStaged(Staged& staged) {
    for (auto& [id, next] : staged.m_states) {
        const UserState& current = stateOf(id);
        next.version = current.version + 1;
        m_storage.saveState(id, current, next);
    }
}

void Service::adoptStaged(Staged& staged) {
    // Each was cached when staged, and nothing leaves the cache within a call.
    for (auto& [id, next] : staged.m_states) {
        Cached& cached = m_cache.at(id);
        cached.state = std::move(next);
        cached.writer.unknown();
    }
    staged.m_states.clear();
}

Reply Service::transactAcross(const CrossWork& work) {
    std::lock_guard lock(m_mutex);
    TrimAfter trim{*this};
    try {
        Staged staged(*this);
        Storage::Transaction transaction(m_storage);
        const Reply reply = work(staged, m_storage);
        if (reply.status < 200 || reply.status > 299)
            return reply;
        saveStaged(staged);
        transaction.commit();
        adoptStaged(staged);
        return reply;
    } catch (const RpcError& refusal) {
        return failure(refusal.status(), refusal.message());
    } catch (const std::exception& fault) {
        return internalError(fault);
    }
}

void Service::forget(qint64 userId) {
    std::lock_guard lock(m_mutex);
    if (const auto it = m_cache.find(userId); it != m_cache.end()) {
        m_cacheWeight -= it->second.weight;
        m_uses.erase(it->second.use);
        m_cache.erase(it);
    }
    m_documentReplies.forgetUser(userId);
}
