#pragma once

#include "PendingOp.h"

#include <QNetworkReply>
#include <QString>

#include <exception>

// How the two sides compare when the app gets back to the server.
enum class SyncDecision { replaySilently, adoptServerSilently, askUser, nothingToDo };

namespace Sync {

SyncDecision decide(qint64 serverVersion, qint64 syncedVersion, bool queueIsEmpty);

// The question for the user when both sides moved.
struct Conflict {
    int queuedEdits = 0;
    // How far the server's version moved past the baseline: the reference server counts one
    // per write. At least 1, as the versions differ.
    qint64 changesElsewhere = 1;
    bool operator==(const Conflict&) const = default;
};

// 5xx failures of one queued edit before it is set aside.
inline constexpr int strikeLimit = 5;

// "Couldn't save “title” after 5 tries — it's been set aside." (or without a title).
QString setAsideMessage(const std::optional<QString>& title);

// The text of a 402 refusal: `message` of a JSON object body, else the body as it stands.
QString limitText(const QString& body);

// Offline rather than failed. Of Qt's codes these stand for the eight offline conditions:
//   not connected to the internet   NetworkSessionFailedError, TemporaryNetworkFailureError,
//                                   UnknownNetworkError (ENETUNREACH and other socket faults)
//   network connection lost         RemoteHostClosedError, ProxyConnectionClosedError
//   cannot connect to host          ConnectionRefusedError, ProxyConnectionRefusedError
//   cannot find host / DNS failed   HostNotFoundError, ProxyNotFoundError
//   timed out                       TimeoutError (the 60-second transfer time-out),
//   ProxyTimeoutError roaming off / data not allowed  BackgroundRequestNotAllowedError
// TLS faults, HTTP statuses and decoding failures are failures, not offline.
bool isUnreachable(QNetworkReply::NetworkError code);
bool isUnreachable(const std::exception& error);
bool isUnreachable(const std::exception_ptr& error);

} // namespace Sync
