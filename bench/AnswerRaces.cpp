// answer-races [--trials N] [--seed S]
// Answers claude prompts (approvals, checklists, and questions answered with typed text) through
// the session's own reader, responder and coordinator while the fake herdr moves the screen at a
// random moment, and checks in the server's request log that no key ever landed on a prompt other
// than the one the answer was made for. Trial i runs on seed S + i; a violation prints that seed,
// and `--seed it --trials 1` replays the trial exactly.
//
// The moment is the arrival of the trial's k-th screen read (k drawn from the seed): the screen
// changes just before herdr answers that read, so the schedule follows the program's own requests
// and never the wall clock. Every read counts, the coloured one inside a look as well. Keys that go
// out back to back with no read between them are one burst, as a terminal receives them, so no
// change is put between them.
#include "HerdrClient/Adapters/StandardScreenAdapters.h"
#include "HerdrClient/Interaction/ScreenInteractionProvider.h"
#include "HerdrClient/Responding/Actions.h"
#include "HerdrClient/Responding/InteractionCoordinator.h"
#include "HerdrClient/Responding/InteractionResponder.h"
#include "HerdrClient/Wire/HerdrClient.h"
#include "tests/support/FakeHerdrServer.h"
#include "tests/support/FakeScenario.h"

#include <QCoreApplication>
#include <QElapsedTimer>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <random>

using namespace Qt::StringLiterals;

