import QtQuick

// Approve stays locked until the floor is armed; saying no never needs it.
Row {
    id: actions
    property var surface
    property var floor: null
    spacing: 8
    layoutDirection: Qt.RightToLeft
    SurfaceButton {
        width: Math.min(implicitWidth, actions.width - deny.width - 8)
        enabled: actions.floor?.armed === true
        tone: "hot"
        text: actions.floor?.armed === true ? actions.floor.approveLabel : actions.surface.labels.approve
        onClicked: actions.surface.requestApprove()
    }
    SurfaceButton {
        id: deny
        tone: "quiet"
        text: actions.surface.labels.deny
        onClicked: actions.surface.requestDeny()
    }
}
