#pragma once

#include "HerdrClient/Wire/AgentStatus.h"
#include "HerdrClient/Wire/HerdrError.h"

#include <QString>

#include <optional>

// Why a capture, a bundle or a fixture could not be made or trusted.
struct PaneCaptureError {
    enum class Kind {
        bundleAlreadyExists,
        paneNotFound,
        unreadablePane,
        invalidBundle,
        fixtureAlreadyExists,
        // A request to herdr failed, or its answer could not be read; the failure says which.
        requestFailed,
        // The file system refused a read or a write of ours.
        fileFailed,
    };

    Kind kind = Kind::invalidBundle;
    QString path;   // bundleAlreadyExists, fixtureAlreadyExists, fileFailed
    QString paneID; // paneNotFound, unreadablePane
    ReadSource source = ReadSource::detection; // unreadablePane
    QString reason;                            // invalidBundle, fileFailed
    std::optional<RequestFailure> failure;     // requestFailed

    static PaneCaptureError bundleAlreadyExists(QString path);
    static PaneCaptureError paneNotFound(QString paneID);
    static PaneCaptureError unreadablePane(QString paneID, ReadSource source);
    static PaneCaptureError invalidBundle(QString reason);
    static PaneCaptureError fixtureAlreadyExists(QString path);
    static PaneCaptureError requestFailed(RequestFailure failure);
    static PaneCaptureError fileFailed(QString path, QString reason);

    QString errorDescription() const;
    bool operator==(const PaneCaptureError&) const = default;
};
