#pragma once

#include <QList>
#include <QString>

#include <optional>

// The building blocks of the help documents, kept as data so every client lays them out alike.
struct HelpNote {
    QString title; // also the note's id
    QString body;
    bool operator==(const HelpNote&) const = default;
};

struct HelpAction {
    QString label;
    QString does;
    std::optional<QString> swipe; // "right", "left", or none: a touch client's gesture
    bool operator==(const HelpAction&) const = default;
};

// One card of a laid-out page: a note, or a heading with its rows (kinds, actions).
struct HelpCardData {
    QString title;
    QString body;
    QList<HelpAction> rows;
    bool operator==(const HelpCardData&) const = default;
};
