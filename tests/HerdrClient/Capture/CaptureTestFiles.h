#pragma once

#include "HerdrClient/Capture/PaneCaptureBundle.h"

#include <QByteArray>
#include <QFile>
#include <QString>

#include <gtest/gtest.h>

// Reading, writing and damaging files by hand.
inline QByteArray readFile(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

inline void writeFile(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write(bytes);
}

// A small codex approval as a capture would hold it.
inline PaneCaptureBundle sampleBundle()
{
    PaneCaptureMetadata m;
    m.paneID = QStringLiteral("w1:p2");
    m.terminalID = QStringLiteral("term_1");
    m.agent = QStringLiteral("codex");
    m.agentStatusBefore = AgentStatus::blocked;
    m.agentStatusAfter = AgentStatus::blocked;
    m.paneRevisionBefore = 3;
    m.paneRevisionAfter = 4;
    m.herdrVersion = QStringLiteral("0.8.0");
    m.herdrProtocol = 19;
    m.capturedAt = QStringLiteral("2026-11-22T03:00:00Z");
    return PaneCaptureBundle::make(m, QStringLiteral("› 1. Yes (y)\n"),
                                   QStringLiteral("\x1b[1m› 1. Yes (y)\x1b[0m\n"));
}
