#pragma once

#include "HerdrClient/State/AgentRef.h"

#include <QCoroTask>
#include <QObject>
#include <QPoint>
#include <QPointer>
#include <QString>
#include <QTimer>
#include <QVariantMap>

#include <functional>
#include <optional>

class OrrelSurfaceState;
class OrrelViewModel;

// What the surface's views bind to, and the one road of every action. It projects the view model
// into final texts (SurfaceProjection) and tells only of what changed. A click and a script take
// the same path: each action is a task that ends with nothing when it was done, or with the
// sentence that says why not; for QML each has a `request…` twin that starts it.
//
// Main thread only. The model and the surface state must outlive it.
class OrrelSurfaceModel : public QObject {
    Q_OBJECT
    Q_PROPERTY(QString presentation READ presentation NOTIFY presentationChanged)
    Q_PROPERTY(QString selected READ selected NOTIFY selectedChanged)
    Q_PROPERTY(QVariantMap pill READ pill NOTIFY pillChanged)
    Q_PROPERTY(QVariantMap overview READ overview NOTIFY overviewChanged)
    Q_PROPERTY(QVariantMap card READ card NOTIFY cardChanged)
    Q_PROPERTY(QString focusedIdentity READ focusedIdentity NOTIFY focusedIdentityChanged)
    Q_PROPERTY(QVariantMap labels READ labels CONSTANT)
    Q_PROPERTY(QVariantMap tones READ tones CONSTANT)

public:
    using Outcome = std::optional<QString>;
    // Where "Copy attach command" puts its text; the system clipboard unless a test says otherwise.
    using CopyText = std::function<void(const QString&)>;

    OrrelSurfaceModel(OrrelViewModel& model, OrrelSurfaceState& surfaceState,
                      QObject* parent = nullptr);
    ~OrrelSurfaceModel() override;

    QString presentation() const { return m_presentation; }
    QString selected() const { return m_selected; }
    QVariantMap pill() const { return m_pill; }
    QVariantMap overview() const { return m_overview; }
    QVariantMap card() const { return m_card; }
    QString focusedIdentity() const { return m_focusedIdentity; }
    QVariantMap labels() const;
    QVariantMap tones() const;

    void setCopyText(CopyText copy) { m_copyText = std::move(copy); }
    // Projects everything again now, what is hidden too; what is unchanged is not announced.
    void refresh() { project(true); }

    // --- Shape and selection.
    QCoro::Task<Outcome> toggle();
    QCoro::Task<Outcome> showOverview();
    QCoro::Task<Outcome> collapse();
    // Opens the agent's card, or goes back to the overview when that card is open.
    QCoro::Task<Outcome> select(AgentRef ref);
    QCoro::Task<Outcome> selectAdjacent(int offset);
    QCoro::Task<Outcome> toggleWorkers(AgentRef ref);

    // --- Answers to the selected agent's prompt.
    QCoro::Task<Outcome> answer(qint64 index);
    QCoro::Task<Outcome> approve();
    QCoro::Task<Outcome> deny();
    QCoro::Task<Outcome> answerRecommended();
    QCoro::Task<Outcome> setChecked(qint64 index, bool checked);
    QCoro::Task<Outcome> navigateStep(int direction);
    QCoro::Task<Outcome> beginTextEntry();
    QCoro::Task<Outcome> backToChoices();
    QCoro::Task<Outcome> submitAnswers();
    QCoro::Task<Outcome> cancelQuestion();
    QCoro::Task<Outcome> reply(QString text);
    QCoro::Task<Outcome> typeText(QString text);
    // Records the typing toward the hard floor's target; done once it arms the floor.
    QCoro::Task<Outcome> armFloor(QString text);
    QCoro::Task<Outcome> setDraft(QString text);
    QCoro::Task<Outcome> reuseDraft();
    QCoro::Task<Outcome> discardDraft();
    QCoro::Task<Outcome> reRead();
    QCoro::Task<Outcome> cycleMode();
    QCoro::Task<Outcome> answerEscalation(QString text);

