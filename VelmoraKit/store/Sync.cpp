#include "Sync.h"

#include "APIError.h"
#include "Json.h"

namespace Sync {

SyncDecision decide(qint64 serverVersion, qint64 syncedVersion, bool queueIsEmpty) {
    const bool same = serverVersion == syncedVersion;
    if (same)
        return queueIsEmpty ? SyncDecision::nothingToDo : SyncDecision::replaySilently;
    return queueIsEmpty ? SyncDecision::adoptServerSilently : SyncDecision::askUser;
}

QString setAsideMessage(const std::optional<QString>& title) {
    if (title)
        // One call for both: a chained arg() would read a "%1" in the title as its own.
        return QStringLiteral(
                   "Couldn't save \u201c%1\u201d after %2 tries \u2014 it's been set aside.")
            .arg(*title, QString::number(strikeLimit));
    return QStringLiteral("One change couldn't be saved after %1 tries \u2014 it's been set aside.")
        .arg(strikeLimit);
}

QString limitText(const QString& body) {
    const auto json = JsonValue::parse(body.toUtf8());
    if (json && json->isObject()) {
        if (const JsonValue* message = json->find(u"message"); message && message->isString())
            return message->toString();
    }
    return body;
}

bool isUnreachable(QNetworkReply::NetworkError code) {
    switch (code) {
    case QNetworkReply::NetworkSessionFailedError:
    case QNetworkReply::TemporaryNetworkFailureError:
    case QNetworkReply::UnknownNetworkError:
    case QNetworkReply::RemoteHostClosedError:
    case QNetworkReply::ProxyConnectionClosedError:
    case QNetworkReply::ConnectionRefusedError:
    case QNetworkReply::ProxyConnectionRefusedError:
    case QNetworkReply::HostNotFoundError:
    case QNetworkReply::ProxyNotFoundError:
    case QNetworkReply::TimeoutError:
    case QNetworkReply::ProxyTimeoutError:
    case QNetworkReply::BackgroundRequestNotAllowedError:
        return true;
    default:
        return false;
    }
}

bool isUnreachable(const std::exception& error) {
    const auto* transport = dynamic_cast<const TransportError*>(&error);
    return transport && isUnreachable(transport->code());
}

bool isUnreachable(const std::exception_ptr& error) {
    try {
        std::rethrow_exception(error);
    } catch (const std::exception& e) {
        return isUnreachable(e);
    } catch (...) {
        return false;
    }
}

} // namespace Sync
