#include "Panes.h"

#include <algorithm>

PaneContent PaneContents::resolve(bool draft, bool screen, bool hasSelection) {
    if (draft)
        return PaneContent::draft;
    if (screen)
        return PaneContent::screen;
    return hasSelection ? PaneContent::item : PaneContent::placeholder;
}

double PaneSplit::clamp(double fraction) {
    return std::clamp(fraction, minFraction, maxFraction);
}

double PaneSplit::paneWidth(double total, double fraction, double listFloor, double paneFloor) {
    double width = total * clamp(fraction);
    width = std::min(width, total - listFloor);
    return std::max(width, paneFloor);
}

namespace AppChrome {

const QSet<Screen>& screensWithHelp() {
    static const QSet<Screen> screens{Screen::updates, Screen::briefings};
    return screens;
}

const QSet<Screen>& tabRoots() {
    static const QSet<Screen> screens{Screen::tasks, Screen::updates, Screen::briefings};
    return screens;
}

Spec spec(Screen screen) {
    Spec out;
    out.showsHelp = screensWithHelp().contains(screen);
    out.aiEnabled = screen != Screen::aiAssistant;
    out.settingsEnabled = screen != Screen::settings;
    out.showsPeople = tabRoots().contains(screen);
    return out;
}

} // namespace AppChrome