namespace {

const QString paneID = u"w1:p1"_s;
const QString agentID = u"claude"_s;
constexpr quint64 paneRevision = 7;
constexpr int checkCount = 3; // checkboxes; a fourth row takes typed text

constexpr int textRow = 3; // a question's own answer, typed into its fourth row

// What the pane shows, as the harness models it.
struct Screen {
    enum class Kind { approval, checks, question, working, gone };
    Kind kind = Kind::approval;
    QString subject; // the approval's command, the checklist's or the question's question
    int cursor = 0;
    std::array<bool, checkCount> checked{};
    QString draft; // what was typed into a question's text row
};

int rowCount(const Screen& screen)
{
    return screen.kind == Screen::Kind::approval ? 3 : 4;
}

QString cursorMark(const Screen& screen, int row)
{
    return row == screen.cursor ? u"❯"_s : u" "_s;
}

QString render(const Screen& screen)
{
    switch (screen.kind) {
    case Screen::Kind::approval: {
        QString text = u"● I will run a command.\n\n"_s + QString(80, u'─')
                       + u"\n Bash command\n\n   %1\n   Run it for the release\n\n"
                         " Do you want to proceed?\n"_s.arg(screen.subject);
        const QStringList choices{u"Yes"_s, u"Yes, and don't ask again for this command"_s,
                                  u"No, and tell Claude what to do differently (esc)"_s};
        for (int i = 0; i < choices.size(); ++i)
            text += u" %1 %2. %3\n"_s.arg(cursorMark(screen, i)).arg(i + 1).arg(choices[i]);
        return text + u"\n Esc to cancel\n"_s;
    }
    case Screen::Kind::checks: {
        QString text =
            u"● Pick the checks to run before the release.\n\n%1\n\n"_s.arg(screen.subject);
        const QStringList labels{u"Unit tests"_s, u"Integration tests"_s, u"Lint"_s};
        for (int i = 0; i < checkCount; ++i)
            text += u"%1 %2. [%3] %4\n"_s.arg(cursorMark(screen, i))
                        .arg(i + 1)
                        .arg(screen.checked[std::size_t(i)] ? u"x"_s : u" "_s)
                        .arg(labels[i]);
        return text
               + u"%1 4. [ ] Type something.\n\nEnter to select · ↑/↓ to navigate · Esc to cancel\n"_s
                     .arg(cursorMark(screen, checkCount));
    }
    case Screen::Kind::question: {
        QString text = u"● I need a decision from you.\n\n%1\n ☐ Database\n\n%2\n\n"_s.arg(
            QString(80, u'─'), screen.subject);
        const QStringList labels{u"PostgreSQL"_s, u"SQLite"_s, u"MongoDB"_s,
                                 screen.draft.isEmpty() ? u"Type something."_s : screen.draft};
        for (int i = 0; i < labels.size(); ++i)
            text += u"%1 %2. %3\n"_s.arg(cursorMark(screen, i)).arg(i + 1).arg(labels[i]);
        return text + u"\nEnter to select · ↑/↓ to navigate · Esc to cancel\n"_s;
    }
    case Screen::Kind::working:
        return u"● Running the checks\n  ⎿  Running… (1s · esc to interrupt)\n"_s;
    case Screen::Kind::gone: break;
    }
    return {};
}

// How the pane redraws after keys, as claude does: digits and arrows move the cursor, Enter
// answers an approval or a question and flips the box under the cursor of a checklist.
Screen afterKeys(Screen screen, const std::vector<QString>& keys)
{
    for (const QString& key : keys) {
        if (screen.kind == Screen::Kind::question) {
            if (key == u"enter"_s)
                return Screen{Screen::Kind::working, {}, 0, {}, {}};
            if (key == u"down"_s)
                screen.cursor = std::min(screen.cursor + 1, textRow);
            else if (key == u"up"_s)
                screen.cursor = std::max(screen.cursor - 1, 0);
            else if (key.size() == 1 && key[0].isDigit())
                screen.cursor = std::clamp(key.toInt() - 1, 0, textRow);
        } else if (screen.kind == Screen::Kind::approval) {
            if (key == u"enter"_s || (key.size() == 1 && key[0].isDigit()))
                return Screen{Screen::Kind::working, {}, 0, {}, {}};
        } else if (screen.kind == Screen::Kind::checks) {
            if (key == u"down"_s)
                screen.cursor = std::min(screen.cursor + 1, checkCount);
            else if (key == u"up"_s)
                screen.cursor = std::max(screen.cursor - 1, 0);
            else if (key.size() == 1 && key[0].isDigit())
                screen.cursor = std::clamp(key.toInt() - 1, 0, checkCount);
            else if (key == u"enter"_s && screen.cursor < checkCount)
                screen.checked[std::size_t(screen.cursor)] ^= true;
        }
    }
    return screen;
}

// Text lands in a question's text row when the cursor stands on it; elsewhere it is lost.
Screen afterText(Screen screen, const QString& text)
{
    if (screen.kind == Screen::Kind::question && screen.cursor == textRow)
        screen.draft += text;
    return screen;
}

FakeScreen fakeScreen(const Screen& screen)
{
    FakeScreen fake;
    fake.visible = render(screen);
    return fake;
}

JSONValue paneRecord()
{
    return JSONValue::object(
        {{u"pane_id"_s, paneID}, {u"agent"_s, agentID}, {u"agent_status"_s, u"blocked"_s}});
}

enum class Change { otherSubject, otherPrompt, cursorOnly, answeredElsewhere, paneGone, none };
constexpr int changeCount = int(Change::none) + 1;

const QStringList commands{u"npm run migrate -- --env staging"_s,
                           u"npm run migrate -- --env production"_s, u"rm -rf build"_s,
                           u"git push --force origin main"_s};
constexpr int readsPerLook = 3; // detection, coloured, detection again

const QStringList questions{u"Which checks should run?"_s, u"Which checks may be skipped?"_s};
const QStringList decisions{u"Which database should the new service use?"_s,
                            u"Which database should the old service move to?"_s};

// One trial, drawn from its seed before it runs.
struct Trial {
    Screen initial;
    InteractionResponseIntent intent;
    Change change = Change::none;
    Screen changed;    // with the subject or cursor the change brings
    int readIndex = 0; // the screen changes as this read arrives (counted from 0)

