#pragma once

#include <QList>
#include <QString>

#include <optional>

// The guide that walks through connecting an agent over MCP, as data: numbered steps, notes
// to try, and what to check when nothing arrives. A note may link to a screen.
namespace McpSetupHelp {

enum class Destination { connections, prompts };
// The link's word: "Open Connections", "See prompts".
QString label(Destination destination);

struct Note {
    QString title; // also the note's id
    QString body;
    std::optional<Destination> link;
    bool operator==(const Note&) const = default;
};

inline const QString title = QStringLiteral("Using Claude with MCP");
inline const QString button = QStringLiteral("Connect Claude with MCP");
inline const QString tryHeading = QStringLiteral("Try it");
const QString& lead();
const QList<Note>& steps();
const QList<Note>& tryNotes();
const Note& trouble();

} // namespace McpSetupHelp
