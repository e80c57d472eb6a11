// The subcommands uuid and timestamp.
#include <VexaCommonUtils.h>
#include <VexaCommonUtils_i.h>

#include <string>

#include "output.h"
#include "tool.h"

namespace {

int printUnlessEmpty(const char* name, const std::string& text, bool json) {
  if (text.empty()) return fail(std::string("no ") + name + " can be created");
  printText(name, text, json);
  return kOk;
}

struct UuidOptions {
  bool json = false;
};

int uuid(const UuidOptions& options) {
  return printUnlessEmpty("uuid", VexaCommonUtils_i::generateUUID(), options.json);
}

struct TimestampOptions {
  bool json = false;
  bool markDst = false;
};

int timestamp(const TimestampOptions& options) {
  return printUnlessEmpty("timestamp", VexaCommonUtils::getTimeStamp(options.markDst),
                          options.json);
}

}  // namespace

void addIdentifiers(Tool& tool) {
  tool.add<UuidOptions>(
      tool.app, "uuid", "Print an identifier made of the time and the host's MAC address.",
      [](CLI::App& subcommand, UuidOptions& options) { addJsonFlag(subcommand, options.json); },
      uuid);
  tool.add<TimestampOptions>(
      tool.app, "timestamp", "Print the local time as 14 digits.",
      [](CLI::App& subcommand, TimestampOptions& options) {
        subcommand.add_flag("--dst", options.markDst,
                            "Append \"DST\" while daylight-saving time is in force");
        addJsonFlag(subcommand, options.json);
      },
      timestamp);
}