    // What the change makes of the screen on show: a prompt redrawn with another subject or
    // cursor keeps the rest of its state, such as a cursor the answer's keys moved. Absent when
    // nothing changes.
    std::optional<Screen> changedFrom(const Screen& now) const
    {
        switch (change) {
        case Change::otherSubject:
        case Change::cursorOnly: {
            if (now.kind != initial.kind)
                return std::nullopt;
            Screen redrawn = now;
            if (change == Change::otherSubject)
                redrawn.subject = changed.subject;
            else
                redrawn.cursor = (now.cursor + 1) % rowCount(now);
            return redrawn;
        }
        case Change::none: return std::nullopt;
        default: return changed;
        }
    }
};

Screen otherPrompt(const Screen& screen, std::mt19937_64& random)
{
    if (screen.kind == Screen::Kind::approval)
        return Screen{Screen::Kind::checks, questions[int(random() % 2)], 0, {}, {}};
    return Screen{Screen::Kind::approval, commands[int(random() % 4)], 0, {}, {}};
}

const QStringList& subjectsOf(Screen::Kind kind)
{
    return kind == Screen::Kind::approval ? commands
           : kind == Screen::Kind::checks ? questions
                                          : decisions;
}

Trial drawTrial(std::uint64_t seed)
{
    std::mt19937_64 random(seed);
    Trial trial;
    const auto kind = random() % 3;
    if (kind == 0) {
        trial.initial = {Screen::Kind::approval, commands[int(random() % 4)], 0, {}, {}};
        const int pick = int(random() % 4);
        trial.intent = pick == 0   ? InteractionResponseIntent::approve()
                       : pick == 1 ? InteractionResponseIntent::deny()
                                   : InteractionResponseIntent::selectChoice(qint64(random() % 3));
    } else if (kind == 1) {
        trial.initial = {
            Screen::Kind::checks, questions[int(random() % 2)], int(random() % checkCount), {}, {}};
        for (auto& box : trial.initial.checked)
            box = random() % 2 == 0;
        const int target = int(random() % checkCount);
        trial.intent = InteractionResponseIntent::setChoice(
            target, !trial.initial.checked[std::size_t(target)]);
    } else {
        trial.initial = {
            Screen::Kind::question, decisions[int(random() % 2)], int(random() % 4), {}, {}};
        trial.intent = InteractionResponseIntent::submitChoiceText(textRow, u"CockroachDB"_s);
    }
    trial.change = Change(random() % changeCount);
    trial.changed = trial.initial;
    switch (trial.change) {
    case Change::otherSubject: {
        const QStringList& subjects = subjectsOf(trial.initial.kind);
        const auto at = subjects.indexOf(trial.initial.subject);
        trial.changed.subject =
            subjects[(at + 1 + qsizetype(random() % (subjects.size() - 1))) % subjects.size()];
        break;
    }
    case Change::otherPrompt: trial.changed = otherPrompt(trial.initial, random); break;
    case Change::answeredElsewhere:
        trial.changed = Screen{Screen::Kind::working, {}, 0, {}, {}};
        break;
    case Change::paneGone: trial.changed = Screen{Screen::Kind::gone, {}, 0, {}, {}}; break;
    case Change::cursorOnly:
    case Change::none: break;
    }
    // A look is three reads. Reads 0-2 are the look the person saw, 3-5 the responder's own;
    // the rest fall between the keys of a checkbox or in the settle loop, or never come. The
    // first two looks are where a changed prompt must be caught, so they get half of the trials.
    switch (random() % 4) {
    case 0: trial.readIndex = int(random() % readsPerLook); break;
    case 1: trial.readIndex = readsPerLook + int(random() % readsPerLook); break;
    case 2: trial.readIndex = 2 * readsPerLook + int(random() % (2 * readsPerLook)); break;
    default: trial.readIndex = int(random() % 60); break;
    }
    return trial;
}

// The fake pane under the harness's hand: it keeps the timeline of what the pane showed against
// the request log, moves the screen at the trial's read, and redraws after keys.
class RacingPane {
public:
    RacingPane(FakeHerdrServer& server, FakeScenario& scenario)
        : m_server(server), m_scenario(scenario)
    {
        m_server.setArrivalHook([this](std::size_t position, const FakeRequest& request) {
            arrived(position, request);
        });
    }
    ~RacingPane() { m_server.setArrivalHook({}); }

    void begin(const Trial& trial)
    {
        std::lock_guard lock(m_mutex);
        m_trial = trial;
        m_reads = 0;
        m_changeRead.reset();
        m_pendingRedraw.reset();
        m_timeline.clear();
        show(0, trial.initial);
    }

