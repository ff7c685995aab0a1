#include "BriefingPanelModel.h"

#include "BriefingAction.h"
#include "BriefingHelp.h"
#include "DueLabel.h"
#include "Focus.h"
#include "Preferences.h"
#include "WireFormats.h"

#include <QLocale>
#include <QQmlEngine>

namespace BriefingPanelWords {

QString summary(const Briefing& briefing) {
    if (!briefing.body)
        return QStringLiteral("Couldn't be read");
    const qsizetype findings = briefing.body->findingCount();
    return QString::number(findings) + QStringLiteral(" finding") +
           (findings == 1 ? QString() : QStringLiteral("s")) + QStringLiteral(" · ") +
           QString::number(briefing.body->observations.size()) + QStringLiteral(" observations");
}

QString dayWord(const QString& localDay, const QDate& today) {
    const QDate day = QDate::fromString(localDay, QStringLiteral("yyyy-MM-dd"));
    if (!day.isValid() || localDay.size() != 10)
        return localDay;
    if (day == today)
        return QStringLiteral("Today");
    if (day == today.addDays(-1))
        return QStringLiteral("Yesterday");
    return DueLabel::shortDate(day, QLocale());
}

QString stamp(const QDateTime& createdAt, const QDateTime& now) {
    const QDateTime local = createdAt.toLocalTime();
    const QDate today = now.toLocalTime().date();
    const QString time = QLocale().toString(local.time(), QLocale::ShortFormat);
    if (local.date() == today)
        return QStringLiteral("Today at ") + time;
    if (local.date() == today.addDays(-1))
        return QStringLiteral("Yesterday at ") + time;
    return QLocale().toString(local.date(), QStringLiteral("ddd d MMM")) + QStringLiteral(" at ") +
           time;
}

QString readLine(const std::optional<qint64>& itemsSent) {
    if (!itemsSent)
        return {};
    return QStringLiteral("Read ") + QString::number(*itemsSent) + QStringLiteral(" open task") +
           (*itemsSent == 1 ? QString() : QStringLiteral("s")) + QLatin1Char('.');
}

bool dealtWith(const BriefingBody& body, const QHash<QString, QString>& answered) {
    for (BriefingKind kind : {BriefingKind::critical, BriefingKind::chase, BriefingKind::drop})
        for (const BriefingFinding& finding : body.findings(kind))
            if (!BriefingAction::isAnswered(
                    answered.contains(BriefingAction::answerKey(kind, finding.itemId)),
                    finding.disposition))
                return false;
    for (const BriefingObservation& observation : body.observations)
        if (!BriefingAction::isAnswered(answered.contains(BriefingAction::answerKey(
                                            BriefingKind::observation, observation.slug)),
                                        observation.disposition))
            return false;
    return true;
}

} // namespace BriefingPanelWords

namespace {

constexpr BriefingKind findingKinds[] = {BriefingKind::critical, BriefingKind::chase,
                                         BriefingKind::drop};

QVariantMap button(const char16_t* label, const char16_t* disposition) {
    return {{QStringLiteral("label"), QString::fromUtf16(label)},
            {QStringLiteral("disposition"), QString::fromUtf16(disposition)}};
}

QVariantList buttons(BriefingKind kind) {
    using namespace BriefingHelp;
    const QVariantMap ignore = button(Labels::ignore, Dispositions::ignore);
    switch (kind) {
    case BriefingKind::critical:
        return {button(Labels::doToday, Dispositions::doToday), ignore};
    case BriefingKind::chase:
        return {button(Labels::chase, Dispositions::chase),
                button(Labels::escalate, Dispositions::escalate), ignore};
    case BriefingKind::drop:
        return {button(Labels::drop, Dispositions::drop), ignore};
    case BriefingKind::observation:
        break;
    }
    return {button(Labels::gotIt, Dispositions::gotIt),
            button(Labels::stopTelling, Dispositions::stopTelling)};
}

const QString goneTitle = QStringLiteral("(this task is gone)");

} // namespace

