import QtQuick

// One agent on the board: its colour, task, what it is doing, and how long it has waited.
Rectangle {
    id: row
    property var surface
    property var entry: ({})
    property bool showsWorkerToggle: false
    readonly property bool clickable: entry.isStale !== true

    implicitHeight: 52
    radius: Theme.smallRadius
    color: entry.isSelected === true ? Theme.raisedHover : mouse.containsMouse && clickable ? Theme.raised : "transparent"

    Rectangle {
        id: dot
        x: row.entry.isChild === true ? 22 : 10
        anchors.verticalCenter: parent.verticalCenter
        width: 8; height: 8; radius: 4
        color: Theme.tone(row.entry.tone ?? "quiet")
    }
    Text {
        visible: row.entry.isChild === true
        x: 8
        anchors.verticalCenter: parent.verticalCenter
        text: "└"
        color: Theme.tertiaryText
        font.pixelSize: Theme.bodySize
    }

    Column {
        anchors { left: dot.right; leftMargin: 10; right: side.left; rightMargin: 8; verticalCenter: parent.verticalCenter }
        spacing: 2
        Row {
            width: parent.width
            spacing: 6
            SurfaceText {
                id: title
                width: Math.min(implicitWidth, parent.width - (agent.visible ? agent.width + 6 : 0))
                text: row.entry.taskTitle ?? ""
                font.weight: Font.DemiBold
            }
            SurfaceText {
                id: agent
                visible: text !== ""
                width: Math.min(implicitWidth, parent.width / 3)
                text: row.entry.agentName ?? ""
                secondary: true
                font.pixelSize: Theme.smallSize
                anchors.baseline: title.baseline
            }
        }
        SurfaceText {
            width: parent.width
            text: row.entry.summary ?? ""
            secondary: true
            font.pixelSize: Theme.smallSize + 1
        }
    }

    Column {
        id: side
        anchors { right: parent.right; rightMargin: 10; verticalCenter: parent.verticalCenter }
        width: Math.min(Math.max(state.implicitWidth, meta.implicitWidth, toggle.visible ? toggle.implicitWidth : 0), row.width * 0.38)
        spacing: 3
        ToneChip {
            id: state
            anchors.right: parent.right
            width: Math.min(implicitWidth, parent.width)
            text: row.entry.stateText ?? ""
            tone: row.entry.tone ?? "quiet"
        }
        SurfaceText {
            id: meta
            anchors.right: parent.right
            width: Math.min(implicitWidth, parent.width)
            visible: !toggle.visible && text !== ""
            horizontalAlignment: Text.AlignRight
            text: row.entry.meta ?? ""
            color: Theme.tertiaryText
            font.pixelSize: Theme.smallSize
        }
        SurfaceButton {
            id: toggle
            anchors.right: parent.right
            visible: row.showsWorkerToggle && (row.entry.workerCount ?? 0) > 0
            compact: true
            tone: "quiet"
            text: row.entry.meta ?? ""
            onClicked: row.surface.requestToggleWorkers(row.entry.ref)
        }
    }

    MouseArea {
        id: mouse
        anchors.fill: parent
        z: -1
        hoverEnabled: true
        enabled: row.clickable
        cursorShape: Qt.PointingHandCursor
        onClicked: row.surface.requestSelect(row.entry.ref)
    }

    Accessible.role: Accessible.Button
    Accessible.name: entry.accessibleName ?? ""
    Accessible.onPressAction: if (clickable) surface.requestSelect(entry.ref)
}
