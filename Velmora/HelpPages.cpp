#include "HelpPages.h"

#include "BriefingHelp.h"
#include "McpSetupHelp.h"
#include "UpdatesHelp.h"

#include <QtQml>

void HelpPages::registerType() {
    static const int id = qmlRegisterSingletonType<HelpPages>(
        "Velmora.Forms", 1, 0, "HelpPages",
        [](QQmlEngine*, QJSEngine*) -> QObject* { return new HelpPages; });
    Q_UNUSED(id)
}

QVariantList HelpPages::cards(const QList<HelpCardData>& page) {
    QVariantList out;
    for (const HelpCardData& card : page) {
        QVariantList rows;
        for (const HelpAction& row : card.rows)
            rows.append(QVariantMap{{QStringLiteral("label"), row.label},
                                    {QStringLiteral("does"), row.does},
                                    {QStringLiteral("swipe"), row.swipe.value_or(QString())}});
        out.append(QVariantMap{{QStringLiteral("title"), card.title},
                               {QStringLiteral("body"), card.body},
                               {QStringLiteral("rows"), rows}});
    }
    return out;
}

QVariantList HelpPages::updates() const {
    return cards(UpdatesHelp::page(false));
}

QVariantList HelpPages::briefing() const {
    return cards(BriefingHelp::page(false));
}

QVariantMap HelpPages::updatesWords() const {
    using namespace UpdatesHelp;
    return {{QStringLiteral("emptyTitle"), emptyTitle},
            {QStringLiteral("emptyBody"), emptyBody},
            {QStringLiteral("emptyPeopleButton"), emptyPeopleButton},
            {QStringLiteral("later"), Labels::later},
            {QStringLiteral("reject"), Labels::reject},
            {QStringLiteral("undo"), Labels::undo}};
}

QVariantMap HelpPages::mcpSetup() const {
    using namespace McpSetupHelp;
    const auto note = [](const Note& n) {
        const QString link = !n.link                               ? QString()
                             : *n.link == Destination::connections ? QStringLiteral("connections")
                                                                   : QStringLiteral("prompts");
        return QVariantMap{{QStringLiteral("title"), n.title},
                           {QStringLiteral("body"), n.body},
                           {QStringLiteral("link"), link},
                           {QStringLiteral("linkLabel"), n.link ? label(*n.link) : QString()}};
    };
    QVariantList stepList, tryList;
    for (const Note& n : steps())
        stepList.append(note(n));
    for (const Note& n : tryNotes())
        tryList.append(note(n));
    return {{QStringLiteral("title"), title},      {QStringLiteral("lead"), lead()},
            {QStringLiteral("steps"), stepList},   {QStringLiteral("tryHeading"), tryHeading},
            {QStringLiteral("tryNotes"), tryList}, {QStringLiteral("trouble"), note(trouble())}};
}
