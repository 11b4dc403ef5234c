#pragma once

#include "HerdrClient/Interaction/ScreenAdapter.h"
#include "HerdrClient/Interaction/ScreenInteractionProvider.h"

#include <QFile>

// A screen source of the fixture corpus: the detection text (the visible text without colour
// when the source has none) and the coloured visible text.
struct ScreenSource {
    QString detection;
    QString visibleANSI;
};

inline ScreenSource loadScreenSource(const QString& name)
{
    const QString directory = QStringLiteral(ORREL_SCREEN_SOURCES "/") + name;
    const auto read = [](const QString& path) -> std::optional<QString> {
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly))
            return std::nullopt;
        return QString::fromUtf8(file.readAll());
    };
    ScreenSource source;
    source.visibleANSI = read(directory + QStringLiteral("/visible.ansi")).value_or(QString());
    source.detection = read(directory + QStringLiteral("/detection.txt"))
                           .value_or(PromptClassifier::stripAnsi(source.visibleANSI));
    return source;
}

inline ScreenAdapterInput screenInput(const QString& agent, const QString& detection,
                                      const std::optional<QString>& visible = std::nullopt,
                                      const std::optional<QString>& tab = std::nullopt)
{
    return ScreenAdapterInput{
        QStringLiteral("w1:p1"), agent, detection, visible, std::nullopt, tab};
}

// What the provider would hand the adapter for this screen.
inline ScreenAdapterInput inputFor(const QString& agent, const ScreenSource& source,
                                   bool withVisible = true)
{
    ScreenAdapterInput input = screenInput(agent, source.detection);
    if (withVisible) {
        input.visibleANSIText = source.visibleANSI;
        input.currentTabLabel = ScreenInteractionProvider::currentTabLabel(source.visibleANSI);
    }
    input.paneRevision = 7;
    return input;
}
