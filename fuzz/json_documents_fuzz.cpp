// The cluster's node list and the application configuration: documents of right and wrong kinds
// composed from the input, compared with expected results, and any string.
#include <json/value.h>
#include <json/writer.h>

#include <list>
#include <map>
#include <optional>
#include <string>

#include "VexaCommonUtils_i.h"
#include "config/uncached.h"
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
    setVariable("APP_CONF_FILE", scratch / "application.json");
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

// The node list

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

// The application configuration

void checkDatabaseType(Input& input) {
  Json::Value root(Json::objectValue);
  std::map<std::string, std::string> types;
  while (!input.empty()) {
    const std::string name = input.field();
    Json::Value& entries = root["databases"][name];
    entries = Json::Value();
    std::string& type = types[name];
    type = input.field();
    switch (input.choice(5)) {
      case 0:
        entries[0U]["other"] = type;
        type.clear();
        break;
      case 1:
        entries["type"] = type;
        type.clear();
        break;
      case 2:
        entries = type;
        type.clear();
        break;
      case 3:
        entries[0U]["type"][0U] = type;
        type.clear();
        break;
      default:
        entries[0U]["type"] = type;
        entries[1U]["type"] = "other";
        break;
    }
  }
  const std::string expected = types.empty() ? "" : types.begin()->second;
  deployment().write("application.json", written(root));
  const commutil::Answer<std::string> answer = commutil::findDatabaseType();
  expectEqual(answer.value, expected.empty() ? "sybase" : expected, "the database type");
  expectEqual(answer.keep, !expected.empty(), "a database type that was read is kept");
}

// Any string

void checkText(Input& input) {
  const std::string text = input.rest();
  deployment().write(kNodeListFile, text);
  deployment().write("application.json", text);
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

  const commutil::Answer<std::string> answer = commutil::findDatabaseType();
  if (!isJson) expect(!answer.keep, "no document, no type to keep");
  if (!answer.keep) expectEqual(answer.value, "sybase", "the default type");
  expect(!answer.value.empty(), "there is always a type");
}

}  // namespace

// Replaces the settings store, which these lookups do not read.
int VexaCommonUtils_i::getSettingParamValue(const std::string& /*key*/, std::string& /*value*/) {
  return -1;
}

void commutil_fuzz::testInput(Input& input) {
  switch (input.choice(3)) {
    case 0:
      return checkNodeList(input);
    case 1:
      return checkDatabaseType(input);
    default:
      return checkText(input);
  }
}
