#include "APIError.h"

#include "WireJson.h"

APIError::APIError(Kind kind, int status, QString text)
    : m_kind(kind)
    , m_status(status)
    , m_text(std::move(text)) {
    m_what = errorDescription().toUtf8();
}

APIError APIError::server(int status, const QString& body) {
    return APIError(Kind::server, status, body);
}

APIError APIError::decoding(const QString& text) {
    return APIError(Kind::decoding, 0, text);
}

APIError APIError::notConfigured() {
    return APIError(Kind::notConfigured, 0, {});
}

APIError APIError::unauthorised() {
    return APIError(Kind::unauthorised, 0, {});
}

QString APIError::errorDescription() const {
    switch (m_kind) {
    case Kind::server:
        return QStringLiteral("Server error %1: %2").arg(m_status).arg(m_text);
    case Kind::decoding:
        return QStringLiteral("Unexpected response: ") + m_text;
    case Kind::notConfigured:
        return QStringLiteral("No access token yet.");
    case Kind::unauthorised:
        return QStringLiteral("That token was rejected. Generate a new connection on the website.");
    }
    return {};
}

TransportError::TransportError(QNetworkReply::NetworkError code, const QString& message)
    : m_code(code)
    , m_message(message)
    , m_what(message.toUtf8()) {}

QString errorDescription(const std::exception& error) {
    if (const auto* api = dynamic_cast<const APIError*>(&error))
        return api->errorDescription();
    if (const auto* transport = dynamic_cast<const TransportError*>(&error))
        return transport->errorDescription();
    if (const auto* decoding = dynamic_cast<const DecodingError*>(&error))
        return APIError::decoding(decoding->message()).errorDescription();
    return QString::fromUtf8(error.what());
}