BriefingPanelModel::BriefingPanelModel(QObject* parent)
    : QObject(parent) {}

void BriefingPanelModel::registerType() {
    qmlRegisterType<BriefingPanelModel>("Velmora.AI", 1, 0, "BriefingPanelModel");
}

void BriefingPanelModel::setStore(Store* store) {
    if (m_store == store)
        return;
    QObject::disconnect(m_tokenConnection);
    QObject::disconnect(m_documentConnection);
    m_store = store;
    if (store) {
        m_tokenConnection =
            connect(store, &Store::hasTokenChanged, this, &BriefingPanelModel::load);
        // Titles, done marks and gone tasks follow the list.
        m_documentConnection =
            connect(store, &Store::documentChanged, this, &BriefingPanelModel::changed);
    }
    Q_EMIT storeChanged();
    load();
}

void BriefingPanelModel::setUndo(UndoCenter* undo) {
    if (m_undo == undo)
        return;
    m_undo = undo;
    Q_EMIT storeChanged();
}

void BriefingPanelModel::setPrefs(Preferences* prefs) {
    if (m_prefs == prefs)
        return;
    m_prefs = prefs;
    if (prefs)
        connect(prefs, &Preferences::briefingHelpHintDoneChanged, this,
                &BriefingPanelModel::changed);
    Q_EMIT storeChanged();
    Q_EMIT changed();
}

QString BriefingPanelModel::mode() const {
    switch (m_mode) {
    case Mode::latest:
        break;
    case Mode::history:
        return QStringLiteral("history");
    case Mode::past:
        return QStringLiteral("past");
    }
    return QStringLiteral("latest");
}

QString BriefingPanelModel::stamp() const {
    return m_briefing
               ? BriefingPanelWords::stamp(m_briefing->createdAt, QDateTime::currentDateTime())
               : QString();
}

QString BriefingPanelModel::readLine() const {
    return m_briefing ? BriefingPanelWords::readLine(m_briefing->itemsSent) : QString();
}

QString BriefingPanelModel::state() const {
    if (m_briefing && m_briefing->body && !m_briefing->body->isEmpty())
        return BriefingPanelWords::dealtWith(*m_briefing->body, m_answered)
                   ? QStringLiteral("dealt")
                   : QStringLiteral("cards");
    if (m_loading && !m_briefing)
        return QStringLiteral("loading");
    if (m_loading)
        return {};
    // Read at display time, to see the all-clear state without data.
    if (!m_briefing && qEnvironmentVariable("VL_DEBUG_BRIEFING") != u"clear")
        return QStringLiteral("none");
    return QStringLiteral("clear");
}

bool BriefingPanelModel::showHint() const {
    const QString shown = state();
    return m_helpHint && (shown == u"cards" || shown == u"dealt") &&
           !(m_prefs && m_prefs->briefingHelpHintDone());
}

QVariantList BriefingPanelModel::sections() const {
    QVariantList out;
    if (!m_store || !m_briefing || !m_briefing->body)
        return out;
    const QDateTime now = QDateTime::currentDateTime();
    for (BriefingKind kind : findingKinds) {
        QVariantList cards;
        for (const BriefingFinding& finding : m_briefing->body->findings(kind)) {
            const auto item = m_store->item(finding.itemId);
            if (!item || BriefingAction::isAnswered(
                             m_answered.contains(BriefingAction::answerKey(kind, finding.itemId)),
                             finding.disposition))
                continue;
            cards.append(QVariantMap{
                {QStringLiteral("target"), item->id},
                {QStringLiteral("title"), item->title},
                {QStringLiteral("why"), finding.why},
                {QStringLiteral("source"), item->source.value_or(QString())},
                {QStringLiteral("due"), DueLabel::of(*item, now).value_or(QString())},
                {QStringLiteral("overdue"), item->isOverdue(now)},
                {QStringLiteral("high"), item->priority == Priority::high},
                {QStringLiteral("focused"), FocusMatch::isFocused(*item, m_store->focus())},
                {QStringLiteral("buttons"), buttons(kind)}});
        }
        if (!cards.isEmpty())
            out.append(
                QVariantMap{{QStringLiteral("kind"), BriefingKinds::text(kind)},
                            {QStringLiteral("title"),
                             BriefingHelp::sectionTitle(BriefingKinds::text(kind)).toUpper()},
                            {QStringLiteral("cards"), cards}});
    }
    return out;
}

