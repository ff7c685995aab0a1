#pragma once

#include "ItemForms.h"
#include "Store.h"

#include <QObject>
#include <QPointer>
#include <QVariant>
#include <QVariantList>

#include <optional>

// What the right pane's two forms, the item editor and the new-task form, have in common: the
// Store they write to and the fields a task is written with. Texts are held to their limits as
// they are set, and every property notifies on real change only.
class TaskFields : public QObject {
    Q_OBJECT
    Q_PROPERTY(Store* store READ store WRITE setStore NOTIFY storeChanged)
    Q_PROPERTY(QString title READ title WRITE setTitle NOTIFY titleChanged)
    Q_PROPERTY(QString note READ note WRITE setNote NOTIFY noteChanged)
    Q_PROPERTY(QString source READ source WRITE setSource NOTIFY sourceChanged)
    // null or the local start of a day.
    Q_PROPERTY(QVariant due READ due WRITE setDue NOTIFY dueChanged)
    // Wire words.
    Q_PROPERTY(QString priority READ priority WRITE setPriority NOTIFY priorityChanged)
    Q_PROPERTY(QString limitLine READ limitLine CONSTANT)
    // {value: wire word, label: "Low"…} from low to high, the order the picker reads in.
    Q_PROPERTY(QVariantList priorityChoices READ priorityChoices CONSTANT)

public:
    Store* store() const { return m_store; }
    void setStore(Store* store);
    const QString& title() const { return m_title; }
    void setTitle(const QString& text);
    const QString& note() const { return m_note; }
    void setNote(const QString& text);
    const QString& source() const { return m_source; }
    void setSource(const QString& text);
    QVariant due() const;
    void setDue(const QVariant& value);
    const std::optional<QDateTime>& dueDay() const { return m_due; }
    void setDueDay(const std::optional<QDateTime>& due);
    QString priority() const { return Wire::string(m_priority); }
    Priority priorityValue() const { return m_priority; }
    void setPriority(const QString& wire);

    bool titleLimitReached() const;
    QString limitLine() const { return ItemForms::limitReachedLine(FieldLimits::title); }
    QVariantList priorityChoices() const;

Q_SIGNALS:
    void storeChanged();
    void titleChanged();
    void noteChanged();
    void sourceChanged();
    void dueChanged();
    void priorityChanged();

protected:
    explicit TaskFields(QObject* parent = nullptr);

    // A field changed: what the form derives from them follows here.
    virtual void fieldsChanged() {}
    // Another Store, or none, after storeChanged.
    virtual void storeReplaced() {}
    // All fields but the links at once, taken as they are (no limits): each is set before any
    // signal goes out, and fieldsChanged() is left to the caller, so the derived state is looked
    // at once everything stands.
    void assignFields(const ItemForms::ItemEdits& fields);
    // Sets `field` to `text` held to `limit`, and says whether that was a change.
    static bool assignLimited(QString& field, const QString& text, int limit);
    // Links as QML lists them: {label, url}.
    static QVariantList linkMaps(const QList<ItemLink>& links);

private:
    QPointer<Store> m_store;
    QString m_title;
    QString m_note;
    QString m_source;
    std::optional<QDateTime> m_due;
    Priority m_priority = Priority::medium;
};
