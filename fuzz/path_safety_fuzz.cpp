// Untrusted paths: compares the check that a path stays below its base with a plain model and with
// the file that the path names, and tests the splitting of paths, which only reads the file system.
#include <algorithm>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "support/expect.h"
#include "support/input.h"
#include "text/strings_model.h"

namespace {

using commutil_fuzz::expect;
using commutil_fuzz::expectEqual;

std::string withSlashes(const std::string& path) {
  return commutil_test::modelReplace(path, "\\", "/");
}

bool hasDots(const std::string& path) {
  const std::vector<std::string> pieces = commutil_test::modelSplitAll(path, "\\/");
  return std::any_of(pieces.begin(), pieces.end(),
                     [](const auto& piece) { return piece == "." || piece == ".."; });
}

bool modelCheckPath(const std::string& path, const std::string& base) {
  if (path.empty() || path.size() > 1024 || base.size() > 1024 || hasDots(path)) return false;
  if (base.empty()) return true;
  if (hasDots(base)) return false;
  std::string workPath = withSlashes(path);
  std::string workBase = withSlashes(base);
  if (workPath.back() != '/') workPath += '/';
  if (workBase.back() != '/') workBase += '/';
  return workPath.find(workBase) == 0;
}

/// Returns whether `path`, normalized as a string, is below `base`.
bool namesPlaceBelow(const std::string& path, const std::string& base) {
  const std::filesystem::path place = std::filesystem::path(path).lexically_normal();
  const std::filesystem::path top = std::filesystem::path(base + "/").lexically_normal();
  const auto relative = (place / "").lexically_normal().lexically_relative(top);
  return !relative.empty() && *relative.begin() != "..";
}

void checkCheckPath(const std::string& path, const std::string& base) {
  const bool accepted = VexaCommonUtils::checkPath(path, base);
  expectEqual(accepted, modelCheckPath(path, base), "checkPath");
  if (!accepted || base.empty() || path.find('\0') != path.npos || base.find('\0') != base.npos)
    return;
  expect(namesPlaceBelow(withSlashes(path), withSlashes(base)),
         "an accepted path stays below the base");
}

void checkParentDirectory(const std::string& path) {
  const std::string trimmed = commutil_test::modelTrim(path, " ");
  std::string fileName = "before";
  try {
    const std::string parent = VexaCommonUtils_i::getParentDirectory(path, fileName);
    expect(!trimmed.empty(), "a path of spaces throws");
    const std::size_t slash = trimmed.rfind('/');
    expectEqual(fileName, slash == trimmed.npos ? trimmed : trimmed.substr(slash + 1),
                "the last component");
    expect(parent.empty() || parent.front() == '/', "the parent is absolute");
    if (slash == trimmed.size() - 1) expectEqual(parent, "", "no component, no parent");
    if (slash == trimmed.npos) expect(!parent.empty(), "a bare name lies in this directory");
  } catch (const std::out_of_range&) {
    expect(trimmed.empty(), "only a path of spaces throws");
    expectEqual(fileName, "", "no last component then");
  }
}

}  // namespace

void commutil_fuzz::testInput(Input& input) {
  const std::string base = input.field();
  const std::string path = input.rest();
  checkCheckPath(path, base);
  checkCheckPath(base + path, base);
  checkParentDirectory(path);
}
