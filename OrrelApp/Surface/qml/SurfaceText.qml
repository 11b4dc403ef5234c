import QtQuick

// One line or a wrapped paragraph of the surface; long words break rather than overflow.
Text {
    property bool secondary: false
    property bool wraps: false
    color: secondary ? Theme.secondaryText : Theme.text
    font.pixelSize: Theme.bodySize
    elide: wraps ? Text.ElideNone : Text.ElideRight
    wrapMode: wraps ? Text.Wrap : Text.NoWrap
    maximumLineCount: wraps ? 40 : 1
    textFormat: Text.PlainText
    Accessible.role: Accessible.StaticText
    Accessible.name: text
}
