#include "view.h"

#include <algorithm>

#include "pid_view.h"

void addViewOptions(Tool& tool, CLI::App& subcommand, ViewOptions& options) {
  constexpr double kLongest = 3600;
  addJsonFlag(subcommand, options.json);
  subcommand
      .add_option("--timeout", options.timeout,
                  "Seconds after which a call counts as hanging; 2 unless given")
      ->check(CLI::Range(0.001, kLongest))
      ->type_name("SECONDS");
  subcommand
      .add_option_function<int>(
          "--pid", [&options](int pid) { options.pid = pid; },
          "Show the view of this running process: its user, working directory and the environment "
          "it was started with")
      ->check(CLI::PositiveNumber)
      ->type_name("N");
  subcommand.add_option("--switched-view", options.switchedView)->group("");
  subcommand.add_option("--switched-start", options.switchedStart)->group("");
  subcommand.parse_complete_callback([&tool, &options] { options.commandLine = tool.commandLine; });
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
