import QtQuick
import Velmora
import ".."

// The people the user is connected with and the tasks they sent.
ScreenSlot {
    title: "People"
}
