import QtQuick

// Under the prompt: read it again, or fall back to the terminal.
Column {
    id: shelf
    property var surface
    property var card: ({})
    spacing: 8

    SurfaceText {
        width: parent.width
        visible: text !== ""
        text: shelf.card.shelfNotice ?? ""
        wraps: true
        secondary: true
        font.pixelSize: Theme.smallSize
    }
    Item {
        width: parent.width
        height: fallback.implicitHeight
        TerminalFallbackDisclosure {
            id: fallback
            width: parent.width - reRead.width - 8
            surface: shelf.surface
            card: shelf.card
        }
        SurfaceButton {
            id: reRead
            anchors.right: parent.right
            compact: true
            text: shelf.surface.labels.reRead
            onClicked: shelf.surface.requestReRead()
        }
    }
}
