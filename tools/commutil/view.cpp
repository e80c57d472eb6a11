#include "view.h"

#include <algorithm>
#include <exception>

#include "output.h"
#include "pid_view.h"

void addViewOptions(const Tool& tool, Command& subcommand, ViewOptions& options) {
  options.commandLine = tool.words;
  for (Argument& argument : std::vector<Argument>{
           jsonFlag(options.json),
           {.name = "--timeout",
           .value = &options.timeout,
           .purpose = "Seconds after which a call counts as hanging, 0.001 to 3600; 2 unless given",
           .valueName = "SECONDS",
           .details =
                "A call or a file access that takes longer is ended and reported as an error; one "
                "that waits for a processor only after five times as long.",
           .range = Range{.lowest = 0.001, .highest = 3600}},
           {.name = "--pid",
           .value = &options.pid,
           .purpose = "Show the view of this running process: its user, working directory and the "
                      "environment it was started with",
           .valueName = "N",
           .details = "What it has changed in its environment since does not show. A store that "
                      "its environment names is loaded as its user, who decides what that code "
                      "does. If its root directory or its mounts are others, files are read there, "
                      "no code is loaded from there and the store is not read.",
           .range = Range{.lowest = 1}},
           {.name = "--switched-view",
           .value = &options.switchedView,
           .purpose = "",
           .hidden = true},
           {.name = "--switched-start",
           .value = &options.switchedStart,
           .purpose = "",
           .hidden = true}})
    subcommand.arguments.push_back(std::move(argument));
}

std::chrono::milliseconds timeoutOf(const ViewOptions& options) {
  constexpr double kMilliseconds = 1000;
  return std::chrono::milliseconds(
      std::max(1L, static_cast<long>(options.timeout * kMilliseconds)));
}

Collection collect(const View& view, const ViewOptions& options, Request request) {
  request.timeout = timeoutOf(options);
  request.root = view.root;
  request.storeNotAsked = view.storeNotAsked;
  return collect(view.environment, request);
}

int inView(const ViewOptions& options, const std::function<int(const View&)>& show) {
  try {
    if (options.pid && options.switchedView.empty()) return inViewOfProcess(options, show);
    return show(
        {settings::currentEnvironment(), options.switchedView, -1, {}, options.switchedStart});
  } catch (const std::exception& error) {
    return fail(error.what(), options.failure);
  }
}
