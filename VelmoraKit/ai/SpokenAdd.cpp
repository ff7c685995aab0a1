#include "SpokenAdd.h"

#include "Characters.h"
#include "ClipboardCapture.h"

#include <QCoroTimer>
#include <QTimer>

#include <memory>

namespace SpokenAdd {

namespace {

// Shared by the waiting side and the call, so that a call finishing after the budget
// finds its state alive and sees that the race is over.
struct Race {
    QTimer timer;
    bool settled = false;
    std::optional<SmartDraft> result;
};

// Runs the call; the first of it and the timer to end settles the race. The timer is
// restarted at zero to wake the waiting side.
QCoro::Task<> runCall(std::shared_ptr<Race> race, QString text, SmartAdd::Call call) {
    std::optional<SmartDraft> draft;
    try {
        auto task = call(std::move(text));
        const SmartInsertOutcome outcome = co_await std::move(task);
        if (const auto* drafted = std::get_if<SmartInsertDrafted>(&outcome))
            draft = drafted->draft;
    } catch (...) {
        // A failed call is no draft.
    }
    if (race->settled)
        co_return;
    race->settled = true;
    race->result = std::move(draft);
    race->timer.start(0);
}

} // namespace

Fields fields(const QString& spoken, const std::optional<SmartDraft>& draft) {
    if (draft && !ClipboardCapture::trimBlanks(draft->title).isEmpty())
        return Fields{draft->title, draft->details,  draft->who,  draft->section,
                      draft->due,   draft->priority, draft->links};
    return Fields{
        spoken, std::nullopt, std::nullopt, Section::action, std::nullopt, Priority::medium, {}};
}

QCoro::Task<std::optional<SmartDraft>>
enrich(QString spoken, bool isOffline, std::chrono::milliseconds budget, SmartAdd::Call call) {
    if (isOffline)
        co_return std::nullopt;
    auto race = std::make_shared<Race>();
    race->timer.setSingleShot(true);
    race->timer.setTimerType(Qt::PreciseTimer); // monotonic, like every QTimer
    race->timer.start(budget);
    // Started before the wait: a call that ends at once settles the race right here.
    runCall(race, Characters::left(spoken, SmartInsert::maxInputChars), std::move(call));
    if (!race->settled)
        co_await &race->timer;
    race->settled = true;
    race->timer.stop();
    co_return race->result;
}

} // namespace SpokenAdd
