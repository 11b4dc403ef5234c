import QtQuick

// The agent's permission mode, and the key that moves it on.
SurfaceButton {
    id: control
    property var surface
    property var mode: null
    visible: mode !== null
    compact: true
    text: mode?.name ?? surface.labels.modeKey
    help: mode?.help ?? ""
    onClicked: surface.requestCycleMode()
}
