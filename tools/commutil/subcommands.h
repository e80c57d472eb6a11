#pragma once

#include <CLI/CLI.hpp>

#include <string>
#include <string_view>
#include <vector>

// The tree of subcommands: finding one by its words, and what a mistyped word may have meant.

/// What a sequence of words names.
struct Subcommand {
  const CLI::App* app;  ///< the last one found
  std::string path;     ///< its words, "" for the command itself
  std::string problem;  ///< why the words name no subcommand, "" if they do
};

/// Finds the subcommand of `app` that `words` name.
Subcommand findSubcommand(const CLI::App& app, const std::vector<std::string>& words);

/// Returns the names of the subcommands directly below `app`.
std::vector<std::string_view> subcommandNames(const CLI::App& app);

/// After a failed parse: returns the option that the first unknown one may have been meant to be,
/// "" if none is near.
std::string suggestOption(const CLI::App& app);
