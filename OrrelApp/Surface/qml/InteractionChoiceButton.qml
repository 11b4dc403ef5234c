import QtQuick

// One choice of a prompt: its number, label and description, the cursor's row, a tick on a
// multi-select, and the agent's recommendation.
Rectangle {
    id: button
    property var surface
    property var choice: ({})
    property bool actionable: true
    property bool locked: false
    readonly property bool checkable: (choice.isChecked ?? null) !== null

    implicitHeight: Math.max(40, column.implicitHeight + 14)
    radius: Theme.smallRadius
    enabled: actionable && !locked
    opacity: enabled ? 1 : 0.55
    color: mouse.containsMouse && enabled ? Theme.raisedHover : Theme.raised
    border.width: choice.isSelected === true ? 1 : 0
    border.color: Theme.tinted(Theme.coral, 0.55)

    Rectangle {
        id: badge
        anchors { left: parent.left; leftMargin: 10; verticalCenter: parent.verticalCenter }
        width: 22; height: 22; radius: button.checkable ? 5 : 11
        color: button.choice.isChecked === true ? Theme.coral : Theme.tinted(Theme.text, 0.08)
        Text {
            anchors.centerIn: parent
            text: button.checkable ? (button.choice.isChecked === true ? "✓" : "") : (button.choice.number ?? "")
            color: button.choice.isChecked === true ? "#1B1B1D" : Theme.secondaryText
            font.pixelSize: Theme.smallSize
            font.weight: Font.Bold
        }
    }
    Column {
        id: column
        anchors { left: badge.right; leftMargin: 10; right: recommended.visible ? recommended.left : parent.right; rightMargin: 10; verticalCenter: parent.verticalCenter }
        spacing: 2
        SurfaceText {
            width: parent.width
            text: button.choice.label ?? ""
            font.weight: button.choice.isSelected === true ? Font.DemiBold : Font.Normal
        }
        SurfaceText {
            width: parent.width
            visible: text !== ""
            text: button.choice.description ?? ""
            secondary: true
            font.pixelSize: Theme.smallSize
        }
    }
    ToneChip {
        id: recommended
        anchors { right: parent.right; rightMargin: 8; verticalCenter: parent.verticalCenter }
        text: button.choice.recommendedBadge ?? ""
        tone: "green"
    }

    MouseArea {
        id: mouse
        anchors.fill: parent
        hoverEnabled: true
        enabled: button.enabled
        cursorShape: Qt.PointingHandCursor
        onClicked: button.activate()
    }

    function activate() {
        if (checkable)
            surface.requestSetChecked(choice.index, !(choice.isChecked === true))
        else
            surface.requestAnswer(choice.index)
    }

    Accessible.role: checkable ? Accessible.CheckBox : Accessible.Button
    Accessible.name: choice.label ?? ""
    Accessible.description: choice.description ?? ""
    Accessible.checkable: checkable
    Accessible.checked: choice.isChecked === true
    Accessible.onPressAction: if (enabled) activate()
}
