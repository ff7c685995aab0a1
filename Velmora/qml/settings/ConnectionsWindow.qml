import QtQuick
import Velmora
import ".."

// The agent and device connections, with the sample prompts (`app.router.connectionsAnchor`).
ScreenSlot {
    title: "Connections"
}
