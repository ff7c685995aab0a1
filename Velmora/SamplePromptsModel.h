#pragma once

#include "Connections.h"

#include <QCoroTask>
#include <QObject>
#include <QTimer>

// The sample prompts panel: the built-in four from the first frame, replaced by the
// server's list when it has one; one card at a time, copied with a moment's "Copied".
class SamplePromptsModel : public QObject {
    Q_OBJECT
    Q_PROPERTY(int index READ index NOTIFY changed)
    Q_PROPERTY(int count READ count NOTIFY changed)
    Q_PROPERTY(bool copied READ copied NOTIFY changed)
    Q_PROPERTY(bool hasPrompt READ hasPrompt NOTIFY changed)
    Q_PROPERTY(QString title READ title NOTIFY changed)
    Q_PROPERTY(QString subtitle READ subtitle NOTIFY changed)
    Q_PROPERTY(QString text READ text NOTIFY changed)
    // "2 of 4".
    Q_PROPERTY(QString counter READ counter NOTIFY changed)

public:
    static constexpr int copiedMs = 2000;

    explicit SamplePromptsModel(QObject* parent = nullptr);

    int index() const { return m_index; }
    int count() const { return int(m_prompts.size()); }
    bool copied() const { return m_copied; }
    bool hasPrompt() const { return m_index >= 0 && m_index < count(); }
    QString title() const { return hasPrompt() ? m_prompts[m_index].title : QString(); }
    QString subtitle() const { return hasPrompt() ? m_prompts[m_index].subtitle : QString(); }
    QString text() const { return hasPrompt() ? m_prompts[m_index].text : QString(); }
    QString counter() const;
    const QList<RemotePrompt>& prompts() const { return m_prompts; }

    // A non-empty list replaces the prompts; the place stays as near as it can.
    void setPrompts(const QList<RemotePrompt>& prompts);
    // -1 or +1, wrapping; clears "Copied".
    Q_INVOKABLE void cycle(int delta);
    Q_INVOKABLE void copyCurrent();
    // Asks the server; a failure leaves what is shown.
    Q_INVOKABLE void load();
    QCoro::Task<> runLoad();

Q_SIGNALS:
    void changed();

private:
    void setCopied(bool copied);

    QList<RemotePrompt> m_prompts;
    int m_index = 0;
    bool m_copied = false;
    QTimer m_copiedTimer;
};
