#include "StoreApi.h"

#include "Routes.h"

using namespace Routes;

namespace {

// The remote method named in an `api/store` body, for matching faults; empty if none.
QString rpcName(const QByteArray& body) {
    const auto json = JsonValue::parse(body);
    const JsonValue* method = json ? json->find(u"method") : nullptr;
    return method && method->isString() ? method->toString() : QString();
}

// A whole document in the best coding the client accepts, encoded once per version and
// coding; gzip from blocks deflated alone, so a new version deflates only its changed ones.
void sendDocument(httplib::Response& res, Service& service, qint64 user, const Reply& reply,
                  ContentCoding coding) {
    ReplyCache& cache = service.documentReplies();
    // The joined text only when it is sent as it is or coded whole.
    const auto joined = [&] {
        return reply.documentBody ? reply.documentBody->json() : reply.body;
    };
    QByteArray body;
    if (coding != ContentCoding::identity) {
        std::optional<QByteArray> encoded = cache.find(user, reply.document, coding);
        if (!encoded) {
            if (coding == ContentCoding::gzip && reply.documentBody)
                encoded =
                    service.deflatedBlocks().gzip(*reply.documentBody, ReplyEncoding::gzipLevel);
            else
                encoded = ReplyEncoding::encode(joined(), coding);
            if (encoded)
                cache.insert(user, reply.document, coding, *encoded);
        }
        if (encoded)
            body = *encoded;
        else
            coding = ContentCoding::identity;
    }
    if (coding == ContentCoding::identity)
        body = joined();
    res.set_header("Vary", "Accept-Encoding");
    send(res, reply.status, body, ReplyEncoding::name(coding));
}

} // namespace

void StoreApi::install(httplib::Server& server, Service& service, FaultPlan& faults) {
    server.Post("/api/store", [&](const httplib::Request& req, httplib::Response& res) {
        const QByteArray body = bodyOf(req);
        const auto fault = takeFault(faults, req, faults.pending() ? rpcName(body) : QString());
        if (applyFault(fault, res))
            return;
        const auto user = authorise(service, req, res);
        if (!user)
            return;
        std::optional<QString> key;
        if (req.has_header("Idempotency-Key")) {
            key = QString::fromStdString(req.get_header_value("Idempotency-Key")).trimmed();
            if (key->isEmpty() || key->size() > 200)
                return sendMessage(res, 400,
                                   QStringLiteral("Idempotency-Key must hold 1 to 200 "
                                                  "characters."));
        }
        const Reply reply = service.call(*user, body, key, false);
        if (reply.document)
            sendDocument(res, service, *user, reply,
                         ReplyEncoding::choose(req.get_header_value("Accept-Encoding")));
        else
            send(res, reply);
        dropIfAsked(fault, req, res);
    });

    server.Get("/api/store/version",
               userRoute(service, faults, [&service](qint64 user, const httplib::Request&) {
                   return service.version(user);
               }));
}
