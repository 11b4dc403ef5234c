#pragma once

#include "HerdrClient/Responding/InteractionResponder.h"
#include "HerdrClient/Wire/HerdrClient.h"
#include "tests/support/FakeHerdrServer.h"
#include "tests/support/FakeScenario.h"

#include <deque>
#include <functional>
#include <vector>

// A sleep that returns at once and remembers how long it was asked for. `beforeWake`, when set,
// runs first: the moment to change the screen between two of the responder's reads.
struct InstantSleeper {
    std::vector<Seconds> requested;
    std::function<void()> beforeWake;

    Clock clock();
};

// A reader that hands out prepared readings in order, and counts how often it was asked.
class ScriptedProvider final : public InteractionProviding {
public:
    std::deque<InteractionReadResult> readings;
    int reads = 0;
    std::vector<QString> paneIDs;
    std::vector<std::optional<QString>> agentIDs;

    QCoro::Task<InteractionReadResult> interaction(QString paneID, std::optional<QString> agentID,
                                                   std::optional<quint64> paneRevision) override;
};

// A herdr with one pane "w1:p1" (a claude) that accepts keys as herdr does, and a client for it.
struct FakeHerdrPane {
    FakeHerdrServer server;
    FakeScenario scenario;
    std::unique_ptr<HerdrClient> client;

    explicit FakeHerdrPane(const QString& screen = {}, std::optional<double> requestTimeout = 5.0);
    // method and params of every send that reached the server, in order.
    std::vector<std::pair<QString, JSONValue>> sends() const;
    std::vector<QString> methods() const;
};

// The one send_keys request as the server logged it.
JSONValue keysParams(std::vector<QString> keys, const QString& pane = QStringLiteral("w1:p1"));
JSONValue textParams(const QString& text, const QString& pane = QStringLiteral("w1:p1"));

// Records the phases a response walks through.
struct PhaseLog {
    std::vector<InteractionResponsePhase> phases;
    InteractionPhaseCallback callback();
};
