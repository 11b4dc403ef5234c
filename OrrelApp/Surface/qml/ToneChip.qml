import QtQuick

// A small rounded label in the colour of a tone or a status.
Rectangle {
    id: chip
    property string text: ""
    property string tone: "quiet"
    implicitWidth: Math.min(label.implicitWidth + 14, 200)
    implicitHeight: 20
    radius: 10
    color: Theme.tinted(Theme.tone(tone), 0.16)
    visible: text !== ""
    Text {
        id: label
        anchors.fill: parent
        anchors.leftMargin: 7
        anchors.rightMargin: 7
        verticalAlignment: Text.AlignVCenter
        horizontalAlignment: Text.AlignHCenter
        elide: Text.ElideRight
        textFormat: Text.PlainText
        text: chip.text
        color: Theme.tone(chip.tone)
        font.pixelSize: Theme.smallSize
        font.weight: Font.DemiBold
    }
    Accessible.role: Accessible.StaticText
    Accessible.name: text
}
