#include "ItemEditor.h"

#include "Choices.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QtQml>

using namespace ItemForms;

ItemEditor::ItemEditor(QObject* parent)
    : TaskFields(parent) {
    updateDerived();
}

ItemEditor::~ItemEditor() {
    // The pane closing or the window going: what was typed still reaches the list.
    saveOnLeave();
}

void ItemEditor::registerType() {
    static const int id = qmlRegisterType<ItemEditor>("Velmora.Forms", 1, 0, "ItemEditor");
    Q_UNUSED(id)
}

void ItemEditor::storeReplaced() {
    QObject::disconnect(m_documentConnection);
    if (store())
        m_documentConnection =
            connect(store(), &Store::documentChanged, this, &ItemEditor::followStore);
    reset();
}

void ItemEditor::setItemId(const QString& id) {
    if (m_itemId == id)
        return;
    saveOnLeave();
    m_itemId = id;
    Q_EMIT itemIdChanged();
    reset();
}

void ItemEditor::lookUp() {
    std::optional<Item> item = store() ? store()->item(m_itemId) : std::nullopt;
    if (item == m_item)
        return;
    m_item = std::move(item);
    Q_EMIT itemChanged();
}

void ItemEditor::followStore() {
    lookUp();
    updateDerived();
}

void ItemEditor::reset() {
    lookUp();
    setEdits(m_item ? ItemEdits::of(*m_item) : ItemEdits{});
    setNewLabel({});
    setNewURL({});
    setConfirmingDelete(false);
    setSending(false);
}

void ItemEditor::setEdits(const ItemEdits& edits) {
    // All fields first, then one look at the derived state: no passing dirty moment.
    const bool linksMoved = edits.links != m_links;
    const bool sectionMoved = edits.section != m_section;
    m_links = edits.links;
    m_section = edits.section;
    assignFields(edits);
    if (linksMoved)
        Q_EMIT linksChanged();
    if (sectionMoved)
        Q_EMIT sectionChanged();
    updateDerived();
}

ItemEdits ItemEditor::edits() const {
    return {title(), note(), source(), dueDay(), priorityValue(), m_links, m_section};
}

void ItemEditor::setSection(const QString& wire) {
    const auto section = Wire::parse<Section>(wire);
    if (!section || *section == m_section)
        return;
    m_section = *section;
    Q_EMIT sectionChanged();
    updateDerived();
}

QVariantList ItemEditor::sectionChoices() const {
    return wireChoices<Section>();
}

void ItemEditor::setLinks(QList<ItemLink> links) {
    if (links == m_links)
        return;
    m_links = std::move(links);
    Q_EMIT linksChanged();
    updateDerived();
}

void ItemEditor::setNewLabel(const QString& text) {
    if (!assignLimited(m_newLabel, text, FieldLimits::linkLabel))
        return;
    Q_EMIT newLabelChanged();
    updateDerived();
}

void ItemEditor::setNewURL(const QString& text) {
    if (!assignLimited(m_newURL, text, FieldLimits::url))
        return;
    Q_EMIT newURLChanged();
    updateDerived();
}

bool ItemEditor::canAddLink() const {
    return hasRoomForLink() && ItemForms::canAddLink(m_links, m_newLabel, m_newURL);
}

bool ItemEditor::dirty() const {
    return m_item && ItemForms::dirty(edits(), *m_item);
}

bool ItemEditor::canSave() const {
    return dirty() && !trimmed(title()).isEmpty();
}

void ItemEditor::updateDerived() {
    const QList<bool> now{canAddLink(), hasRoomForLink(), dirty(), canSave(), titleLimitReached()};
    if (now == m_derived)
        return;
    m_derived = now;
    Q_EMIT derivedChanged();
}

QString ItemEditor::sectionLabel() const {
    return m_item ? sectionTitle(m_item->section) : QString();
}

QString ItemEditor::addedLabel() const {
    return m_item ? ItemForms::addedLabel(m_item->createdAt) : QString();
}

QString ItemEditor::shareStatus() const {
    if (!m_item || !m_item->shared)
        return {};
    return ItemForms::shareStatus(*m_item->shared).value_or(QString());
}

void ItemEditor::setConfirmingDelete(bool value) {
    if (value == m_confirmingDelete)
        return;
    m_confirmingDelete = value;
    Q_EMIT confirmingDeleteChanged();
}

void ItemEditor::setSending(bool value) {
    if (value == m_sending)
        return;
    m_sending = value;
    Q_EMIT sendingChanged();
}

void ItemEditor::addLink() {
    if (!canAddLink())
        return;
    QList<ItemLink> links = m_links;
    links.append(*parsedNewLink(m_newLabel, m_newURL));
    setLinks(std::move(links));
    setNewLabel({});
    setNewURL({});
}

void ItemEditor::removeLink(int index) {
    if (index < 0 || index >= m_links.size())
        return;
    QList<ItemLink> links = m_links;
    links.removeAt(index);
    setLinks(std::move(links));
}

void ItemEditor::save() {
    if (!store() || !m_item || !canSave())
        return;
    // The field takes the title as it is sent, so the form turns clean once the Store has it.
    setTitle(trimmed(title()));
    write(edits());
}

bool ItemEditor::saveOnLeave() {
    if (!store() || !m_item || !dirty())
        return false;
    ItemEdits edits = this->edits();
    edits.title = trimmed(edits.title);
    if (edits.title.isEmpty())
        edits.title = m_item->title;
    if (!ItemForms::dirty(edits, *m_item))
        return false;
    write(edits);
    store()->announce(QStringLiteral("Saved your changes to “%1”").arg(edits.title));
    return true;
}

void ItemEditor::write(const ItemEdits& edits) {
    // The section goes along only when it moved, so a save never touches it otherwise.
    const std::optional<Section> section =
        edits.section != m_item->section ? std::optional(edits.section) : std::nullopt;
    store()->update(*m_item, edits.title, nullIfEmpty(edits.note), nullIfEmpty(edits.source),
                    edits.due, edits.priority, edits.links, section);
}

void ItemEditor::toggle() {
    if (store() && m_item)
        store()->toggle(*m_item);
}

void ItemEditor::setDateToToday() {
    setDueDay(QDate::currentDate().startOfDay());
}

void ItemEditor::clearDate() {
    setDueDay(std::nullopt);
}

void ItemEditor::copyNote() const {
    if (QClipboard* clipboard = QGuiApplication::clipboard())
        clipboard->setText(note());
}

void ItemEditor::confirmDelete() {
    setConfirmingDelete(false);
    if (m_item)
        Q_EMIT deleteRequested(m_item->id);
}

void ItemEditor::taskSent() {
    setSending(false);
    if (store())
        store()->refresh(false);
}
