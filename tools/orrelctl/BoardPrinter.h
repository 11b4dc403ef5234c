#pragma once

#include "tools/orrelctl/Command.h"

#include "HerdrClient/Support/Clock.h"

class OrrelViewModel;

// What `orrelctl board` prints of the view model: each session with its connection and error,
// the discovery error, the pill's figures, the needs-you refs and the board's sections. A cycle
// that would print exactly what was printed last prints nothing.
class BoardPrinter {
public:
    BoardPrinter(CommandContext context, bool json) : m_context(std::move(context)), m_json(json) {}

    void print(const OrrelViewModel& model, Timestamp at);

    static JSONValue boardJSON(const OrrelViewModel& model, Timestamp at);
    static QString boardText(const OrrelViewModel& model, Timestamp at);

private:
    CommandContext m_context;
    bool m_json = false;
    QString m_lastPrinted;
};
