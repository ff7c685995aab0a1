#pragma once

#include "TaskFields.h"

// The right pane's editor of one item. Its edits stay apart from the item until "Save": a
// change of the item from outside leaves them as they are (the form never changes under its
// reader) and only makes the form dirty. Typed text is never lost: a move to another item, or
// the form going away, saves what it holds first.
class ItemEditor : public TaskFields {
    Q_OBJECT
    Q_PROPERTY(QString itemId READ itemId WRITE setItemId NOTIFY itemIdChanged)
    // The edits besides the common fields: `links` a list of {label, url}.
    Q_PROPERTY(QVariantList links READ links NOTIFY linksChanged)
    // Wire words; the choices read "Action", "Waiting", "Note".
    Q_PROPERTY(QString section READ section WRITE setSection NOTIFY sectionChanged)
    Q_PROPERTY(QVariantList sectionChoices READ sectionChoices CONSTANT)
    Q_PROPERTY(QString newLabel READ newLabel WRITE setNewLabel NOTIFY newLabelChanged)
    Q_PROPERTY(QString newURL READ newURL WRITE setNewURL NOTIFY newURLChanged)
    // Derived from the fields and the item.
    Q_PROPERTY(bool canAddLink READ canAddLink NOTIFY derivedChanged)
    Q_PROPERTY(bool hasRoomForLink READ hasRoomForLink NOTIFY derivedChanged)
    Q_PROPERTY(bool dirty READ dirty NOTIFY derivedChanged)
    Q_PROPERTY(bool canSave READ canSave NOTIFY derivedChanged)
    Q_PROPERTY(bool titleLimitReached READ titleLimitReached NOTIFY derivedChanged)
    Q_PROPERTY(int maxLinks READ maxLinks CONSTANT)
    // The item as it stands in the Store.
    Q_PROPERTY(bool exists READ exists NOTIFY itemChanged)
    Q_PROPERTY(QString sectionLabel READ sectionLabel NOTIFY itemChanged)
    Q_PROPERTY(QString addedLabel READ addedLabel NOTIFY itemChanged)
    Q_PROPERTY(bool isAI READ isAI NOTIFY itemChanged)
    Q_PROPERTY(QString shareStatus READ shareStatus NOTIFY itemChanged)
    Q_PROPERTY(bool done READ done NOTIFY itemChanged)
    // The form's own moments.
    Q_PROPERTY(bool confirmingDelete READ confirmingDelete WRITE setConfirmingDelete NOTIFY
                   confirmingDeleteChanged)
    Q_PROPERTY(bool sending READ sending WRITE setSending NOTIFY sendingChanged)

public:
    explicit ItemEditor(QObject* parent = nullptr);
    ~ItemEditor() override;
    // Makes the type known to QML as Velmora.Forms 1.0 ItemEditor; once is enough.
    static void registerType();

    const QString& itemId() const { return m_itemId; }
    void setItemId(const QString& id);

    ItemForms::ItemEdits edits() const;
    const std::optional<Item>& item() const { return m_item; }
    QVariantList links() const { return linkMaps(m_links); }
    QString section() const { return Wire::string(m_section); }
    void setSection(const QString& wire);
    QVariantList sectionChoices() const;
    const QString& newLabel() const { return m_newLabel; }
    void setNewLabel(const QString& text);
    const QString& newURL() const { return m_newURL; }
    void setNewURL(const QString& text);

    bool canAddLink() const;
    bool hasRoomForLink() const { return m_links.size() < FieldLimits::links; }
    bool dirty() const;
    bool canSave() const;
    int maxLinks() const { return FieldLimits::links; }

    bool exists() const { return m_item.has_value(); }
    QString sectionLabel() const;
    QString addedLabel() const;
    bool isAI() const { return m_item && m_item->origin == Origin::ai; }
    QString shareStatus() const;
    bool done() const { return m_item && m_item->isDone(); }

    bool confirmingDelete() const { return m_confirmingDelete; }
    void setConfirmingDelete(bool value);
    bool sending() const { return m_sending; }
    void setSending(bool value);

    // "Revert": the fields take the item's values as the Store has them now.
    Q_INVOKABLE void reset();
    Q_INVOKABLE void addLink();
    Q_INVOKABLE void removeLink(int index);
    // Writes the edits in the background; the form turns clean as the Store applies them.
    Q_INVOKABLE void save();
    // Leaving the item: dirty edits are written, a blank title keeping the item's own, so
    // nothing typed is lost. Says whether anything was written.
    Q_INVOKABLE bool saveOnLeave();
    Q_INVOKABLE void toggle();
    // "Set a date…": the start of today.
    Q_INVOKABLE void setDateToToday();
    Q_INVOKABLE void clearDate();
    // The edited note on the clipboard, as plain text.
    Q_INVOKABLE void copyNote() const;
    // The confirmation's "Delete": the window deletes with undo.
    Q_INVOKABLE void confirmDelete();
    // The send popover reports a sent task: the list catches up in the background.
    Q_INVOKABLE void taskSent();

Q_SIGNALS:
    void itemIdChanged();
    void linksChanged();
    void sectionChanged();
    void newLabelChanged();
    void newURLChanged();
    void derivedChanged();
    void itemChanged();
    void confirmingDeleteChanged();
    void sendingChanged();
    void deleteRequested(const QString& id);

protected:
    void fieldsChanged() override { updateDerived(); }
    void storeReplaced() override;

private:
    void lookUp();
    // The item looked up afresh; the fields stay.
    void followStore();
    void setEdits(const ItemForms::ItemEdits& edits);
    void write(const ItemForms::ItemEdits& edits);
    void setLinks(QList<ItemLink> links);
    void updateDerived();

    QMetaObject::Connection m_documentConnection;
    QString m_itemId;
    std::optional<Item> m_item;
    QList<ItemLink> m_links;
    Section m_section = Section::action;
    QString m_newLabel;
    QString m_newURL;
    bool m_confirmingDelete = false;
    bool m_sending = false;
    // What the derived properties last said, so derivedChanged fires on real change only.
    QList<bool> m_derived;
};
