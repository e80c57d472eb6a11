#include <json/value.h>

#include <cstdlib>
#include <list>
#include <string>

#include "VexaCommonUtils_i.h"
#include "os/file_text.h"
#include "platform/json_reader.h"

namespace {

constexpr const char* kNodeList = "/etc/sysconf/nodelists.json";

bool servesRemoteClients(const Json::Value& node) {
  const Json::Value& attributes = node["extAttr"];
  if (!attributes.isMember("RemoteClient")) return false;
  const Json::Value& mark = attributes["RemoteClient"];
  return mark.isConvertibleTo(Json::stringValue) && mark.asString() == "true";
}

std::list<std::string> addressesOf(const Json::Value& node) {
  std::list<std::string> addresses;
  const Json::Value& entries = node["IPAddresses"];
  // By index, so that an object instead of the array raises the JSON library's exception.
  for (Json::ArrayIndex i = 0; i < entries.size(); ++i) {  // NOLINT(modernize-loop-convert)
    addresses.push_back(entries[i]["IP"].asString());
  }
  return addresses;
}

}  // namespace

int VexaCommonUtils_i::GetAllWebswingNodeIPs(std::list<std::string>& ipList) {
  // Not the accessor that hides an empty variable: an empty root means the path from "/".
  const char* const root = std::getenv("QORV_ROOT");
  if (root == nullptr) return -1;
  std::string text;
  commutil::readFileText(std::string(root) + kNodeList, text);
  Json::Value parsed;
  if (!JsonReader(false).parse(text, parsed)) return -1;
  const Json::Value& document = parsed;  // const: looking up a member must not add it
  const Json::Value& nodes = document["nodeList"];
  for (const std::string& name : nodes.getMemberNames()) {
    const Json::Value& node = nodes[name];
    if (!servesRemoteClients(node)) continue;
    // Collected first, so that an exception of the JSON library leaves no partial node.
    ipList.splice(ipList.end(), addressesOf(node));
  }
  return 0;
}
