#pragma once

#include "HelpDocument.h"

#include <QObject>
#include <QVariantList>
#include <QVariantMap>

// The help documents laid out for QML: cards of {title, body, rows}, rows of
// {label, does, swipe}. The desktop has no swipe gestures, so none are shown.
class HelpPages : public QObject {
    Q_OBJECT
    Q_PROPERTY(QVariantList updates READ updates CONSTANT)
    Q_PROPERTY(QVariantList briefing READ briefing CONSTANT)
    // The words of the update screens that the help shares with them.
    Q_PROPERTY(QVariantMap updatesWords READ updatesWords CONSTANT)
    // The agent setup guide: {title, lead, steps, tryHeading, tryNotes, trouble}, notes of
    // {title, body, link, linkLabel} with link "connections", "prompts" or "".
    Q_PROPERTY(QVariantMap mcpSetup READ mcpSetup CONSTANT)

public:
    using QObject::QObject;
    // Makes the singleton known to QML as Velmora.Forms 1.0 HelpPages.
    static void registerType();

    static QVariantList cards(const QList<HelpCardData>& page);
    QVariantList updates() const;
    QVariantList briefing() const;
    QVariantMap updatesWords() const;
    QVariantMap mcpSetup() const;
};
