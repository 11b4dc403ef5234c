import QtQuick

// Why a jump did not bring the terminal forward, with the attach command to copy.
StatusBanner {
    id: banner
    property var surface
    property var jumpNotice: null
    visible: jumpNotice !== null
    tone: "amber"
    headline: jumpNotice?.text ?? ""
    footnote: jumpNotice?.attachCommand ?? ""
    SurfaceButton {
        visible: (banner.jumpNotice?.attachCommand ?? null) !== null
        compact: true
        text: banner.surface.labels.copyAttachCommand
        onClicked: banner.surface.requestCopyAttachCommand()
    }
    SurfaceButton {
        compact: true
        tone: "quiet"
        text: banner.surface.labels.dismissJumpNotice
        onClicked: banner.surface.requestDismissJumpNotice()
    }
}
