// The recorder's view offscreen: a click starts recording, a chord typed into the window is
// stored, and focus that moves elsewhere cancels.
#include "OrrelApp/Shell/Settings.h"
#include "OrrelApp/Surface/ShortcutRecorder.h"
#include "tests/support/MemorySettingsStore.h"
#include "tests/support/TestSupport.h"

#include <QKeyEvent>
#include <QMouseEvent>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickWindow>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

void click(QQuickWindow& window, QPointF at)
{
    for (const auto type : {QEvent::MouseButtonPress, QEvent::MouseButtonRelease}) {
        QMouseEvent event(type, at, window.mapToGlobal(at), Qt::LeftButton,
                          type == QEvent::MouseButtonPress ? Qt::LeftButton : Qt::NoButton,
                          Qt::NoModifier);
        QCoreApplication::sendEvent(&window, &event);
    }
}

void type(QQuickWindow& window, int key, Qt::KeyboardModifiers modifiers)
{
    QKeyEvent press(QEvent::KeyPress, key, modifiers);
    QCoreApplication::sendEvent(&window, &press);
    QKeyEvent release(QEvent::KeyRelease, key, modifiers);
    QCoreApplication::sendEvent(&window, &release);
}

TEST(ShortcutRecorderView, AClickThenAChordStoresItAndLosingFocusCancels)
{
    MemorySettingsStore store;
    Settings settings(store);
    ShortcutRecorder recorder(settings, AppShortcutID::deny);
    QQmlEngine engine;
    QQmlComponent component(&engine, QUrl(u"qrc:/OrrelSentry/ShortcutRecorderView.qml"_s));
    std::unique_ptr<QQuickItem> view(qobject_cast<QQuickItem*>(
        component.createWithInitialProperties({{u"recorder"_s, QVariant::fromValue(&recorder)}})));
    ASSERT_TRUE(view) << component.errorString().toStdString();
    QQuickWindow window;
    window.resize(240, 120);
    view->setParentItem(window.contentItem());
    // Something else in the window that can take the focus.
    QQuickItem elsewhere(window.contentItem());
    window.show();
    window.requestActivate();
    ASSERT_TRUE(processEventsUntil([&] { return window.isActive(); }));

    const QPointF centre = view->mapToScene({view->width() / 2, 14});
    click(window, centre);
    EXPECT_TRUE(recorder.isRecording());
    EXPECT_TRUE(view->hasActiveFocus());
    type(window, Qt::Key_X, Qt::ControlModifier | Qt::ShiftModifier);
    EXPECT_EQ(settings.shortcutLabel(AppShortcutID::deny), u"Ctrl+Shift+X"_s);
    EXPECT_FALSE(recorder.isRecording());

    click(window, centre);
    ASSERT_TRUE(recorder.isRecording());
    elsewhere.forceActiveFocus();
    EXPECT_FALSE(recorder.isRecording());
    type(window, Qt::Key_Q, Qt::ControlModifier);
    EXPECT_EQ(settings.shortcutLabel(AppShortcutID::deny), u"Ctrl+Shift+X"_s);
}

} // namespace
