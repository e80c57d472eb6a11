// Runs other programs, with and without a shell.
#include <VexaCommonUtils.h>
#include <VexaCommonUtils_i.h>
#include <sys/wait.h>

#include <array>
#include <iostream>

namespace {

/// Runs `program` with one untrusted argument, which no shell interprets.
int runWith(const char* program, std::string argument) {
  std::string name = program;
  const std::array<char*, 3> words{name.data(), argument.data(), nullptr};
  return VexaCommonUtils_i::runCommand(program, words.data());
}

}  // namespace

int main() {
  // Without a shell: returns the exit code, or the error number if the program cannot be run.
  const int refused = runWith("/bin/false", "; rm -rf /");
  const int missing = runWith("/no/such/program", "x");
  std::cout << refused << ' ' << missing << '\n';
  std::cout << VexaCommonUtils_i::runCommand("sh -c 'exit 3'", true, false) << '\n';

  // With a shell: returns the raw wait status.
  const int status = VexaCommonUtils_i::execve_s("exit 3");
  std::cout << status << ' ' << WEXITSTATUS(status) << '\n';

  // All output of a command. A command that prints nothing counts as failed.
  std::string output;
  std::cout << VexaCommonUtils_i::getSystemExecResult("echo one; exit 5", output) << ' ' << output
            << VexaCommonUtils_i::getSystemExecResult("true", output) << '\n';

  // The output line by line, while the command runs.
  if (std::FILE* const stream = VexaCommonUtils_i::pipeline_s("printf 'a\\nb\\n'; exit 1")) {
    std::array<char, 80> line{};
    while (std::fgets(line.data(), line.size(), stream) != nullptr) std::cout << line.data();
    std::cout << WEXITSTATUS(VexaCommonUtils_i::pclose_s(stream)) << '\n';
  }
}
