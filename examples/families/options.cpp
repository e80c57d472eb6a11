// Reads a command line.
#include <ArgsOptions.h>

#include <iostream>
#include <vector>

namespace {

void show(const char* what, const std::list<std::string>& words) {
  std::cout << what;
  for (const std::string& word : words) std::cout << ' ' << word;
  std::cout << '\n';
}

}  // namespace

int main() {
  // prog -h host1 host2 -v -- -x -h host3
  char words[][8] = {"prog", "-h", "host1", "host2", "-v", "--", "-x", "-h", "host3"};
  std::vector<char*> argv;
  for (char* word : words) argv.push_back(word);
  const ArgsOptions options(static_cast<int>(argv.size()), argv.data());

  std::cout << std::boolalpha << options.hasOption("-v") << ' ' << options.hasOption("v") << '\n';
  std::cout << options.getOption("-h") << ' ' << options.getOption("-v") << '\n';
  show("hosts:", options.getOptions("-h"));
  show("flags:", options.getFlags());
  std::cout << options.numberOfOptions() << " of " << options.numberOfargs() << '\n';

  // A flag that comes last has no value: test for its presence.
  std::cout << '"' << options.getOption("host3") << "\" " << options.hasOption("host3") << '\n';
}
