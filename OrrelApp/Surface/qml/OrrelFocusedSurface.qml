import QtQuick
import QtQuick.Controls.Basic

// The card of one agent: who it is, what it asks, and the shelf of what can be done about it.
// Reports the height its content and its shelf need.
Item {
    id: focused
    property var surface
    readonly property var card: surface.card
    readonly property int inset: 14

    PanelBackground { anchors.fill: parent }

    Column {
        id: top
        x: focused.inset
        y: focused.inset - 4
        width: parent.width - 2 * focused.inset
        spacing: 8
        ExpandedOrrelHeader {
            width: parent.width
            surface: focused.surface
            card: focused.card
        }
        FocusedSessionHeader {
            width: parent.width
            visible: (focused.card.agentTitle ?? null) !== null
            card: focused.card
        }
        Rectangle { width: parent.width; height: 1; color: Theme.separator }
    }

    Flickable {
        id: scroller
        anchors { left: parent.left; right: parent.right; top: top.bottom; topMargin: 10; bottom: shelfArea.top; bottomMargin: shelfArea.visible ? 8 : focused.inset }
        contentWidth: width
        contentHeight: content.implicitHeight
        clip: true
        boundsBehavior: Flickable.StopAtBounds
        interactive: contentHeight > height
        ScrollIndicator.vertical: ScrollIndicator {}
        FocusedPaneContent {
            id: content
            x: focused.inset
            width: scroller.width - 2 * focused.inset
            surface: focused.surface
            card: focused.card
        }
    }

    Item {
        id: shelfArea
        readonly property real shelfHeight: visible ? shelf.implicitHeight + 8 + focused.inset : 0
        visible: shelf.visibleChildren.length > 0
        anchors { left: parent.left; right: parent.right; bottom: parent.bottom }
        height: shelfHeight
        Rectangle { width: parent.width; height: 1; color: Theme.separator }
        Column {
            id: shelf
            x: focused.inset
            y: 8
            width: parent.width - 2 * focused.inset
            InteractionActionShelf {
                width: parent.width
                visible: focused.card.content === "prompt"
                surface: focused.surface
                card: focused.card
            }
            IdlePromptShelf {
                width: parent.width
                surface: focused.surface
                idle: focused.card.idleShelf ?? null
            }
            WorkingAgentActionShelf {
                width: parent.width
                surface: focused.surface
                working: focused.card.working ?? null
                ref: focused.card.ref ?? ""
            }
        }
    }

    readonly property real chromeAndContent: top.y + top.implicitHeight + 10 + content.implicitHeight + (shelfArea.visible ? 8 : focused.inset)
    function report() { surface.reportFocusedHeight(chromeAndContent, shelfArea.shelfHeight) }
    onChromeAndContentChanged: report()
    Connections { target: shelfArea; function onShelfHeightChanged() { focused.report() } }
    // Another agent's card in the same shape: its height counts under its own identity.
    Connections { target: focused.surface; function onFocusedIdentityChanged() { focused.report() } }
    Component.onCompleted: report()
}
