// Compares the expanders of environment references with a plain model, over variables set by the
// run.
#include <cstdlib>
#include <string>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "support/expect.h"
#include "support/input.h"

namespace {

using commutil_fuzz::expectEqual;

/// A variable for one run; ignores a name that is in use or invalid.
class Variable {
 public:
  Variable(std::string name, const std::string& value) : m_name(std::move(name)) {
    m_set =
        std::getenv(m_name.c_str()) == nullptr && ::setenv(m_name.c_str(), value.c_str(), 1) == 0;
    if (m_set) expectEqual(VexaCommonUtils::Vexagetenv(m_name.c_str()), value, "the value is read");
  }
  ~Variable() {
    if (m_set) ::unsetenv(m_name.c_str());
  }
  Variable(const Variable&) = delete;
  Variable& operator=(const Variable&) = delete;

 private:
  std::string m_name;
  bool m_set;
};

std::string modelExpand(std::string rest, const std::string& open, const std::string& close) {
  std::string result;
  while (true) {
    const std::size_t begin = rest.find(open);
    if (begin == std::string::npos) return result + rest;
    const std::size_t name = begin + open.size();
    const std::size_t end = rest.find(close, name);
    if (end == std::string::npos) return result + rest;
    const char* const found = std::getenv(rest.substr(name, end - name).c_str());
    std::string value = found != nullptr ? found : "";
    if (value.empty()) value = rest.substr(begin, end + 1 - begin);
    result += rest.substr(0, begin) + value;
    rest = rest.substr(end + 1);
  }
}

}  // namespace

void commutil_fuzz::testInput(Input& input) {
  const std::string nameA = input.cText();
  const Variable a(nameA, input.cText());
  const std::string nameB = input.cText();
  const Variable b(nameB, input.cText());
  const std::string text = input.rest();

  expectEqual(VexaCommonUtils::replaceEnvVar(text), modelExpand(text, "$(", ")"), "$(NAME)");
  expectEqual(VexaCommonUtils::replEnvVar(text), modelExpand(text, "%", "%"), "%NAME%");
  expectEqual(VexaCommonUtils_i::VexareplaceEnvVar(text), modelExpand(text, "${", "}"), "${NAME}");
  expectEqual(VexaCommonUtils_i::VexareplaceMacroVar(text), text, "macros stay");
}
