import QtQuick

// Records a shortcut for one action: a press takes the focus and starts recording, the next
// chord goes to the recorder, and losing the focus or leaving the window cancels.
Item {
    id: view

    required property QtObject recorder

    implicitWidth: Math.max(120, label.implicitWidth + 2 * Theme.padding)
    implicitHeight: 28 + (feedback.visible ? feedback.implicitHeight + Theme.spacing : 0)
    activeFocusOnTab: true
    Accessible.role: Accessible.Button
    Accessible.name: view.recorder.text

    Rectangle {
        id: well
        width: parent.width
        height: 28
        radius: Theme.smallRadius
        color: view.recorder.recording ? Theme.tinted(Theme.amber, 0.18) : Theme.field
        border.color: view.recorder.recording ? Theme.amber : Theme.separator

        SurfaceText {
            id: label
            anchors.centerIn: parent
            width: Math.min(implicitWidth, parent.width - 2 * Theme.padding)
            text: view.recorder.text
            secondary: !view.recorder.recording
        }

        MouseArea {
            anchors.fill: parent
            onPressed: {
                view.forceActiveFocus()
                view.recorder.begin()
            }
        }
    }

    SurfaceText {
        id: feedback
        anchors.top: well.bottom
        anchors.topMargin: Theme.spacing
        width: parent.width
        wraps: true
        visible: view.recorder.feedback !== ""
        text: view.recorder.feedback
        color: Theme.coral
    }

    Keys.onPressed: (event) => {
        event.accepted = view.recorder.keyPressed(event.key, event.modifiers)
    }
    onActiveFocusChanged: if (!activeFocus) view.recorder.cancel()

    Connections {
        target: view.Window.window
        function onActiveChanged() {
            if (view.Window.window && !view.Window.window.active)
                view.recorder.cancel()
        }
    }
}
