// Creates directories, reads, copies and lists files.
#include <VexaCommonUtils.h>
#include <VexaCommonUtils_i.h>

#include <iostream>

#include "scratch.h"

int main() {
  const Scratch scratch;

  // mkdir_all reports no error; the next step does.
  VexaCommonUtils::mkdir_all(scratch.path() + "/backup/today");
  const std::string source = scratch.write("data/nodes.xml", "<nodes/>\n");
  const std::string target = scratch.path() + "/backup/today/nodes.xml";

  std::cout << VexaCommonUtils_i::copyFile(source, target, true, true) << ' '
            << VexaCommonUtils_i::copyFile(source, target, true, true) << " (it is there)\n";

  std::string content;
  if (VexaCommonUtils::readFile(target, content) == 0) std::cout << content;
  std::cout << VexaCommonUtils::readFile(scratch.path() + "/missing", content) << ' ' << content;

  // The pattern may be anywhere in a name.
  scratch.write("backup/nodes.xml.old", "");
  std::list<std::string> files;
  VexaCommonUtils::getFilesByDir(scratch.path() + "/backup", ".xml", files);
  files.sort();
  for (const std::string& file : files) std::cout << scratch.show(file) << '\n';

  std::string name;
  const std::string folder =
      VexaCommonUtils_i::getParentDirectory(scratch.path() + "/data/../data/nodes.xml", name);
  std::cout << scratch.show(folder) << ' ' << name << '\n';
}
