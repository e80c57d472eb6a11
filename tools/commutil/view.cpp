#include "view.h"

#include <algorithm>

#include "pid_view.h"

void addViewOptions(const Tool& tool, Command& subcommand, ViewOptions& options) {
  options.commandLine = tool.words;
  for (Argument& argument : std::vector<Argument>{
           jsonFlag(options.json),
           {.name = "--timeout",
           .value = &options.timeout,
           .purpose = "Seconds after which a call counts as hanging; 2 unless given",
           .valueName = "SECONDS",
           .range = Range{.lowest = 0.001, .highest = 3600}},
           {.name = "--pid",
           .value = &options.pid,
           .purpose = "Show the view of this running process: its user, working directory and the "
                      "environment it was started with",
           .valueName = "N",
           .range = Range{.lowest = std::numeric_limits<double>::min(), .label = "POSITIVE"}},
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
  if (!options.switchedView.empty()) {
    return show(
        {settings::currentEnvironment(), options.switchedView, -1, {}, options.switchedStart});
  }
  if (options.pid) return inViewOfProcess(options, show);
  return show({settings::currentEnvironment(), {}, -1, {}, 0});
}
