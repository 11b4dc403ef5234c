import QtQuick

// When the prompt cannot be answered from here: the terminal itself, or keys typed without Return.
Column {
    id: disclosure
    property var surface
    property var card: ({})
    property bool open: false
    spacing: 6

    Row {
        spacing: 0
        Text {
            anchors.verticalCenter: toggle.verticalCenter
            text: "▸"
            rotation: disclosure.open ? 90 : 0
            color: Theme.secondaryText
            font.pixelSize: Theme.smallSize
        }
        SurfaceButton {
            id: toggle
            compact: true
            tone: "quiet"
            text: disclosure.surface.labels.terminalFallback
            onClicked: disclosure.open = !disclosure.open
        }
    }
    Row {
        width: parent.width
        visible: disclosure.open
        spacing: 6
        SurfaceField {
            id: keys
            width: parent.width - typeButton.width - jumpButton.width - 12
            placeholderText: disclosure.surface.labels.answerHint
            onSubmitted: (text) => disclosure.surface.requestTypeText(text)
        }
        SurfaceButton {
            id: typeButton
            anchors.verticalCenter: keys.verticalCenter
            compact: true
            enabled: keys.text !== ""
            text: disclosure.surface.labels.typeWithoutReturn
            onClicked: disclosure.surface.requestTypeText(keys.text)
        }
        SurfaceButton {
            id: jumpButton
            anchors.verticalCenter: keys.verticalCenter
            compact: true
            text: disclosure.surface.labels.answerInTerminal
            onClicked: disclosure.surface.requestJump(disclosure.card.ref)
        }
    }
}
