// The briefing's focus list, handled findings, AI credits and usage.

#include "APIClient.h"

QCoro::Task<QStringList> APIClient::setFocus(QStringList terms) {
    JsonValue::Array list;
    for (const QString& term : terms)
        list.push_back(term);
    JsonValue::Array args{JsonValue(std::move(list))};
    auto task = send<QStringList>(QStringLiteral("setFocus"), std::move(args));
    co_return co_await std::move(task);
}

QCoro::Task<Usage> APIClient::usage() {
    auto task = authed(QStringLiteral("api/usage"), QByteArrayLiteral("GET"));
    const QByteArray body = co_await std::move(task);
    co_return decodedReply([&] { return Usage::decode(body); });
}

QCoro::Task<CreditsSnapshot> APIClient::credits(std::optional<QString> lot) {
    RawRequest request;
    if (lot)
        request.query.push_back({QStringLiteral("lot"), *lot});
    auto task = raw(QByteArrayLiteral("GET"), QStringLiteral("api/ai/credits"), std::move(request));
    const RawReply reply = co_await std::move(task);
    const QByteArray body = checked(reply);
    co_return decodedReply([&] { return CreditsSnapshot::decode(body); });
}

QCoro::Task<QList<HandledFinding>> APIClient::handledFindings() {
    auto task = authed(QStringLiteral("api/ai/dismiss"), QByteArrayLiteral("GET"));
    const QByteArray body = co_await std::move(task);
    co_return decodedReply([&] { return HandledFinding::decodeList(body); });
}

QCoro::Task<> APIClient::dismissFinding(QString target, QString finding,
                                        std::optional<QString> disposition,
                                        std::optional<QString> briefingId) {
    JsonValue::Object body{{QStringLiteral("target"), target},
                           {QStringLiteral("finding"), finding}};
    if (disposition)
        body.push_back({QStringLiteral("disposition"), *disposition});
    if (briefingId)
        body.push_back({QStringLiteral("briefing_id"), *briefingId});
    auto task =
        authed(QStringLiteral("api/ai/dismiss"), QByteArrayLiteral("POST"), std::move(body));
    co_await std::move(task);
}

QCoro::Task<> APIClient::undismissFinding(QString target, QString finding,
                                          std::optional<QString> briefingId) {
    JsonValue::Object body{{QStringLiteral("target"), target},
                           {QStringLiteral("finding"), finding}};
    if (briefingId)
        body.push_back({QStringLiteral("briefing_id"), *briefingId});
    auto task =
        authed(QStringLiteral("api/ai/dismiss"), QByteArrayLiteral("DELETE"), std::move(body));
    co_await std::move(task);
}
