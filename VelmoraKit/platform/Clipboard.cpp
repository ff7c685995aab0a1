#include "Clipboard.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QMimeData>

Clipboard::~Clipboard() = default;

std::optional<QString> SystemClipboard::text() const {
    const QClipboard* clipboard = QGuiApplication::clipboard();
    const QMimeData* data = clipboard ? clipboard->mimeData() : nullptr;
    if (!data || !data->hasText())
        return std::nullopt;
    return data->text();
}

void SystemClipboard::setText(const QString& text) {
    QClipboard* clipboard = QGuiApplication::clipboard();
    if (!clipboard)
        return;
    // Cleared first, so no richer format of an earlier copy is left beside the text.
    clipboard->clear();
    clipboard->setText(text);
}
