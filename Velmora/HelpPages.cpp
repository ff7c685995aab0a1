#include "HelpPages.h"

#include "BriefingHelp.h"
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
