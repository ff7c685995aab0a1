#pragma once

#include "ServerProcess.h"

#include <QString>

#include <stdexcept>

// Small conveniences shared by the server tests.
namespace ServerTest {

// Parses a JSON text written in a test; a typo in it is a test bug, so it throws.
inline JsonValue json(const char* text) {
    auto value = JsonValue::parse(QByteArray(text));
    if (!value)
        throw std::runtime_error(std::string("bad JSON in test: ") + text);
    return *value;
}

inline JsonValue::Array args(const char* text) {
    return json(text).toArray();
}

// The `result` of a successful call; anything but 200 throws with the body.
inline JsonValue result(const ServerProcess::Reply& reply) {
    if (reply.status != 200)
        throw std::runtime_error(QStringLiteral("status %1: %2")
                                     .arg(reply.status)
                                     .arg(QString::fromUtf8(reply.body))
                                     .toStdString());
    const JsonValue body = reply.json();
    const JsonValue* value = body.find(u"result");
    if (!value)
        throw std::runtime_error("no result in " + reply.body.toStdString());
    return *value;
}

inline qint64 version(const ServerProcess::Reply& reply) {
    const JsonValue body = reply.json();
    const JsonValue* value = body.find(u"version");
    return value ? value->toInteger() : -1;
}

inline QString message(const ServerProcess::Reply& reply) {
    const JsonValue body = reply.json();
    const JsonValue* value = body.find(u"message");
    return value ? value->toString() : QString();
}

} // namespace ServerTest
