// Writes the man page and the completion of the shells: commutil-documents KIND [FILE].
#include "documents.h"

#include <cstdio>
#include <exception>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "tool.h"

namespace {

std::string textOf(const char* path) {
  std::ifstream file(path);
  if (!file) throw std::runtime_error(std::string(path) + ": cannot be read");
  return {std::istreambuf_iterator<char>(file), {}};
}

std::string documentOf(int argc, char** argv) {
  const Tool tool({"commutil"});
  const std::string_view kind = argc > 1 ? argv[1] : "";
  if (kind == "--man" && argc == 3) return manPage(tool.command, textOf(argv[2]));
  if (kind == "--bash" && argc == 2) return bashCompletion(tool.command);
  if (kind == "--zsh" && argc == 2) return zshCompletion(tool.command);
  if (kind == "--fish" && argc == 2) return fishCompletion(tool.command);
  throw std::runtime_error("usage: commutil-documents --man TEXT|--bash|--zsh|--fish");
}

int print(int argc, char** argv) {
  const std::string document = documentOf(argc, argv);
  std::fwrite(document.data(), 1, document.size(), stdout);
  return std::fflush(stdout) == 0 ? 0 : 1;
}

}  // namespace

void forEachCommand(const Command& command,
                    const std::function<void(const Command&, const std::string& path)>& visit,
                    const std::string& path) {
  visit(command, path);
  for (const Command& subcommand : command.subcommands)
    forEachCommand(subcommand, visit, path + (path.empty() ? "" : " ") + subcommand.name);
}

int main(int argc, char** argv) {
  try {
    return print(argc, argv);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "commutil-documents: %s\n", error.what());
    return 2;
  }
}
