import QtQuick

// The top bar of the card: back to every agent, and the agent's place among its sessions.
Item {
    id: header
    property var surface
    property var card: ({})
    implicitHeight: 30

    SurfaceButton {
        id: back
        anchors { left: parent.left; verticalCenter: parent.verticalCenter }
        compact: true
        tone: "quiet"
        text: header.surface.labels.backToOverview
        onClicked: header.surface.requestShowOverview()
    }
    AgentModeControl {
        id: mode
        anchors { right: parent.right; verticalCenter: parent.verticalCenter }
        surface: header.surface
        mode: header.card.mode ?? null
    }
    SurfaceText {
        anchors { left: back.right; leftMargin: 8; right: mode.visible ? mode.left : parent.right; rightMargin: 8; verticalCenter: parent.verticalCenter }
        horizontalAlignment: Text.AlignRight
        text: header.card.agentLine ?? ""
        color: Theme.tertiaryText
        font.pixelSize: Theme.smallSize
    }
}
