import QtQuick

// Interrupting a working agent: one Escape, and only after the person confirms.
Column {
    id: shelf
    property var surface
    property var working: null
    property string ref: ""
    property bool confirming: false
    visible: working !== null
    spacing: 8

    onRefChanged: confirming = false

    Row {
        width: parent.width
        visible: !shelf.confirming
        layoutDirection: Qt.RightToLeft
        spacing: 8
        SurfaceButton {
            id: interrupt
            tone: "hot"
            enabled: shelf.working?.canInterrupt === true
            text: shelf.surface.labels.interrupt
            help: shelf.surface.labels.interruptHelp
            onClicked: shelf.confirming = true
        }
        SurfaceText {
            width: parent.width - interrupt.width - 8
            anchors.verticalCenter: interrupt.verticalCenter
            visible: shelf.working?.interrupting === true
            horizontalAlignment: Text.AlignRight
            text: shelf.working?.interruptingText ?? ""
            color: Theme.amber
            font.pixelSize: Theme.smallSize
        }
    }
    StatusBanner {
        width: parent.width
        visible: shelf.confirming
        tone: "hot"
        headline: shelf.working?.confirmTitle ?? ""
        detail: shelf.working?.confirmText ?? ""
        SurfaceButton {
            tone: "hot"
            compact: true
            text: shelf.surface.labels.confirmInterrupt
            help: shelf.surface.labels.confirmInterruptHelp
            onClicked: {
                shelf.confirming = false
                shelf.surface.requestInterrupt(shelf.ref)
            }
        }
        SurfaceButton {
            tone: "quiet"
            compact: true
            text: shelf.surface.labels.keepWorking
            onClicked: shelf.confirming = false
        }
    }
}
