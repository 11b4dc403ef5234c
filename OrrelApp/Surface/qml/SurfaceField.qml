import QtQuick
import QtQuick.Controls.Basic

// A one-line text entry of the surface; Return submits.
TextField {
    id: field
    signal submitted(string text)
    color: Theme.text
    placeholderTextColor: Theme.tertiaryText
    selectionColor: Theme.tinted(Theme.coral, 0.5)
    font.pixelSize: Theme.bodySize
    leftPadding: 10
    rightPadding: 10
    implicitHeight: 32
    background: Rectangle {
        radius: Theme.smallRadius
        color: Theme.field
        border.width: 1
        border.color: field.activeFocus ? Theme.tinted(Theme.coral, 0.6) : Theme.separator
    }
    onAccepted: submitted(text)
    Accessible.name: placeholderText
}
