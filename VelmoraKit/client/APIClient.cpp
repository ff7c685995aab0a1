#include "APIClient.h"

#include "AppEnvironment.h"
#include "WireFormats.h"
#include "WireJson.h"

#include <QCoroNetworkReply>
#include <QStringDecoder>

#include <memory>

namespace {

struct DeleteLater {
    void operator()(QObject* object) const { object->deleteLater(); }
};

} // namespace

template <typename T>
T decodeResult(const QByteArray& body, std::optional<qint64>* version) {
    try {
        return WireJson::decodeEnvelope<T>(body, version);
    } catch (const DecodingError& error) {
        throw APIError::decoding(error.message());
    }
}

template WireDocument decodeResult<WireDocument>(const QByteArray&, std::optional<qint64>*);
template WireItem decodeResult<WireItem>(const QByteArray&, std::optional<qint64>*);
template WireRule decodeResult<WireRule>(const QByteArray&, std::optional<qint64>*);
template WireSettings decodeResult<WireSettings>(const QByteArray&, std::optional<qint64>*);
template QStringList decodeResult<QStringList>(const QByteArray&, std::optional<qint64>*);
template JsonValue decodeResult<JsonValue>(const QByteArray&, std::optional<qint64>*);

APIClient::APIClient(QUrl baseURL, std::optional<QString> token, QNetworkAccessManager* session,
                     QObject* parent)
    : QObject(parent)
    , m_baseURL(std::move(baseURL))
    , m_token(token.value_or(QString()))
    , m_session(session ? session : sharedSession()) {}

QUrl APIClient::defaultBaseURL() {
    return Environment::activeBaseURL();
}

QNetworkAccessManager* APIClient::sharedSession() {
    // Never destroyed: replies may still point at it while the process winds down.
    static auto* session = new QNetworkAccessManager();
    return session;
}

void APIClient::setToken(const QString& token) {
    if (token == m_token)
        return;
    m_token = token;
    Q_EMIT tokenChanged();
}

QNetworkRequest APIClient::authorised(QNetworkRequest request) const {
    if (m_token.isEmpty())
        throw APIError::notConfigured();
    request.setRawHeader("Authorization", "Bearer " + m_token.toUtf8());
    return request;
}

QNetworkRequest APIClient::request(const QString& path) const {
    QUrl url = m_baseURL;
    QString base = url.path();
    if (!base.endsWith(QLatin1Char('/')))
        base += QLatin1Char('/');
    url.setPath(base + path);
    QNetworkRequest request(url);
    // Qt sets no time-out by default: a silent server would hang the call forever.
    request.setTransferTimeout(m_timeoutMs);
    return authorised(request);
}

QCoro::Task<QByteArray> APIClient::execute(QNetworkRequest request, QByteArray method,
                                           QByteArray body) {
    std::unique_ptr<QNetworkReply, DeleteLater> reply(
        body.isNull() ? m_session->sendCustomRequest(request, method)
                      : m_session->sendCustomRequest(request, method, body));
    co_await reply.get();

    const QVariant statusAttribute = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
    // A reply cut off by the time-out is closed already: nothing to read.
    const QByteArray data = reply->isOpen() ? reply->readAll() : QByteArray();
    if (!statusAttribute.isValid()) {
        // No HTTP reply at all: a transport failure passes through with Qt's own code.
        // The client never aborts a reply itself, so a cancelled one ran out of time.
        if (reply->error() == QNetworkReply::OperationCanceledError)
            throw TransportError(QNetworkReply::TimeoutError, reply->errorString());
        if (reply->error() != QNetworkReply::NoError)
            throw TransportError(reply->error(), reply->errorString());
    }
    // Read the status itself: Qt folds many statuses (402, 412, 429...) into one error code.
    const int status = statusAttribute.isValid() ? statusAttribute.toInt() : 0;
    if (status == 401)
        throw APIError::unauthorised();
    if (status >= 200 && status <= 299)
        co_return data;
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString text = decoder.decode(data);
    if (decoder.hasError())
        text.clear();
    throw APIError::server(status, text);
}

QCoro::Task<QByteArray> APIClient::authed(QString path, QByteArray method,
                                          std::optional<JsonValue::Object> body) {
    QNetworkRequest req = request(path);
    QByteArray payload;
    if (body) {
        req.setHeader(QNetworkRequest::ContentTypeHeader, QByteArrayLiteral("application/json"));
        payload = JsonValue(std::move(*body)).toJson();
    }
    auto task = execute(std::move(req), method, payload);
    co_return co_await std::move(task);
}

QCoro::Task<QByteArray> APIClient::call(QString method, JsonValue::Array args,
                                        HttpHeaders headers) {
    QNetworkRequest req = request(QStringLiteral("api/store"));
    req.setHeader(QNetworkRequest::ContentTypeHeader, QByteArrayLiteral("application/json"));
    for (const auto& [name, value] : headers)
        req.setRawHeader(name, value);
    const QByteArray payload = JsonValue::object({{QStringLiteral("method"), method},
                                                  {QStringLiteral("args"), std::move(args)}})
                                   .toJson();
    auto task = execute(std::move(req), QByteArrayLiteral("POST"), payload);
    co_return co_await std::move(task);
}

