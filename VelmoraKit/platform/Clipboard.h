#pragma once

#include <QString>

#include <optional>

// The clipboard as the logic needs it: its current text, and a way to set one.
class Clipboard {
public:
    virtual ~Clipboard();
    // Null when the clipboard holds no text.
    virtual std::optional<QString> text() const = 0;
    virtual void setText(const QString& text) = 0;
};

// The desktop's clipboard (QGuiApplication::clipboard()); needs a QGuiApplication.
class SystemClipboard : public Clipboard {
public:
    std::optional<QString> text() const override;
    // Replaces whatever the clipboard held with the text alone, as plain text.
    void setText(const QString& text) override;
};

// A clipboard in memory, for tests.
class MemoryClipboard : public Clipboard {
public:
    explicit MemoryClipboard(std::optional<QString> text = std::nullopt)
        : m_text(std::move(text)) {}
    std::optional<QString> text() const override { return m_text; }
    void setText(const QString& text) override { m_text = text; }

private:
    std::optional<QString> m_text;
};
