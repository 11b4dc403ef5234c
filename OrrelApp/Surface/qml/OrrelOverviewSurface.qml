import QtQuick
import QtQuick.Controls.Basic

// Every agent at a glance, or the state that stands in for the board: still checking, herdr out
// of reach, or no agent yet. Reports the height its content needs.
Item {
    id: overview
    property var surface
    readonly property var model: surface.overview
    readonly property int inset: 12

    PanelBackground { anchors.fill: parent }

    Flickable {
        id: scroller
        anchors.fill: parent
        anchors.topMargin: overview.inset
        anchors.bottomMargin: overview.inset
        contentWidth: width
        contentHeight: content.implicitHeight
        clip: true
        boundsBehavior: Flickable.StopAtBounds
        interactive: contentHeight > height
        ScrollIndicator.vertical: ScrollIndicator {}

        Column {
            id: content
            x: overview.inset
            width: scroller.width - 2 * overview.inset
            spacing: 10

            Item {
                width: parent.width
                height: 24
                SurfaceText {
                    anchors { left: parent.left; leftMargin: 10; right: count.left; rightMargin: 8; verticalCenter: parent.verticalCenter }
                    text: overview.surface.labels.overviewTitle
                    font.pixelSize: Theme.titleSize
                    font.weight: Font.Bold
                    Accessible.role: Accessible.Heading
                }
                ToneChip {
                    id: count
                    anchors { right: parent.right; rightMargin: 6; verticalCenter: parent.verticalCenter }
                    text: overview.model.agentCount > 0 ? String(overview.model.agentCount) : ""
                    tone: overview.surface.pill.status ?? "quiet"
                }
            }

            StatusBanner {
                width: parent.width
                visible: (overview.model.hotkeyNotice ?? null) !== null
                tone: "amber"
                headline: overview.model.hotkeyNotice ?? ""
            }
            JumpNoticeBanner {
                width: parent.width
                surface: overview.surface
                jumpNotice: overview.model.jumpNotice ?? null
            }

            Column {
                width: parent.width
                visible: overview.model.state !== "board"
                topPadding: 18
                bottomPadding: 18
                spacing: 6
                SurfaceText {
                    width: parent.width
                    horizontalAlignment: Text.AlignHCenter
                    text: overview.model.headline ?? ""
                    wraps: true
                    font.weight: overview.model.state === "checking" ? Font.Bold : Font.DemiBold
                    font.letterSpacing: overview.model.state === "checking" ? 1.2 : 0
                    color: overview.model.state === "unreachable" ? Theme.coral
                         : overview.model.state === "checking" ? Theme.secondaryText : Theme.text
                }
                SurfaceText {
                    width: parent.width
                    visible: text !== ""
                    horizontalAlignment: Text.AlignHCenter
                    text: overview.model.detail ?? ""
                    secondary: true
                    font.pixelSize: Theme.smallSize
                    font.family: Theme.monospace
                }
                SurfaceText {
                    width: parent.width
                    visible: text !== ""
                    horizontalAlignment: Text.AlignHCenter
                    text: overview.model.footnote ?? ""
                    color: Theme.tertiaryText
                    font.pixelSize: Theme.smallSize
                }
            }

            AttentionBoardView {
                width: parent.width
                visible: overview.model.state === "board"
                surface: overview.surface
                model: overview.model.board ?? ({})
            }
        }
    }

    readonly property real contentHeight: content.implicitHeight + 2 * inset
    function report() { surface.reportOverviewHeight(contentHeight) }
    onContentHeightChanged: report()
    Component.onCompleted: report()
}
