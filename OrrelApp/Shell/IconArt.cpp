#include "OrrelApp/Shell/IconArt.h"

#include <QPainter>

using namespace Qt::StringLiterals;

namespace {

constexpr double svgSide = 128;

QString number(qreal value)
{
    return QString::number(value * svgSide, 'g', 6);
}

QString svgPathData(const QPainterPath& path)
{
    QString data;
    for (int i = 0; i < path.elementCount(); ++i) {
        const QPainterPath::Element e = path.elementAt(i);
        switch (e.type) {
        case QPainterPath::MoveToElement: data += u"M"_s; break;
        case QPainterPath::LineToElement: data += u"L"_s; break;
        case QPainterPath::CurveToElement: data += u"C"_s; break;
        case QPainterPath::CurveToDataElement: data += u" "_s; break;
        }
        data += number(e.x) + u' ' + number(e.y);
    }
    return data;
}

QString svgPaint(const QColor& color)
{
    return color.isValid() ? color.name(QColor::HexRgb) : u"none"_s;
}

QPainterPath capsule(QRectF bounds)
{
    QPainterPath path;
    const qreal radius = bounds.height() / 2;
    path.addRoundedRect(bounds, radius, radius);
    return path;
}

QPainterPath circle(QPointF centre, qreal radius)
{
    QPainterPath path;
    path.addEllipse(centre, radius, radius);
    return path;
}

QColor colorFor(RollupStatus status)
{
    switch (status) {
    case RollupStatus::blocked: return {0xff, 0x6f, 0x61};
    case RollupStatus::working: return {0x4a, 0x90, 0xe2};
    case RollupStatus::done: return {0x3c, 0xb3, 0x71};
    case RollupStatus::idle:
    case RollupStatus::unknown: break;
    }
    return {0x9a, 0x9a, 0xa0};
}

} // namespace

QImage IconArt::image(int side) const
{
    QImage image(side, side, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.scale(side, side);
    for (const Layer& layer : layers) {
        painter.setBrush(layer.fill.isValid() ? QBrush(layer.fill) : QBrush(Qt::NoBrush));
        painter.setPen(layer.stroke.isValid()
                           ? QPen(layer.stroke, qMax(layer.strokeWidth, 1.0 / side))
                           : QPen(Qt::NoPen));
        painter.drawPath(layer.path);
    }
    return image;
}

QString IconArt::svg() const
{
    QString text = u"<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                   "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"%1\" height=\"%1\" "
                   "viewBox=\"0 0 %1 %1\">\n"_s.arg(svgSide);
    for (const Layer& layer : layers) {
        text += u"  <path fill-rule=\"%1\" fill=\"%2\""_s.arg(
            layer.path.fillRule() == Qt::OddEvenFill ? u"evenodd"_s : u"nonzero"_s,
            svgPaint(layer.fill));
        if (layer.fill.isValid() && layer.fill.alpha() < 255)
            text += u" fill-opacity=\"%1\""_s.arg(layer.fill.alphaF(), 0, 'g', 3);
        if (layer.stroke.isValid()) {
            text += u" stroke=\"%1\" stroke-width=\"%2\""_s.arg(svgPaint(layer.stroke),
                                                                number(layer.strokeWidth));
        }
        text += u" d=\""_s + svgPathData(layer.path) + u"\"/>\n"_s;
    }
    return text + u"</svg>\n"_s;
}

QString toString(TrayIconStyle style)
{
    switch (style) {
    case TrayIconStyle::color: break;
    case TrayIconStyle::darkPanel: return u"dark-panel"_s;
    case TrayIconStyle::lightPanel: return u"light-panel"_s;
    }
    return u"color"_s;
}

std::optional<TrayIconStyle> trayIconStyleFromString(QStringView text)
{
    for (const auto style :
         {TrayIconStyle::color, TrayIconStyle::darkPanel, TrayIconStyle::lightPanel}) {
        if (text == toString(style))
            return style;
    }
    return std::nullopt;
}

IconArt statusIconArt(RollupStatus status, TrayIconStyle style)
{
    const QRectF bounds(0.08, 0.25, 0.84, 0.5);
    const QPointF centre = bounds.center();
    const qreal dotRadius = bounds.height() * 0.22;
    const qreal outline = 1.0 / 11;
    const bool color = style == TrayIconStyle::color;
    const QColor glyph = color                               ? colorFor(status)
                         : style == TrayIconStyle::darkPanel ? QColor(0xf5, 0xf5, 0xf5)
                                                             : QColor(0x20, 0x20, 0x20);
    // The hollow capsule keeps its line inside the same outline as the filled ones.
    const QRectF inset = bounds.adjusted(outline / 2, outline / 2, -outline / 2, -outline / 2);

    IconArt art;
    switch (status) {
    case RollupStatus::blocked:
        if (color) {
            art.layers.push_back({capsule(bounds), glyph, {}, 0});
            art.layers.push_back({circle(centre, dotRadius), Qt::white, {}, 0});
        } else {
            // A hole where the colour icon has its white dot: the panel shows through.
            QPainterPath holed = capsule(bounds);
            holed.addPath(circle(centre, dotRadius));
            art.layers.push_back({holed, glyph, {}, 0});
        }
        break;
    case RollupStatus::working: art.layers.push_back({capsule(bounds), glyph, {}, 0}); break;
    case RollupStatus::done:
        if (color) {
            art.layers.push_back({capsule(bounds), glyph, {}, 0});
        } else {
            art.layers.push_back({capsule(inset), {}, glyph, outline});
            art.layers.push_back({circle(centre, dotRadius), glyph, {}, 0});
        }
        break;
    case RollupStatus::idle: {
        QColor faded = glyph;
        if (!color)
            faded.setAlphaF(0.45);
        art.layers.push_back({capsule(bounds), faded, {}, 0});
        break;
    }
    case RollupStatus::unknown: art.layers.push_back({capsule(inset), {}, glyph, outline}); break;
    }
    return art;
}

IconArt applicationIconArt()
{
    IconArt art;
    QPainterPath tile;
    tile.addRoundedRect(QRectF(0.06, 0.06, 0.88, 0.88), 0.2, 0.2);
    art.layers.push_back({tile, QColor(0x1f, 0x26, 0x33), {}, 0});
    // The pill the program floats at the top of the screen, with three agents in it: one works,
    // one finished, one needs you.
    art.layers.push_back({capsule(QRectF(0.14, 0.35, 0.72, 0.3)), QColor(0xf3, 0xef, 0xe6), {}, 0});
    art.layers.push_back({circle({0.32, 0.5}, 0.07), colorFor(RollupStatus::working), {}, 0});
    art.layers.push_back({circle({0.5, 0.5}, 0.07), colorFor(RollupStatus::done), {}, 0});
    art.layers.push_back({circle({0.68, 0.5}, 0.09), colorFor(RollupStatus::blocked), {}, 0});
    return art;
}

QString statusIconName(RollupStatus status, TrayIconStyle style)
{
    QString name = u"dev.orrelsentry.OrrelSentry-"_s + toString(status);
    if (style != TrayIconStyle::color)
        name += u'-' + toString(style);
    return name;
}
