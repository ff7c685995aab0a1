#include "MainWindow.h"

#include "ClipboardCapture.h"
#include "DeleteUndo.h"
#include "MainScreen.h"
#include "OfflineBadge.h"
#include "Panes.h"
#include "WireFormats.h"

#include <QNetworkInformation>
#include <QPointer>

#include "DraftEditor.h"

namespace {
QDateTime now() {
    return QDateTime::currentDateTime();
}
} // namespace

MainWindow::MainWindow(Store& store, PaneRouter& router, Preferences& prefs, Clipboard& clipboard,
                       SmartAdd::Call smartInsert, QObject* parent)
    : QObject(parent)
    , m_store(store)
    , m_router(router)
    , m_prefs(prefs)
    , m_clipboard(clipboard)
    , m_smartInsert(std::move(smartInsert))
    , m_undo(UndoCenter::standardWindow)
    , m_rows(this) {
    connect(&m_store, &Store::documentChanged, this, &MainWindow::recompute);
    // A new filter or search starts the selection at the top; an item leaving the list on
    // its own hands it to its neighbour.
    connect(m_store.view(), &ViewState::changed, this, [this] { recomputeRows(false); });
    connect(&m_store, &Store::selectionChanged, this, [this] {
        // A delete clears the Store's selection before the row goes; the row it was on
        // still finds its neighbour.
        if (!m_store.selection().isEmpty())
            m_lastSelection = m_store.selection();
        Q_EMIT currentRowChanged();
        Q_EMIT paneContentChanged();
    });
    for (const auto signal :
         {&Store::lastRefreshChanged, &Store::isOfflineChanged, &Store::queuedEditsChanged,
          &Store::lastSyncedAtChanged, &Store::pendingConflictChanged})
        connect(&m_store, signal, this, [this] { refreshLabels(); });
    connect(&m_store, &Store::proposalChanged, this, &MainWindow::proposalChanged);
    connect(&m_store, &Store::limitMessageChanged, this, &MainWindow::takeLimitMessage);
    // The connected layout keeps the usage figures fresh from the moment it shows.
    connect(&m_store, &Store::hasTokenChanged, this, [this] {
        if (m_store.hasToken())
            m_store.refreshUsage();
    });
    connect(&m_router, &PaneRouter::screenChanged, this, [this] {
        if (m_router.screen())
            setPaneOpen(true);
        Q_EMIT paneContentChanged();
    });
    m_offlineProbe.setInterval(offlineProbeMs);
    connect(&m_offlineProbe, &QTimer::timeout, this, &MainWindow::retryConnection);
    connect(&m_store, &Store::isOfflineChanged, this, [this] {
        const auto* monitor = QNetworkInformation::instance();
        const bool monitored =
            monitor && monitor->supports(QNetworkInformation::Feature::Reachability);
        if (m_store.isOffline() && !monitored)
            m_offlineProbe.start();
        else
            m_offlineProbe.stop();
    });
    m_midnight.setSingleShot(true);
    connect(&m_midnight, &QTimer::timeout, this, &MainWindow::recompute);
    m_proposalStamp = m_store.proposal() ? m_store.proposal()->createdAt : std::nullopt;
    recompute();
    takeLimitMessage();
    if (m_store.hasToken())
        m_store.refreshUsage();
}

// --- the add row ---

QVariant MainWindow::newDueValue() const {
    return m_newDue ? QVariant(*m_newDue) : QVariant();
}

QString MainWindow::priorityToolTip() const {
    return MainScreen::priorityToolTip(m_newPriority);
}

void MainWindow::setNewTitle(const QString& text) {
    if (text == m_newTitle)
        return;
    m_newTitle = text;
    Q_EMIT addRowChanged();
}

void MainWindow::setNewSection(Section section) {
    if (section == m_newSection)
        return;
    m_newSection = section;
    Q_EMIT addRowChanged();
}

void MainWindow::setNewSectionText(const QString& text) {
    if (const auto section = Wire::parse<Section>(text))
        setNewSection(*section);
}

void MainWindow::setNewWho(const QString& text) {
    if (text == m_newWho)
        return;
    m_newWho = text;
    Q_EMIT addRowChanged();
}

void MainWindow::setNewDue(const std::optional<QDateTime>& due) {
    if (due == m_newDue)
        return;
    m_newDue = due;
    Q_EMIT addRowChanged();
}

void MainWindow::setNewDueValue(const QVariant& value) {
    const QDateTime at = value.toDateTime();
    setNewDue(at.isValid() ? std::optional(QDateTime(at.date(), QTime(0, 0))) : std::nullopt);
}

void MainWindow::setNewPriority(Priority priority) {
    if (priority == m_newPriority)
        return;
    m_newPriority = priority;
    Q_EMIT addRowChanged();
}