QVariantList BriefingPanelModel::observations() const {
    QVariantList out;
    if (!m_store || !m_briefing || !m_briefing->body)
        return out;
    for (const BriefingObservation& observation : m_briefing->body->observations) {
        if (BriefingAction::isAnswered(m_answered.contains(BriefingAction::answerKey(
                                           BriefingKind::observation, observation.slug)),
                                       observation.disposition))
            continue;
        const bool expanded = m_expanded.contains(observation.slug);
        QVariantList tasks;
        if (expanded)
            for (const QString& id : observation.itemIds)
                if (const auto item = m_store->item(id))
                    tasks.append(QVariantMap{{QStringLiteral("id"), id},
                                             {QStringLiteral("title"), item->title}});
        const qsizetype count = observation.itemIds.size();
        out.append(QVariantMap{{QStringLiteral("slug"), observation.slug},
                               {QStringLiteral("text"), observation.text},
                               {QStringLiteral("toggle"),
                                count == 0   ? QString()
                                : count == 1 ? QStringLiteral("Show this task")
                                             : QString::number(count) + QStringLiteral(" tasks")},
                               {QStringLiteral("expanded"), expanded},
                               {QStringLiteral("tasks"), tasks},
                               {QStringLiteral("buttons"), buttons(BriefingKind::observation)}});
    }
    return out;
}

QVariantList BriefingPanelModel::recordSections(const BriefingBody& body, bool local,
                                                bool withWhy) const {
    QVariantList out;
    auto disposition = [&](BriefingKind kind, const QString& target,
                           const std::optional<QString>& server) -> std::optional<QString> {
        const auto here = m_answered.constFind(BriefingAction::answerKey(kind, target));
        return local && here != m_answered.cend() ? std::optional(*here) : server;
    };
    for (BriefingKind kind : findingKinds) {
        QVariantList rows;
        for (const BriefingFinding& finding : body.findings(kind)) {
            const auto item = m_store ? m_store->item(finding.itemId) : std::nullopt;
            rows.append(
                QVariantMap{{QStringLiteral("title"), item ? item->title : goneTitle},
                            {QStringLiteral("why"), withWhy ? finding.why : QString()},
                            {QStringLiteral("line"),
                             BriefingAction::recordLine(
                                 disposition(kind, finding.itemId, finding.disposition), item)}});
        }
        if (!rows.isEmpty())
            out.append(
                QVariantMap{{QStringLiteral("title"),
                             BriefingHelp::sectionTitle(BriefingKinds::text(kind)).toUpper()},
                            {QStringLiteral("rows"), rows}});
    }
    QVariantList rows;
    for (const BriefingObservation& observation : body.observations)
        rows.append(QVariantMap{
            {QStringLiteral("title"), observation.text},
            {QStringLiteral("why"), QString()},
            {QStringLiteral("line"),
             BriefingAction::recordLine(
                 disposition(BriefingKind::observation, observation.slug, observation.disposition),
                 std::nullopt)}});
    if (!rows.isEmpty())
        out.append(QVariantMap{
            {QStringLiteral("title"), BriefingHelp::sectionTitle(QStringLiteral("observation"))},
            {QStringLiteral("rows"), rows}});
    return out;
}

QVariantList BriefingPanelModel::records() const {
    if (state() != u"dealt")
        return {};
    return recordSections(*m_briefing->body, true, false);
}

QVariantList BriefingPanelModel::historyRows() const {
    QVariantList out;
    const QDate today = QDate::currentDate();
    for (qsizetype i = 0; i < m_history.size(); ++i)
        out.append(QVariantMap{
            {QStringLiteral("index"), int(i)},
            {QStringLiteral("day"), BriefingPanelWords::dayWord(m_history[i].localDay, today)},
            {QStringLiteral("summary"), BriefingPanelWords::summary(m_history[i])}});
    return out;
}

