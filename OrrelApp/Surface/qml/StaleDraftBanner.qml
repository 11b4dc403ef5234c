import QtQuick

// A draft typed for an earlier prompt is never offered again until the person says so.
StatusBanner {
    id: banner
    property var surface
    property var staleDraft: null
    visible: staleDraft !== null
    tone: "amber"
    headline: staleDraft?.text ?? ""
    footnote: staleDraft?.draft ?? ""
    SurfaceButton {
        compact: true
        text: banner.surface.labels.reuseDraft
        onClicked: banner.surface.requestReuseDraft()
    }
    SurfaceButton {
        compact: true
        tone: "quiet"
        text: banner.surface.labels.discardDraft
        onClicked: banner.surface.requestDiscardDraft()
    }
}
