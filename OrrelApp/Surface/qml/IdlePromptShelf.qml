import QtQuick

// A new task for an idle agent, sent only once the agent is confirmed idle.
Column {
    id: shelf
    property var surface
    property var idle: null
    visible: idle !== null
    spacing: 6

    SurfaceText {
        width: parent.width
        text: shelf.idle?.title ?? ""
        font.weight: Font.DemiBold
    }
    SurfaceText {
        width: parent.width
        text: shelf.idle?.detail ?? ""
        secondary: true
        font.pixelSize: Theme.smallSize
    }
    Row {
        width: parent.width
        spacing: 8
        SurfaceField {
            id: task
            width: parent.width - send.width - 8
            enabled: shelf.idle?.sending !== true
            placeholderText: shelf.surface.labels.newTaskHint
            text: shelf.idle?.draft ?? ""
            onTextEdited: shelf.surface.requestSetTaskDraft(text)
            onSubmitted: (text) => shelf.surface.requestSendTask(text)
        }
        SurfaceButton {
            id: send
            anchors.verticalCenter: task.verticalCenter
            tone: "green"
            enabled: shelf.idle?.canSend === true
            text: shelf.surface.labels.send
            onClicked: shelf.surface.requestSendTask(task.text)
        }
    }
    SurfaceText {
        width: parent.width
        visible: text !== ""
        text: shelf.idle?.sendingText ?? ""
        color: Theme.amber
        font.pixelSize: Theme.smallSize
    }
    SurfaceText {
        width: parent.width
        visible: text !== ""
        text: shelf.idle?.error ?? ""
        wraps: true
        color: Theme.coral
        font.pixelSize: Theme.smallSize
    }
}
