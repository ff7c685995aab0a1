#include "DraftEditor.h"

#include "Choices.h"
#include "WireFormats.h"

#include <QtQml>

using namespace ItemForms;

DraftEditor::DraftEditor(QObject* parent)
    : TaskFields(parent) {}

void DraftEditor::registerType() {
    static const int id = qmlRegisterType<DraftEditor>("Velmora.Forms", 1, 0, "DraftEditor");
    Q_UNUSED(id)
}

void DraftEditor::setSection(const QString& wire) {
    const auto section = Wire::parse<Section>(wire);
    if (!section || *section == m_section)
        return;
    m_section = *section;
    Q_EMIT sectionChanged();
}

bool DraftEditor::canAdd() const {
    return store() && !m_adding && !trimmed(title()).isEmpty();
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
    run(trimmed(title()));
}

QCoro::Task<> DraftEditor::run(QString title) {
    QPointer<DraftEditor> self(this);
    setAdding(true);
    const QString localID = LocalID::make();
    auto adding = store()->add(title, nullIfEmpty(note()), nullIfEmpty(source()), m_section,
                               dueDay(), priorityValue(), m_links, localID);
    Q_EMIT added(localID);
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
