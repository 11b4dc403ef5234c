#include "OrrelApp/Surface/OrrelSurfaceState.h"

#include <cmath>

using namespace Qt::StringLiterals;

namespace {

const QString overviewIdentity = u"overview"_s;

QString focusedIdentity(const QString& identity)
{
    return u"focused:"_s + identity;
}

} // namespace

OrrelSurfaceState::OrrelSurfaceState(OrrelGeometry geometry, bool reduceMotion,
                                     CompactIndicatorMode mode, Clock clock, QObject* parent)
    : QObject(parent), m_geometry(geometry), m_reduceMotion(reduceMotion),
      m_compactIndicatorMode(mode), m_clock(std::move(clock)),
      m_hoverPause(CancellablePause::OnCancel::resumeNow, m_clock.sleep, this)
{
}

OrrelSurfaceState::~OrrelSurfaceState()
{
    cancelHoverCollapse();
}

template <class Change>
void OrrelSurfaceState::changing(Change&& change)
{
    const QSizeF size = visibleSize();
    const bool revealed = isCompactIndicatorRevealed();
    change();
    if (revealed != isCompactIndicatorRevealed())
        Q_EMIT compactIndicatorRevealedChanged();
    if (size != visibleSize())
        Q_EMIT visibleSizeChanged();
}

void OrrelSurfaceState::setPresentation(const OrrelPresentation& presentation)
{
    if (m_presentation == presentation)
        return;
    changing([&] { m_presentation = presentation; });
    Q_EMIT presentationChanged();
}

void OrrelSurfaceState::updateGeometry(const OrrelGeometry& geometry)
{
    if (m_geometry == geometry)
        return;
    changing([&] { m_geometry = geometry; });
    Q_EMIT geometryChanged();
}

void OrrelSurfaceState::setReduceMotion(bool reduceMotion)
{
    if (m_reduceMotion == reduceMotion)
        return;
    m_reduceMotion = reduceMotion;
    Q_EMIT reduceMotionChanged();
}

void OrrelSurfaceState::updateCompactIndicatorMode(CompactIndicatorMode mode)
{
    if (mode == CompactIndicatorMode::alwaysShow)
        clearCompactHover();
    if (m_compactIndicatorMode == mode)
        return;
    changing([&] { m_compactIndicatorMode = mode; });
    Q_EMIT compactIndicatorModeChanged();
}

bool OrrelSurfaceState::isCompactIndicatorRevealed() const
{
    return m_compactIndicatorMode == CompactIndicatorMode::alwaysShow || m_isCompactHovered;
}

void OrrelSurfaceState::setCompactHovering(bool hovering)
{
    if (!m_presentation.isCompact()
        || m_compactIndicatorMode != CompactIndicatorMode::revealOnHover)
        return;
    cancelHoverCollapse();
    if (hovering) {
        setCompactHovered(true);
        return;
    }
    m_hoverCollapsePending = true;
    // Runs on by itself; a later hover moves the generation on and so voids it.
    auto collapse = collapseHoverAfterDelay(m_hoverGeneration);
}

void OrrelSurfaceState::clearCompactHover()
{
    cancelHoverCollapse();
    setCompactHovered(false);
}

void OrrelSurfaceState::cancelHoverCollapse()
{
    ++m_hoverGeneration;
    m_hoverCollapsePending = false;
    // The voided wait ends now, so that no coroutine is left waiting on a timer that may never
    // fire once the program is quitting.
    m_hoverPause.cancel();
}

QCoro::Task<> OrrelSurfaceState::collapseHoverAfterDelay(quint64 generation)
{
    const auto alive = m_lifetime.guard();
    co_await m_hoverPause.sleep(hoverOutDelay);
    if (!alive || generation != m_hoverGeneration)
        co_return;
    m_hoverCollapsePending = false;
    setCompactHovered(false);
}

void OrrelSurfaceState::setCompactHovered(bool hovered)
{
    if (m_isCompactHovered == hovered)
        return;
    changing([&] { m_isCompactHovered = hovered; });
    Q_EMIT compactHoveredChanged();
}

QSizeF OrrelSurfaceState::visibleSize() const
{
    if (m_presentation.isCompact()) {
        const double indicator = isCompactIndicatorRevealed() ? 12 : 3;
        return {m_geometry.compactWidth, m_geometry.topContentInset + indicator};
    }
    const double height =
        std::max(1.0, std::min(m_geometry.maximumExpandedHeight,
                               OrrelGeometry::roundedEven(m_renderedExpandedHeight)));
    return {m_geometry.expandedWidth, height};
}

double OrrelSurfaceState::minimumOverviewHeight() const
{
    return m_geometry.minimumOverviewHeight();
}

double OrrelSurfaceState::minimumFocusedHeight() const
{
    return m_geometry.minimumFocusedHeight();
}

double OrrelSurfaceState::clampedHeight(double height, double minimum) const
{
    return m_geometry.clampedExpandedHeight(height, minimum);
}

void OrrelSurfaceState::prepareOverview(double estimatedHeight)
{
    if (m_sizingIdentity == overviewIdentity)
        return;
    setSizingIdentity(overviewIdentity);
    setFocusedContentFloor(std::nullopt);
    seedHeights(clampedHeight(estimatedHeight, minimumOverviewHeight()));
}

void OrrelSurfaceState::prepareFocused(const QString& identity, double estimatedHeight)
{
    const QString sizing = focusedIdentity(identity);
    if (m_sizingIdentity == sizing)
        return;
    setSizingIdentity(sizing);
    setFocusedContentFloor(std::nullopt);
    seedHeights(clampedHeight(estimatedHeight, minimumFocusedHeight()));
}

void OrrelSurfaceState::reportOverviewHeight(double height)
{
    if (m_sizingIdentity != overviewIdentity)
        return;
    updateRequestedHeight(clampedHeight(height, minimumOverviewHeight()));
}

void OrrelSurfaceState::reportFocusedHeight(const QString& identity, double chromeAndContentHeight,
                                            double shelfHeight)
{
    if (m_sizingIdentity != focusedIdentity(identity))
        return;
    setFocusedContentFloor(chromeAndContentHeight);
    updateRequestedHeight(
        clampedHeight(chromeAndContentHeight + shelfHeight, minimumFocusedHeight()));
}

void OrrelSurfaceState::updateRequestedHeight(double height)
{
    if (std::abs(height - m_requestedExpandedHeight) < 4)
        return;
    m_requestedExpandedHeight = height;
    Q_EMIT requestedExpandedHeightChanged();
}

void OrrelSurfaceState::setRenderedExpandedHeight(double height)
{
    if (std::abs(height - m_renderedExpandedHeight) < 1)
        return;
    changing([&] { m_renderedExpandedHeight = height; });
    Q_EMIT renderedExpandedHeightChanged();
}

void OrrelSurfaceState::seedHeights(double height)
{
    if (m_requestedExpandedHeight != height) {
        m_requestedExpandedHeight = height;
        Q_EMIT requestedExpandedHeightChanged();
    }
    if (m_renderedExpandedHeight != height) {
        changing([&] { m_renderedExpandedHeight = height; });
        Q_EMIT renderedExpandedHeightChanged();
    }
}

void OrrelSurfaceState::setSizingIdentity(const QString& identity)
{
    if (m_sizingIdentity == identity)
        return;
    m_sizingIdentity = identity;
    Q_EMIT sizingIdentityChanged();
}

void OrrelSurfaceState::setFocusedContentFloor(std::optional<double> floor)
{
    if (m_focusedContentFloor == floor)
        return;
    m_focusedContentFloor = floor;
    Q_EMIT focusedContentFloorChanged();
}
