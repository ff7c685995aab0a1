#include "HttpApi.h"

#include "AccountApi.h"
#include "AdminApi.h"
#include "AuthApi.h"
#include "BriefingApi.h"
#include "CreditsApi.h"
#include "DismissApi.h"
#include "McpApi.h"
#include "PeopleApi.h"
#include "PromptsApi.h"
#include "PushApi.h"
#include "Routes.h"
#include "SettingsApi.h"
#include "ShareApi.h"
#include "SmartInsertApi.h"
#include "StoreApi.h"
#include "TokensApi.h"
#include "UsageApi.h"
#include "WelcomeApi.h"

#include <httplib.h>

using Routes::sendMessage;

namespace HttpApi {

HttpServer::Limits limits(std::size_t threads) {
    HttpServer::Limits limits;
    limits.workers = threads;
    limits.maxBody = maxBodyBytes;
    return limits;
}

void configure(httplib::Server& server) {
    server.set_error_handler(
        httplib::Server::HandlerWithResponse([](const httplib::Request&, httplib::Response& res) {
            // A route's own refusal has its type; only the library's bare statuses get a text.
            if (!res.body.empty() || res.has_header("Content-Type"))
                return httplib::Server::HandlerResponse::Unhandled;
            QString text;
            switch (res.status) {
            case 404:
                text = QStringLiteral("Not found.");
                break;
            case 413:
                text = QStringLiteral("The request body is over 1 MiB.");
                break;
            default:
                text = QStringLiteral("HTTP status %1.").arg(res.status);
            }
            sendMessage(res, res.status, text);
            return httplib::Server::HandlerResponse::Handled;
        }));
    server.set_exception_handler(
        [](const httplib::Request&, httplib::Response& res, std::exception_ptr) {
            sendMessage(res, 500, QStringLiteral("Internal error."));
        });
}

void installApi(httplib::Server& server, Service& service, FaultPlan& faults) {
    // One line per route family; each keeps its routes and tables in its own file.
    StoreApi::install(server, service, faults);
    SmartInsertApi::install(server, service, faults);
    McpApi::install(server, service, faults);
    UsageApi::install(server, service, faults);
    CreditsApi::install(server, service, faults);
    DismissApi::install(server, service, faults);
    BriefingApi::install(server, service, faults);
    AuthApi::install(server, service, faults);
    TokensApi::install(server, service, faults);
    PromptsApi::install(server, faults);
    PeopleApi::install(server, service, faults);
    ShareApi::install(server, service, faults);
    SettingsApi::install(server, service, faults);
    WelcomeApi::install(server, service, faults);
    AccountApi::install(server, service, faults);
    PushApi::install(server, service, faults);
}

void installAdmin(httplib::Server& server, Service& service, FaultPlan& faults,
                  const QByteArray& secret) {
    server.set_pre_routing_handler([secret](const httplib::Request& req, httplib::Response& res) {
        const QByteArray given = Routes::bearer(req);
        // Compare in constant time: the secret is all that guards this listener.
        unsigned char diff = given.size() == secret.size() ? 0 : 1;
        for (qsizetype i = 0; i < given.size() && i < secret.size(); ++i)
            diff |= static_cast<unsigned char>(given[i] ^ secret[i]);
        if (diff == 0)
            return httplib::Server::HandlerResponse::Unhandled;
        sendMessage(res, 401, QStringLiteral("The admin secret is required."));
        return httplib::Server::HandlerResponse::Handled;
    });

    AdminApi::install(server, service, faults);
    SmartInsertApi::installAdmin(server, service);
    McpApi::installAdmin(server);
    CreditsApi::installAdmin(server, service);
    BriefingApi::installAdmin(server, service);
    PromptsApi::installAdmin(server);
    SettingsApi::installAdmin(server, service);
    AccountApi::installAdmin(server, service);
}

} // namespace HttpApi
