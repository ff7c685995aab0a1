// People (api/people) and task sharing (api/share): two frames on `raw`, kept apart so that
// each family throws only its own refusal.

#include "APIClient.h"

#include "WireJson.h"

namespace {

enum class Family { people, share };

// The family's reading of a reply: a refusal body on 400 or 429, 401, then the body of a
// 2xx; every other status (and a refusal that does not read) is a server error.
QByteArray read(const RawReply& reply, Family family) {
    if (reply.status == 400 || reply.status == 429) {
        if (family == Family::people) {
            if (auto refusal = PeopleFormat::peopleRefusal(reply.body))
                throw *refusal;
        } else if (auto refusal = PeopleFormat::shareRefusal(reply.body)) {
            throw *refusal;
        }
    }
    if (reply.status == 401)
        throw APIError::unauthorised();
    if (reply.isSuccess())
        return reply.body;
    throw APIError::server(reply.status, reply.text());
}

QCoro::Task<QByteArray> request(APIClient& client, Family family,
                                std::optional<JsonValue::Object> body) {
    // No token, no request: raw() would throw too, but only once the token is wanted.
    if (client.token().isEmpty())
        throw APIError::notConfigured();
    RawRequest options;
    if (body)
        options.body = JsonValue(std::move(*body));
    const QByteArray method = body ? QByteArrayLiteral("POST") : QByteArrayLiteral("GET");
    const QString path =
        family == Family::people ? QStringLiteral("api/people") : QStringLiteral("api/share");
    auto task = client.raw(method, path, std::move(options));
    const RawReply reply = co_await std::move(task);
    co_return read(reply, family);
}

QCoro::Task<QByteArray> peopleRequest(APIClient& client, std::optional<JsonValue::Object> body) {
    return request(client, Family::people, std::move(body));
}

QCoro::Task<QByteArray> shareRequest(APIClient& client, std::optional<JsonValue::Object> body) {
    return request(client, Family::share, std::move(body));
}

JsonValue::Object action(const char* word) {
    return JsonValue::Object{{QStringLiteral("action"), QString::fromLatin1(word)}};
}

JsonValue::Object action(const char* word, const char* key, const QString& value) {
    JsonValue::Object body = action(word);
    body.push_back({QString::fromLatin1(key), value});
    return body;
}

// Decoding failures reach callers as the frame's own error.
template <typename F>
auto decoded(F read) {
    try {
        return read();
    } catch (const DecodingError& error) {
        throw APIError::decoding(error.message());
    }
}

} // namespace

QCoro::Task<PeopleSnapshot> APIClient::people() {
    auto task = peopleRequest(*this, std::nullopt);
    const QByteArray body = co_await std::move(task);
    co_return decoded([&] { return PeopleFormat::snapshot(body); });
}

QCoro::Task<MintedInvite> APIClient::mintInvite() {
    auto task = peopleRequest(*this, action("invite"));
    const QByteArray body = co_await std::move(task);
    co_return decoded([&] { return PeopleFormat::minted(body); });
}

QCoro::Task<Connected> APIClient::redeemInvite(QString code) {
    auto task = peopleRequest(*this, action("redeem", "code", code));
    const QByteArray body = co_await std::move(task);
    co_return decoded([&] { return PeopleFormat::connected(body); });
}

QCoro::Task<InviteLook> APIClient::lookUpInvite(QString code) {
    auto task = peopleRequest(*this, action("look", "code", code));
    const QByteArray body = co_await std::move(task);
    co_return decoded([&] { return PeopleFormat::look(body); });
}

QCoro::Task<PeopleProfile> APIClient::setDisplayName(QString name) {
    auto task = peopleRequest(*this, action("name", "display_name", name));
    const QByteArray body = co_await std::move(task);
    co_return decoded([&] { return PeopleFormat::nameReply(body); });
}

QCoro::Task<> APIClient::removePerson(QString id) {
    auto task = peopleRequest(*this, action("remove", "id", id));
    const QByteArray body = co_await std::move(task);
    decoded([&] { PeopleFormat::requireBool(body, "removed"); });
}

QCoro::Task<> APIClient::cancelInvite(QString hash) {
    auto task = peopleRequest(*this, action("cancel", "hash", hash));
    const QByteArray body = co_await std::move(task);
    decoded([&] { PeopleFormat::requireBool(body, "cancelled"); });
}

std::optional<QString> APIClient::inviteCode(const QUrl& url) {
    return PeopleFormat::inviteCode(url);
}

QCoro::Task<ShareInbox> APIClient::shareInbox() {
    auto task = shareRequest(*this, std::nullopt);
    const QByteArray body = co_await std::move(task);
    co_return decoded([&] { return PeopleFormat::inbox(body); });
}

QCoro::Task<> APIClient::sendTask(QString to, QString itemID, QString message) {
    JsonValue::Object body = action("send", "to", to);
    body.push_back({QStringLiteral("item_id"), itemID});
    body.push_back({QStringLiteral("message"), message});
    auto task = shareRequest(*this, std::move(body));
    const QByteArray reply = co_await std::move(task);
    decoded([&] { PeopleFormat::sentId(reply); });
}

QCoro::Task<> APIClient::acceptShared(QString id) {
    auto task = shareRequest(*this, action("accept", "id", id));
    const QByteArray body = co_await std::move(task);
    decoded([&] { PeopleFormat::acceptedItem(body); });
}

QCoro::Task<> APIClient::declineShared(QString id) {
    auto task = shareRequest(*this, action("decline", "id", id));
    const QByteArray body = co_await std::move(task);
    decoded([&] { PeopleFormat::requireBool(body, "declined"); });
}

QCoro::Task<> APIClient::withdrawShared(QString id) {
    auto task = shareRequest(*this, action("withdraw", "id", id));
    const QByteArray body = co_await std::move(task);
    decoded([&] { PeopleFormat::requireBool(body, "withdrawn"); });
}

QCoro::Task<> APIClient::answerCompletion(QString id, bool agree) {
    JsonValue::Object body = action("completion", "id", id);
    body.push_back({QStringLiteral("agree"), agree});
    auto task = shareRequest(*this, std::move(body));
    const QByteArray reply = co_await std::move(task);
    decoded([&] { PeopleFormat::requireBool(reply, "resolved"); });
}
