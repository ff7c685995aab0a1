#pragma once

#include "Enums.h"

#include <QSet>

// What the main window's right pane resolves to, how wide it is, and the table of a
// client's screens with the top-bar buttons each one has.

enum class PaneContent { draft, screen, item, placeholder };

namespace PaneContents {
// An open form can't be pushed aside by a route, and an item comes back by itself when a
// screen closes.
PaneContent resolve(bool draft, bool screen, bool hasSelection);
} // namespace PaneContents

namespace PaneSplit {
inline constexpr double minFraction = 0.3;
inline constexpr double maxFraction = 0.7;
inline constexpr double defaultFraction = 0.42;
double clamp(double fraction);
// The pane's floor is applied last, so it wins over the list's.
double paneWidth(double total, double fraction, double listFloor, double paneFloor);
} // namespace PaneSplit

namespace AppChrome {

enum class Screen {
    tasks,
    updates,
    briefings,
    connections,
    settings,
    aiAssistant,
    people,
    prompts,
    setup,
    helpDocument,
    briefingHistory,
};

struct Spec {
    bool showsHelp = false;
    bool aiEnabled = true;
    bool settingsEnabled = true;
    bool showsPeople = false;
    int buttonCount() const { return 2 + (showsHelp ? 1 : 0); }
    bool operator==(const Spec&) const = default;
};

Spec spec(Screen screen);
const QSet<Screen>& screensWithHelp();
const QSet<Screen>& tabRoots();

} // namespace AppChrome

template <>
struct EnumWire<AppChrome::Screen> {
    static constexpr auto names = std::to_array<std::string_view>(
        {"tasks", "updates", "briefings", "connections", "settings", "aiAssistant", "people",
         "prompts", "setup", "helpDocument", "briefingHistory"});
    static constexpr std::string_view typeName = "AppChrome.Screen";
};
