#pragma once

#include "HerdrClient/State/AgentRef.h"
#include "HerdrClient/Support/Clock.h"
#include "OrrelApp/Surface/OrrelGeometry.h"
#include "OrrelApp/Surface/OrrelScreenSelection.h"

#include <QObject>
#include <QPointer>
#include <QQuickWindow>
#include <QTimer>
#include <QUrl>
#include <QVariantMap>

#include <memory>

class DesktopWindowControlling;
class OrrelSurfaceState;
class OrrelViewModel;
class PanelDesktop;
class QQmlEngine;
class QQuickItem;
class QScreen;
class Settings;

// The one window of the surface. It takes keyboard focus only while expanded, so that the pill
// never steals typing from the terminal underneath.
class OrrelPanel : public QQuickWindow {
    Q_OBJECT

public:
    OrrelPanel();
    bool isInteractive() const { return m_isInteractive; }
    void setInteractive(bool interactive);

private:
    bool m_isInteractive = false;
};

// Owns the panel: which display carries it, where on that display, and how big it is in each
// shape. The sizes come from the surface state; this class only moves the window to match.
class OrrelWindowController : public QObject {
    Q_OBJECT

public:
    struct Desktop {
        // Both may be absent (no X server): then the panel follows the pointer and the window
        // manager's defaults.
        PanelDesktop* panel = nullptr;
        DesktopWindowControlling* windows = nullptr;
    };

    OrrelWindowController(OrrelViewModel& viewModel, Settings& settings, Desktop desktop,
                          Clock clock, QObject* parent = nullptr);
    ~OrrelWindowController() override;

    OrrelSurfaceState& surfaceState() const { return *m_surfaceState; }
    OrrelPanel& panel() const { return *m_panel; }

    // Builds the views from `root` with `properties`; false (with the errors on standard error)
    // when the views cannot be built.
    bool load(const QUrl& root, const QVariantMap& properties);
    // Places the panel on the chosen display and shows it.
    void show();
    void startObservers();
    void tearDown();

    // The panel's frame on the desktop, as the window system has it now.
    QRect frame() const;
    std::optional<QString> currentScreenNumber() const { return m_settling.currentScreenNumber(); }

Q_SIGNALS:
    // The display carrying the panel changed.
    void screenChanged();

private:
    std::vector<OrrelDisplay> displays() const;
    std::optional<OrrelDisplay> preferredDisplay() const;
    QScreen* screenNamed(const QString& number) const;
    void applyPresentation(const OrrelDisplay& display);
    void screenSelectionMayHaveChanged();
    void adoptPreferredScreenImmediately();
    void presentationDidChange();
    void prepareAdaptiveHeight();
    void transition(bool expanding);
    void finishCollapse(quint64 revision);
    void setPanelFrame();
    void activationDidChange();
    void placementDidChange();
    void watchScreen(QScreen* screen);

    OrrelViewModel& m_viewModel;
    Settings& m_settings;
    Desktop m_desktop;
    Clock m_clock;
    std::unique_ptr<OrrelPanel> m_panel;
    std::unique_ptr<OrrelSurfaceState> m_surfaceState;
    std::unique_ptr<QQmlEngine> m_engine;
    QPointer<QQuickItem> m_root;
    OrrelScreenSettling m_settling;
    QTimer m_screenPollTimer;
    QRect m_displayFrame;
    quint64 m_transitionRevision = 0;
    // The agent whose card the panel was last sized for.
    std::optional<AgentRef> m_sizedSelection;
    bool m_collapsing = false;
    bool m_wasActive = false;
    bool m_observing = false;
};
