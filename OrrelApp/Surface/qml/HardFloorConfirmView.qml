import QtQuick

// A dangerous approval loses its shortcuts: the person types the target to arm it.
Rectangle {
    id: view
    property var surface
    property var floor: null
    visible: floor !== null
    implicitHeight: column.implicitHeight + 20
    radius: Theme.smallRadius
    color: Theme.tinted(Theme.coral, floor?.armed === true ? 0.06 : 0.12)
    border.width: 1
    border.color: Theme.tinted(Theme.coral, 0.4)

    Column {
        id: column
        anchors { left: parent.left; right: parent.right; top: parent.top; margins: 10 }
        spacing: 8
        Row {
            width: parent.width
            spacing: 8
            ToneChip {
                id: category
                text: view.floor?.categoryTitle ?? ""
                tone: "hot"
            }
            SurfaceText {
                width: parent.width - category.width - 8
                anchors.verticalCenter: category.verticalCenter
                text: view.floor?.evidence ?? ""
                font.family: Theme.monospace
                font.pixelSize: Theme.smallSize
                secondary: true
            }
        }
        SurfaceText {
            width: parent.width
            text: view.floor?.instruction ?? ""
            wraps: true
            color: view.floor?.armed === true ? Theme.green : Theme.text
        }
        SurfaceField {
            id: field
            width: parent.width
            placeholderText: view.surface.labels.floorHint
            font.family: Theme.monospace
            text: view.floor?.typed ?? ""
            onTextEdited: view.surface.requestArmFloor(text)
        }
        HardFloorActions {
            width: parent.width
            visible: view.floor?.isApproval === true
            surface: view.surface
            floor: view.floor
        }
    }
}
