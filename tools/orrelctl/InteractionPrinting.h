#pragma once

#include "tools/orrelctl/Command.h"

#include "HerdrClient/Interaction/PendingInteraction.h"

// One reading as every command shows it: a JSON line with --json, else the card's words.
void printInteraction(const CommandContext& context, const QCommandLineParser& parser,
                      const PendingInteraction& interaction);
