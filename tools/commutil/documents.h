#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "arguments.h"

// What is generated from the tree of subcommands: the man page and each shell's completion.

/// Calls `visit` with `command`, and every subcommand below it, with its words: "settings put".
void forEachCommand(const Command& command,
                    const std::function<void(const Command&, const std::string& path)>& visit,
                    const std::string& path = {});

/// Returns the man page: `text` with the synopsis, the options of each subcommand below its
/// heading, and the tables of exit codes, variables and files.
/// @throws std::runtime_error if a subcommand has no heading, or a heading has no subcommand
std::string manPage(const Command& root, std::string_view text);

std::string bashCompletion(const Command& root);
std::string zshCompletion(const Command& root);
std::string fishCompletion(const Command& root);
