import QtQuick

// The expanded panel: dark and translucent, flush with the top edge, rounded below.
Item {
    Rectangle {
        anchors.fill: parent
        radius: Theme.radius + 4
        color: Theme.panel
        border.width: 1
        border.color: Theme.panelBorder
    }
    // Squares the top corners off so that the panel hangs from the edge of the display.
    Rectangle {
        anchors { left: parent.left; right: parent.right; top: parent.top }
        height: Theme.radius + 6
        color: Theme.panel
        Rectangle { anchors { left: parent.left; top: parent.top; bottom: parent.bottom } width: 1; color: Theme.panelBorder }
        Rectangle { anchors { right: parent.right; top: parent.top; bottom: parent.bottom } width: 1; color: Theme.panelBorder }
    }
}
