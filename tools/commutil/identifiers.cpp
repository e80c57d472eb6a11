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
      tool.command, "uuid", "Print an identifier built from the time and the host's MAC address.",
      [](Command& subcommand, UuidOptions& options) {
        subcommand.arguments = {jsonFlag(options.json)};
      },
      uuid);
  tool.add<TimestampOptions>(
      tool.command, "timestamp", "Print the local time as 14 digits.",
      [](Command& subcommand, TimestampOptions& options) {
        subcommand.arguments = {
            {.name = "--dst",
             .value = &options.markDst,
             .purpose = "Append \"DST\" while daylight-saving time is in force"},
            jsonFlag(options.json)};
      },
      timestamp);
}
