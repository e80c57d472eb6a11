// Names stored as file names: compares the mapping and its inverse with plain models, and finds
// mapped names in a real directory by part of their name.
#include <unistd.h>

#include <list>
#include <string>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "support/expect.h"
#include "support/input.h"
#include "support/scratch.h"

namespace {

using commutil_fuzz::expect;
using commutil_fuzz::expectEqual;

const std::string kSpecials = "\\/:*?\"<>|^";
const std::string kLetters = "abcdefghi^";

std::string modelEscape(const std::string& name) {
  std::string result;
  for (const char c : name) {
    const std::size_t special = kSpecials.find(c);
    result += special == kSpecials.npos ? std::string(1, c) : std::string{'^', kLetters[special]};
  }
  return result;
}

std::string modelUnescape(const std::string& name) {
  std::string result;
  for (std::size_t i = 0; i < name.size(); ++i) {
    const std::size_t letter =
        name[i] == '^' && i + 1 < name.size() ? kLetters.find(name[i + 1]) : kLetters.npos;
    result += letter == kLetters.npos ? name[i] : kSpecials[letter];
    if (letter != kLetters.npos) ++i;
  }
  return result;
}

void checkMapping(const std::string& name) {
  const std::string fileName = VexaCommonUtils::specialName2FileName(name);
  expectEqual(fileName, modelEscape(name), "specialName2FileName");
  expectEqual(VexaCommonUtils::fileName2SpecialName(fileName), name, "the name comes back");
  expectEqual(VexaCommonUtils::fileName2SpecialName(name), modelUnescape(name),
              "fileName2SpecialName");
  expect(fileName.find_first_of("\\/:*?\"<>|") == fileName.npos, "no special character is left");
  expectEqual(VexaCommonUtils_i::isSafeFileName(name),
              name.find_first_of("/\\:*?\"'<>|`;&$\n") == name.npos, "isSafeFileName");
}

bool isFileName(const std::string& name) {
  return !name.empty() && name.size() <= 255 && name != "." && name != ".." &&
         name.find('\0') == name.npos;
}

void checkListing(const std::string& fileName, const std::string& pattern) {
  static const commutil_fuzz::Scratch scratch;
  const std::string path = scratch.write(fileName, "");
  std::list<std::string> files{"before"};
  expectEqual(VexaCommonUtils::getFilesByDir(scratch.path(), pattern, files), 0, "getFilesByDir");
  std::list<std::string> expected{"before"};
  if (fileName.find(pattern) != fileName.npos) expected.push_back(path);
  expectEqual(files, expected, "the files listed");
  expect(::unlink(path.c_str()) == 0, "the file was created under its name");
}

}  // namespace

void commutil_fuzz::testInput(Input& input) {
  const std::string pattern = input.field();
  const std::string name = input.rest();
  checkMapping(name);
  const std::string fileName = VexaCommonUtils::specialName2FileName(name);
  if (isFileName(fileName)) checkListing(fileName, pattern);
}
