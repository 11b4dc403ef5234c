#include "OrrelApp/Automation/SurfaceAutomationTarget.h"

#include "HerdrClient/Support/SaveFileCommit.h"
#include "OrrelApp/Automation/NotificationAutomation.h"
#include "OrrelApp/Surface/OrrelSurfaceModel.h"
#include "OrrelApp/Surface/OrrelViewModel.h"
#include "OrrelApp/Surface/OrrelWindowController.h"

#include <QImage>
#include <QImageWriter>
#include <QJsonArray>
#include <QSaveFile>
#include <QTimer>

using namespace Qt::StringLiterals;

SurfaceAutomationTarget::SurfaceAutomationTarget(OrrelViewModel& model, OrrelSurfaceModel& surface,
                                                 OrrelWindowController& window,
                                                 std::function<void()> quit)
    : m_model(model), m_surface(surface), m_window(window), m_quit(std::move(quit))
{
}

QJsonObject SurfaceAutomationTarget::state()
{
    // Built afresh, so that ages and the pill's fade are those of this moment.
    m_surface.refresh();
    const QVariantMap overview = m_surface.overview();
    const QRect frame = m_window.frame();
    QJsonObject state{
        {u"presentation"_s, m_surface.presentation()},
        {u"visible"_s, m_window.panel().isVisible()},
        {u"geometry"_s, QJsonObject{{u"x"_s, frame.x()},
                                    {u"y"_s, frame.y()},
                                    {u"width"_s, frame.width()},
                                    {u"height"_s, frame.height()}}},
        {u"pill"_s, QJsonObject::fromVariantMap(m_surface.pill())},
        {u"selected"_s, m_surface.selected().isEmpty() ? QJsonValue() : m_surface.selected()},
        {u"card"_s,
         m_surface.card().isEmpty() ? QJsonValue() : QJsonObject::fromVariantMap(m_surface.card())},
    };
    QJsonArray needsYou;
    for (const AgentRef& ref : m_model.needsYouRefs())
        needsYou.append(ref.id());
    state.insert(u"needsYou"_s, needsYou);
    state.insert(u"overallStatus"_s, toString(m_model.overallStatus()));
    // The overview's figures stand at the top level, as scripts look for them.
    for (const QString& key : {u"agentCount"_s, u"sessions"_s, u"discoveryError"_s, u"board"_s})
        state.insert(key, QJsonValue::fromVariant(overview.value(key)));
    state.insert(u"overview"_s, QJsonObject::fromVariantMap(overview));
    state.insert(u"notifications"_s,
                 m_notifications ? NotificationAutomation::state(*m_notifications) : QJsonArray());
    state.insert(u"hotkeys"_s, hotKeys ? QJsonValue(hotKeys()) : QJsonValue());
    return state;
}

QCoro::Task<std::expected<QJsonObject, QString>> SurfaceAutomationTarget::perform(
    AutomationCommand command)
{
    using Kind = AutomationCommand::Kind;
    const AgentRef ref{command.session, command.pane};
    OrrelSurfaceModel::Outcome outcome;
    switch (command.kind) {
    case Kind::state: co_return state();
    case Kind::toggle: outcome = co_await m_surface.toggle(); break;
    case Kind::showOverview: outcome = co_await m_surface.showOverview(); break;
    case Kind::collapse: outcome = co_await m_surface.collapse(); break;
    case Kind::select:
        // A script names the card it wants: one already open stays open, where a second click
        // would go back to the overview.
        if (m_surface.selected() == ref.id() && m_surface.presentation() == u"focused"_s)
            break;
        outcome = co_await m_surface.select(ref);
        break;
    case Kind::answer: outcome = co_await m_surface.answer(command.index); break;
    case Kind::approve: outcome = co_await m_surface.approve(); break;
    case Kind::deny: outcome = co_await m_surface.deny(); break;
    case Kind::recommended: outcome = co_await m_surface.answerRecommended(); break;
    case Kind::armFloor: outcome = co_await m_surface.armFloor(command.text); break;
    case Kind::reply: outcome = co_await m_surface.reply(command.text); break;
    case Kind::typeText: outcome = co_await m_surface.typeText(command.text); break;
    case Kind::beginTextEntry: outcome = co_await m_surface.beginTextEntry(); break;
    case Kind::backToChoices: outcome = co_await m_surface.backToChoices(); break;
    case Kind::sendTask: outcome = co_await m_surface.sendTask(command.text); break;
    case Kind::interrupt: outcome = co_await m_surface.interrupt(ref); break;
    case Kind::jump: outcome = co_await m_surface.jump(ref); break;
    case Kind::notification:
        if (!m_notifications)
            co_return std::unexpected(
                u"Desktop notifications are not running. Nothing was done."_s);
        co_return co_await NotificationAutomation::perform(*m_notifications, command);
    case Kind::screenshot: co_return screenshot(command.path);
    case Kind::quit:
        // The reply goes out first; the stop order runs on the next turn of the event loop.
        QTimer::singleShot(0, [quit = m_quit] { quit(); });
        co_return QJsonObject();
    }
    if (outcome)
        co_return std::unexpected(*outcome);
    co_return QJsonObject();
}

std::expected<QJsonObject, QString> SurfaceAutomationTarget::screenshot(const QString& path)
{
    const QImage image = m_window.panel().grabWindow();
    if (image.isNull())
        return std::unexpected(u"The panel could not be drawn for a screenshot."_s);
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return std::unexpected(u"Could not write %1: %2"_s.arg(path, file.errorString()));
    QImageWriter writer(&file, "png");
    if (!writer.write(image))
        return std::unexpected(u"Could not write %1: %2"_s.arg(path, writer.errorString()));
    if (const auto committed = commitSaveFile(file); !committed)
        return std::unexpected(u"Could not write %1: %2"_s.arg(path, committed.error()));
    return QJsonObject{
        {u"path"_s, path}, {u"width"_s, image.width()}, {u"height"_s, image.height()}};
}