    // Which screen a request at `position` met.
    Screen screenAt(std::size_t position) const
    {
        std::lock_guard lock(m_mutex);
        Screen found = m_timeline.front().second;
        for (const auto& [from, screen] : m_timeline) {
            if (from <= position)
                found = screen;
        }
        return found;
    }
    std::optional<int> changeRead() const
    {
        std::lock_guard lock(m_mutex);
        return m_changeRead;
    }

private:
    void arrived(std::size_t position, const FakeRequest& request)
    {
        std::lock_guard lock(m_mutex);
        if (m_pendingRedraw) {
            show(position, *m_pendingRedraw);
            m_pendingRedraw.reset();
        }
        const auto params = request.params.objectValue();
        if (request.method == u"pane.read"_s) {
            if (m_reads == m_trial.readIndex) {
                if (const auto changed = m_trial.changedFrom(m_timeline.back().second)) {
                    show(position, *changed);
                    m_changeRead = m_reads;
                }
            }
            ++m_reads;
        }
        if (request.method == u"pane.send_text"_s && params && params->contains(u"text"_s)) {
            const Screen now = m_timeline.back().second;
            if (now.kind != Screen::Kind::gone)
                m_pendingRedraw =
                    afterText(now, params->at(u"text"_s).stringValue().value_or(QString()));
        }
        if (request.method == u"pane.send_keys"_s && params && params->contains(u"keys"_s)) {
            std::vector<QString> keys;
            if (const auto list = params->at(u"keys"_s).arrayValue()) {
                for (const auto& key : *list)
                    keys.push_back(key.stringValue().value_or(QString()));
            }
            const Screen now = m_timeline.back().second;
            if (now.kind != Screen::Kind::gone)
                m_pendingRedraw = afterKeys(now, keys);
        }
    }

    // With the mutex held.
    void show(std::size_t position, const Screen& screen)
    {
        const bool present = !m_scenario.paneIDs().empty();
        if (screen.kind == Screen::Kind::gone) {
            if (present)
                m_scenario.removePane(paneID);
        } else if (!present) {
            m_scenario.addPane(paneRecord(), fakeScreen(screen));
        } else {
            m_scenario.setScreen(paneID, fakeScreen(screen));
        }
        m_timeline.emplace_back(position, screen);
    }

    FakeHerdrServer& m_server;
    FakeScenario& m_scenario;
    mutable std::mutex m_mutex;
    Trial m_trial;
    int m_reads = 0;
    std::optional<int> m_changeRead;
    std::optional<Screen> m_pendingRedraw;
    std::vector<std::pair<std::size_t, Screen>> m_timeline;
};

QCoro::Task<> wakeAtOnce(Seconds)
{
    co_return;
}

struct Totals {
    int trials = 0;
    int sent = 0;
    int refused = 0;
    int refusedUnchanged = 0; // an answer to a prompt that never moved must go out
    int violations = 0;
    std::array<int, 4> changedAt{}; // in the shown look, in the answer's, later, never
    std::vector<std::uint64_t> violationSeeds;
    std::vector<std::uint64_t> refusedUnchangedSeeds;
};

class Harness {
public:
    Harness()
        : m_classifier(standardScreenAdapters()),
          m_client(HerdrEndpoint::unixSocket(started(m_server)), 5.0),
          m_provider(m_client, m_classifier),
          m_responder(m_provider, Actions(m_client, nullptr, instantClock()), instantClock()),
          m_pane(m_server, m_scenario)
    {
        m_scenario.install(m_server);
    }

