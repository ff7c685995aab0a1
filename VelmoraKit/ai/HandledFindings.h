#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

// A briefing finding the user acted on, which the server leaves alone for a while.
struct HandledFinding {
    QString target;           // the task's id, or the observation's slug
    QString finding;          // "critical", "chase", "drop" or "observation"
    QString label;            // the server's text for it
    bool approximate = false; // the label is a summary, not the task's own words
    QString createdAt;        // as the server wrote it
    bool operator==(const HandledFinding&) const = default;
    QString id() const { return target + QLatin1Char(':') + finding; }

    // `{"dismissals": [...]}` of `api/ai/dismiss`; throws APIError::decoding otherwise.
    static QList<HandledFinding> decodeList(const QByteArray& body);
};

namespace FindingWords {
// The label of a kind of finding: "critical" is "Do today"; an unknown word stays.
QString word(const QString& finding);
// The Tune screen's line under a handled finding: its word, the day, "summarised".
QString subtitle(const HandledFinding& finding);
} // namespace FindingWords
