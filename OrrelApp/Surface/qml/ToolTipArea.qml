import QtQuick
import QtQuick.Controls.Basic

// Shows `help` while the pointer rests on the item it fills.
MouseArea {
    property string help: ""
    hoverEnabled: true
    acceptedButtons: Qt.NoButton
    ToolTip.visible: help !== "" && containsMouse
    ToolTip.text: help
    ToolTip.delay: 500
}
