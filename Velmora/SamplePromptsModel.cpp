#include "SamplePromptsModel.h"

#include "APIClient.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QPointer>

#include <algorithm>

SamplePromptsModel::SamplePromptsModel(QObject* parent)
    : QObject(parent)
    , m_prompts(APIClient::bundledSamplePrompts()) {
    m_copiedTimer.setSingleShot(true);
    m_copiedTimer.setInterval(copiedMs);
    connect(&m_copiedTimer, &QTimer::timeout, this, [this] { setCopied(false); });
}

QString SamplePromptsModel::counter() const {
    return QStringLiteral("%1 of %2").arg(m_index + 1).arg(count());
}

void SamplePromptsModel::setPrompts(const QList<RemotePrompt>& prompts) {
    if (prompts.isEmpty() || prompts == m_prompts)
        return;
    m_prompts = prompts;
    m_index = std::min(m_index, int(m_prompts.size()) - 1);
    Q_EMIT changed();
}

void SamplePromptsModel::cycle(int delta) {
    if (m_prompts.isEmpty())
        return;
    m_index = ((m_index + delta) % count() + count()) % count();
    m_copied = false;
    m_copiedTimer.stop();
    Q_EMIT changed();
}

void SamplePromptsModel::setCopied(bool copied) {
    if (copied == m_copied)
        return;
    m_copied = copied;
    Q_EMIT changed();
}

void SamplePromptsModel::copyCurrent() {
    if (!hasPrompt())
        return;
    if (auto* clipboard = QGuiApplication::clipboard())
        clipboard->setText(text());
    setCopied(true);
    m_copiedTimer.start();
}

void SamplePromptsModel::load() {
    runLoad();
}

QCoro::Task<> SamplePromptsModel::runLoad() {
    QPointer<SamplePromptsModel> self(this);
    QList<RemotePrompt> prompts;
    try {
        APIClient client(APIClient::defaultBaseURL());
        auto task = client.samplePrompts();
        prompts = co_await std::move(task);
    } catch (const std::exception&) {
        co_return;
    }
    if (self)
        self->setPrompts(prompts);
}
