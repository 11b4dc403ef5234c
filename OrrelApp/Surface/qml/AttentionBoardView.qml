import QtQuick

// The board of the overview: who needs the person, who waits out the grace, the rest, and what
// is hidden or can no longer be answered.
Column {
    id: board
    property var surface
    property var model: ({})
    spacing: 10

    Repeater {
        model: board.model.sections ?? []
        delegate: Column {
            id: section
            required property var modelData
            width: board.width
            spacing: 2
            SurfaceText {
                width: parent.width
                leftPadding: 10
                text: section.modelData.title
                font.pixelSize: Theme.smallSize
                font.weight: Font.Bold
                font.letterSpacing: 0.4
                color: section.modelData.key === "needsYou" ? Theme.coral : Theme.tertiaryText
                Accessible.role: Accessible.Heading
            }
            Repeater {
                model: section.modelData.rows
                delegate: AttentionRow {
                    required property var modelData
                    width: section.width
                    surface: board.surface
                    entry: modelData
                    showsWorkerToggle: section.modelData.key === "rest"
                }
            }
        }
    }

    SurfaceText {
        width: parent.width
        leftPadding: 10
        visible: text !== ""
        text: board.model.hiddenLine ?? ""
        secondary: true
        font.pixelSize: Theme.smallSize
    }
    SurfaceText {
        width: parent.width
        leftPadding: 10
        visible: text !== ""
        text: board.model.workersNote ?? ""
        color: Theme.tertiaryText
        font.pixelSize: Theme.smallSize
        wraps: true
    }
}
