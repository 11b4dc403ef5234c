#pragma once

#include "tools/orrelctl/Command.h"

#include "HerdrClient/Support/Clock.h"

class OrrelViewModel;

// What `orrelctl board` prints of the view model: each session with its connection and error,
// the discovery error, the pill's figures, the needs-you refs and the board's sections. A cycle
// that would print exactly what was printed last prints nothing.
class BoardPrinter {
public:
    // `watch`: each print begins with a line that gives its time, so that one
    // cycle's text stands apart from the next.
    BoardPrinter(CommandContext context, bool json, bool watch = false)
        : m_context(std::move(context)), m_json(json), m_watch(watch)
    {
    }

    void print(const OrrelViewModel& model, Timestamp at);

    static JSONValue boardJSON(const OrrelViewModel& model, Timestamp at);
    static QString boardText(const OrrelViewModel& model, Timestamp at);

private:
    CommandContext m_context;
    bool m_json = false;
    bool m_watch = false;
    QString m_lastPrinted;
};
