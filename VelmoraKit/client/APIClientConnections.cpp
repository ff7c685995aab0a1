// Sign-in, the account's connections and the sample prompts.

#include "APIClient.h"
#include "WireJson.h"

namespace {

// A reply that does not decode is the frame's decoding failure, as everywhere else.
template <typename Read>
auto decoded(Read read, const QByteArray& body) {
    try {
        return read(body);
    } catch (const DecodingError& error) {
        throw APIError::decoding(error.message());
    }
}

} // namespace

QCoro::Task<QString> APIClient::signInCall(QString path, JsonValue body) {
    RawRequest request;
    request.body = std::move(body);
    request.noAuth = true;
    auto task = raw(QByteArrayLiteral("POST"), std::move(path), std::move(request));
    const RawReply reply = co_await std::move(task);
    co_return decoded(ConnectionsFormat::readSignInToken, checked(reply));
}

QCoro::Task<QString> APIClient::pair(QString code) {
    auto task = signInCall(QStringLiteral("api/auth/pair"),
                           JsonValue::object({{QStringLiteral("code"), code}}));
    co_return co_await std::move(task);
}

QCoro::Task<QString> APIClient::appleSignIn(QString identityToken, QString rawNonce,
                                            std::optional<QString> name, QString deviceName) {
    JsonValue body = JsonValue::object({{QStringLiteral("identity_token"), identityToken},
                                        {QStringLiteral("nonce"), rawNonce},
                                        {QStringLiteral("device_name"), deviceName}});
    if (name)
        body.set(QStringLiteral("name"), *name);
    auto task = signInCall(QStringLiteral("api/auth/apple"), std::move(body));
    co_return co_await std::move(task);
}

QCoro::Task<QString> APIClient::googleSignIn(QString code, QString codeVerifier,
                                             QString redirectURI, QString deviceName) {
    auto task = signInCall(QStringLiteral("api/auth/google"),
                           JsonValue::object({{QStringLiteral("code"), code},
                                              {QStringLiteral("code_verifier"), codeVerifier},
                                              {QStringLiteral("redirect_uri"), redirectURI},
                                              {QStringLiteral("device_name"), deviceName}}));
    co_return co_await std::move(task);
}

QCoro::Task<Connections> APIClient::listConnections() {
    auto task = authed(QStringLiteral("api/tokens"), QByteArrayLiteral("GET"));
    const QByteArray body = co_await std::move(task);
    co_return ConnectionsFormat::split(decoded(ConnectionsFormat::readTokenList, body));
}

QCoro::Task<CreatedToken> APIClient::createConnection(QString name) {
    JsonValue::Object body;
    body.push_back({QStringLiteral("name"), JsonValue(name)});
    auto task = authed(QStringLiteral("api/tokens"), QByteArrayLiteral("POST"), std::move(body));
    const QByteArray reply = co_await std::move(task);
    co_return decoded(ConnectionsFormat::readCreatedToken, reply);
}

QCoro::Task<> APIClient::revokeConnection(QString hash) {
    JsonValue::Object body;
    body.push_back({QStringLiteral("hash"), JsonValue(hash)});
    auto task = authed(QStringLiteral("api/tokens"), QByteArrayLiteral("DELETE"), std::move(body));
    co_await std::move(task);
}

QCoro::Task<QList<RemotePrompt>> APIClient::samplePrompts() {
    RawRequest request;
    request.noAuth = true;
    RawReply reply;
    try {
        auto task =
            raw(QByteArrayLiteral("GET"), QStringLiteral("api/prompts"), std::move(request));
        reply = co_await std::move(task);
    } catch (const TransportError&) {
        throw APIError::server(0, QStringLiteral("prompts unavailable"));
    }
    if (reply.status != 200)
        throw APIError::server(0, QStringLiteral("prompts unavailable"));
    co_return decoded(ConnectionsFormat::readPrompts, reply.body);
}
