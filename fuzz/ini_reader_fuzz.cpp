// Compares the INI reader with a model of its header's rules, on any bytes.
#include <algorithm>
#include <list>
#include <string>

#include "models/ini_model.h"
#include "platform/ini_reader.h"
#include "support/expect.h"
#include "support/input.h"
#include "support/scratch.h"

namespace {

using commutil_fuzz::expect;
using commutil_fuzz::expectEqual;
using commutil_fuzz::IniEntries;
using commutil_fuzz::IniModel;

void checkSection(const VexaIniReader& reader, const std::string& name, const IniModel& model) {
  const std::string section = "[" + name + "]";
  std::list<VexaIniReader::IniNode> nodes{{"before", ""}};
  reader.getParamList(section, nodes);
  expectEqual(nodes.front().key, "before", "entries are appended");
  nodes.pop_front();

  const IniEntries expected = model.entries(name);
  expectEqual(nodes.size(), expected.size(), "the number of a section's entries");
  expect(std::equal(nodes.begin(), nodes.end(), expected.begin(),
                    [](const auto& node, const auto& entry) {
                      return node.key == entry.first && node.value == entry.second;
                    }),
         "the entries of a section");
  for (const auto& [key, first] : expected) {
    expectEqual(reader.getParamValue(section, key), model.value(name, key), "the first value");
  }
}

}  // namespace

void commutil_fuzz::testInput(Input& input) {
  static const Scratch scratch;
  const std::string section = input.cText();
  const std::string key = input.cText();
  const std::string text = input.rest();

  VexaIniReader reader(scratch.write("file.ini", text));
  expectEqual(reader.getParamValue("[" + section + "]", key), "",
              "there are no entries before the file is read");
  expectEqual(reader.initialize(false), 0, "every file that can be read");
  const IniModel model(text);
  for (const auto& [name, entries] : model.sections()) checkSection(reader, name, model);
  expectEqual(reader.getParamValue(section, key), "", "a section is named with its brackets");

  // A section line without its closing bracket names no section.
  if (section.find_first_of("\r\n") != section.npos) return;
  checkSection(reader, section, model);
  expectEqual(reader.getParamValue("[" + section + "]", key), model.value(section, key), "a value");
}
