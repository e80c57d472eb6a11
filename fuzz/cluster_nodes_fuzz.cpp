// The cluster's node list: documents of right and wrong kinds composed from the input, compared
// with expected results, and any string.
#include <json/value.h>
#include <json/writer.h>

#include <list>
#include <map>
#include <optional>
#include <string>

#include "VexaCommonUtils_i.h"
#include "platform/json_reader.h"
#include "support/expect.h"
#include "support/input.h"
#include "support/scratch.h"

namespace {

using commutil_fuzz::expect;
using commutil_fuzz::expectEqual;
using commutil_fuzz::Input;
using commutil_fuzz::Scratch;
using commutil_fuzz::setVariable;
using Addresses = std::list<std::string>;

constexpr const char* kNodeListFile = "etc/sysconf/nodelists.json";

const Scratch& deployment() {
  static const Scratch scratch;
  static const bool made = [] {
    scratch.makeFolder("etc/sysconf");
    setVariable("QORV_ROOT", scratch.path() + "/");
    return true;
  }();
  static_cast<void>(made);
  return scratch;
}

std::string written(const Json::Value& root) {
  Json::StreamWriterBuilder builder;
  builder["emitUTF8"] = true;
  return Json::writeString(builder, root);
}

/// A composed node: what it adds to the addresses; nothing if a member is of a wrong kind.
struct Node {
  Json::Value json{Json::objectValue};
  std::optional<Addresses> addresses = Addresses();
};

/// Adds attributes to the node; returns whether it serves remote clients.
bool addAttributes(Input& input, Node& node) {
  Json::Value& attributes = node.json["extAttr"];
  switch (input.choice(8)) {
    case 0:
      attributes["RemoteClient"] = "true";
      return true;
    case 1:
      attributes["RemoteClient"] = true;
      return true;
    case 2:
      attributes["RemoteClient"] = "TRUE";
      return false;
    case 3:
      attributes["RemoteClient"] = false;
      return false;
    case 4:
      attributes["Other"] = "true";
      return false;
    case 5:
      node.json.removeMember("extAttr");
      return false;
    case 6:
      attributes = "RemoteClient";
      node.addresses.reset();
      return false;
    default:
      attributes["RemoteClient"]["true"] = "true";
      return false;
  }
}

void addAddresses(Input& input, Node& node, bool counts) {
  Json::Value& entries = node.json["IPAddresses"];
  Addresses addresses;
  for (unsigned i = input.choice(4); i > 0; --i) {
    Json::Value entry(Json::objectValue);
    std::string ip = input.field();
    if (input.choice(3) == 0) {
      ip.clear();
    } else {
      entry["IP"] = ip;
    }
    entries.append(entry);
    addresses.push_back(ip);
  }
  if (!counts) return;
  if (input.choice(8) == 7) {
    entries.append("no object");
    node.addresses.reset();
  } else {
    node.addresses = addresses;
  }
}

void checkNodeList(Input& input) {
  Json::Value root(Json::objectValue);
  std::map<std::string, Node> nodes;
  while (!input.empty()) {
    Node& node = nodes[input.field()];
    node = Node();
    addAddresses(input, node, addAttributes(input, node));
  }
  Addresses expected{"before"};
  bool isWhole = true;
  for (auto& [name, node] : nodes) {
    root["nodeList"][name] = node.json;
    isWhole = isWhole && node.addresses;
    if (isWhole) expected.splice(expected.end(), *node.addresses);
  }

  deployment().write(kNodeListFile, written(root));
  Addresses addresses{"before"};
  try {
    expectEqual(VexaCommonUtils_i::GetAllWebswingNodeIPs(addresses), 0, "GetAllWebswingNodeIPs");
    expect(isWhole, "a node of a wrong kind throws");
  } catch (const Json::LogicError&) {
    expect(!isWhole, "only a node of a wrong kind throws");
  }
  expectEqual(addresses, expected, "the addresses of the remote-client nodes");
}

void checkText(Input& input) {
  const std::string text = input.rest();
  deployment().write(kNodeListFile, text);
  Json::Value root;
  const bool isJson = JsonReader(false).parse(text, root);

  Addresses addresses{"before"};
  try {
    const int result = VexaCommonUtils_i::GetAllWebswingNodeIPs(addresses);
    expectEqual(result, isJson ? 0 : -1, "GetAllWebswingNodeIPs of any string");
  } catch (const Json::LogicError&) {
    expect(isJson, "only a document throws");
  }
  expectEqual(addresses.front(), "before", "addresses are appended");
  if (!isJson) expectEqual(addresses.size(), 1U, "no document, no address");
}

}  // namespace

void commutil_fuzz::testInput(Input& input) {
  return input.choice(2) == 0 ? checkNodeList(input) : checkText(input);
}
