#include "PeopleScreen.h"

#include <QLocale>

namespace PeopleScreen {

bool hasText(const QString& text) {
    return !text.trimmed().isEmpty();
}

QString peopleFailure(const std::exception_ptr& error, const QString& fallback) {
    try {
        if (error)
            std::rethrow_exception(error);
    } catch (const PeopleRefusal& refusal) {
        return refusal.message();
    } catch (...) {
    }
    return fallback;
}

QString shareFailure(const std::exception_ptr& error) {
    try {
        if (error)
            std::rethrow_exception(error);
    } catch (const ShareRefusal& refusal) {
        return refusal.message();
    } catch (...) {
    }
    return shareFailed;
}

QString shortDate(const QDateTime& at) {
    return QLocale().toString(at.toLocalTime().date(), QStringLiteral("d MMM yyyy"));
}

QString worksOnce(qint64 ttlDays) {
    return QStringLiteral("Works once · lasts %1 days").arg(ttlDays);
}

QString expiresLine(const QDateTime& at) {
    return QStringLiteral("Expires ") + shortDate(at);
}

QString incomingLine(const Incoming& incoming) {
    if (!incoming.message)
        return incoming.from + QStringLiteral(" sent this");
    return incoming.from + QStringLiteral(" — ") + *incoming.message;
}

QString returnedLine(const Returned& returned) {
    return returned.from + QStringLiteral(" says this is done");
}

QString removeTitle(const QString& name) {
    return QStringLiteral("Remove ") + name + u'?';
}

} // namespace PeopleScreen