QVariantMap BriefingPanelModel::past() const {
    if (!m_past)
        return {};
    const QString state = !m_past->body             ? QStringLiteral("unreadable")
                          : m_past->body->isEmpty() ? QStringLiteral("clear")
                                                    : QStringLiteral("records");
    return {{QStringLiteral("stamp"),
             BriefingPanelWords::stamp(m_past->createdAt, QDateTime::currentDateTime())},
            {QStringLiteral("state"), state},
            {QStringLiteral("sections"),
             m_past->body ? recordSections(*m_past->body, false, true) : QVariantList()}};
}

void BriefingPanelModel::load() {
    runLoad();
}

QCoro::Task<> BriefingPanelModel::runLoad() {
    if (!m_store || !m_store->hasToken())
        co_return;
    QPointer<BriefingPanelModel> self(this);
    m_loading = true;
    m_loadFailed = false;
    Q_EMIT changed();
    const std::unique_ptr<APIClient> client = m_store->freshClient();
    try {
        auto task = client->briefingRead();
        const BriefingRead read = co_await std::move(task);
        if (!self)
            co_return;
        m_briefing = read.briefing;
        m_helpHint = read.helpHint;
        m_loading = false;
        Q_EMIT changed();
        // Opening the panel is what counts as reading. The Store may not have heard of a
        // briefing that landed since it last looked, so it looks first.
        if (read.unread && m_store && !m_store->briefingUnread()) {
            auto refresh = m_store->refreshLatestBriefing();
            co_await std::move(refresh);
        }
        if (self && m_store) {
            auto seen = m_store->markBriefingSeen();
            co_await std::move(seen);
        }
    } catch (...) {
        if (!self)
            co_return;
        m_loading = false;
        m_loadFailed = true;
        Q_EMIT changed();
    }
}

void BriefingPanelModel::run() {
    runBriefing();
}

QCoro::Task<> BriefingPanelModel::runBriefing() {
    if (!m_store || m_running)
        co_return;
    QPointer<BriefingPanelModel> self(this);
    m_running = true;
    m_notice.clear();
    Q_EMIT changed();
    const std::unique_ptr<APIClient> client = m_store->freshClient();
    QString notice;
    try {
        auto task = client->runBriefing();
        co_await std::move(task);
        notice = QStringLiteral("Reading your list. It takes about half a minute — you can "
                                "close this and come back.");
    } catch (const BriefingRefused& refused) {
        notice = refused.message();
    } catch (...) {
        notice = QStringLiteral("That didn't work. Try again in a moment.");
    }
    if (!self)
        co_return;
    m_notice = notice;
    m_running = false;
    Q_EMIT changed();
}

void BriefingPanelModel::showHistory() {
    m_mode = Mode::history;
    Q_EMIT changed();
    runLoadHistory();
}

void BriefingPanelModel::showLatest() {
    m_mode = Mode::latest;
    Q_EMIT changed();
}

void BriefingPanelModel::openPast(int index) {
    if (index < 0 || index >= m_history.size())
        return;
    m_past = m_history[index];
    m_mode = Mode::past;
    Q_EMIT changed();
}

QCoro::Task<> BriefingPanelModel::runLoadHistory() {
    if (!m_store)
        co_return;
    QPointer<BriefingPanelModel> self(this);
    m_historyFailed = false;
    Q_EMIT changed();
    const std::unique_ptr<APIClient> client = m_store->freshClient();
    try {
        auto task = client->briefingHistory();
        QList<Briefing> history = co_await std::move(task);
        if (!self)
            co_return;
        m_history = std::move(history);
    } catch (...) {
        if (!self)
            co_return;
        m_historyFailed = true; // the former list stays
    }
    Q_EMIT changed();
}

void BriefingPanelModel::press(const QString& kind, const QString& target,
                               const QString& disposition) {
    if (const auto parsed = BriefingKinds::parse(kind))
        act(*parsed, target, disposition);
}