QCoro::Task<> APIClient::sendIgnoringResult(QString method, JsonValue::Array args,
                                            HttpHeaders headers) {
    auto task = call(method, std::move(args), headers);
    co_await std::move(task);
}

QCoro::Task<QByteArray> APIClient::post(QString method, JsonValue::Array args,
                                        HttpHeaders headers) {
    auto task = call(method, std::move(args), headers);
    co_return co_await std::move(task);
}

QCoro::Task<> APIClient::postPush(JsonValue::Object body) {
    auto task =
        authed(QStringLiteral("api/push/register"), QByteArrayLiteral("POST"), std::move(body));
    co_await std::move(task);
}

namespace {

JsonValue linksJson(const QList<ItemLink>& links) {
    JsonValue::Array array;
    array.reserve(links.size());
    for (const auto& link : links) {
        JsonValue object;
        object.set(QStringLiteral("label"), link.label);
        object.set(QStringLiteral("url"), link.id());
        array.push_back(std::move(object));
    }
    return array;
}

// Empty text counts as nothing.
std::optional<QString> nonEmpty(const std::optional<QString>& text) {
    return text && !text->isEmpty() ? text : std::nullopt;
}

} // namespace

QCoro::Task<> APIClient::setDone(QString id, bool done) {
    // g++ 12 miscompiles braced lists inside co_await expressions: build the list first.
    JsonValue::Array args{id, done};
    co_await send<WireItem>(QStringLiteral("setItemStatus"), std::move(args));
}

QCoro::Task<> APIClient::setFlagged(QString id, bool flagged) {
    JsonValue patch;
    patch.set(QStringLiteral("flagged"), flagged);
    JsonValue::Array args{id, std::move(patch)};
    co_await send<WireItem>(QStringLiteral("updateItem"), std::move(args));
}

QCoro::Task<QString> APIClient::add(QString title, std::optional<QString> note, Section section,
                                    std::optional<QDateTime> due, std::optional<QString> source,
                                    Priority priority, QList<ItemLink> links,
                                    QString idempotencyKey) {
    // Only what holds something is sent; status, origin and initiated are the server's.
    JsonValue object;
    object.set(QStringLiteral("title"), title);
    object.set(QStringLiteral("section"), Wire::string(section));
    object.set(QStringLiteral("channel"), Wire::string(Channel::self));
    object.set(QStringLiteral("priority"), Wire::string(priority));
    if (const auto text = nonEmpty(note))
        object.set(QStringLiteral("note"), *text);
    if (due)
        object.set(QStringLiteral("due"), LocalDay::string(*due));
    if (const auto text = nonEmpty(source))
        object.set(QStringLiteral("source"), *text);
    if (!links.isEmpty())
        object.set(QStringLiteral("links"), linksJson(links));
    HttpHeaders headers;
    if (!idempotencyKey.isEmpty())
        headers.append({QByteArrayLiteral("Idempotency-Key"), idempotencyKey.toUtf8()});
    JsonValue::Array args{std::move(object)};
    const WireItem item =
        co_await send<WireItem>(QStringLiteral("addItem"), std::move(args), headers);
    co_return item.id;
}

QCoro::Task<> APIClient::update(QString id, QString title, std::optional<QString> note,
                                std::optional<QString> source, std::optional<QDateTime> due,
                                Priority priority, QList<ItemLink> links) {
    // Every editable field is named: an explicit null clears it on the server.
    JsonValue object;
    object.set(QStringLiteral("title"), title);
    object.set(QStringLiteral("note"), nonEmpty(note));
    object.set(QStringLiteral("source"), nonEmpty(source));
    object.set(QStringLiteral("due"), due ? JsonValue(LocalDay::string(*due)) : JsonValue());
    object.set(QStringLiteral("priority"), Wire::string(priority));
    object.set(QStringLiteral("links"), linksJson(links));
    JsonValue::Array args{id, std::move(object)};
    co_await send<WireItem>(QStringLiteral("updateItem"), std::move(args));
}

QCoro::Task<> APIClient::deleteItem(QString id) {
    JsonValue::Array args{QStringLiteral("item"), id};
    auto task = sendIgnoringResult(QStringLiteral("softDelete"), std::move(args));
    co_await std::move(task);
}

QCoro::Task<> APIClient::restore(QString id) {
    JsonValue::Array args{QStringLiteral("item"), id};
    auto task = sendIgnoringResult(QStringLiteral("restore"), std::move(args));
    co_await std::move(task);
}

QCoro::Task<> APIClient::updateSettings(bool hideDone) {
    JsonValue settings;
    settings.set(QStringLiteral("hide_done"), hideDone);
    JsonValue::Array args{std::move(settings)};
    co_await send<WireSettings>(QStringLiteral("updateSettings"), std::move(args));
}

QCoro::Task<LoadResult> APIClient::loadForSync() {
    auto task = call(QStringLiteral("load"), {}, {});
    const QByteArray body = co_await std::move(task);
    std::optional<qint64> version;
    const WireDocument wire = decodeResult<WireDocument>(body, &version);
    LoadResult result;
    result.wire = WireJson::encode(wire);
    result.document = WireMapping::document(wire);
    result.version = version.value_or(0);
    co_return result;
}

