#pragma once

#include "Json.h"
#include "Wire.h"

#include <QByteArray>
#include <QString>

#include <stdexcept>

struct WireDelta;

// A reply that is not the JSON it should be. The message names the key and where, as in
// `items[3].section: unknown value "later"`.
class DecodingError : public std::runtime_error {
public:
    explicit DecodingError(const QString& message)
        : std::runtime_error(message.toStdString())
        , m_message(message) {}
    const QString& message() const { return m_message; }

private:
    QString m_message;
};

// Strict readers and writers of the wire records. Readers require every required key,
// accept absent or null nullable keys, ignore unknown keys and reject values outside a
// closed set; they throw DecodingError.
namespace WireJson {

template <typename T>
T decode(QByteArrayView json);

// `{"result": T, "version": n?}`; the version is 0-or-absent aware through *version.
template <typename T>
T decodeEnvelope(QByteArrayView json, std::optional<qint64>* version = nullptr);

// Re-encoding leaves null fields out.
QByteArray encode(const WireDocument& document);
QByteArray encode(const WireItem& item);
QByteArray encode(const WireRule& rule);
QByteArray encode(const WireSettings& settings);
QByteArray encode(const WireRejection& rejection);
QByteArray encode(const WireSuppression& suppression);
QByteArray encode(const VersionReply& reply);
QByteArray encode(const WireDelta& delta); // `kind` first; `unknown` writes its kind alone

JsonValue toJson(const WireItem& item);
JsonValue toJson(const WireRule& rule);
JsonValue toJson(const WireSettings& settings);

// Reads a record out of an already parsed value (the server's arguments, loose replies).
template <typename T>
T fromJson(const JsonValue& value);

} // namespace WireJson

// Reads a stored document, healing the absence of `settings` and `focus` only.
namespace WireCompat {
std::optional<WireDocument> decodeDocument(QByteArrayView bytes);
}
