import QtQuick

// The expanded panel: dark and translucent, flush with the top edge, rounded below. One shape,
// its top corners above the window's edge, so that no part of it is painted twice.
Item {
    clip: true
    Rectangle {
        anchors { left: parent.left; right: parent.right; bottom: parent.bottom }
        height: parent.height + radius
        radius: Theme.radius + 4
        color: Theme.panel
        border.width: 1
        border.color: Theme.panelBorder
    }
}
