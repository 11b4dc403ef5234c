import QtQuick
import QtQuick.Controls.Basic

// A button of the surface. `tone` colours it: "" plain, "hot" coral, "green", "quiet" text only.
Rectangle {
    id: button
    property alias text: label.text
    property string tone: ""
    property string help: ""
    property bool compact: false
    signal clicked()

    readonly property color accent: tone === "" ? Theme.text : Theme.tone(tone)
    implicitWidth: Math.min(label.implicitWidth + (compact ? 16 : 24), 320)
    implicitHeight: compact ? 24 : 30
    radius: height / 2
    opacity: enabled ? 1 : 0.4
    color: tone === "quiet" ? "transparent"
         : mouse.containsMouse && enabled ? Theme.tinted(accent, 0.26) : Theme.tinted(accent, 0.16)
    border.width: tone === "quiet" ? 0 : 1
    border.color: Theme.tinted(accent, 0.35)

    Text {
        id: label
        anchors.fill: parent
        anchors.leftMargin: button.compact ? 8 : 12
        anchors.rightMargin: anchors.leftMargin
        horizontalAlignment: Text.AlignHCenter
        verticalAlignment: Text.AlignVCenter
        elide: Text.ElideRight
        textFormat: Text.PlainText
        color: button.tone === "quiet" ? Theme.secondaryText : button.accent
        font.pixelSize: button.compact ? Theme.smallSize : Theme.bodySize
        font.weight: Font.DemiBold
    }

    MouseArea {
        id: mouse
        anchors.fill: parent
        hoverEnabled: true
        enabled: button.enabled
        cursorShape: Qt.PointingHandCursor
        onClicked: button.clicked()
    }

    ToolTip.visible: help !== "" && mouse.containsMouse
    ToolTip.text: help
    ToolTip.delay: 600

    Accessible.role: Accessible.Button
    Accessible.name: text
    Accessible.description: help
    Accessible.onPressAction: if (enabled) clicked()
}