QCoro::Task<Document> APIClient::load() {
    const LoadResult result = co_await loadForSync();
    co_return result.document;
}

QCoro::Task<qint64> APIClient::version() {
    auto task = execute(request(QStringLiteral("api/store/version")), QByteArrayLiteral("GET"), {});
    const QByteArray body = co_await std::move(task);
    try {
        co_return WireJson::decode<VersionReply>(body).version;
    } catch (const DecodingError& error) {
        throw APIError::decoding(error.message());
    }
}

QCoro::Task<std::optional<Proposal>> APIClient::loadProposal() {
    // Read by hand: a strict decoder would drop the kinds of delta this client doesn't know.
    auto task = post(QStringLiteral("loadProposal"), {}, {});
    const QByteArray body = co_await std::move(task);
    try {
        co_return ProposalFormat::readReply(body);
    } catch (const DecodingError& error) {
        throw APIError::decoding(error.message());
    }
}

QCoro::Task<> APIClient::resolveProposal(QString createdAt, QList<int> accepted,
                                         QList<int> rejected, QMap<QString, QString> titleEdits) {
    const auto indices = [](const QList<int>& list) {
        JsonValue::Array array;
        for (const int index : list)
            array.push_back(index);
        return array;
    };
    JsonValue body;
    body.set(QStringLiteral("created_at"), createdAt);
    body.set(QStringLiteral("accepted"), indices(accepted));
    body.set(QStringLiteral("rejected"), indices(rejected));
    if (!titleEdits.isEmpty()) {
        JsonValue edits;
        for (auto it = titleEdits.cbegin(); it != titleEdits.cend(); ++it)
            edits.set(it.key(), it.value());
        body.set(QStringLiteral("title_edits"), std::move(edits));
    }
    JsonValue::Array args{std::move(body)};
    auto task = sendIgnoringResult(QStringLiteral("resolveProposal"), std::move(args));
    co_await std::move(task);
}

QCoro::Task<WireRule> APIClient::createRule(RuleAction action, RuleField field, RuleOp op,
                                            QString value, std::optional<Section> target,
                                            QString reason) {
    JsonValue condition;
    condition.set(QStringLiteral("field"), Wire::string(field));
    condition.set(QStringLiteral("op"), Wire::string(op));
    condition.set(QStringLiteral("value"), JsonValue::Array{value});
    JsonValue match;
    match.set(QStringLiteral("op"), Wire::string(MatchOp::all));
    match.set(QStringLiteral("conditions"), JsonValue::Array{std::move(condition)});
    JsonValue params = JsonValue::Object{};
    if (action == RuleAction::recategorize)
        params.set(QStringLiteral("section"), Wire::string(target.value_or(Section::note)));
    JsonValue origin;
    origin.set(QStringLiteral("from"), Wire::string(RuleOriginKind::manual));
    origin.set(QStringLiteral("rejection_ids"), JsonValue::Array{});
    origin.set(QStringLiteral("count"), 0);
    JsonValue rule;
    rule.set(QStringLiteral("action"), Wire::string(action));
    rule.set(QStringLiteral("match"), std::move(match));
    rule.set(QStringLiteral("params"), std::move(params));
    rule.set(QStringLiteral("reason"), reason);
    rule.set(QStringLiteral("origin"), std::move(origin));
    JsonValue::Array args{std::move(rule)};
    auto task = send<WireRule>(QStringLiteral("addRule"), std::move(args));
    co_return co_await std::move(task);
}

QCoro::Task<> APIClient::setRulePaused(QString id, bool paused) {
    JsonValue patch;
    patch.set(QStringLiteral("status"),
              Wire::string(paused ? RuleStatus::paused : RuleStatus::active));
    JsonValue::Array args{id, std::move(patch)};
    auto task = sendIgnoringResult(QStringLiteral("updateRule"), std::move(args));
    co_await std::move(task);
}

QCoro::Task<> APIClient::deleteRule(QString id) {
    JsonValue::Array args{id};
    auto task = sendIgnoringResult(QStringLiteral("deleteRule"), std::move(args));
    co_await std::move(task);
}

QCoro::Task<> APIClient::seedTimeZone(QString identifier) {
    JsonValue::Object body;
    body.push_back({QStringLiteral("tz"), JsonValue(identifier)});
    try {
        auto sent =
            authed(QStringLiteral("api/timezone"), QByteArrayLiteral("POST"), std::move(body));
        co_await std::move(sent);
    } catch (...) {
    }
}

QCoro::Task<SmartInsertOutcome> APIClient::smartInsert(QString text) {
    JsonValue::Object body;
    body.push_back({QStringLiteral("text"), JsonValue(text)});
    auto task =
        authed(QStringLiteral("api/ai/smart-insert"), QByteArrayLiteral("POST"), std::move(body));
    const QByteArray reply = co_await std::move(task);
    co_return SmartInsert::decode(reply);
}
