#include "RulesViewModel.h"

#include <QVariantMap>
#include <QtQml>

namespace RulesScreen {

RuleLine line(const Rule& rule) {
    RuleLine out;
    out.id = rule.id;
    out.sentence = rule.sentence;
    out.author = rule.createdBy == Origin::user ? QStringLiteral("You") : QStringLiteral("Your AI");
    out.reason = rule.reason;
    const QString learned = rule.learnedFrom >= 1
                                ? QStringLiteral("Learned from %1 rejections").arg(rule.learnedFrom)
                                : QStringLiteral("Created by you");
    const QString applied = rule.applyCount >= 1
                                ? QStringLiteral("Applied %1 time%2")
                                      .arg(rule.applyCount)
                                      .arg(rule.applyCount == 1 ? QString() : QStringLiteral("s"))
                                : QStringLiteral("Never applied yet");
    out.history = learned + QStringLiteral(" · ") + applied;
    out.paused = rule.isPaused();
    return out;
}

QString pauseLabel(bool paused) {
    return paused ? QStringLiteral("Resume") : QStringLiteral("Pause");
}

QString pauseToolTip(bool paused) {
    return paused ? QStringLiteral("Start applying this rule again")
                  : QStringLiteral("Stop applying it, but keep it here");
}

} // namespace RulesScreen

int RuleRowModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : int(m_lines.size());
}

QVariant RuleRowModel::data(const QModelIndex& index, int role) const {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    const RuleLine& line = m_lines.at(index.row());
    switch (role) {
    case IdRole:
        return line.id;
    case Qt::DisplayRole:
    case SentenceRole:
        return line.sentence;
    case AuthorRole:
        return line.author;
    case ReasonRole:
        return line.reason;
    case HistoryRole:
        return line.history;
    case PausedRole:
        return line.paused;
    case PauseLabelRole:
        return RulesScreen::pauseLabel(line.paused);
    case PauseToolTipRole:
        return RulesScreen::pauseToolTip(line.paused);
    default:
        return {};
    }
}

QHash<int, QByteArray> RuleRowModel::roleNames() const {
    return {{IdRole, "ruleId"},
            {SentenceRole, "sentence"},
            {AuthorRole, "author"},
            {ReasonRole, "reason"},
            {HistoryRole, "history"},
            {PausedRole, "paused"},
            {PauseLabelRole, "pauseLabel"},
            {PauseToolTipRole, "pauseToolTip"}};
}

void RuleRowModel::setLines(QList<RuleLine> lines) {
    bool sameIds = lines.size() == m_lines.size();
    for (qsizetype i = 0; sameIds && i < lines.size(); ++i)
        sameIds = lines[i].id == m_lines[i].id;
    if (!sameIds) {
        const bool countChanges = lines.size() != m_lines.size();
        beginResetModel();
        m_lines = std::move(lines);
        endResetModel();
        if (countChanges)
            Q_EMIT countChanged();
        return;
    }
    for (qsizetype i = 0; i < lines.size(); ++i) {
        if (lines[i] == m_lines[i])
            continue;
        m_lines[i] = std::move(lines[i]);
        Q_EMIT dataChanged(index(int(i)), index(int(i)));
    }
}

RulesViewModel::RulesViewModel(QObject* parent)
    : QObject(parent) {}

void RulesViewModel::registerType() {
    static const int ids[] = {
        qmlRegisterType<RulesViewModel>("Velmora.Forms", 1, 0, "RulesViewModel"),
        qmlRegisterType<RuleComposerModel>("Velmora.Forms", 1, 0, "RuleComposerModel")};
    Q_UNUSED(ids)
}

void RulesViewModel::setStore(Store* store) {
    if (m_store == store)
        return;
    QObject::disconnect(m_documentConnection);
    m_store = store;
    if (store)
        m_documentConnection =
            connect(store, &Store::documentChanged, this, &RulesViewModel::update);
    Q_EMIT storeChanged();
    update();
}

void RulesViewModel::update() {
    QList<RuleLine> lines;
    if (m_store)
        for (const Rule& rule : m_store->rules())
            lines.append(RulesScreen::line(rule));
    m_rules.setLines(std::move(lines));
    // A rule that went away meanwhile has nothing left to confirm.
    if (!m_confirmingDelete.isEmpty() && !rule(m_confirmingDelete))
        setConfirmingDelete({});
}