void MainWindow::cyclePriority() {
    setNewPriority(MainScreen::nextPriority(m_newPriority));
}

void MainWindow::submit() {
    // The title is held to its limit as a paste is: cut at a late blank, the rest kept as
    // the note, so a long line loses nothing.
    const auto cut = ClipboardCapture::draft(m_newTitle);
    if (!cut)
        return;
    const QString title = ItemForms::trimmed(cut->title);
    if (title.isEmpty())
        return;
    const Section section = m_newSection;
    const Priority priority = m_newPriority;
    const std::optional<QDateTime> due = m_newDue;
    const std::optional<QString> who = ItemForms::nullIfEmpty(ItemForms::trimmed(m_newWho));
    // Reset before the add is even sent, so the next task can be typed at once.
    m_newTitle.clear();
    m_newPriority = Priority::medium;
    m_newSection = Section::action;
    m_newWho.clear();
    m_newDue.reset();
    Q_EMIT addRowChanged();
    const QString localID = LocalID::make();
    m_store.add(title, cut->note, who, section, due, priority, {}, localID);
    noteAdded(localID);
}

void MainWindow::noteAdded(const QString& localID) {
    const auto item = m_store.item(localID);
    if (item && m_rows.rowOf(localID) < 0)
        m_store.announce(MainScreen::addedOutOfView(item->title, item->section));
}

// --- the pane ---

void MainWindow::setPaneOpen(bool open) {
    if (open == m_paneOpen)
        return;
    m_paneOpen = open;
    Q_EMIT paneOpenChanged();
}

QString MainWindow::detailsLabel() const {
    return MainScreen::detailsButtonLabel(m_paneOpen);
}

QString MainWindow::detailsToolTip() const {
    return MainScreen::detailsButtonToolTip(m_paneOpen);
}

QString MainWindow::paneContent() const {
    const PaneContent content = PaneContents::resolve(
        m_draftOpen, m_router.screen().has_value(), m_store.item(m_store.selection()).has_value());
    switch (content) {
    case PaneContent::draft:
        return QStringLiteral("draft");
    case PaneContent::screen:
        return QStringLiteral("screen");
    case PaneContent::item:
        return QStringLiteral("item");
    case PaneContent::placeholder:
        break;
    }
    return QStringLiteral("placeholder");
}

void MainWindow::setAiTab(const QString& tab) {
    if (tab == m_aiTab)
        return;
    m_aiTab = tab;
    Q_EMIT aiTabChanged();
}

void MainWindow::openDraft(std::optional<SmartDraft> draft, std::optional<QString> notice) {
    m_smartDraft = std::move(draft);
    m_smartNotice = std::move(notice);
    m_draftOpen = true;
    Q_EMIT draftChanged();
    Q_EMIT paneContentChanged();
    setPaneOpen(true);
}

void MainWindow::openNewTask() {
    // A form already open keeps what was typed into it.
    if (m_draftOpen && !m_smartDraft) {
        setPaneOpen(true);
        return;
    }
    openDraft(std::nullopt, std::nullopt);
    Q_EMIT draftFilled();
}

void MainWindow::closeDraft(bool added) {
    if (added && !m_smartDraft)
        setNewTitle({});
    m_draftOpen = false;
    m_smartDraft.reset();
    m_smartNotice.reset();
    Q_EMIT draftChanged();
    Q_EMIT paneContentChanged();
}

ItemForms::DraftSeed MainWindow::draftSeed() const {
    ItemForms::DraftSeed seed;
    seed.notice = m_smartNotice;
    if (!m_smartDraft) {
        // Whatever was typed into the add row carries over into the bigger form, a title
        // past its limit cut as the add row cuts it.
        const auto cut = ClipboardCapture::draft(m_newTitle);
        seed.title = cut ? cut->title : m_newTitle;
        seed.note = cut ? cut->note.value_or(QString()) : QString();
        seed.priority = m_newPriority;
        return seed;
    }
    seed.title = m_smartDraft->title;
    seed.note = m_smartDraft->details.value_or(QString());
    seed.source = m_smartDraft->who.value_or(QString());
    seed.due = m_smartDraft->due;
    seed.priority = m_smartDraft->priority;
    seed.section = m_smartDraft->section;
    seed.links = m_smartDraft->links;
    return seed;
}

void MainWindow::fillDraft(QObject* editor) const {
    if (auto* form = qobject_cast<DraftEditor*>(editor))
        form->fill(draftSeed());
}

void MainWindow::setSmartBusy(bool busy) {
    if (busy == m_smartBusy)
        return;
    m_smartBusy = busy;
    Q_EMIT smartBusyChanged();
}

void MainWindow::smartAdd() {
    if (!m_smartBusy)
        runSmartAdd();
}

