import QtQuick
import QtQuick.Layouts

// A notice in the card or the overview: a coloured edge, its lines, and optional actions below.
Rectangle {
    id: banner
    property string tone: "quiet"
    property string headline: ""
    property string detail: ""
    property string footnote: ""
    default property alias actions: actionRow.data

    implicitHeight: column.implicitHeight + 16
    radius: Theme.smallRadius
    color: Theme.tinted(Theme.tone(tone), 0.12)
    border.width: 1
    border.color: Theme.tinted(Theme.tone(tone), 0.3)

    ColumnLayout {
        id: column
        anchors { left: parent.left; right: parent.right; top: parent.top; margins: 8 }
        anchors.leftMargin: 12
        spacing: 4
        SurfaceText {
            Layout.fillWidth: true
            visible: banner.headline !== ""
            text: banner.headline
            wraps: true
            font.weight: Font.DemiBold
            color: banner.tone === "quiet" ? Theme.text : Theme.tone(banner.tone)
        }
        SurfaceText {
            Layout.fillWidth: true
            visible: banner.detail !== ""
            text: banner.detail
            wraps: true
        }
        SurfaceText {
            Layout.fillWidth: true
            visible: banner.footnote !== ""
            text: banner.footnote
            secondary: true
            wraps: true
            font.pixelSize: Theme.smallSize
        }
        Flow {
            id: actionRow
            Layout.fillWidth: true
            visible: children.length > 0
            spacing: 6
        }
    }
}
