import QtQuick

// What the card shows under its header: the notices first, then the prompt, or what stands in
// its place.
Column {
    id: content
    property var surface
    property var card: ({})
    spacing: 10

    GoneCardView {
        width: parent.width
        gone: content.card.goneCard ?? null
    }
    StatusBanner {
        width: parent.width
        visible: (content.card.receipt ?? null) !== null
        tone: "green"
        headline: content.card.receipt?.headline ?? ""
        detail: content.card.receipt?.detail ?? ""
        footnote: content.card.receipt?.footnote ?? ""
        SurfaceButton {
            compact: true
            tone: "green"
            text: content.surface.labels.dismissReceipt
            onClicked: content.surface.requestDismissReceipt()
        }
    }
    StatusBanner {
        width: parent.width
        visible: headline !== ""
        tone: "hot"
        headline: content.card.refusalNotice ?? ""
    }
    StatusBanner {
        width: parent.width
        visible: headline !== ""
        tone: "amber"
        headline: content.card.changingNotice ?? ""
        detail: content.card.changedUnderYou ?? ""
        SurfaceButton {
            compact: true
            text: content.surface.labels.reRead
            onClicked: content.surface.requestReRead()
        }
    }
    StatusBanner {
        width: parent.width
        visible: headline !== ""
        tone: "hot"
        headline: content.card.interruptError ?? ""
    }
    JumpNoticeBanner {
        width: parent.width
        surface: content.surface
        jumpNotice: content.card.jumpNotice ?? null
    }
    StaleDraftBanner {
        width: parent.width
        surface: content.surface
        staleDraft: content.card.staleDraft ?? null
    }

    SurfaceText {
        width: parent.width
        visible: text !== ""
        topPadding: 16
        bottomPadding: 16
        horizontalAlignment: Text.AlignHCenter
        text: content.card.contentText ?? ""
        wraps: true
        secondary: true
    }
    InteractionDetailView {
        width: parent.width
        visible: content.card.content === "prompt"
        surface: content.surface
        card: content.card
    }
    EscalationCardView {
        width: parent.width
        surface: content.surface
        escalation: content.card.escalation ?? null
        ref: content.card.ref ?? ""
    }
    WorkingOutputPreview {
        width: parent.width
        surface: content.surface
        working: content.card.working ?? null
    }
}