QCoro::Task<> MainWindow::runSmartAdd() {
    QPointer<MainWindow> self(this);
    setSmartBusy(true);
    m_smartNotice.reset();
    Q_EMIT draftChanged();
    auto running = SmartAdd::run(m_clipboard.text(), m_smartInsert);
    const SmartAdd::Result result = co_await std::move(running);
    if (!self)
        co_return;
    // The form opens in every outcome, so the copied text is never lost.
    openDraft(result.draft, result.notice);
    Q_EMIT draftFilled();
    setSmartBusy(false);
}

void MainWindow::showScreen(const QString& screen) {
    m_router.setScreenText(screen);
}

void MainWindow::openAI() {
    if (m_store.proposal() && !m_store.proposal()->deltas.isEmpty())
        setAiTab(QStringLiteral("updates"));
    m_router.setScreen(PaneScreen::ai);
}

void MainWindow::deferProposal() {
    deferProposalAt(m_store.proposal() && m_store.proposal()->createdAt
                        ? QVariant(*m_store.proposal()->createdAt)
                        : QVariant());
}

void MainWindow::deferProposalAt(const QVariant& createdAt) {
    const QDateTime stamp = createdAt.toDateTime();
    m_deferredStamp = stamp.isValid() ? std::optional(stamp) : std::nullopt;
    m_router.setScreen(std::nullopt);
}

void MainWindow::proposalChanged() {
    const auto stamp = m_store.proposal() ? m_store.proposal()->createdAt : std::nullopt;
    refreshLabels();
    if (stamp == m_proposalStamp)
        return;
    m_proposalStamp = stamp;
    // A new proposal opens itself, unless it is the one put off with "Later".
    if (!stamp || stamp == m_deferredStamp)
        return;
    setAiTab(QStringLiteral("updates"));
    m_router.setScreen(PaneScreen::ai);
    setPaneOpen(true);
}

void MainWindow::dragSeam(double x, double width) {
    if (width <= 0)
        return;
    m_prefs.setPaneFraction(1.0 - x / width);
}

void MainWindow::resetSeam() {
    if (m_paneOpen)
        m_prefs.setPaneFraction(PaneSplit::defaultFraction);
}

double MainWindow::paneWidth(double total, double fraction) {
    return PaneSplit::paneWidth(total, fraction, 380, 340);
}

// --- the list ---

void MainWindow::recompute() {
    recomputeRows(true);
}

void MainWindow::recomputeRows(bool toNeighbour) {
    const QDateTime at = now();
    const ViewSettings& view = m_store.view()->settings();
    MainScreen::Rows rows = MainScreen::rows(m_store.visibleItems(at), view, at);
    const QString selected =
        m_store.selection().isEmpty() && toNeighbour ? m_lastSelection : m_store.selection();
    const QString selection = MainScreen::followSelection(
        selected, rows.items, toNeighbour ? m_rows.items() : QList<Item>{});
    m_dueNowLate = rows.dueNowLate;
    m_rows.setRows(std::move(rows.items), std::move(rows.placements), at);
    m_store.setSelection(selection);
    Q_EMIT currentRowChanged();
    Q_EMIT paneContentChanged();
    refreshLabels(true);
    scheduleMidnight();
}

void MainWindow::refreshLabels(bool listChanged) {
    if (listChanged) {
        const QDateTime at = now();
        m_subtitle = MainScreen::subtitle(m_store.dueCount(at), m_store.overdueCount(at));
    }
    const QVariantList labels{
        m_dueNowLate,    subtitle(),        filterSummary(),  menuFilterActive(), emptyState(),
        aiButtonLabel(), aiButtonToolTip(), refreshToolTip(), sortOrderToolTip(), hideDoneToolTip(),
        offlineText(),   hasProposal(),     keepMineLabel(),  suggestionCount(),  conflictDetail()};
    if (labels != m_shownLabels) {
        m_shownLabels = labels;
        Q_EMIT labelsChanged();
    }
    if (!listChanged)
        return;
    const QVariantList shownChips = chips();
    if (shownChips != m_shownChips) {
        m_shownChips = shownChips;
        Q_EMIT chipsChanged();
    }
}

void MainWindow::scheduleMidnight() {
    const QDateTime at = now();
    const QDateTime next(at.date().addDays(1), QTime(0, 0, 1));
    m_midnight.start(std::chrono::milliseconds(qMax<qint64>(1000, at.msecsTo(next))));
}

void MainWindow::clickChip(const QString& section) {
    const auto chip = Wire::parse<Section>(section);
    m_store.view()->setSectionFilter(
        MainScreen::chipClicked(m_store.view()->sectionFilter(), chip));
}

void MainWindow::select(int row) {
    if (row >= 0 && row < m_rows.count())
        m_store.setSelection(m_rows.items().at(row).id);
}

