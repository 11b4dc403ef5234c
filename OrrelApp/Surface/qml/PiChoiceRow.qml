import QtQuick

// One option of an escalated question; picking it sends it as the answer.
Rectangle {
    id: row
    property var surface
    property var option: ({})
    property bool actionable: true
    implicitHeight: Math.max(36, column.implicitHeight + 12)
    radius: Theme.smallRadius
    enabled: actionable
    opacity: enabled ? 1 : 0.55
    color: mouse.containsMouse && enabled ? Theme.raisedHover : Theme.raised

    Column {
        id: column
        anchors { left: parent.left; leftMargin: 12; right: badge.visible ? badge.left : parent.right; rightMargin: 10; verticalCenter: parent.verticalCenter }
        spacing: 2
        SurfaceText {
            width: parent.width
            text: row.option.label ?? ""
        }
        SurfaceText {
            width: parent.width
            visible: text !== ""
            text: row.option.description ?? ""
            secondary: true
            font.pixelSize: Theme.smallSize
        }
    }
    ToneChip {
        id: badge
        anchors { right: parent.right; rightMargin: 8; verticalCenter: parent.verticalCenter }
        text: row.option.recommendedBadge ?? ""
        tone: "green"
    }
    MouseArea {
        id: mouse
        anchors.fill: parent
        hoverEnabled: true
        enabled: row.enabled
        cursorShape: Qt.PointingHandCursor
        onClicked: row.surface.requestAnswerEscalation(row.option.label)
    }
    Accessible.role: Accessible.Button
    Accessible.name: option.label ?? ""
    Accessible.description: option.description ?? ""
    Accessible.onPressAction: if (enabled) surface.requestAnswerEscalation(option.label)
}
