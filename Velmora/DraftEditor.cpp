#include "DraftEditor.h"

#include "Choices.h"
#include "ItemEditor.h"
#include "WireFormats.h"

#include <QVariantMap>
#include <QtQml>

using namespace ItemForms;

DraftEditor::DraftEditor(QObject* parent)
    : QObject(parent) {}

void DraftEditor::registerType() {
    static const int id = qmlRegisterType<DraftEditor>("Velmora.Forms", 1, 0, "DraftEditor");
    Q_UNUSED(id)
}

void DraftEditor::setStore(Store* store) {
    if (m_store == store)
        return;
    m_store = store;
    Q_EMIT storeChanged();
    updateCanAdd();
}

void DraftEditor::setTitle(const QString& text) {
    const QString value = limited(text, FieldLimits::title);
    if (value == m_title)
        return;
    m_title = value;
    Q_EMIT titleChanged();
    updateCanAdd();
}

void DraftEditor::setNote(const QString& text) {
    const QString value = limited(text, FieldLimits::note);
    if (value == m_note)
        return;
    m_note = value;
    Q_EMIT noteChanged();
}

void DraftEditor::setSource(const QString& text) {
    const QString value = limited(text, FieldLimits::source);
    if (value == m_source)
        return;
    m_source = value;
    Q_EMIT sourceChanged();
}

QVariant DraftEditor::due() const {
    return m_due ? QVariant(*m_due) : QVariant::fromValue(nullptr);
}

void DraftEditor::setDue(const QVariant& value) {
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

void DraftEditor::setDueDay(const std::optional<QDateTime>& due) {
    if (due == m_due)
        return;
    m_due = due;
    Q_EMIT dueChanged();
}

void DraftEditor::setPriority(const QString& wire) {
    const auto priority = Wire::parse<Priority>(wire);
    if (!priority || *priority == m_priority)
        return;
    m_priority = *priority;
    Q_EMIT priorityChanged();
}

void DraftEditor::setSection(const QString& wire) {
    const auto section = Wire::parse<Section>(wire);
    if (!section || *section == m_section)
        return;
    m_section = *section;
    Q_EMIT sectionChanged();
}

QVariantList DraftEditor::links() const {
    QVariantList list;
    for (const ItemLink& link : m_links)
        list.append(QVariantMap{{QStringLiteral("label"), link.label},
                                {QStringLiteral("url"), link.url.toString()}});
    return list;
}

bool DraftEditor::canAdd() const {
    return m_store && !m_adding && !trimmed(m_title).isEmpty();
}

bool DraftEditor::titleLimitReached() const {
    return perceivedLength(m_title) >= FieldLimits::title;
}

QVariantList DraftEditor::priorityChoices() const {
    return ItemEditor::priorityChoiceList();
}

QVariantList DraftEditor::sectionChoices() const {
    return wireChoices<Section>();
}

void DraftEditor::setAdding(bool value) {
    if (value == m_adding)
        return;
    m_adding = value;
    Q_EMIT addingChanged();
    updateCanAdd();
}

void DraftEditor::updateCanAdd() {
    const bool now = canAdd();
    if (now == m_canAdd)
        return;
    m_canAdd = now;
    Q_EMIT canAddChanged();
}

void DraftEditor::fill(const DraftSeed& seed) {
    setTitle(seed.title);
    setNote(seed.note);
    setSource(seed.source);
    setDueDay(seed.due ? std::optional(seed.due->toLocalTime().date().startOfDay()) : std::nullopt);
    setPriority(Wire::string(seed.priority));
    setSection(Wire::string(seed.section));
    m_links = seed.links;
    m_notice = seed.notice;
    Q_EMIT filled();
}

void DraftEditor::add() {
    if (!canAdd())
        return;
    run(trimmed(m_title));
}

QCoro::Task<> DraftEditor::run(QString title) {
    QPointer<DraftEditor> self(this);
    setAdding(true);
    auto adding = m_store->add(title, nullIfEmpty(m_note), nullIfEmpty(m_source), m_section, m_due,
                               m_priority, m_links, LocalID::make());
    const bool took = co_await std::move(adding);
    if (!self)
        co_return;
    setAdding(false);
    if (took)
        Q_EMIT done();
}

void DraftEditor::cancel() {
    Q_EMIT cancelled();
}
