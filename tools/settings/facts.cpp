// Passes facts between processes, and lists the facts that answers depend on.
#include "settings/facts.h"

#include <pwd.h>
#include <unistd.h>

#include <cstring>

#include "settings/catalog.h"
#include "settings/pack.h"
#include "settings/paths.h"

namespace settings {

std::string currentUser() {
  const uid_t uid = ::geteuid();
  const passwd* const entry = ::getpwuid(uid);
  return entry != nullptr ? entry->pw_name : std::to_string(uid);
}

Environment currentEnvironment() {
  Environment environment;
  for (char** entry = environ; entry != nullptr && *entry != nullptr; ++entry) {
    const std::string_view text(*entry);
    const std::size_t equals = text.find('=');
    if (equals == std::string_view::npos) continue;
    environment.emplace(text.substr(0, equals), text.substr(equals + 1));  // as getenv: the first
  }
  return environment;
}

std::string valueOf(const Environment& environment, std::string_view name) {
  const auto found = environment.find(name);
  return found == environment.end() ? std::string() : found->second;
}

std::string packed(const FileFacts& facts) {
  return Packer()
      .add(facts.path)
      .add(static_cast<int>(facts.type))
      .add(facts.dangling)
      .add(facts.error)
      .add(facts.readable)
      .add(facts.writable)
      .add(facts.executable)
      .add(static_cast<std::intmax_t>(facts.mode))
      .add(facts.owner)
      .add(static_cast<std::intmax_t>(facts.size))
      .add(static_cast<std::intmax_t>(facts.modified))
      .add(facts.realPath)
      .add(facts.text)
      .take();
}

FileFacts unpackedFile(std::string_view bytes) {
  Unpacker unpacker(bytes);
  FileFacts facts;
  facts.path = unpacker.text();
  facts.type = static_cast<FileType>(unpacker.number());
  facts.dangling = unpacker.number() != 0;
  facts.error = static_cast<int>(unpacker.number());
  facts.readable = unpacker.number() != 0;
  facts.writable = unpacker.number() != 0;
  facts.executable = unpacker.number() != 0;
  facts.mode = static_cast<mode_t>(unpacker.number());
  facts.owner = unpacker.text();
  facts.size = static_cast<std::uintmax_t>(unpacker.number());
  facts.modified = static_cast<std::time_t>(unpacker.number());
  facts.realPath = unpacker.text();
  facts.text = unpacker.text();
  return facts;
}

std::string packed(const StoreReply& reply) {
  return Packer()
      .add(reply.code)
      .add(reply.written.has_value())
      .add(reply.written.value_or(""))
      .add(reply.duration.count())
      .take();
}

StoreReply unpackedReply(std::string_view bytes) {
  Unpacker unpacker(bytes);
  StoreReply reply;
  reply.code = static_cast<int>(unpacker.number());
  const bool hasWritten = unpacker.number() != 0;
  std::string written = unpacker.text();
  if (hasWritten) reply.written = std::move(written);
  reply.duration = std::chrono::microseconds(unpacker.number());
  return reply;
}

std::string packed(const StoreLibrary& library) {
  Packer packer;
  packer.add(library.loaded)
      .add(library.path)
      .add(library.realPath)
      .add(library.isReference)
      .add(library.error);
  for (const std::string& symbol : library.missingSymbols) packer.add(symbol);
  return packer.take();
}

StoreLibrary unpackedLibrary(std::string_view bytes) {
  Unpacker unpacker(bytes);
  StoreLibrary library;
  library.loaded = unpacker.number() != 0;
  library.path = unpacker.text();
  library.realPath = unpacker.text();
  library.isReference = unpacker.number() != 0;
  library.error = unpacker.text();
  while (!unpacker.atEnd()) library.missingSymbols.push_back(unpacker.text());
  return library;
}

const FileFacts& Facts::file(std::string_view path) const {
  static const FileFacts none;
  const auto found = files.find(path);
  return found == files.end() ? none : found->second;
}

std::vector<std::string> pathsToExamine(const Environment& environment) {
  std::vector<std::string> paths;
  const auto add = [&](std::string path) {
    if (!path.empty()) paths.push_back(std::move(path));
  };
  for (const Item* item : itemsOf(Kind::file)) {
    if (item->location != Location::search) add(pathOf(*item, environment));
    if (item->location == Location::search)
      for (std::string& candidate : candidates(item->name, environment)) add(std::move(candidate));
  }
  for (const Item* item : itemsOf(Kind::variable))
    if (item->accepted.form == Form::directory) add(valueOf(environment, item->name));
  for (const Item* item : itemsOf(Kind::program)) add(std::string(item->rest));
  add(settingsDocumentOfUrl(environment).path);
  add(sslOptionFile(environment));
  return paths;
}

std::vector<std::string> keysToAsk(const Environment& environment) {
  std::vector<std::string> keys;
  for (const Item* item : itemsOf(Kind::storeKey)) {
    keys.push_back(storeKey(item->parent, valueOf(environment, "APP_NAME"), item->name));
    keys.push_back(storeKey(item->parent, kGlobalBranch, item->name));
  }
  return keys;
}

}  // namespace settings
