import QtQuick

// A worker's question that reaches the person through its orchestrator. The answer goes to the
// recorded origin as one message, and only while delivery is confirmed.
Rectangle {
    id: card
    property var surface
    property var escalation: null
    property string ref: ""
    visible: escalation !== null
    implicitHeight: column.implicitHeight + 24
    radius: Theme.smallRadius
    color: Theme.tinted(Theme.coral, 0.07)
    border.width: 1
    border.color: Theme.tinted(Theme.coral, 0.3)

    Column {
        id: column
        anchors { left: parent.left; right: parent.right; top: parent.top; margins: 12 }
        spacing: 8
        SurfaceText {
            width: parent.width
            text: card.escalation?.workerLine ?? ""
            wraps: true
            color: Theme.tertiaryText
            font.pixelSize: Theme.smallSize
        }
        SurfaceText {
            width: parent.width
            text: card.escalation?.header ?? ""
            font.pixelSize: Theme.smallSize
            font.weight: Font.Bold
            color: Theme.coral
        }
        SurfaceText {
            width: parent.width
            text: card.escalation?.question ?? ""
            wraps: true
            font.pixelSize: Theme.titleSize
            font.weight: Font.DemiBold
        }
        Column {
            width: parent.width
            spacing: 6
            Repeater {
                model: card.escalation?.options ?? []
                delegate: PiChoiceRow {
                    required property var modelData
                    width: column.width
                    surface: card.surface
                    option: modelData
                    actionable: card.escalation?.canAnswer === true
                }
            }
        }
        Row {
            width: parent.width
            visible: card.escalation?.canAnswer === true && (card.escalation?.sentAnswer ?? null) === null
            spacing: 8
            SurfaceField {
                id: answer
                width: parent.width - send.width - 8
                placeholderText: card.surface.labels.escalationHint
                onSubmitted: (text) => card.surface.requestAnswerEscalation(text)
            }
            SurfaceButton {
                id: send
                anchors.verticalCenter: answer.verticalCenter
                tone: "hot"
                enabled: answer.text.trim() !== ""
                text: card.surface.labels.send
                onClicked: card.surface.requestAnswerEscalation(answer.text)
            }
        }
        SurfaceText {
            width: parent.width
            visible: text !== ""
            text: card.escalation?.deliveryNote ?? ""
            wraps: true
            color: Theme.tertiaryText
            font.pixelSize: Theme.smallSize
        }
        StatusBanner {
            width: parent.width
            visible: headline !== ""
            tone: "green"
            headline: card.escalation?.sentLine ?? card.escalation?.statusLine ?? ""
            detail: card.escalation?.sentLine ? (card.escalation?.statusLine ?? "") : ""
            footnote: card.escalation?.sentNote ?? ""
        }
        StatusBanner {
            width: parent.width
            visible: headline !== ""
            tone: "hot"
            headline: card.escalation?.error ?? ""
        }
        StatusBanner {
            width: parent.width
            visible: headline !== ""
            tone: "amber"
            headline: card.escalation?.unanswerableNote ?? ""
            footnote: card.escalation?.canAnswer === true ? "" : (card.escalation?.status ?? "")
            SurfaceButton {
                compact: true
                text: card.surface.labels.jump
                onClicked: card.surface.requestJump(card.ref)
            }
        }
    }
}
