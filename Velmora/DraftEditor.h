#pragma once

#include "TaskFields.h"

// The right pane's new-task form. It starts from the add row's text or from a Smart Add
// draft; the draft's links come along as they are and can't be edited before the item
// exists. "Add" stays on the form when the Store refuses, so nothing typed is lost.
class DraftEditor : public TaskFields {
    Q_OBJECT
    // Wire words.
    Q_PROPERTY(QString section READ section WRITE setSection NOTIFY sectionChanged)
    // Fixed for the life of the form: set by fill() only.
    Q_PROPERTY(QVariantList links READ links NOTIFY filled)
    Q_PROPERTY(QString linksLine READ linksLine NOTIFY filled)
    Q_PROPERTY(QString notice READ notice NOTIFY filled)
    Q_PROPERTY(bool adding READ adding NOTIFY addingChanged)
    Q_PROPERTY(bool canAdd READ canAdd NOTIFY canAddChanged)
    Q_PROPERTY(bool titleLimitReached READ titleLimitReached NOTIFY titleChanged)
    Q_PROPERTY(QVariantList sectionChoices READ sectionChoices CONSTANT)

public:
    explicit DraftEditor(QObject* parent = nullptr);
    // Makes the type known to QML as Velmora.Forms 1.0 DraftEditor; once is enough.
    static void registerType();

    QString section() const { return Wire::string(m_section); }
    void setSection(const QString& wire);
    QVariantList links() const { return linkMaps(m_links); }
    const QList<ItemLink>& linkList() const { return m_links; }
    QString linksLine() const { return ItemForms::linksAttachedLine(m_links); }
    QString notice() const { return m_notice.value_or(QString()); }
    bool adding() const { return m_adding; }
    bool canAdd() const;
    QVariantList sectionChoices() const;

    // The form rebuilt from a new start; texts are held to their limits.
    void fill(const ItemForms::DraftSeed& seed);
    // "Add": the trimmed title and the rest go to the Store in the background; `done` follows
    // when it took.
    Q_INVOKABLE void add();
    Q_INVOKABLE void cancel();

Q_SIGNALS:
    void sectionChanged();
    void filled();
    void addingChanged();
    void canAddChanged();
    void done();
    void cancelled();
    // The task stands in the list under `localID`, before the server has answered.
    void added(const QString& localID);

protected:
    void fieldsChanged() override { updateCanAdd(); }
    void storeReplaced() override { updateCanAdd(); }

private:
    QCoro::Task<> run(QString title);
    void setAdding(bool value);
    void updateCanAdd();

    Section m_section = Section::action;
    QList<ItemLink> m_links;
    std::optional<QString> m_notice;
    bool m_adding = false;
    bool m_canAdd = false;
};
