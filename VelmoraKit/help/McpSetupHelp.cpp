#include "McpSetupHelp.h"

namespace McpSetupHelp {

QString label(Destination destination) {
    return destination == Destination::connections ? QStringLiteral("Open Connections")
                                                   : QStringLiteral("See prompts");
}

const QString& lead() {
    static const QString text = QStringLiteral(
        "Claude can read this list and keep it up to date — going through your mail, chats and "
        "meetings, and filing what it finds into Updates for you to accept or reject. This page is "
        "the whole of setting that up. A couple of minutes, once.");
    return text;
}

const QList<Note>& steps() {
    static const QList<Note> notes{
        {QStringLiteral("Create a connection here first"),
         QStringLiteral("A connection is the door Claude comes in through: scoped to your account, "
                        "revocable the moment you want it gone. Name one on the Connections page — "
                        "\"Claude\" does — and generate it. Copy the Connection URL (MCP), the "
                        "first of the three it shows you. It carries your token, it appears once, "
                        "and it cannot be fetched back later. Copy it, then come back here."),
         Destination::connections},
        {QStringLiteral("Add a custom connector in Claude"),
         QStringLiteral("In Claude, open Customize, then Connectors, and use the + beside "
                        "Connectors to add a custom connector. On a Team or Enterprise plan the "
                        "owner does this in Organization settings instead."),
         std::nullopt},
        {QStringLiteral("One field matters"),
         QStringLiteral("Name it Velmora, and paste the connection URL you copied into the server "
                        "URL field — the whole thing, token and all. The advanced OAuth boxes stay "
                        "empty; this connection is the token in that URL and needs nothing else. "
                        "Add it, and connect if Claude offers."),
         std::nullopt},
        {QStringLiteral("Allow the tools"),
         QStringLiteral("Claude asks permission the first time it uses each of the six tools. "
                        "Enable all of them, and choose Allow always. A scheduled run happens "
                        "while you are somewhere else, and a run that stops to ask a question "
                        "nobody is there to answer is a run that did nothing."),
         std::nullopt},
        {QStringLiteral("That's it"),
         QStringLiteral("Claude is connected to Velmora. Nothing on your list has changed, and "
                        "nothing will until you ask it to or accept an update."),
         std::nullopt},
    };
    return notes;
}

const QList<Note>& tryNotes() {
    static const QList<Note> notes{
        {QStringLiteral("Ask for something now"),
         QStringLiteral(
             "Say \"review my tasks in Velmora\" and Claude answers from your actual list. Or just "
             "tell it what to add: in a live conversation adds and completions go straight "
             "through, because you are right there watching them happen."),
         std::nullopt},
        {QStringLiteral("Give it something to read"),
         QStringLiteral("Paste a meeting transcript or a mail thread and ask for the action items "
                        "to go into Velmora. This is what it is best at, and it is worth doing "
                        "once by hand before you automate it."),
         std::nullopt},
        {QStringLiteral("Then put it on a schedule"),
         QStringLiteral(
             "If Claude also has your mail, calendar, Teams or Slack connected, one of our prompts "
             "asks it to go through the day and file what it found. Give that prompt a schedule in "
             "Claude and it runs on its own — and it still cannot touch your list: everything a "
             "scheduled run finds arrives in Updates as a suggestion."),
         Destination::prompts},
    };
    return notes;
}

const Note& trouble() {
    static const Note note{
        QStringLiteral("If nothing ever arrives"),
        QStringLiteral(
            "Check the connection is still listed on Connections, and that the scheduled task in "
            "Claude actually ran — an empty Updates tab is almost always nothing scheduled rather "
            "than nothing found. If the task runs but cannot see Velmora, add the connector again "
            "at claude.ai in a browser and give the task another go."),
        std::nullopt};
    return note;
}

} // namespace McpSetupHelp
