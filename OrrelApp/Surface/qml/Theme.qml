pragma Singleton
import QtQuick

// The surface's look: a dark translucent panel, coral for what needs the person, amber for what
// waits, green for what works or is done, grey for what is quiet.
QtObject {
    readonly property color panel: "#EB121214"
    readonly property color panelBorder: "#26FFFFFF"
    readonly property color raised: "#1CFFFFFF"
    readonly property color raisedHover: "#2BFFFFFF"
    readonly property color field: "#12FFFFFF"
    readonly property color separator: "#1AFFFFFF"
    readonly property color text: "#F2F2F7"
    readonly property color secondaryText: "#A1A1AA"
    readonly property color tertiaryText: "#6E6E76"
    readonly property color coral: "#FF6F61"
    readonly property color amber: "#FFB547"
    readonly property color green: "#4CD07D"
    readonly property color grey: "#8E8E93"
    readonly property color codeBackground: "#0DFFFFFF"

    readonly property int radius: 14
    readonly property int smallRadius: 8
    readonly property int padding: 14
    readonly property int spacing: 8
    readonly property int titleSize: 15
    readonly property int bodySize: 13
    readonly property int smallSize: 11
    readonly property string monospace: "DejaVu Sans Mono"

    function tone(name) {
        switch (name) {
        case "hot": case "blocked": return coral
        case "amber": return amber
        case "green": case "working": case "done": return green
        default: return grey
        }
    }

    function tinted(colour, alpha) {
        return Qt.rgba(colour.r, colour.g, colour.b, alpha)
    }
}
