#include "PromptsApi.h"

#include "Connections.h"
#include "Routes.h"
#include "WireJson.h"

#include <mutex>

using namespace Routes;

namespace {

struct Served {
    std::mutex mutex;
    std::optional<QByteArray> override;
};

Served& served() {
    static Served instance;
    return instance;
}

QByteArray current() {
    std::lock_guard lock(served().mutex);
    if (served().override)
        return *served().override;
    static const QByteArray bundled =
        ConnectionsFormat::promptsJson(ConnectionsFormat::bundledPrompts()).toJson();
    return bundled;
}

} // namespace

void PromptsApi::install(httplib::Server& server, FaultPlan& faults) {
    server.Get("/api/prompts", [&faults](const httplib::Request& req, httplib::Response& res) {
        const auto fault = takeFault(faults, req);
        if (applyFault(fault, res))
            return;
        send(res, 200, current());
    });
}

void PromptsApi::installAdmin(httplib::Server& server) {
    server.Put("/admin/prompts", [](const httplib::Request& req, httplib::Response& res) {
        QList<RemotePrompt> prompts;
        try {
            prompts = ConnectionsFormat::readPrompts(bodyOf(req));
        } catch (const DecodingError& error) {
            return sendMessage(res, 400, error.message());
        }
        if (prompts.size() > maxPrompts)
            return sendMessage(res, 400, QStringLiteral("At most %1 prompts.").arg(maxPrompts));
        const QByteArray body = ConnectionsFormat::promptsJson(prompts).toJson();
        {
            std::lock_guard lock(served().mutex);
            served().override = body;
        }
        send(res, 200, body);
    });
    server.Delete("/admin/prompts", [](const httplib::Request&, httplib::Response& res) {
        {
            std::lock_guard lock(served().mutex);
            served().override.reset();
        }
        send(res, 200, current());
    });
}