    void run(std::uint64_t seed, Totals& totals)
    {
        const Trial trial = drawTrial(seed);
        m_server.clearRequests();
        m_pane.begin(trial);

        InteractionCoordinator coordinator(m_provider, m_responder, instantClock());
        QCoro::waitFor(coordinator.reconcile(
            {InteractionPaneSnapshot{paneID, agentID, paneRevision, true, false}}, {paneID}, false,
            true));
        const auto shown = coordinator.state(paneID);
        const auto expected = shown ? shown->fingerprint() : std::nullopt;
        const auto report = QCoro::waitFor(coordinator.respondReporting(paneID, trial.intent));

        ++totals.trials;
        const auto changedAt = m_pane.changeRead();
        totals.changedAt[changedAt ? std::size_t(std::min(*changedAt / readsPerLook, 2)) : 3] += 1;
        if (report) {
            ++totals.sent;
        } else {
            ++totals.refused;
            if (!changedAt) {
                ++totals.refusedUnchanged;
                totals.refusedUnchangedSeeds.push_back(seed);
            }
        }
        if (violates(expected)) {
            ++totals.violations;
            totals.violationSeeds.push_back(seed);
        }
    }

private:
    static QString started(FakeHerdrServer& server)
    {
        if (!server.start()) {
            std::fprintf(stderr, "answer-races: %s\n", qPrintable(server.lastError()));
            std::exit(2);
        }
        return server.socketPath();
    }
    static Clock instantClock()
    {
        return Clock{[] { return Timestamp{}; }, wakeAtOnce};
    }

    std::optional<InteractionFingerprint> fingerprintOf(const Screen& screen) const
    {
        if (screen.kind == Screen::Kind::gone)
            return std::nullopt;
        const QString text = render(screen);
        return m_classifier
            .classifyInteraction(paneID, agentID, text, text, paneRevision, std::nullopt)
            .fingerprint();
    }

    // A send that met a screen whose prompt is not the answered one. A send to a pane that is
    // gone reaches nothing: herdr refuses it. Text typed by the answer itself leaves the prompt
    // the one it was.
    bool violates(const std::optional<InteractionFingerprint>& expected) const
    {
        const auto requests = m_server.requests();
        for (std::size_t position = 0; position < requests.size(); ++position) {
            const FakeRequest& request = requests[position];
            if (!request.method.startsWith(u"pane.send_"_s))
                continue;
            Screen met = m_pane.screenAt(position);
            if (met.kind == Screen::Kind::gone)
                continue;
            met.draft.clear();
            if (!expected || fingerprintOf(met) != *expected)
                return true;
        }
        return false;
    }

    FakeHerdrServer m_server;
    FakeScenario m_scenario;
    PromptClassifier m_classifier;
    HerdrClient m_client;
    ScreenInteractionProvider m_provider;
    InteractionResponder m_responder;
    RacingPane m_pane;
};

void printSeeds(const char* label, const std::vector<std::uint64_t>& seeds)
{
    if (seeds.empty())
        return;
    std::printf("%s:", label);
    for (const auto seed : seeds)
        std::printf(" %llu", static_cast<unsigned long long>(seed));
    std::printf("\n");
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    int trials = 10000;
    std::uint64_t seed = 1;
    const QStringList arguments = app.arguments();
    for (qsizetype i = 1; i < arguments.size(); ++i) {
        bool ok = i + 1 < arguments.size();
        if (arguments[i] == u"--trials"_s && ok)
            trials = arguments[++i].toInt(&ok);
        else if (arguments[i] == u"--seed"_s && ok)
            seed = arguments[++i].toULongLong(&ok);
        else
            ok = false;
        if (!ok || trials < 1) {
            std::fprintf(stderr, "usage: answer-races [--trials N] [--seed S]\n");
            return 2;
        }
    }

    QElapsedTimer timer;
    timer.start();
    Harness harness;
    Totals totals;
    for (int i = 0; i < trials; ++i)
        harness.run(seed + std::uint64_t(i), totals);

    std::printf("trials %d\nanswers sent %d\nanswers refused %d\nviolations %d\n", totals.trials,
                totals.sent, totals.refused, totals.violations);
    std::printf("screen changed during the shown look %d, during the answer's look %d, later %d, "
                "never %d\n",
                totals.changedAt[0], totals.changedAt[1], totals.changedAt[2], totals.changedAt[3]);
    std::printf("refused without a change %d\nseconds %.1f\n", totals.refusedUnchanged,
                double(timer.elapsed()) / 1000.0);
    printSeeds("violation seeds", totals.violationSeeds);
    printSeeds("seeds refused without a change", totals.refusedUnchangedSeeds);
    std::fflush(stdout);
    return totals.violations == 0 && totals.refusedUnchanged == 0 ? 0 : 1;
}
