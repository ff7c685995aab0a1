#pragma once

#include "ItemForms.h"
#include "Store.h"

#include <QObject>
#include <QPointer>
#include <QVariant>
#include <QVariantList>

// The right pane's new-task form. It starts from the add row's text or from a Smart Add
// draft; the draft's links come along as they are and can't be edited before the item
// exists. "Add" stays on the form when the Store refuses, so nothing typed is lost.
class DraftEditor : public QObject {
    Q_OBJECT
    Q_PROPERTY(Store* store READ store WRITE setStore NOTIFY storeChanged)
    Q_PROPERTY(QString title READ title WRITE setTitle NOTIFY titleChanged)
    Q_PROPERTY(QString note READ note WRITE setNote NOTIFY noteChanged)
    Q_PROPERTY(QString source READ source WRITE setSource NOTIFY sourceChanged)
    // null or the local start of a day.
    Q_PROPERTY(QVariant due READ due WRITE setDue NOTIFY dueChanged)
    // Wire words.
    Q_PROPERTY(QString priority READ priority WRITE setPriority NOTIFY priorityChanged)
    Q_PROPERTY(QString section READ section WRITE setSection NOTIFY sectionChanged)
    // Fixed for the life of the form: set by fill() only.
    Q_PROPERTY(QVariantList links READ links NOTIFY filled)
    Q_PROPERTY(QString linksLine READ linksLine NOTIFY filled)
    Q_PROPERTY(QString notice READ notice NOTIFY filled)
    Q_PROPERTY(bool adding READ adding NOTIFY addingChanged)
    Q_PROPERTY(bool canAdd READ canAdd NOTIFY canAddChanged)
    Q_PROPERTY(bool titleLimitReached READ titleLimitReached NOTIFY titleChanged)
    Q_PROPERTY(QString limitLine READ limitLine CONSTANT)
    Q_PROPERTY(QVariantList priorityChoices READ priorityChoices CONSTANT)
    Q_PROPERTY(QVariantList sectionChoices READ sectionChoices CONSTANT)

public:
    explicit DraftEditor(QObject* parent = nullptr);
    // Makes the type known to QML as Velmora.Forms 1.0 DraftEditor; once is enough.
    static void registerType();

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
    void setDueDay(const std::optional<QDateTime>& due);
    QString priority() const { return Wire::string(m_priority); }
    void setPriority(const QString& wire);
    QString section() const { return Wire::string(m_section); }
    void setSection(const QString& wire);
    QVariantList links() const;
    const QList<ItemLink>& linkList() const { return m_links; }
    QString linksLine() const { return ItemForms::linksAttachedLine(m_links); }
    QString notice() const { return m_notice.value_or(QString()); }
    bool adding() const { return m_adding; }
    bool canAdd() const;
    bool titleLimitReached() const;
    QString limitLine() const { return ItemForms::limitReachedLine(FieldLimits::title); }
    QVariantList priorityChoices() const;
    QVariantList sectionChoices() const;

    // The form rebuilt from a new start; texts are held to their limits.
    void fill(const ItemForms::DraftSeed& seed);
    // "Add": the trimmed title and the rest go to the Store in the background; `done` follows
    // when it took.
    Q_INVOKABLE void add();
    Q_INVOKABLE void cancel();

Q_SIGNALS:
    void storeChanged();
    void titleChanged();
    void noteChanged();
    void sourceChanged();
    void dueChanged();
    void priorityChanged();
    void sectionChanged();
    void filled();
    void addingChanged();
    void canAddChanged();
    void done();
    void cancelled();

private:
    QCoro::Task<> run(QString title);
    void setAdding(bool value);
    void updateCanAdd();

    QPointer<Store> m_store;
    QString m_title;
    QString m_note;
    QString m_source;
    std::optional<QDateTime> m_due;
    Priority m_priority = Priority::medium;
    Section m_section = Section::action;
    QList<ItemLink> m_links;
    std::optional<QString> m_notice;
    bool m_adding = false;
    bool m_canAdd = false;
};
