// The daily briefing: reading, running and acknowledging it.

#include "APIClient.h"
#include "WireJson.h"

namespace {

const QString briefingPath = QStringLiteral("api/ai/briefing");

template <typename Read>
auto decoded(const QByteArray& body, Read read) {
    try {
        return read(body);
    } catch (const DecodingError& error) {
        throw APIError::decoding(error.message());
    }
}

} // namespace

QCoro::Task<BriefingRead> APIClient::briefingRead() {
    auto task = raw(QByteArrayLiteral("GET"), briefingPath);
    const RawReply reply = co_await std::move(task);
    const BriefingReply read = decoded(
        checked(reply), [](const QByteArray& body) { return BriefingDecoder::reply(body); });
    co_return BriefingRead{read.briefing, read.helpHint.value_or(false),
                           read.unread.value_or(false)};
}

QCoro::Task<std::optional<Briefing>> APIClient::briefing() {
    auto task = briefingRead();
    const BriefingRead read = co_await std::move(task);
    co_return read.briefing;
}

QCoro::Task<> APIClient::runBriefing() {
    RawRequest request;
    request.headers.push_back(
        {QByteArrayLiteral("Content-Type"), QByteArrayLiteral("application/json")});
    auto task = raw(QByteArrayLiteral("POST"), briefingPath, std::move(request));
    const RawReply reply = co_await std::move(task);
    if (reply.status == 401)
        throw APIError::unauthorised();
    // A refusal is read from the body whatever the status; a body that doesn't decode is
    // simply no reply.
    std::optional<BriefingReply> read;
    try {
        read = BriefingDecoder::reply(reply.body);
    } catch (const DecodingError&) {
    }
    if (read && read->ok != true && read->reason)
        throw BriefingRefused(*read->reason,
                              read->message.value_or(QStringLiteral("That didn't work.")));
    if (!reply.isSuccess())
        throw APIError::server(reply.status, reply.text());
}

QCoro::Task<QList<Briefing>> APIClient::briefingHistory() {
    RawRequest request;
    request.query.push_back({QStringLiteral("history"), QStringLiteral("1")});
    auto task = raw(QByteArrayLiteral("GET"), briefingPath, std::move(request));
    const RawReply reply = co_await std::move(task);
    co_return decoded(checked(reply),
                      [](const QByteArray& body) { return BriefingDecoder::history(body); });
}

QCoro::Task<> APIClient::markBriefingSeen() {
    auto task = raw(QByteArrayLiteral("POST"), briefingPath + QStringLiteral("/seen"));
    const RawReply reply = co_await std::move(task);
    checked(reply);
}

QCoro::Task<> APIClient::dismissFinding(QString target, BriefingKind finding,
                                        std::optional<QString> disposition,
                                        std::optional<QString> briefingId) {
    auto task = dismissFinding(std::move(target), BriefingKinds::text(finding),
                               std::move(disposition), std::move(briefingId));
    co_await std::move(task);
}
