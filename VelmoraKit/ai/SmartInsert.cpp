#include "SmartInsert.h"

#include "Characters.h"
#include "ClipboardCapture.h"

namespace SmartAdd {

QString emptyNotice() {
    return QStringLiteral("Copy some text first \u2014 Smart Add turns it into a task for you.");
}

QString longPasteNotice() {
    return QStringLiteral("Long paste \u2014 only the first 1000 characters were read.");
}

QString noAllowanceNotice(qint64 cap) {
    return QStringLiteral("All %1 Smart Adds used this month \u2014 pasted as it came. Resets on "
                          "the 1st.")
        .arg(cap);
}

QString notRunNotice() {
    return QStringLiteral("Smart Add could not run just now, so this was pasted as it came.");
}

QString unreachableNotice() {
    return QStringLiteral("Smart Add could not be reached, so this was pasted as it came.");
}

QCoro::Task<Result> run(std::optional<QString> clipboard, Call call) {
    const QString text = clipboard ? clipboard->trimmed() : QString();
    if (text.isEmpty())
        co_return Result{SmartDraft{}, emptyNotice()};

    const QString sent = Characters::left(text, SmartInsert::maxInputChars);
    const bool overLimit = sent.size() < text.size();

    // The whole paste, not only what is sent: a long one keeps its note when the server
    // cannot help.
    SmartDraft fallback;
    if (const auto local = ClipboardCapture::draft(text)) {
        fallback.title = local->title;
        fallback.details = local->note;
    }

    std::optional<SmartInsertOutcome> outcome;
    try {
        auto task = call(sent);
        outcome = co_await std::move(task);
    } catch (...) {
        co_return Result{fallback, unreachableNotice()};
    }

    if (const auto* drafted = std::get_if<SmartInsertDrafted>(&*outcome)) {
        Result result{drafted->draft, std::nullopt};
        if (overLimit || drafted->truncated)
            result.notice = longPasteNotice();
        co_return result;
    }
    const auto& refused = std::get<SmartInsertRefused>(*outcome);
    co_return Result{fallback, refused.refusal == SmartInsertRefusal::noAllowance
                                   ? noAllowanceNotice(refused.cap)
                                   : notRunNotice()};
}

} // namespace SmartAdd
