import QtQuick

// Which agent the card is about: its task, project and session, and what it is doing now.
Item {
    id: header
    property var card: ({})
    implicitHeight: column.implicitHeight

    Rectangle {
        id: dot
        x: 2
        y: 7
        width: 10; height: 10; radius: 5
        color: Theme.tone(header.card.status ?? "unknown")
    }
    Column {
        id: column
        anchors { left: dot.right; leftMargin: 10; right: state.left; rightMargin: 10 }
        spacing: 2
        SurfaceText {
            width: parent.width
            text: header.card.agentTitle ?? ""
            font.pixelSize: Theme.titleSize + 1
            font.weight: Font.Bold
            Accessible.role: Accessible.Heading
        }
        SurfaceText {
            width: parent.width
            visible: text !== ""
            text: header.card.subtitle ?? ""
            secondary: true
            font.pixelSize: Theme.smallSize + 1
        }
    }
    Column {
        id: state
        anchors { right: parent.right; top: parent.top; topMargin: 2 }
        width: Math.min(Math.max(chip.implicitWidth, elapsed.implicitWidth), header.width * 0.35)
        spacing: 3
        ToneChip {
            id: chip
            anchors.right: parent.right
            width: Math.min(implicitWidth, parent.width)
            text: header.card.stateText ?? ""
            tone: header.card.status ?? "unknown"
        }
        SurfaceText {
            id: elapsed
            anchors.right: parent.right
            width: Math.min(implicitWidth, parent.width)
            visible: text !== ""
            horizontalAlignment: Text.AlignRight
            text: header.card.elapsedText ?? header.card.freshnessText ?? ""
            color: Theme.tertiaryText
            font.pixelSize: Theme.smallSize
        }
    }
}
