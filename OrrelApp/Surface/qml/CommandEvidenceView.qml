import QtQuick

// The command an approval would run, with its reason and environment when the agent gave them.
Rectangle {
    id: view
    property var evidence: null
    visible: evidence !== null
    implicitHeight: column.implicitHeight + 16
    radius: Theme.smallRadius
    color: Theme.codeBackground
    border.width: 1
    border.color: Theme.separator
    Column {
        id: column
        anchors { left: parent.left; right: parent.right; top: parent.top; margins: 8 }
        spacing: 4
        SurfaceText {
            width: parent.width
            text: view.evidence?.command ?? ""
            wraps: true
            maximumLineCount: 8
            elide: Text.ElideRight
            font.family: Theme.monospace
            font.pixelSize: Theme.smallSize + 1
        }
        SurfaceText {
            width: parent.width
            visible: text !== ""
            text: view.evidence?.reason ?? ""
            wraps: true
            secondary: true
            font.pixelSize: Theme.smallSize
        }
        SurfaceText {
            width: parent.width
            visible: text !== ""
            text: view.evidence?.environment ?? ""
            color: Theme.tertiaryText
            font.pixelSize: Theme.smallSize
        }
    }
}
