// REST calls outside the document: device registration, the account's zone, Smart Add.

#include "APIClient.h"

QCoro::Task<> APIClient::postPush(JsonValue::Object body) {
    auto task =
        authed(QStringLiteral("api/push/register"), QByteArrayLiteral("POST"), std::move(body));
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
    co_return decodedReply([&] { return SmartInsert::decode(reply); });
}
