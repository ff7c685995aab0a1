// The account's schedule, its deletion, the welcome and push registration.

#include "APIClient.h"

namespace {

std::optional<bool> optionalBool(const JsonValue& json, QStringView key) {
    const JsonValue* value = json.find(key);
    if (!value || value->isNull())
        return std::nullopt;
    if (!value->isBool())
        throw APIError::decoding(key.toString() + QStringLiteral(": expected a boolean"));
    return value->toBool();
}

JsonValue object(const QByteArray& body) {
    auto json = JsonValue::parse(body);
    if (!json || !json->isObject())
        throw APIError::decoding(QStringLiteral("expected an object"));
    return std::move(*json);
}

} // namespace

QCoro::Task<AISettings> APIClient::aiSettings() {
    auto task = raw(QByteArrayLiteral("GET"), QStringLiteral("api/ai/settings"));
    const RawReply reply = co_await std::move(task);
    co_return decodedReply([&] { return AISettings::decode(checked(reply)); });
}

QCoro::Task<AISettings> APIClient::setAISettings(std::optional<std::optional<int>> scheduleHour,
                                                 std::optional<bool> briefingEnabled,
                                                 std::optional<QString> timezone) {
    const QByteArray body =
        ScheduleFormat::settingsBody(scheduleHour, briefingEnabled, std::move(timezone));
    RawRequest request;
    // The hand-built text read back: what goes out is that text, and a zone that could
    // break it never leaves.
    request.body = JsonValue::parse(body);
    if (!request.body)
        throw APIError::decoding(QStringLiteral("timezone: not an identifier"));
    auto task =
        raw(QByteArrayLiteral("POST"), QStringLiteral("api/ai/settings"), std::move(request));
    const RawReply reply = co_await std::move(task);
    co_return decodedReply([&] { return AISettings::decode(checked(reply)); });
}

QCoro::Task<DeleteAccountOutcome> APIClient::deleteAccount(std::optional<QString> appleCode,
                                                           bool force) {
    if (m_token.isEmpty())
        throw APIError::notConfigured();
    JsonValue::Object body{{QStringLiteral("force"), force}};
    if (appleCode)
        body.push_back({QStringLiteral("apple_code"), *appleCode});
    RawRequest request;
    request.body = JsonValue(std::move(body));
    auto task =
        raw(QByteArrayLiteral("POST"), QStringLiteral("api/account/delete"), std::move(request));
    const RawReply reply = co_await std::move(task);
    if (reply.status == 401)
        throw APIError::unauthorised();
    if (reply.status == 428)
        co_return AppleAuthRequired{};
    const JsonValue json = object(checked(reply));
    if (!optionalBool(json, u"deleted").value_or(false))
        throw APIError::decoding(QStringLiteral("deleted: expected true"));
    co_return AccountDeleted{optionalBool(json, u"revoked")};
}

QCoro::Task<bool> APIClient::hasBeenWelcomed() {
    auto task = raw(QByteArrayLiteral("GET"), QStringLiteral("api/onboarded"));
    const RawReply reply = co_await std::move(task);
    const auto onboarded = optionalBool(object(checked(reply)), u"onboarded");
    if (!onboarded)
        throw APIError::decoding(QStringLiteral("onboarded: required key is missing"));
    co_return *onboarded;
}

QCoro::Task<> APIClient::markWelcomed() {
    auto task = raw(QByteArrayLiteral("POST"), QStringLiteral("api/onboarded"));
    const RawReply reply = co_await std::move(task);
    checked(reply);
}

QCoro::Task<> APIClient::registerPush(QString deviceToken, QString environment,
                                      QMap<QString, bool> kinds, int dailyHour, QString timezone) {
    if (m_token.isEmpty())
        throw APIError::notConfigured();
    JsonValue::Object kindsJson;
    for (auto it = kinds.cbegin(); it != kinds.cend(); ++it)
        kindsJson.push_back({it.key(), it.value()});
    JsonValue::Object body{{QStringLiteral("device_token"), deviceToken},
                           {QStringLiteral("environment"), environment},
                           {QStringLiteral("kinds"), JsonValue(std::move(kindsJson))},
                           {QStringLiteral("daily_hour"), dailyHour},
                           {QStringLiteral("tz"), timezone}};
    auto task = postPush(std::move(body));
    co_await std::move(task);
}

QCoro::Task<> APIClient::unregisterPush(QString deviceToken) {
    if (m_token.isEmpty())
        throw APIError::notConfigured();
    JsonValue::Object body{{QStringLiteral("device_token"), deviceToken},
                           {QStringLiteral("remove"), true}};
    auto task = postPush(std::move(body));
    co_await std::move(task);
}
