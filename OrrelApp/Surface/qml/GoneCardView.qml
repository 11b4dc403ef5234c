import QtQuick

// The card of an agent whose pane went away while it was open, still named as it was shown.
Column {
    id: view
    property var gone: null
    visible: gone !== null
    spacing: 6
    SurfaceText { width: parent.width; text: view.gone?.title ?? ""; font.pixelSize: Theme.titleSize; font.weight: Font.DemiBold }
    SurfaceText { width: parent.width; text: view.gone?.subtitle ?? ""; secondary: true; wraps: true }
    StatusBanner {
        width: parent.width
        tone: "quiet"
        headline: view.gone?.withdrawn ?? ""
        footnote: view.gone?.countNote ?? ""
    }
}
