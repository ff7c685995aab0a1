#include "BriefingHelp.h"

namespace BriefingHelp {

namespace {
Action action(const char* label, const char* does, const char* swipe = nullptr) {
    return Action{QString::fromUtf8(label), QString::fromUtf8(does),
                  swipe ? std::optional<QString>(QString::fromUtf8(swipe)) : std::nullopt};
}
Note note(const char* title, const char* body) {
    return Note{QString::fromUtf8(title), QString::fromUtf8(body)};
}
const char* const ignoreThirtyDays =
    "Hides this finding for thirty days. The task itself is left exactly as it was.";
} // namespace

const QList<Note>& intro() {
    static const QList<Note> notes{
        note("What a briefing is",
             "Once a day, or whenever you ask for one, Claude reads your open list and reports "
             "the handful of things you would miss by skimming it. It never edits anything on its "
             "own. Every card below is a suggestion, and nothing happens until you press one of "
             "its buttons."),
        note("You can tell it what counts",
             "Under Tune you can set up to ten focus terms — a project, a client, someone’s name. "
             "Claude weighs them when it decides what is worth raising, and anything that touches "
             "one is marked with a Focus chip. Focus changes what gets noticed; it does not move "
             "a task between sections and it does not make anything urgent.")};
    return notes;
}

const Note& groupsHeading() {
    static const Note heading =
        note("The four sections",
             "A briefing sorts what it found into these, and each one earns its own buttons.");
    return heading;
}

const QList<Group>& groups() {
    static const QList<Group> list{
        {QStringLiteral("critical"),
         QStringLiteral("What's critical"),
         QStringLiteral("Open tasks Claude thinks need to happen now — a deadline that has "
                        "arrived, or something quietly holding up other work."),
         {action("Flag it",
                 "Flags the task as urgent — a flag appears on its row, and the Flagged filter "
                 "shows only flagged tasks. Nothing else changes: no due date, no priority.",
                 "right"),
          action("Ignore", ignoreThirtyDays, "left")}},
        {QStringLiteral("chase"),
         QStringLiteral("Who to chase"),
         QStringLiteral("Things you are waiting on from someone else, where the ball has been in "
                        "their court long enough to be worth a nudge."),
         {action("Chase",
                 "Says you have nudged them, and moves the reminder to seven days from today — "
                 "never seven days from the old date, which would leave something a month overdue "
                 "still overdue.",
                 "right"),
          action("Escalate",
                 "Leaves the waiting task alone and adds a new one for you — “Schedule a call "
                 "with…” — because pushing the same date forever is how a chase list quietly "
                 "dies. Three choices do not fit on two swipe edges, so this one is a button "
                 "only."),
          action("Ignore", ignoreThirtyDays, "left")}},
        {QStringLiteral("drop"),
         QStringLiteral("What to drop"),
         QStringLiteral(
             "Tasks that look dead — overtaken, abandoned, or no longer worth carrying."),
         {action("Drop",
                 "Deletes the task. A bar appears at the bottom of the screen for six seconds with "
                 "Undo on it, and that is the only way back — there is no deleted-items list.",
                 "right"),
          action("Ignore", "Keeps the task and hides this finding for thirty days.", "left")}},
        {QStringLiteral("observation"),
         QStringLiteral("Other observations"),
         QStringLiteral("A remark about a pattern rather than a single task — too much waiting on "
                        "one person, a fortnight of work with no dates on it. It lists the tasks "
                        "it was drawn from, and has no bulk edit of its own on purpose."),
         {action("Got it",
                 "Marks it read and nothing else. If the pattern is still true next time, Claude "
                 "may raise it again — which is usually what you want.",
                 "right"),
          action("Stop telling me", "Thirty days of silence about this particular observation.",
                 "left")}}};
    return list;
}

const Note& swiping() {
    static const Note swipes =
        note("Swiping", "On any card, swipe right for the first action and left to ignore it — the "
                        "same two fates the buttons offer, on the side the buttons sit.");
    return swipes;
}

const QList<Note>& outro() {
    static const QList<Note> notes{
        note("Changing your mind",
             "Every button here also tells your briefing to leave that finding alone for thirty "
             "days — Flag it just as much as Ignore. They are all listed under Tune, in Already "
             "handled, and deleting one there lets the finding come back."),
        note("Where the tasks live",
             "A briefing never holds anything of its own. Every card points at a task on your "
             "list, and that list stays the truth — edit or delete a task there and the briefing "
             "follows.")};
    return notes;
}

QString sectionTitle(const QString& kind) {
    for (const Group& group : groups())
        if (group.kind == kind)
            return group.title;
    return {};
}

QList<HelpCardData> page(bool showsSwipes) {
    QList<HelpCardData> cards;
    for (const Note& n : intro())
        cards.append({n.title, n.body, {}});
    cards.append({groupsHeading().title, groupsHeading().body, {}});
    for (const Group& group : groups()) {
        HelpCardData card{group.title, group.what, group.actions};
        if (!showsSwipes)
            for (Action& row : card.rows)
                row.swipe.reset();
        cards.append(card);
    }
    if (showsSwipes)
        cards.append({swiping().title, swiping().body, {}});
    for (const Note& n : outro())
        cards.append({n.title, n.body, {}});
    return cards;
}

namespace {
struct DispositionWords {
    const char16_t* disposition;
    const char16_t* label;
    const char16_t* record;
};
constexpr DispositionWords dispositionWords[] = {
    {Dispositions::doToday, Labels::doToday, u"Flagged"},
    {Dispositions::chase, Labels::chase, u"Chased"},
    {Dispositions::escalate, Labels::escalate, u"Escalated"},
    {Dispositions::drop, Labels::drop, u"Dropped"},
    {Dispositions::ignore, Labels::ignore, u"Ignored"},
    {Dispositions::gotIt, Labels::gotIt, u"Got it"},
    {Dispositions::stopTelling, Labels::stopTelling, u"Stop telling me"},
};
const DispositionWords* wordsOf(const QString& disposition) {
    for (const DispositionWords& row : dispositionWords)
        if (disposition == QStringView(row.disposition))
            return &row;
    return nullptr;
}
} // namespace

std::optional<QString> dispositionLabel(const QString& disposition) {
    const DispositionWords* row = wordsOf(disposition);
    return row ? std::optional(QString::fromUtf16(row->label)) : std::nullopt;
}

std::optional<QString> historyWord(const QString& disposition) {
    const DispositionWords* row = wordsOf(disposition);
    return row ? std::optional(QString::fromUtf16(row->record)) : std::nullopt;
}

} // namespace BriefingHelp
