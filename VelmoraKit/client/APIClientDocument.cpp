// The document calls on api/store: edits, settings, load and version.

#include "APIClient.h"

#include "WireFormats.h"
#include "WireJson.h"

namespace {

JsonValue linksJson(const QList<ItemLink>& links) {
    JsonValue::Array array;
    array.reserve(links.size());
    for (const auto& link : links) {
        JsonValue object;
        object.set(QStringLiteral("label"), link.label);
        object.set(QStringLiteral("url"), link.id());
        array.push_back(std::move(object));
    }
    return array;
}

// Empty text counts as nothing.
std::optional<QString> nonEmpty(const std::optional<QString>& text) {
    return text && !text->isEmpty() ? text : std::nullopt;
}

} // namespace

QCoro::Task<> APIClient::setDone(QString id, bool done) {
    // g++ 12 miscompiles braced lists inside co_await expressions: build the list first.
    JsonValue::Array args{id, done};
    co_await send<WireItem>(QStringLiteral("setItemStatus"), std::move(args));
}

QCoro::Task<> APIClient::setFlagged(QString id, bool flagged) {
    JsonValue patch;
    patch.set(QStringLiteral("flagged"), flagged);
    JsonValue::Array args{id, std::move(patch)};
    co_await send<WireItem>(QStringLiteral("updateItem"), std::move(args));
}

QCoro::Task<QString> APIClient::add(QString title, std::optional<QString> note, Section section,
                                    std::optional<QDateTime> due, std::optional<QString> source,
                                    Priority priority, QList<ItemLink> links,
                                    QString idempotencyKey) {
    // Only what holds something is sent; status, origin and initiated are the server's.
    JsonValue object;
    object.set(QStringLiteral("title"), title);
    object.set(QStringLiteral("section"), Wire::string(section));
    object.set(QStringLiteral("channel"), Wire::string(Channel::self));
    object.set(QStringLiteral("priority"), Wire::string(priority));
    if (const auto text = nonEmpty(note))
        object.set(QStringLiteral("note"), *text);
    if (due)
        object.set(QStringLiteral("due"), LocalDay::string(*due));
    if (const auto text = nonEmpty(source))
        object.set(QStringLiteral("source"), *text);
    if (!links.isEmpty())
        object.set(QStringLiteral("links"), linksJson(links));
    HttpHeaders headers;
    if (!idempotencyKey.isEmpty())
        headers.append({QByteArrayLiteral("Idempotency-Key"), idempotencyKey.toUtf8()});
    JsonValue::Array args{std::move(object)};
    const WireItem item =
        co_await send<WireItem>(QStringLiteral("addItem"), std::move(args), headers);
    co_return item.id;
}

QCoro::Task<> APIClient::update(QString id, QString title, std::optional<QString> note,
                                std::optional<QString> source, std::optional<QDateTime> due,
                                Priority priority, QList<ItemLink> links,
                                std::optional<Section> section) {
    // Every editable field is named: an explicit null clears it on the server.
    JsonValue object;
    object.set(QStringLiteral("title"), title);
    object.set(QStringLiteral("note"), nonEmpty(note));
    object.set(QStringLiteral("source"), nonEmpty(source));
    object.set(QStringLiteral("due"), due ? JsonValue(LocalDay::string(*due)) : JsonValue());
    object.set(QStringLiteral("priority"), Wire::string(priority));
    object.set(QStringLiteral("links"), linksJson(links));
    if (section)
        object.set(QStringLiteral("section"), Wire::string(*section));
    JsonValue::Array args{id, std::move(object)};
    co_await send<WireItem>(QStringLiteral("updateItem"), std::move(args));
}

QCoro::Task<> APIClient::deleteItem(QString id) {
    JsonValue::Array args{QStringLiteral("item"), id};
    auto task = sendIgnoringResult(QStringLiteral("softDelete"), std::move(args));
    co_await std::move(task);
}

QCoro::Task<> APIClient::restore(QString id) {
    JsonValue::Array args{QStringLiteral("item"), id};
    auto task = sendIgnoringResult(QStringLiteral("restore"), std::move(args));
    co_await std::move(task);
}

QCoro::Task<> APIClient::updateSettings(bool hideDone) {
    JsonValue settings;
    settings.set(QStringLiteral("hide_done"), hideDone);
    JsonValue::Array args{std::move(settings)};
    co_await send<WireSettings>(QStringLiteral("updateSettings"), std::move(args));
}

QCoro::Task<LoadResult> APIClient::loadForSync() {
    auto task = call(QStringLiteral("load"), {}, {});
    const QByteArray body = co_await std::move(task);
    std::optional<qint64> version;
    const WireDocument wire = decodeResult<WireDocument>(body, &version);
    LoadResult result;
    result.wire = WireJson::encode(wire);
    result.document = WireMapping::document(wire);
    result.version = version.value_or(0);
    co_return result;
}

QCoro::Task<Document> APIClient::load() {
    const LoadResult result = co_await loadForSync();
    co_return result.document;
}

QCoro::Task<qint64> APIClient::version() {
    auto task = raw(QByteArrayLiteral("GET"), QStringLiteral("api/store/version"));
    const RawReply reply = co_await std::move(task);
    const QByteArray body = checked(reply);
    try {
        co_return WireJson::decode<VersionReply>(body).version;
    } catch (const DecodingError& error) {
        throw APIError::decoding(error.message());
    }
}
