#include "TaskFields.h"

#include "Characters.h"

#include <QVariantMap>

using namespace ItemForms;

namespace {

// Sets `field` to `value` and says whether that was a change.
template <typename T>
bool assign(T& field, const T& value) {
    if (field == value)
        return false;
    field = value;
    return true;
}

} // namespace

TaskFields::TaskFields(QObject* parent)
    : QObject(parent) {}

void TaskFields::setStore(Store* store) {
    if (m_store == store)
        return;
    m_store = store;
    Q_EMIT storeChanged();
    storeReplaced();
}

void TaskFields::setTitle(const QString& text) {
    if (!assignLimited(m_title, text, FieldLimits::title))
        return;
    Q_EMIT titleChanged();
    fieldsChanged();
}

void TaskFields::setNote(const QString& text) {
    if (!assignLimited(m_note, text, FieldLimits::note))
        return;
    Q_EMIT noteChanged();
    fieldsChanged();
}

void TaskFields::setSource(const QString& text) {
    if (!assignLimited(m_source, text, FieldLimits::source))
        return;
    Q_EMIT sourceChanged();
    fieldsChanged();
}

QVariant TaskFields::due() const {
    return m_due ? QVariant(*m_due) : QVariant::fromValue(nullptr);
}

void TaskFields::setDue(const QVariant& value) {
    QDateTime picked;
    if (value.metaType() == QMetaType::fromType<QDateTime>())
        picked = value.toDateTime();
    else if (value.metaType() == QMetaType::fromType<QDate>())
        picked = value.toDate().startOfDay();
    if (!picked.isValid())
        setDueDay(std::nullopt);
    else // days only: the local start of the picked day
        setDueDay(picked.toLocalTime().date().startOfDay());
}

void TaskFields::setDueDay(const std::optional<QDateTime>& due) {
    if (!assign(m_due, due))
        return;
    Q_EMIT dueChanged();
    fieldsChanged();
}

void TaskFields::setPriority(const QString& wire) {
    const auto priority = Wire::parse<Priority>(wire);
    if (!priority || !assign(m_priority, *priority))
        return;
    Q_EMIT priorityChanged();
    fieldsChanged();
}

bool TaskFields::titleLimitReached() const {
    return Characters::count(m_title) >= FieldLimits::title;
}

QVariantList TaskFields::priorityChoices() const {
    QVariantList choices;
    for (const Priority value : Wire::allValues<Priority>())
        choices.append(QVariantMap{{QStringLiteral("value"), Wire::string(value)},
                                   {QStringLiteral("label"), priorityTitle(value)}});
    return choices;
}

void TaskFields::assignFields(const ItemEdits& fields) {
    // Every field holds its new value before anyone hears of one.
    const bool title = assign(m_title, fields.title);
    const bool note = assign(m_note, fields.note);
    const bool source = assign(m_source, fields.source);
    const bool due = assign(m_due, fields.due);
    const bool priority = assign(m_priority, fields.priority);
    if (title)
        Q_EMIT titleChanged();
    if (note)
        Q_EMIT noteChanged();
    if (source)
        Q_EMIT sourceChanged();
    if (due)
        Q_EMIT dueChanged();
    if (priority)
        Q_EMIT priorityChanged();
}

bool TaskFields::assignLimited(QString& field, const QString& text, int limit) {
    return assign(field, Characters::left(text, limit));
}

QVariantList TaskFields::linkMaps(const QList<ItemLink>& links) {
    QVariantList list;
    for (const ItemLink& link : links)
        list.append(
            QVariantMap{{QStringLiteral("label"), link.label}, {QStringLiteral("url"), link.id()}});
    return list;
}
