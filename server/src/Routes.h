#pragma once

#include "Faults.h"
#include "Json.h"
#include "Service.h"

#include <QByteArray>
#include <QString>

#include <httplib.h>

#include <functional>
#include <optional>

// What every route family shares: replies, the bearer token, scripted faults. A family
// lives in its own file with an `install` (and, if it has any, an `installAdmin`) that
// HttpApi calls in one line; its state goes through Service::read and Service::transact.
namespace Routes {

void send(httplib::Response& res, int status, const QByteArray& body);
// A body already in `contentEncoding` ("br", "gzip"; null or empty for none).
void send(httplib::Response& res, int status, const QByteArray& body, const char* contentEncoding);
void send(httplib::Response& res, const Reply& reply);
void sendMessage(httplib::Response& res, int status, const QString& text);
QByteArray bodyOf(const httplib::Request& req);
// The token of "Authorization: Bearer <token>"; empty when there is none.
QByteArray bearer(const httplib::Request& req);
// The body as JSON, or a 400 sent and null.
std::optional<JsonValue> jsonBody(const httplib::Request& req, httplib::Response& res);
// The user named by the route's first capture, percent-decoded.
QString userName(const httplib::Request& req);

// The scripted fault for this request, if any (`rpc` narrows it to a remote method).
std::optional<Fault> takeFault(FaultPlan& faults, const httplib::Request& req,
                               const QString& rpc = {});
// Runs the fault's delay and status. True when the fault has answered.
bool applyFault(const std::optional<Fault>& fault, httplib::Response& res);
// Closes the request's connection after the reply, or cuts the reply after its headers,
// when the fault asks for it.
void dropIfAsked(const std::optional<Fault>& fault, const httplib::Request& req,
                 httplib::Response& res);
// The signed-in user, or a 401 sent and null.
std::optional<qint64> authorise(Service& service, const httplib::Request& req,
                                httplib::Response& res);

// A route of a signed-in user: the scripted fault first, then the token, then `handler`,
// whose reply is sent.
using UserHandler = std::function<Reply(qint64 userId, const httplib::Request& req)>;
httplib::Server::Handler userRoute(Service& service, FaultPlan& faults, UserHandler handler);

} // namespace Routes
