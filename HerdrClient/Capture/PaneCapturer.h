#pragma once

#include "HerdrClient/Capture/PaneCaptureBundle.h"
#include "HerdrClient/Wire/RequestSending.h"

#include <QCoroTask>

// Records what one pane shows, with both reads the interaction path makes: a snapshot, the
// detection read, the coloured visible read, and a snapshot again, so that the bundle tells
// whether the pane moved while it was read.
class PaneCapturer {
public:
    // `client` must outlive every capture.
    explicit PaneCapturer(RequestSending& client) : m_client(client) {}

    // `capturedAt` is written as given; the caller chooses its format.
    QCoro::Task<std::expected<PaneCaptureBundle, PaneCaptureError>> capture(QString paneID,
                                                                            QString capturedAt);

private:
    RequestSending& m_client;
};
