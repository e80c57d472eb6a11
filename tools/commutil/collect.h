#pragma once

#include <json/value.h>

#include <chrono>
#include <map>
#include <string>
#include <vector>

#include "settings/catalog.h"
#include "settings/facts.h"

// Collects what explain, check and report show. Every library call and file access runs in a child
// with a deadline.

/// What to collect, and where.
struct Request {
  std::chrono::milliseconds timeout{2000};
  std::vector<const settings::Answer*> answers;  ///< to request from the library
  bool host = false;                             ///< locale and addresses too
  int root = -1;              ///< root directory of files; if set, the library is not called
  std::string storeNotAsked;  ///< why the store is not read
};

/// The library's own answer.
struct LibraryAnswer {
  Json::Value value;  ///< true or false, a string, an array of strings; null for none
  std::string fault;  ///< why there is none
};

/// An address of this host with its netmask, "" if the library finds none.
struct HostAddress {
  std::string address;
  std::string netmask;
  std::string fault;
};

struct Collection {
  settings::Facts facts;
  std::map<std::string, LibraryAnswer, std::less<>> answers;  ///< by name
  std::string locale;       ///< the locale that the environment chooses, "" if it is not installed
  std::string localeFault;  ///< why that is not known
  std::vector<HostAddress> addresses;
};

Collection collect(const settings::Environment& environment, const Request& request);
