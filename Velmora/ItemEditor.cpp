#include "ItemEditor.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QtQml>

using namespace ItemForms;

namespace {

QVariantMap linkMap(const ItemLink& link) {
    return {{QStringLiteral("label"), link.label}, {QStringLiteral("url"), link.url.toString()}};
}

} // namespace

ItemEditor::ItemEditor(QObject* parent)
    : QObject(parent) {
    updateDerived();
}

void ItemEditor::registerType() {
    static const int id = qmlRegisterType<ItemEditor>("Velmora.Forms", 1, 0, "ItemEditor");
    Q_UNUSED(id)
}

void ItemEditor::setStore(Store* store) {
    if (m_store == store)
        return;
    QObject::disconnect(m_documentConnection);
    m_store = store;
    if (store)
        m_documentConnection =
            connect(store, &Store::documentChanged, this, &ItemEditor::followStore);
    Q_EMIT storeChanged();
    reset();
}

void ItemEditor::setItemId(const QString& id) {
    if (m_itemId == id)
        return;
    m_itemId = id;
    Q_EMIT itemIdChanged();
    reset();
}

void ItemEditor::lookUp() {
    std::optional<Item> item = m_store ? m_store->item(m_itemId) : std::nullopt;
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
    const ItemEdits before = std::exchange(m_edits, edits);
    if (before.title != edits.title)
        Q_EMIT titleChanged();
    if (before.note != edits.note)
        Q_EMIT noteChanged();
    if (before.source != edits.source)
        Q_EMIT sourceChanged();
    if (before.due != edits.due)
        Q_EMIT dueChanged();
    if (before.priority != edits.priority)
        Q_EMIT priorityChanged();
    if (before.links != edits.links)
        Q_EMIT linksChanged();
    updateDerived();
}

void ItemEditor::setTitle(const QString& text) {
    const QString value = limited(text, FieldLimits::title);
    if (value == m_edits.title)
        return;
    m_edits.title = value;
    Q_EMIT titleChanged();
    updateDerived();
}

void ItemEditor::setNote(const QString& text) {
    const QString value = limited(text, FieldLimits::note);
    if (value == m_edits.note)
        return;
    m_edits.note = value;
    Q_EMIT noteChanged();
    updateDerived();
}

void ItemEditor::setSource(const QString& text) {
    const QString value = limited(text, FieldLimits::source);
    if (value == m_edits.source)
        return;
    m_edits.source = value;
    Q_EMIT sourceChanged();
    updateDerived();
}

QVariant ItemEditor::due() const {
    return m_edits.due ? QVariant(*m_edits.due) : QVariant::fromValue(nullptr);
}

void ItemEditor::setDue(const QVariant& value) {
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

void ItemEditor::setDueDay(const std::optional<QDateTime>& due) {
    if (due == m_edits.due)
        return;
    m_edits.due = due;
    Q_EMIT dueChanged();
    updateDerived();
}

void ItemEditor::setPriority(const QString& wire) {
    const auto priority = Wire::parse<Priority>(wire);
    if (!priority || *priority == m_edits.priority)
        return;
    m_edits.priority = *priority;
    Q_EMIT priorityChanged();
    updateDerived();
}

QVariantList ItemEditor::links() const {
    QVariantList list;
    for (const ItemLink& link : m_edits.links)
        list.append(linkMap(link));
    return list;
}

void ItemEditor::setLinks(QList<ItemLink> links) {
    if (links == m_edits.links)
        return;
    m_edits.links = std::move(links);
    Q_EMIT linksChanged();
    updateDerived();
}

void ItemEditor::setNewLabel(const QString& text) {
    const QString value = limited(text, FieldLimits::linkLabel);
    if (value == m_newLabel)
        return;
    m_newLabel = value;
    Q_EMIT newLabelChanged();
    updateDerived();
}

void ItemEditor::setNewURL(const QString& text) {
    const QString value = limited(text, FieldLimits::url);
    if (value == m_newURL)
        return;
    m_newURL = value;
    Q_EMIT newURLChanged();
    updateDerived();
}

bool ItemEditor::canAddLink() const {
    return hasRoomForLink() && ItemForms::canAddLink(m_edits.links, m_newLabel, m_newURL);
}

bool ItemEditor::dirty() const {
    return m_item && ItemForms::dirty(m_edits, *m_item);
}

bool ItemEditor::canSave() const {
    return dirty() && !trimmed(m_edits.title).isEmpty();
}

bool ItemEditor::titleLimitReached() const {
    return perceivedLength(m_edits.title) >= FieldLimits::title;
}

void ItemEditor::updateDerived() {
    const QList<bool> now{canAddLink(), hasRoomForLink(), dirty(), canSave(), titleLimitReached()};
    if (now == m_derived)
        return;
    m_derived = now;
    Q_EMIT derivedChanged();
}

QVariantList ItemEditor::priorityChoiceList() {
    QVariantList choices;
    for (const Priority value : Wire::allValues<Priority>())
        choices.append(QVariantMap{{QStringLiteral("value"), Wire::string(value)},
                                   {QStringLiteral("label"), priorityTitle(value)}});
    return choices;
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
    QList<ItemLink> links = m_edits.links;
    links.append(*parsedNewLink(m_newLabel, m_newURL));
    setLinks(std::move(links));
    setNewLabel({});
    setNewURL({});
}

void ItemEditor::removeLink(int index) {
    if (index < 0 || index >= m_edits.links.size())
        return;
    QList<ItemLink> links = m_edits.links;
    links.removeAt(index);
    setLinks(std::move(links));
}

void ItemEditor::save() {
    if (!m_store || !m_item || !canSave())
        return;
    // The field takes the title as it is sent, so the form turns clean once the Store has it.
    setTitle(trimmed(m_edits.title));
    const ItemEdits edits = m_edits;
    m_store->update(*m_item, edits.title, nullIfEmpty(edits.note), nullIfEmpty(edits.source),
                    edits.due, edits.priority, edits.links);
}

void ItemEditor::toggle() {
    if (m_store && m_item)
        m_store->toggle(*m_item);
}

void ItemEditor::setDateToToday() {
    setDueDay(QDate::currentDate().startOfDay());
}

void ItemEditor::clearDate() {
    setDueDay(std::nullopt);
}

void ItemEditor::copyNote() const {
    if (QClipboard* clipboard = QGuiApplication::clipboard())
        clipboard->setText(m_edits.note);
}

void ItemEditor::confirmDelete() {
    setConfirmingDelete(false);
    if (m_item)
        Q_EMIT deleteRequested(m_item->id);
}

void ItemEditor::taskSent() {
    setSending(false);
    if (m_store)
        m_store->refresh(false);
}