std::optional<Rule> RulesViewModel::rule(const QString& id) const {
    if (m_store)
        for (const Rule& rule : m_store->rules())
            if (rule.id == id)
                return rule;
    return std::nullopt;
}

void RulesViewModel::setAdding(bool adding) {
    if (m_adding == adding)
        return;
    m_adding = adding;
    Q_EMIT addingChanged();
}

void RulesViewModel::setConfirmingDelete(const QString& id) {
    if (m_confirmingDelete == id)
        return;
    m_confirmingDelete = id;
    Q_EMIT confirmingDeleteChanged();
}

void RulesViewModel::togglePause(const QString& id) {
    if (const auto found = rule(id))
        m_store->setRulePaused(*found, !found->isPaused());
}

void RulesViewModel::requestDelete(const QString& id) {
    if (rule(id))
        setConfirmingDelete(id);
}

void RulesViewModel::confirmDelete() {
    const auto found = rule(m_confirmingDelete);
    setConfirmingDelete({});
    if (found)
        m_store->deleteRule(*found);
}

void RulesViewModel::cancelDelete() {
    setConfirmingDelete({});
}

RuleComposerModel::RuleComposerModel(QObject* parent)
    : QObject(parent) {}

void RuleComposerModel::setStore(Store* store) {
    if (m_store == store)
        return;
    m_store = store;
    Q_EMIT storeChanged();
}

void RuleComposerModel::change(const std::function<void(RuleComposer&)>& edit) {
    RuleComposer form = m_form;
    edit(form);
    if (form == m_form)
        return;
    m_form = std::move(form);
    Q_EMIT formChanged();
}

void RuleComposerModel::setAction(const QString& text) {
    if (const auto value = Wire::parse<RuleAction>(text))
        change([&](RuleComposer& f) { f.action = *value; });
}

void RuleComposerModel::setTarget(const QString& text) {
    if (const auto value = Wire::parse<Section>(text))
        change([&](RuleComposer& f) { f.target = *value; });
}

void RuleComposerModel::setField(const QString& text) {
    if (const auto value = Wire::parse<RuleField>(text))
        change([&](RuleComposer& f) { f.field = *value; });
}

void RuleComposerModel::setOp(const QString& text) {
    if (const auto value = Wire::parse<RuleOp>(text))
        change([&](RuleComposer& f) { f.op = *value; });
}

void RuleComposerModel::setValue(const QString& text) {
    change([&](RuleComposer& f) { f.value = text; });
}

void RuleComposerModel::setReason(const QString& text) {
    change([&](RuleComposer& f) { f.reason = text; });
}

namespace {
template <typename E>
QVariantList choiceList(const QList<QPair<E, QString>>& choices) {
    QVariantList out;
    for (const auto& [value, label] : choices)
        out.append(QVariantMap{{QStringLiteral("value"), Wire::string(value)},
                               {QStringLiteral("label"), label}});
    return out;
}
} // namespace

QVariantList RuleComposerModel::actionChoices() const {
    return choiceList(RuleComposer::actionChoices());
}

QVariantList RuleComposerModel::targetChoices() const {
    return choiceList(RuleComposer::targetChoices());
}

QVariantList RuleComposerModel::fieldChoices() const {
    return choiceList(RuleComposer::fieldChoices());
}

QVariantList RuleComposerModel::opChoices() const {
    return choiceList(RuleComposer::opChoices());
}

void RuleComposerModel::create() {
    if (m_store && m_form.canCreate())
        runCreate();
}

QCoro::Task<> RuleComposerModel::runCreate() {
    if (!m_store || !m_form.canCreate())
        co_return;
    change([](RuleComposer& f) { f.begin(); });
    const RuleRequest request = m_form.request();
    QPointer<RuleComposerModel> self(this);
    QPointer<Store> store = m_store;
    auto call = store->createRule(request.action, request.field, request.op, request.value,
                                  request.target, request.reason);
    const bool made = co_await std::move(call);
    if (!self)
        co_return;
    const QString words = store ? store->lastError() : QString();
    change([&](RuleComposer& f) { f.finish(made, words); });
    if (made)
        Q_EMIT created();
}
