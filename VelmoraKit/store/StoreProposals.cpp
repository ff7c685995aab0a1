// The Store's proposal review and standing rules.

#include "Store.h"

#include "ProposalReview.h"
#include "StoreDetail_p.h"
#include "WireFormats.h"

using namespace StoreDetail;

QCoro::Task<> Store::refreshProposal() {
    if (m_isOffline)
        co_return;
    QPointer<Store> self(this);
    try {
        auto task = m_client->loadProposal();
        const std::optional<Proposal> loaded = co_await std::move(task);
        if (self)
            setProposal(loaded);
    } catch (...) {
        // Discarded on purpose: the proposal already held stays on show.
    }
}

QCoro::Task<bool> Store::resolveProposal(QList<ProposalDelta> accepted,
                                         QList<ProposalDelta> rejected) {
    const QString needsConnection = QStringLiteral("Reviewing suggestions needs the connection.");
    if (!canReview()) {
        setLastError(needsConnection);
        co_return false;
    }
    if (!m_proposal || !m_proposal->createdAtRaw) {
        setLastError(QStringLiteral("These suggestions are no longer pending."));
        co_return false;
    }
    const ResolveArguments args = ProposalReview::resolveArguments(accepted, rejected);
    QPointer<Store> self(this);
    std::exception_ptr error;
    try {
        // The server applies what was accepted; the list changes with the reload below.
        auto resolve = m_client->resolveProposal(*m_proposal->createdAtRaw, args.accepted,
                                                 args.rejected, args.titleEdits);
        co_await std::move(resolve);
        if (!self)
            co_return false;
        setProposal(std::nullopt);
        auto load = m_client->loadForSync();
        const LoadResult loaded = co_await std::move(load);
        if (!self)
            co_return false;
        adopt(loaded);
    } catch (...) {
        error = std::current_exception();
    }
    if (!self)
        co_return false;
    if (error) {
        if (Sync::isUnreachable(error)) {
            setOffline(true);
            setLastError(needsConnection);
        } else if (const auto api = asAPIError(error);
                   api && api->kind() == APIError::Kind::server) {
            setLastError(Sync::limitText(api->body()));
        } else {
            setLastError(describe(error));
        }
        co_return false;
    }
    // A further proposal may already wait.
    auto next = refreshProposal();
    co_await std::move(next);
    co_return true;
}

// --- rules ---

QCoro::Task<bool> Store::createRule(RuleAction action, RuleField field, RuleOp op, QString value,
                                    std::optional<Section> target, QString reason) {
    QPointer<Store> self(this);
    try {
        auto task = m_client->createRule(action, field, op, value, target, reason);
        const WireRule wire = co_await std::move(task);
        if (!self)
            co_return false;
        Document document = m_document;
        document.rules.append(WireMapping::rule(wire));
        setDocument(std::move(document));
        co_return true;
    } catch (...) {
        if (!self)
            co_return false;
        const auto error = std::current_exception();
        const auto api = asAPIError(error);
        setLastError(api && api->kind() == APIError::Kind::server ? Sync::limitText(api->body())
                                                                  : describe(error));
        co_return false;
    }
}

qsizetype Store::ruleIndex(const QString& id) const {
    const auto it = std::find_if(m_document.rules.cbegin(), m_document.rules.cend(),
                                 [&](const Rule& r) { return r.id == id; });
    return it - m_document.rules.cbegin();
}

QCoro::Task<> Store::setRulePaused(Rule rule, bool paused) {
    const qsizetype index = ruleIndex(rule.id);
    if (index >= m_document.rules.size())
        co_return;
    const RuleStatus before = m_document.rules.at(index).status;
    Document document = m_document;
    document.rules[index].status = paused ? RuleStatus::paused : RuleStatus::active;
    setDocument(std::move(document));

    auto sent = m_client->setRulePaused(rule.id, paused);
    auto task = finishRuleChange(std::move(sent), [this, id = rule.id, before] {
        // A refresh may have replaced the list meanwhile: look the rule up again.
        const qsizetype now = ruleIndex(id);
        if (now >= m_document.rules.size())
            return;
        Document restored = m_document;
        restored.rules[now].status = before;
        setDocument(std::move(restored));
    });
    co_await std::move(task);
}

QCoro::Task<> Store::deleteRule(Rule rule) {
    const qsizetype index = ruleIndex(rule.id);
    if (index >= m_document.rules.size())
        co_return;
    const Rule removed = m_document.rules.at(index);
    Document document = m_document;
    document.rules.removeAt(index);
    setDocument(std::move(document));

    auto sent = m_client->deleteRule(rule.id);
    auto task = finishRuleChange(std::move(sent), [this, removed, index] {
        if (ruleIndex(removed.id) < m_document.rules.size())
            return;
        Document restored = m_document;
        restored.rules.insert(std::min(index, restored.rules.size()), removed);
        setDocument(std::move(restored));
    });
    co_await std::move(task);
}

QCoro::Task<> Store::finishRuleChange(QCoro::Task<> sent, std::function<void()> putBack) {
    QPointer<Store> self(this);
    std::exception_ptr error;
    try {
        co_await std::move(sent);
    } catch (...) {
        error = std::current_exception();
    }
    if (!self)
        co_return;
    if (!error) {
        auto refreshed = refreshAfterRuleChange();
        co_await std::move(refreshed);
        co_return;
    }
    putBack();
    setLastError(describe(error));
}

QCoro::Task<> Store::refreshAfterRuleChange() {
    if (!m_hasToken)
        co_return;
    // refresh() waits for a job already in flight before running its own.
    auto task = refresh(false);
    co_await std::move(task);
}
