#pragma once

#include "WireJson.h"

#include <QNetworkReply>
#include <QString>

#include <exception>

// The frame's one error type for anything at or above HTTP.
class APIError : public std::exception {
public:
    enum class Kind { server, decoding, notConfigured, unauthorised };

    static APIError server(int status, const QString& body);
    static APIError decoding(const QString& text);
    static APIError notConfigured();
    static APIError unauthorised();

    Kind kind() const { return m_kind; }
    int status() const { return m_status; }
    const QString& body() const { return m_text; } // server: the body; decoding: the text
    QString errorDescription() const;
    const char* what() const noexcept override { return m_what.constData(); }

    bool operator==(const APIError& other) const {
        return m_kind == other.m_kind && m_status == other.m_status && m_text == other.m_text;
    }

private:
    APIError(Kind kind, int status, QString text);
    Kind m_kind;
    int m_status = 0;
    QString m_text;
    QByteArray m_what;
};

// A failure below HTTP (no connection, time-out, name lookup...), with Qt's own code.
class TransportError : public std::exception {
public:
    TransportError(QNetworkReply::NetworkError code, const QString& message);

    QNetworkReply::NetworkError code() const { return m_code; }
    const QString& message() const { return m_message; }
    QString errorDescription() const { return m_message; }
    const char* what() const noexcept override { return m_what.constData(); }

private:
    QNetworkReply::NetworkError m_code;
    QString m_message;
    QByteArray m_what;
};

// The description the user sees for any failure of the frame.
QString errorDescription(const std::exception& error);

// Runs one of the model's readers on a reply, its DecodingError becoming APIError::decoding.
template <typename Read>
auto decodedReply(Read&& read) -> decltype(read()) {
    try {
        return read();
    } catch (const DecodingError& error) {
        throw APIError::decoding(error.message());
    }
}