    // --- The shelves and notices.
    QCoro::Task<Outcome> setTaskDraft(QString text);
    QCoro::Task<Outcome> sendTask(QString text);
    QCoro::Task<Outcome> retryOutput();
    QCoro::Task<Outcome> interrupt(AgentRef ref);
    QCoro::Task<Outcome> jump(AgentRef ref);
    QCoro::Task<Outcome> dismissReceipt();
    QCoro::Task<Outcome> copyAttachCommand();
    QCoro::Task<Outcome> dismissJumpNotice();

    // --- For QML: each starts its task above and leaves the outcome to the card's notices.
    Q_INVOKABLE void requestToggle();
    Q_INVOKABLE void requestShowOverview();
    Q_INVOKABLE void requestCollapse();
    Q_INVOKABLE void requestSelect(const QString& ref);
    Q_INVOKABLE void requestToggleWorkers(const QString& ref);
    Q_INVOKABLE void requestAnswer(qint64 index);
    Q_INVOKABLE void requestApprove();
    Q_INVOKABLE void requestDeny();
    Q_INVOKABLE void requestAnswerRecommended();
    Q_INVOKABLE void requestSetChecked(qint64 index, bool checked);
    Q_INVOKABLE void requestNavigateStep(int direction);
    Q_INVOKABLE void requestBeginTextEntry();
    Q_INVOKABLE void requestBackToChoices();
    Q_INVOKABLE void requestSubmitAnswers();
    Q_INVOKABLE void requestCancelQuestion();
    Q_INVOKABLE void requestReply(const QString& text);
    Q_INVOKABLE void requestTypeText(const QString& text);
    Q_INVOKABLE void requestArmFloor(const QString& text);
    Q_INVOKABLE void requestSetDraft(const QString& text);
    Q_INVOKABLE void requestReuseDraft();
    Q_INVOKABLE void requestDiscardDraft();
    Q_INVOKABLE void requestReRead();
    Q_INVOKABLE void requestCycleMode();
    Q_INVOKABLE void requestAnswerEscalation(const QString& text);
    Q_INVOKABLE void requestSetTaskDraft(const QString& text);
    Q_INVOKABLE void requestSendTask(const QString& text);
    Q_INVOKABLE void requestRetryOutput();
    Q_INVOKABLE void requestInterrupt(const QString& ref);
    Q_INVOKABLE void requestJump(const QString& ref);
    Q_INVOKABLE void requestDismissReceipt();
    Q_INVOKABLE void requestCopyAttachCommand();
    Q_INVOKABLE void requestDismissJumpNotice();

    Q_INVOKABLE void hover(bool hovering);
    Q_INVOKABLE void reportOverviewHeight(double height);
    Q_INVOKABLE void reportFocusedHeight(double chromeAndContent, double shelf);

    // "session/pane" as the views and scripts name an agent; the pane id holds no slash.
    static std::optional<AgentRef> parseRef(const QString& text);

Q_SIGNALS:
    void presentationChanged();
    void selectedChanged();
    void pillChanged();
    void overviewChanged();
    void cardChanged();
    void focusedIdentityChanged();
    // The pill was right-clicked; the tray's menu opens there.
    void contextMenuRequested(QPoint globalPosition);

private:
    // The board and the card cost the most and show only while the panel is open: the pill
    // alone is kept current behind the folded panel, unless `everything` is asked for.
    void project(bool everything);
    void refreshShown() { project(false); }

    // Awaits an answer to the selected agent; when it went nowhere, the sentence that says why.
    QCoro::Task<Outcome> answering(QCoro::Task<bool> answer);
    std::optional<QString> noSelection() const;
    // Starts `task` and drops its outcome, which the card already shows.
    static void start(QCoro::Task<Outcome> task);

    OrrelViewModel& m_model;
    QPointer<OrrelSurfaceState> m_surfaceState;
    QTimer m_clockTick;
    CopyText m_copyText;

    QString m_presentation;
    QString m_selected;
    QVariantMap m_pill;
    QVariantMap m_overview;
    QVariantMap m_card;
    QString m_focusedIdentity;
};
