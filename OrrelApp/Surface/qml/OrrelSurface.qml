import QtQuick

// The panel's one root: the compact pill, the overview, or the focused card, by the surface's
// presentation. The window around it is transparent.
Item {
    id: root
    required property var surface
    required property var surfaceState

    Loader {
        anchors.fill: parent
        active: root.surface.presentation === "compact"
        sourceComponent: CompactStatusBar {
            surface: root.surface
            reduceMotion: root.surfaceState.reduceMotion
        }
    }
    Loader {
        id: overview
        anchors.fill: parent
        active: root.surface.presentation === "overview"
        sourceComponent: OrrelOverviewSurface { surface: root.surface }
    }
    Loader {
        id: focused
        anchors.fill: parent
        active: root.surface.presentation === "focused"
        sourceComponent: OrrelFocusedSurface { surface: root.surface }
    }

    // Height reports count only for the content the panel is sized for; once it is, say again.
    Connections {
        target: root.surfaceState
        function onSizingIdentityChanged() {
            if (overview.item)
                overview.item.report()
            if (focused.item)
                focused.item.report()
        }
    }
}
