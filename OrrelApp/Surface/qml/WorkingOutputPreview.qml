import QtQuick

// The last lines a working agent printed.
Column {
    id: preview
    property var surface
    property var working: null
    visible: working !== null
    spacing: 6

    Item {
        width: parent.width
        height: retry.implicitHeight
        SurfaceText {
            anchors { left: parent.left; right: retry.left; rightMargin: 8; verticalCenter: parent.verticalCenter }
            text: preview.working?.title ?? ""
            font.pixelSize: Theme.smallSize
            font.weight: Font.Bold
            color: Theme.tertiaryText
        }
        SurfaceButton {
            id: retry
            anchors.right: parent.right
            compact: true
            tone: "quiet"
            text: preview.surface.labels.retryOutput
            onClicked: preview.surface.requestRetryOutput()
        }
    }
    Rectangle {
        width: parent.width
        height: output.implicitHeight + 16
        radius: Theme.smallRadius
        color: Theme.codeBackground
        border.width: 1
        border.color: Theme.separator
        clip: true
        SurfaceText {
            id: output
            anchors { left: parent.left; right: parent.right; top: parent.top; margins: 8 }
            text: preview.working?.output ?? preview.working?.placeholder ?? ""
            wraps: true
            maximumLineCount: 12
            elide: Text.ElideLeft
            secondary: (preview.working?.output ?? null) === null
            font.family: (preview.working?.output ?? null) === null ? Qt.application.font.family : Theme.monospace
            font.pixelSize: Theme.smallSize
        }
    }
    SurfaceText {
        width: parent.width
        visible: text !== ""
        text: preview.working?.error ?? ""
        wraps: true
        color: Theme.coral
        font.pixelSize: Theme.smallSize
    }
}
