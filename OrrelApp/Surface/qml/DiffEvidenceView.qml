import QtQuick

// The edit an approval would make, line by line.
Rectangle {
    id: view
    property var evidence: null
    visible: evidence !== null
    implicitHeight: column.implicitHeight + 16
    radius: Theme.smallRadius
    color: Theme.codeBackground
    border.width: 1
    border.color: Theme.separator
    clip: true
    Column {
        id: column
        anchors { left: parent.left; right: parent.right; top: parent.top; margins: 8 }
        spacing: 1
        SurfaceText {
            width: parent.width
            bottomPadding: 4
            text: view.evidence?.title ?? ""
            font.pixelSize: Theme.smallSize
            font.weight: Font.DemiBold
            elide: Text.ElideMiddle
        }
        Repeater {
            model: (view.evidence?.lines ?? []).slice(0, 40)
            delegate: Rectangle {
                id: diffLine
                required property var modelData
                width: column.width
                height: line.implicitHeight + 2
                color: modelData.kind === "addition" ? Theme.tinted(Theme.green, 0.12)
                     : modelData.kind === "removal" ? Theme.tinted(Theme.coral, 0.12) : "transparent"
                Text {
                    id: number
                    width: 30
                    anchors.verticalCenter: parent.verticalCenter
                    horizontalAlignment: Text.AlignRight
                    text: diffLine.modelData.lineNumber
                    color: Theme.tertiaryText
                    font.family: Theme.monospace
                    font.pixelSize: Theme.smallSize
                }
                Text {
                    id: line
                    anchors { left: number.right; leftMargin: 6; right: parent.right; verticalCenter: parent.verticalCenter }
                    text: diffLine.modelData.display
                    textFormat: Text.PlainText
                    elide: Text.ElideRight
                    color: diffLine.modelData.kind === "addition" ? Theme.green
                         : diffLine.modelData.kind === "removal" ? Theme.coral : Theme.secondaryText
                    font.family: Theme.monospace
                    font.pixelSize: Theme.smallSize
                }
            }
        }
    }
}
