import QtQuick

// The compact pill: a capsule at the top centre, coloured by the overall status, wider with more
// agents and faded once a calm state has lasted. A blocked agent makes it pulse in short steps.
Item {
    id: bar
    required property var surface
    required property bool reduceMotion

    readonly property var pill: surface.pill
    readonly property bool revealed: pill.revealed === true
    property bool pulseOn: false

    Rectangle {
        id: glow
        anchors.centerIn: capsule
        width: capsule.width + 10
        height: capsule.height + 4
        radius: height / 2
        color: capsule.color
        opacity: bar.pulseOn ? 0.35 : 0
        Behavior on opacity { enabled: !bar.reduceMotion; NumberAnimation { duration: 110 } }
    }

    Rectangle {
        id: capsule
        anchors.horizontalCenter: parent.horizontalCenter
        y: bar.revealed ? 2 : 0
        width: bar.pill.width ?? 40
        height: bar.revealed ? 8 : 3
        radius: height / 2
        color: bar.pill.colour ?? Theme.grey
        // A quiet bar sits back from the desktop; a faded one further still.
        opacity: (bar.pill.opacity ?? 1) * (bar.pill.status === "blocked" ? 1 : 0.62) * (bar.pulseOn ? 1.5 : 1)
        scale: bar.pulseOn ? 1.08 : 1
        Behavior on width { enabled: !bar.reduceMotion; NumberAnimation { duration: 600; easing.type: Easing.InOutQuad } }
        Behavior on color { enabled: !bar.reduceMotion; ColorAnimation { duration: 600; easing.type: Easing.InOutQuad } }
        Behavior on height { enabled: !bar.reduceMotion; NumberAnimation { duration: 200; easing.type: Easing.OutCubic } }
    }

    SequentialAnimation {
        id: pulse
        loops: 4
        PropertyAction { target: bar; property: "pulseOn"; value: true }
        PauseAnimation { duration: 220 }
        PropertyAction { target: bar; property: "pulseOn"; value: false }
        PauseAnimation { duration: 220 }
    }

    function startBlockedPulse() {
        pulse.stop()
        pulseOn = false
        if (pill.pulses === true)
            pulse.start()
    }

    Connections {
        target: bar.surface
        function onPillChanged() {
            if (bar.pill.triggerRevision !== bar.lastRevision) {
                bar.lastRevision = bar.pill.triggerRevision
                bar.startBlockedPulse()
            } else if (bar.pill.pulses !== true && pulse.running) {
                bar.startBlockedPulse()
            }
        }
    }
    property var lastRevision: pill.triggerRevision
    Component.onCompleted: if (pill.pulses === true) startBlockedPulse()

    MouseArea {
        anchors.fill: parent
        hoverEnabled: true
        acceptedButtons: Qt.LeftButton | Qt.RightButton
        cursorShape: Qt.PointingHandCursor
        onContainsMouseChanged: bar.surface.hover(containsMouse)
        onClicked: (mouse) => {
            if (mouse.button === Qt.RightButton) {
                const global = mapToGlobal(mouse.x, mouse.y)
                bar.surface.contextMenuRequested(Qt.point(Math.round(global.x), Math.round(global.y)))
            } else {
                bar.surface.requestToggle()
            }
        }
    }

    Accessible.role: Accessible.Button
    Accessible.name: pill.accessibleName ?? ""
    Accessible.description: pill.accessibleDescription ?? ""
    Accessible.onPressAction: surface.requestToggle()
}