void MainWindow::moveSelection(int delta) {
    if (m_rows.count() == 0)
        return;
    const int row = currentRow();
    select(row < 0 ? 0 : std::clamp(row + delta, 0, m_rows.count() - 1));
}

void MainWindow::toggle(const QString& id) {
    if (const auto item = m_store.item(id))
        m_store.toggle(*item);
}

void MainWindow::toggleSelected() {
    toggle(m_store.selection());
}

void MainWindow::flag(const QString& id) {
    if (const auto item = m_store.item(id))
        m_store.setFlagged(*item, !item->flagged);
}

void MainWindow::copyTitle(const QString& id) {
    const auto item = m_store.item(id);
    if (!item)
        return;
    m_clipboard.setText(item->title);
}

void MainWindow::deleteWithUndo(const QString& id) {
    if (const auto item = m_store.item(id))
        DeleteUndo::remove(&m_store, &m_undo, *item);
}

void MainWindow::deleteSelected() {
    deleteWithUndo(m_store.selection());
}

void MainWindow::undoLast() {
    DeleteUndo::undo(&m_store, &m_undo);
}

// --- words ---

QString MainWindow::subtitle() const {
    return m_subtitle;
}

QVariantList MainWindow::chips() const {
    QVariantList out;
    const auto counts = m_store.sectionCounts(now());
    for (const MainScreen::Chip& chip : MainScreen::chips(m_store.view()->sectionFilter(), counts))
        out.append(QVariantMap{
            {QStringLiteral("title"), chip.title},
            {QStringLiteral("section"), chip.section ? Wire::string(*chip.section) : QString()},
            {QStringLiteral("count"), chip.count.value_or(-1)},
            {QStringLiteral("selected"), chip.selected},
            {QStringLiteral("toolTip"), chip.toolTip},
            {QStringLiteral("accessibleName"), chip.accessibleName},
        });
    return out;
}

QString MainWindow::filterSummary() const {
    return MainScreen::filterSummary(m_store.view()->settings());
}

bool MainWindow::menuFilterActive() const {
    return MainScreen::menuFilterActive(m_store.view()->settings());
}

QVariantMap MainWindow::emptyState() const {
    const auto state = MainScreen::emptyState(m_store.isFiltered(), m_store.view()->showAll());
    return {{QStringLiteral("title"), state.title},
            {QStringLiteral("description"), state.description},
            {QStringLiteral("button"), state.button}};
}

QString MainWindow::aiButtonLabel() const {
    return MainScreen::aiButtonLabel(m_store.proposal());
}

QString MainWindow::aiButtonToolTip() const {
    return MainScreen::aiButtonToolTip(m_store.proposal());
}

QString MainWindow::refreshToolTip() const {
    const QDateTime at = m_store.lastRefresh();
    return MainScreen::refreshToolTip(at.isValid() ? std::optional(at) : std::nullopt);
}

QString MainWindow::sortOrderToolTip() const {
    return MainScreen::sortOrderToolTip(m_store.view()->sortAscending());
}

QString MainWindow::hideDoneToolTip() const {
    return MainScreen::hideDoneToolTip(m_store.document().settings.hideDone);
}

QString MainWindow::offlineText() const {
    const QDateTime synced = m_store.lastSyncedAt();
    return OfflineBadge::text(m_store.queuedEdits(),
                              synced.isValid() ? std::optional(synced) : std::nullopt);
}

QString MainWindow::offlineToolTip() const {
    return OfflineBadge::tooltip();
}

QString MainWindow::keepMineLabel() const {
    return MainScreen::keepMineLabel(
        m_store.pendingConflict() ? m_store.pendingConflict()->queuedEdits : 0);
}

QString MainWindow::conflictDetail() const {
    const auto& conflict = m_store.pendingConflict();
    if (!conflict)
        return {};
    QStringList edits;
    for (const PendingOp& op : m_store.queue())
        edits << MainScreen::queuedEditLine(op, m_store.queuedTitle(op));
    return MainScreen::conflictDetail(edits, conflict->changesElsewhere);
}

// --- dialogs ---

void MainWindow::retryConnection() {
    if (m_store.hasToken())
        m_store.sync();
}

void MainWindow::keepMine() {
    m_store.resolveConflictKeepingMine();
}

void MainWindow::keepOnline() {
    m_store.resolveConflictKeepingOnline();
}

void MainWindow::takeLimitMessage() {
    if (m_store.limitMessage().isEmpty())
        return;
    const QString reason = m_store.takeLimitMessage();
    if (reason == m_limitReason)
        return;
    m_limitReason = reason;
    Q_EMIT limitReasonChanged();
}

void MainWindow::clearLimitReason() {
    if (m_limitReason.isEmpty())
        return;
    m_limitReason.clear();
    Q_EMIT limitReasonChanged();
}
