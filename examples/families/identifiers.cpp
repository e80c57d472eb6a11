// Generates identifiers and time stamps. Their digits depend on the clock and the host, so only
// their form is printed here.
#include <VexaCommonUtils.h>
#include <VexaCommonUtils_i.h>

#include <atomic>
#include <cstdlib>
#include <iostream>
#include <string>

namespace {

/// Returns an identifier unique within the process: two calls within one microsecond return the
/// same UUID, so a counter follows.
std::string uniqueName() {
  static std::atomic<unsigned long> number{0};
  return VexaCommonUtils_i::generateUUID() + "-" + std::to_string(++number);
}

}  // namespace

int main() {
  ::setenv("TZ", "UTC0", 1);  // before the process first reads the local time

  const std::string first = uniqueName();
  const std::string second = uniqueName();
  std::cout << first.size() << ' ' << std::boolalpha << (first != second) << '\n'
            << (first.find_first_not_of("0123456789ABCDEF") == 32) << '\n';

  const std::string stamp = VexaCommonUtils::getTimeStamp(true);
  std::cout << stamp.size() << " digits, century " << stamp.substr(0, 2) << '\n';
}
