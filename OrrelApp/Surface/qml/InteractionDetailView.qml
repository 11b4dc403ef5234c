import QtQuick

// The live prompt: its place in a wizard, its question, what it would run or change, the
// choices, and the text entry. Every answer is checked against a fresh read before it goes out.
Column {
    id: detail
    property var surface
    property var card: ({})
    readonly property var floor: card.hardFloor ?? null
    // A question under a hard floor keeps its options locked until the target is typed.
    readonly property bool choicesLocked: floor !== null && floor.armed !== true
    spacing: 10

    Row {
        width: parent.width
        spacing: 8
        ToneChip {
            id: live
            text: detail.card.liveStatus ?? ""
            tone: detail.card.liveStatusTone ?? "quiet"
            ToolTipArea { anchors.fill: parent; help: detail.card.liveStatusHelp ?? "" }
        }
        SurfaceText {
            width: parent.width - live.width - 8
            anchors.verticalCenter: live.verticalCenter
            visible: text !== ""
            text: detail.card.progressText ?? ""
            secondary: true
            font.pixelSize: Theme.smallSize
        }
    }

    Flow {
        width: parent.width
        visible: (detail.card.steps ?? []).length > 0
        spacing: 6
        Accessible.role: Accessible.PageTabList
        Accessible.name: detail.surface.labels.questionNavigation
        SurfaceButton {
            visible: detail.card.canGoBack === true
            compact: true
            tone: "quiet"
            text: detail.surface.labels.previousQuestion
            Accessible.name: detail.surface.labels.previousQuestionName
            onClicked: detail.surface.requestNavigateStep(-1)
        }
        Repeater {
            model: detail.card.steps ?? []
            delegate: ToneChip {
                required property var modelData
                width: Math.min(implicitWidth, detail.width)
                text: modelData.display
                tone: modelData.isActive ? "hot" : modelData.isAnswered ? "green" : "quiet"
            }
        }
    }

    SurfaceText {
        width: parent.width
        visible: text !== ""
        text: detail.card.header ?? ""
        font.pixelSize: Theme.smallSize
        font.weight: Font.Bold
        color: Theme.coral
    }
    SurfaceText {
        width: parent.width
        visible: text !== ""
        text: detail.card.title ?? ""
        wraps: true
        font.pixelSize: Theme.titleSize
        font.weight: Font.DemiBold
    }
    SurfaceText {
        width: parent.width
        visible: text !== "" && detail.card.showsBody === true
        text: detail.card.body ?? ""
        wraps: true
        maximumLineCount: 14
        elide: Text.ElideRight
        secondary: true
    }
    SurfaceText {
        width: parent.width
        visible: text !== ""
        text: detail.card.userContextLine ?? ""
        wraps: true
        maximumLineCount: 3
        elide: Text.ElideRight
        color: Theme.tertiaryText
        font.pixelSize: Theme.smallSize
    }

    CommandEvidenceView {
        width: parent.width
        evidence: detail.card.command ?? null
    }
    DiffEvidenceView {
        width: parent.width
        evidence: detail.card.diff ?? null
    }

    StatusBanner {
        width: parent.width
        visible: headline !== ""
        tone: "amber"
        headline: detail.card.unstructuredNotice ?? ""
    }

    HardFloorConfirmView {
        width: parent.width
        surface: detail.surface
        floor: detail.floor
    }

    Column {
        width: parent.width
        spacing: 6
        Repeater {
            model: detail.card.choices ?? []
            delegate: InteractionChoiceButton {
                required property var modelData
                width: detail.width
                surface: detail.surface
                choice: modelData
                actionable: detail.card.choicesAreActionable === true
                locked: detail.choicesLocked
            }
        }
    }

    SurfaceText {
        width: parent.width
        visible: text !== ""
        text: detail.card.reviewLine ?? ""
        wraps: true
        secondary: true
    }

    Row {
        width: parent.width
        visible: detail.card.showsTextEntry === true
        spacing: 8
        SurfaceField {
            id: answer
            width: parent.width - send.width - 8
            placeholderText: detail.surface.labels.answerHint
            text: detail.card.draftText ?? ""
            onTextEdited: detail.surface.requestSetDraft(text)
            onSubmitted: (text) => detail.surface.requestReply(text)
        }
        SurfaceButton {
            id: send
            anchors.verticalCenter: answer.verticalCenter
            tone: "hot"
            text: detail.surface.labels.send
            enabled: answer.text.trim() !== ""
            onClicked: detail.surface.requestReply(answer.text)
        }
    }

    Flow {
        width: parent.width
        spacing: 6
        SurfaceButton {
            visible: detail.card.showsExplicitSubmit === true
            tone: "hot"
            text: detail.surface.labels.submitAnswers
            help: detail.surface.labels.submitAnswersHelp
            onClicked: detail.surface.requestSubmitAnswers()
        }
        SurfaceButton {
            visible: detail.card.showsBeginTextEntry === true
            compact: true
            text: detail.surface.labels.addTextResponse
            onClicked: detail.surface.requestBeginTextEntry()
        }
        SurfaceButton {
            visible: detail.card.showsTextEntry === true && (detail.card.choices ?? []).length > 0
            compact: true
            tone: "quiet"
            text: detail.surface.labels.backToChoices
            onClicked: detail.surface.requestBackToChoices()
        }
        SurfaceButton {
            visible: detail.card.showsCancel === true && (detail.card.steps ?? []).length > 0
            compact: true
            tone: "quiet"
            text: detail.surface.labels.cancelQuestionFlow
            onClicked: detail.surface.requestCancelQuestion()
        }
    }

    SurfaceText {
        width: parent.width
        visible: text !== ""
        text: detail.card.supportMessage ?? ""
        wraps: true
        color: Theme.tertiaryText
        font.pixelSize: Theme.smallSize
    }
}
