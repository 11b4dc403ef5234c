#pragma once

#include "HerdrClient/Support/CancellablePause.h"
#include "HerdrClient/Support/Clock.h"
#include "HerdrClient/Support/Lifetime.h"
#include "OrrelApp/Shell/CompactIndicatorMode.h"
#include "OrrelApp/Surface/OrrelGeometry.h"
#include "OrrelApp/Surface/OrrelPresentation.h"

#include <QObject>
#include <QSizeF>
#include <QString>

#include <optional>

// The shape and size of the surface, on the main thread. The panel sizes itself from
// `visibleSize`; the views report the heights their content needs, and only reports for the
// content on show count.
class OrrelSurfaceState : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool reduceMotion READ reduceMotion WRITE setReduceMotion NOTIFY reduceMotionChanged)
    Q_PROPERTY(bool isCompactHovered READ isCompactHovered NOTIFY compactHoveredChanged)
    Q_PROPERTY(bool isCompactIndicatorRevealed READ isCompactIndicatorRevealed NOTIFY
                   compactIndicatorRevealedChanged)
    Q_PROPERTY(QSizeF visibleSize READ visibleSize NOTIFY visibleSizeChanged)
    Q_PROPERTY(double requestedExpandedHeight READ requestedExpandedHeight NOTIFY
                   requestedExpandedHeightChanged)
    Q_PROPERTY(double renderedExpandedHeight READ renderedExpandedHeight WRITE
                   setRenderedExpandedHeight NOTIFY renderedExpandedHeightChanged)
    Q_PROPERTY(QString sizingIdentity READ sizingIdentity NOTIFY sizingIdentityChanged)

public:
    // How long the indicator stays after the pointer leaves, so that a pass over its edge does
    // not make it flicker.
    static constexpr Seconds hoverOutDelay{0.28};

    // Starts compact. `clock` sleeps the hover-out delay; without a sleep, timers of the state's
    // own do, which end with it.
    OrrelSurfaceState(OrrelGeometry geometry, bool reduceMotion, CompactIndicatorMode mode,
                      Clock clock, QObject* parent = nullptr);
    // A hover-out still waiting ends here rather than outliving the state.
    ~OrrelSurfaceState() override;

    const OrrelPresentation& presentation() const { return m_presentation; }
    void setPresentation(const OrrelPresentation& presentation);

    const OrrelGeometry& geometry() const { return m_geometry; }
    void updateGeometry(const OrrelGeometry& geometry);

    bool reduceMotion() const { return m_reduceMotion; }
    void setReduceMotion(bool reduceMotion);

    CompactIndicatorMode compactIndicatorMode() const { return m_compactIndicatorMode; }
    void updateCompactIndicatorMode(CompactIndicatorMode mode);

    bool isCompactHovered() const { return m_isCompactHovered; }
    bool isCompactIndicatorRevealed() const;
    // Reveals at once; hides after `hoverOutDelay` unless the pointer comes back. Only the
    // compact pill in the hover mode listens.
    void setCompactHovering(bool hovering);
    void clearCompactHover();
    bool isHoverCollapsePending() const { return m_hoverCollapsePending; }

    QSizeF visibleSize() const;

    double requestedExpandedHeight() const { return m_requestedExpandedHeight; }
    double renderedExpandedHeight() const { return m_renderedExpandedHeight; }
    QString sizingIdentity() const { return m_sizingIdentity; }
    std::optional<double> focusedContentFloor() const { return m_focusedContentFloor; }

    double minimumOverviewHeight() const;
    double minimumFocusedHeight() const;

    // Seed the heights before the shape opens, so the first frame has a sensible size.
    void prepareOverview(double estimatedHeight);
    void prepareFocused(const QString& identity, double estimatedHeight);
    // What the views measured; reports of content no longer on show are dropped.
    void reportOverviewHeight(double height);
    void reportFocusedHeight(const QString& identity, double chromeAndContentHeight,
                             double shelfHeight);
    // Changes under 4 points are dropped, so that a live report does not shake the panel.
    void updateRequestedHeight(double height);
    // The height the panel has reached; changes under 1 point are dropped.
    void setRenderedExpandedHeight(double height);

Q_SIGNALS:
    void presentationChanged();
    void geometryChanged();
    void reduceMotionChanged();
    void compactIndicatorModeChanged();
    void compactHoveredChanged();
    void compactIndicatorRevealedChanged();
    void visibleSizeChanged();
    void requestedExpandedHeightChanged();
    void renderedExpandedHeightChanged();
    void sizingIdentityChanged();
    void focusedContentFloorChanged();

private:
    // Runs `change`, then tells about the derived values it moved.
    template <class Change>
    void changing(Change&& change);
    void setCompactHovered(bool hovered);
    void setSizingIdentity(const QString& identity);
    void setFocusedContentFloor(std::optional<double> floor);
    void seedHeights(double height);
    double clampedHeight(double height, double minimum) const;
    void cancelHoverCollapse();
    QCoro::Task<> collapseHoverAfterDelay(quint64 generation);

    OrrelPresentation m_presentation;
    OrrelGeometry m_geometry;
    bool m_reduceMotion;
    CompactIndicatorMode m_compactIndicatorMode;
    bool m_isCompactHovered = false;
    double m_requestedExpandedHeight = 0;
    double m_renderedExpandedHeight = 0;
    QString m_sizingIdentity;
    std::optional<double> m_focusedContentFloor;
    Clock m_clock;
    bool m_hoverCollapsePending = false;
    quint64 m_hoverGeneration = 0; // a newer generation voids a hover-out in flight
    CancellablePause m_hoverPause;
    Lifetime m_lifetime;
};
