// Lists the addresses of the cluster's remote-client nodes.
#include <VexaCommonUtils_i.h>

#include <exception>
#include <iostream>

#include "scratch.h"

int main() {
  const Scratch scratch;
  scratch.name("QORV_ROOT", "cluster");
  const char* const list = "cluster/etc/sysconf/nodelists.json";

  std::list<std::string> addresses;
  std::cout << VexaCommonUtils_i::GetAllWebswingNodeIPs(addresses) << " without a node list\n";

  scratch.write(list, R"({"nodeList": {
      "node-1": {"extAttr": {"RemoteClient": "true"},
                 "IPAddresses": [{"IP": "10.20.1.1"}, {"IP": "fe80::20:1:1"}]},
      "node-2": {"extAttr": {"RemoteClient": "TRUE"}, "IPAddresses": [{"IP": "10.20.1.2"}]}}})");
  std::cout << VexaCommonUtils_i::GetAllWebswingNodeIPs(addresses) << '\n';
  for (const std::string& address : addresses) std::cout << "  " << address << '\n';

  // Members of the wrong kinds raise the JSON library's exception.
  scratch.write(list, R"({"nodeList": ["node-1"]})");
  try {
    VexaCommonUtils_i::GetAllWebswingNodeIPs(addresses);
  } catch (const std::exception&) {
    std::cout << "no node list; " << addresses.size() << " addresses kept\n";
  }
}
