// The request frame: the session, the token, the time-out and status handling, and api/store.

#include "APIClient.h"

#include "AppEnvironment.h"
#include "WireFormats.h"
#include "WireJson.h"

#include <QCoroNetworkReply>
#include <QStringDecoder>
#include <QUrlQuery>

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

std::unique_ptr<APIClient> APIClient::fresh() const {
    auto client = std::make_unique<APIClient>(m_baseURL, m_token, m_session);
    client->setTimeoutMs(m_timeoutMs);
    client->setMaxReplyBytes(m_maxReplyBytes);
    return client;
}

QString RawReply::text() const {
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString text = decoder.decode(body);
    return decoder.hasError() ? QString() : text;
}

QByteArray RawReply::header(QByteArrayView name) const {
    for (const auto& [key, value] : headers)
        if (QByteArrayView(key).compare(name, Qt::CaseInsensitive) == 0)
            return value;
    return {};
}

QCoro::Task<RawReply> APIClient::transport(QNetworkRequest request, QByteArray method,
                                           QByteArray body) {
    std::unique_ptr<QNetworkReply, DeleteLater> reply(
        body.isNull() ? m_session->sendCustomRequest(request, method)
                      : m_session->sendCustomRequest(request, method, body));
    // A body over the cap, announced or arriving, is not read on: the reply is given up,
    // from the event loop rather than from inside its own signal.
    auto tooLong = std::make_shared<bool>(false);
    QNetworkReply* pending = reply.get();
    QObject::connect(pending, &QNetworkReply::downloadProgress, pending,
                     [pending, tooLong, cap = m_maxReplyBytes](qint64 received, qint64 total) {
                         if (*tooLong || (received <= cap && total <= cap))
                             return;
                         *tooLong = true;
                         QMetaObject::invokeMethod(pending, &QNetworkReply::abort,
                                                   Qt::QueuedConnection);
                     });
    co_await reply.get();
    if (*tooLong)
        throw APIError::decoding(QStringLiteral("the reply is over %1 bytes").arg(m_maxReplyBytes));

    const QVariant statusAttribute = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
    RawReply result;
    // A reply cut off by the time-out is closed already: nothing to read.
    if (reply->isOpen())
        result.body = reply->readAll();
    // Codes below the HTTP range are the connection's own: with a status they mean a reply
    // cut off after its headers, which is a lost connection too, not bad data. A transport
    // failure passes through with Qt's own code; the client aborts a reply itself only for
    // its length, above, so a cancelled one ran out of time.
    const QNetworkReply::NetworkError code = reply->error();
    if (code != QNetworkReply::NoError &&
        (!statusAttribute.isValid() || code < QNetworkReply::ContentAccessDenied)) {
        if (code == QNetworkReply::OperationCanceledError)
            throw TransportError(QNetworkReply::TimeoutError, reply->errorString());
        throw TransportError(code, reply->errorString());
    }
    // Read the status itself: Qt folds many statuses (402, 412, 429...) into one error code.
    result.status = statusAttribute.isValid() ? statusAttribute.toInt() : 0;
    result.headers = reply->rawHeaderPairs();
    co_return result;
}

QCoro::Task<RawReply> APIClient::raw(QByteArray method, QString path, RawRequest options) {
    QUrl url = m_baseURL;
    QString base = url.path();
    if (!base.endsWith(QLatin1Char('/')))
        base += QLatin1Char('/');
    url.setPath(base + path);
    if (!options.query.isEmpty()) {
        // Each part fully encoded first: QUrlQuery would leave '+' as is, which servers read
        // as a space.
        QUrlQuery query;
        for (const auto& [key, value] : std::as_const(options.query))
            query.addQueryItem(QString::fromLatin1(QUrl::toPercentEncoding(key)),
                               QString::fromLatin1(QUrl::toPercentEncoding(value)));
        url.setQuery(query);
    }
    QNetworkRequest request(url);
    // Qt sets no time-out by default: a silent server would hang the call forever.
    request.setTransferTimeout(m_timeoutMs);
    // The token goes to this origin only: a redirect is answered as the 3xx it is.
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute,
                         QNetworkRequest::ManualRedirectPolicy);
    if (!options.noAuth)
        request = authorised(request);
    QByteArray payload;
    if (options.body) {
        request.setHeader(QNetworkRequest::ContentTypeHeader,
                          QByteArrayLiteral("application/json"));
        payload = options.body->toJson();
    }
    for (const auto& [name, value] : std::as_const(options.headers))
        request.setRawHeader(name, value);
    auto task = transport(std::move(request), std::move(method), std::move(payload));
    co_return co_await std::move(task);
}

QByteArray APIClient::checked(const RawReply& reply) {
    if (reply.status == 401)
        throw APIError::unauthorised();
    if (reply.isSuccess())
        return reply.body;
    throw APIError::server(reply.status, reply.text());
}

QCoro::Task<QByteArray> APIClient::authed(QString path, QByteArray method,
                                          std::optional<JsonValue::Object> body) {
    RawRequest options;
    if (body)
        options.body = JsonValue(std::move(*body));
    auto task = raw(std::move(method), std::move(path), std::move(options));
    const RawReply reply = co_await std::move(task);
    co_return checked(reply);
}

QCoro::Task<QByteArray> APIClient::call(QString method, JsonValue::Array args,
                                        HttpHeaders headers) {
    RawRequest options;
    options.body = JsonValue::object(
        {{QStringLiteral("method"), method}, {QStringLiteral("args"), std::move(args)}});
    options.headers = std::move(headers);
    auto task = raw(QByteArrayLiteral("POST"), QStringLiteral("api/store"), std::move(options));
    const RawReply reply = co_await std::move(task);
    co_return checked(reply);
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
