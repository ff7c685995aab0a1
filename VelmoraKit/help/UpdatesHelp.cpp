#include "UpdatesHelp.h"

namespace UpdatesHelp {

namespace {
Action action(const char* label, const char* does, const char* swipe = nullptr) {
    return Action{QString::fromUtf8(label), QString::fromUtf8(does),
                  swipe ? std::optional<QString>(QString::fromUtf8(swipe)) : std::nullopt};
}
Note note(const char* title, const char* body) {
    return Note{QString::fromUtf8(title), QString::fromUtf8(body)};
}
} // namespace

QString verb(const QString& deltaKind) {
    if (deltaKind.endsWith(u"_rule"))
        return Verbs::rule;
    if (deltaKind == u"add")
        return Verbs::add;
    if (deltaKind == u"complete")
        return Verbs::done;
    if (deltaKind == u"update")
        return Verbs::change;
    if (deltaKind == u"remove")
        return Verbs::remove;
    return Verbs::rule;
}

const QList<Note>& intro() {
    static const QList<Note> notes{
        note("What an update is",
             "A batch of changes your AI agent thinks your list needs — things to add, things it "
             "reckons you have finished, dates that have slipped. None of it has happened. Every "
             "line is a suggestion waiting on you, and the list itself is untouched until you "
             "accept."),
        note("It is written outside this app, on a schedule you set",
             "Velmora does not produce these. You hand your AI agent a prompt and a schedule — the "
             "one on the Connections page is written for a nightly run — and it goes off on its "
             "own clock, reads your list, looks through whatever channels you have connected it "
             "to, and files what it found here. If nothing is scheduled, nothing ever arrives; an "
             "empty Updates tab is usually that, not a quiet week."),
        note("How it can see your list",
             "Through a connection you create on the Connections page and paste into Claude — the "
             "same door the briefing uses. It is scoped to your account, it is the only way in, "
             "and deleting it there cuts the agent off immediately. Any assistant that speaks MCP "
             "can use it; ours is written for Claude because that is what the sample prompts are "
             "tuned for."),
        note("Why it waits for you",
             "A scheduled run cannot edit your list at all — proposing into this screen is the "
             "only write it is allowed. Two things do skip the queue, and both are deliberate: "
             "when you are talking to Claude directly it acts on what you asked immediately, and "
             "an agent may push a single genuinely urgent item straight onto your list and to "
             "your phone. Everything else waits here.")};
    return notes;
}

const Note& kindsHeading() {
    static const Note heading =
        note("What the labels mean",
             "Every suggestion is tagged with the kind of change it would make.");
    return heading;
}

const QList<Kind>& kinds() {
    static const QList<Kind> list{
        {Verbs::add, QStringLiteral("A new item for your list. This is the only row whose wording "
                                    "you can fix before accepting it — the title is editable in "
                                    "place.")},
        {Verbs::done, QStringLiteral("Something it believes you have already finished, ticked off "
                                     "rather than deleted.")},
        {Verbs::change, QStringLiteral("An edit to an item you already have — a due date that "
                                       "moved, a section that is now wrong, a note worth adding.")},
        {Verbs::remove, QStringLiteral("An item it thinks should go. Accepting deletes it, and "
                                       "there is no deleted-items list to fetch it back from.")},
        {Verbs::rule, QStringLiteral("A standing rule, which is not a change to your list at all — "
                                     "it changes what your agent may suggest in future. They "
                                     "appear under their own heading for that reason, and they "
                                     "live on the Rules page once accepted.")}};
    return list;
}

const QList<Note>& reading() {
    static const QList<Note> notes{
        note("Why it suggested each one",
             "The smaller line under a suggestion is your agent explaining itself — the email it "
             "read, the deadline it spotted. It is an argument, not a description, and it is the "
             "fastest way to tell a good suggestion from a confident one."),
        note("The headline and the count",
             "The top of the screen names whoever wrote the update and, if they left one, a line "
             "on what that pass looked at. The number on the Updates tab is how many suggestions "
             "are waiting."),
        note("Lines you cannot act on",
             "A suggestion about an item that has since gone is shown as skipped rather than "
             "silently dropped, so the count still matches what will actually happen. On the "
             "apps, a suggestion in a format the installed version does not know says so and "
             "sends you to the website.")};
    return notes;
}

const Note& actionsHeading() {
    static const Note heading =
        note("What you can do", "Nothing is sent while you are reading. You mark up the whole "
                                "update, then submit it in one press.");
    return heading;
}

const QList<Action>& actions() {
    static const QList<Action> list{
        action("Reject",
               "Strikes one line out. It is a mark and nothing more — nothing is sent while you "
               "are reading, so you can go down the whole update changing your mind.",
               "left"),
        action("Undo",
               "Takes a rejection back. Same button, on a line you have already struck out.",
               "right"),
        action("Accept all",
               "What the button says before you have touched anything: applies every suggestion "
               "at once, and the number beside it is how many."),
        action("Accept",
               "The same button after you have struck something out. It applies what is left and "
               "records the rest as rejected, both in the one press."),
        action("Reject all",
               "What the button becomes when you have struck out every line. Saying no to all of "
               "it is a decision worth submitting, not a dead end — those rejections are the "
               "whole reason the same suggestions will not be back tomorrow."),
        action("Close",
               "What the button becomes when there is nothing left to apply, because every line "
               "was about an item that has since gone. It clears the update away."),
        action("Later",
               "Leaves the whole update waiting and decides nothing. Worth knowing: it also "
               "forgets the rejections you just marked, because none of them were ever sent — "
               "come back and the update is exactly as it arrived.")};
    return list;
}

const Note& swiping() {
    static const Note swipes = note(
        "Swiping", "Every row arrives accepted, so the gestures run the other way to the "
                   "briefing’s: swipe a row left to reject it, right to take that back. Marks "
                   "only, like the buttons — nothing is submitted until you press the one at the "
                   "top.");
    return swipes;
}

const QList<Note>& outro() {
    static const QList<Note> notes{
        note("Saying no is worth something",
             "Every rejection is recorded and read by the next run, and a dismissal is treated as "
             "an answer — your agent will not raise that suggestion again. This is why rejecting "
             "is better than leaving an update sitting: an ignored suggestion teaches nothing."),
        note("When you keep saying no to the same thing",
             "A standing rule filters a whole category before it ever reaches this screen, and "
             "your agent will offer you one when it notices the pattern. They are yours to edit "
             "or switch off on the Rules page."),
        note("One update at a time",
             "Each run replaces whatever is still waiting here rather than stacking up behind it, "
             "so you are never working through a backlog — what you are looking at is the latest "
             "reading of your list. Accepted changes go straight to that list, and the update is "
             "done with.")};
    return notes;
}

QList<HelpCardData> page(bool showsSwipes) {
    QList<HelpCardData> cards;
    for (const Note& n : intro())
        cards.append({n.title, n.body, {}});
    HelpCardData labels{kindsHeading().title, kindsHeading().body, {}};
    for (const Kind& kind : kinds())
        labels.rows.append({kind.verb, kind.body, std::nullopt});
    cards.append(labels);
    for (const Note& n : reading())
        cards.append({n.title, n.body, {}});
    HelpCardData doing{actionsHeading().title, actionsHeading().body, actions()};
    if (!showsSwipes)
        for (Action& row : doing.rows)
            row.swipe.reset();
    cards.append(doing);
    if (showsSwipes)
        cards.append({swiping().title, swiping().body, {}});
    for (const Note& n : outro())
        cards.append({n.title, n.body, {}});
    return cards;
}

} // namespace UpdatesHelp