QCoro::Task<> BriefingPanelModel::act(BriefingKind kind, QString target, QString disposition) {
    if (!m_store)
        co_return;
    namespace D = BriefingHelp::Dispositions;
    if (kind == BriefingKind::observation) {
        if (disposition == QStringView(D::gotIt) || disposition == QStringView(D::stopTelling)) {
            auto task = finish(kind, target, disposition);
            co_await std::move(task);
        }
        co_return;
    }
    const auto item = m_store->item(target);
    if (!item)
        co_return;
    // The card leaves at once; the Store reports how its edit fared on its own.
    if (kind == BriefingKind::critical && disposition == QStringView(D::doToday)) {
        m_store->setFlagged(*item, BriefingAction::flagValue);
    } else if (kind == BriefingKind::chase && disposition == QStringView(D::chase)) {
        m_store->update(*item, item->title, item->note, item->source,
                        BriefingAction::chaseDue(QDateTime::currentDateTime()), item->priority,
                        item->links);
    } else if (kind == BriefingKind::chase && disposition == QStringView(D::escalate)) {
        m_store->add(BriefingAction::escalationTitle(*item), std::nullopt, item->source,
                     BriefingAction::escalationSection,
                     BriefingAction::chaseDue(QDateTime::currentDateTime()), item->priority, {},
                     LocalID::make());
    } else if (kind == BriefingKind::drop && disposition == QStringView(D::drop)) {
        m_store->deleteItem(*item);
        if (m_undo) {
            // The revert only forwards: a coroutine lambda's captures die with the lambda.
            QPointer<BriefingPanelModel> self(this);
            QPointer<Store> store(m_store);
            const QString id = item->id;
            m_undo->propose(BriefingAction::Receipt::dropped(item->title),
                            [self, store, id] { return undoDrop(self, store, id); });
        }
    } else if (disposition != QStringView(D::ignore)) {
        co_return; // no such button on this card
    }
    auto task = finish(kind, target, disposition);
    co_await std::move(task);
}

QCoro::Task<> BriefingPanelModel::undoDrop(QPointer<BriefingPanelModel> self, QPointer<Store> store,
                                           QString id) {
    if (store) {
        auto restore = store->undoDelete(id);
        co_await std::move(restore);
    }
    if (self) {
        auto task = self->revive(BriefingKind::drop, id);
        co_await std::move(task);
    }
}

std::optional<QString> BriefingPanelModel::briefingId() const {
    return m_briefing ? std::optional(m_briefing->id) : std::nullopt;
}

QCoro::Task<> BriefingPanelModel::finish(BriefingKind kind, QString target, QString disposition) {
    m_answered.insert(BriefingAction::answerKey(kind, target), disposition);
    Q_EMIT changed();
    if (!m_store)
        co_return;
    const std::unique_ptr<APIClient> client = m_store->freshClient();
    try {
        auto task = client->dismissFinding(target, kind, disposition, briefingId());
        co_await std::move(task);
    } catch (...) {
        // The card stays answered here; the next briefing may raise it again.
    }
}

QCoro::Task<> BriefingPanelModel::revive(BriefingKind kind, QString target) {
    m_answered.remove(BriefingAction::answerKey(kind, target));
    Q_EMIT changed();
    if (!m_store)
        co_return;
    const std::unique_ptr<APIClient> client = m_store->freshClient();
    try {
        auto task = client->undismissFinding(target, BriefingKinds::text(kind), briefingId());
        co_await std::move(task);
    } catch (...) {
    }
}

void BriefingPanelModel::toggleObservation(const QString& slug) {
    if (!m_expanded.remove(slug))
        m_expanded.insert(slug);
    Q_EMIT changed();
}

void BriefingPanelModel::showTask(const QString& id) {
    if (m_store)
        m_store->setSelection(id);
}

void BriefingPanelModel::dismissHint() {
    if (m_prefs)
        m_prefs->setBriefingHelpHintDone(true);
}
