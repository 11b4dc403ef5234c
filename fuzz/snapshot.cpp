// A session snapshot as herdr sends it, taken into the state store as a first snapshot and as a
// later one, with the pi harness registry that arranges its panes into agent trees.
#include "FuzzSupport.h"

#include "HerdrClient/State/AgentTree.h"
#include "HerdrClient/State/StateStore.h"

#include <chrono>

namespace {

Timestamp fixedNow()
{
    return Timestamp(std::chrono::seconds(1'700'000'000));
}

void readTree(const Snapshot& snapshot, QByteArrayView registry)
{
    const AgentTree tree(snapshot.uniquePanes(), registry, true);
    // Every pane has one root, a root is its own, and cycles in the registry end.
    for (const QString& paneID : tree.livePanes()) {
        const QString root = tree.root(paneID);
        FUZZ_CHECK(tree.livePanes().contains(root));
        FUZZ_CHECK(tree.root(root) == root);
    }
    for (const QString& root : tree.roots())
        (void)tree.children(root);
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    FuzzSupport::makeDeterministic();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const auto pieces = FuzzSupport::split(data, size, 2);
    const auto parsed = JSONValue::parse(pieces[0]);
    if (!parsed)
        return 0;
    const auto snapshot = Snapshot::fromResult(*parsed);
    if (!snapshot)
        return 0;
    FuzzSupport::checkRoundTrip<Snapshot>(snapshot->asJSONValue());

    StateStore store(&fixedNow);
    store.hydrate(*snapshot);
    (void)store.reconcileTransitions(*snapshot);
    (void)store.overallStatus();
    for (const auto& [workspaceID, workspace] : store.workspaces())
        (void)store.rollupForWorkspace(workspaceID);
    for (const auto& [tabID, tab] : store.tabs())
        (void)store.rollupForTab(tabID);
    for (const auto& [paneID, pane] : store.panes())
        (void)store.derivedStatus(paneID);
    (void)store.blockedPanes();
    (void)store.possiblyStuckPanes(30, fixedNow() + std::chrono::minutes(5));
    (void)store.currentSubscriptions(true);

    readTree(*snapshot, pieces[1]);
    return 0;
}
