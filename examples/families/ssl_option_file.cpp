// Generates a service's SSL option file: the template with the missing options.
#include <VexaCommonUtils.h>
#include <VexaCommonUtils_i.h>

#include <iostream>
#include <stdexcept>

#include "scratch.h"

int main() {
  const Scratch scratch;
  scratch.name("_APP_SHARE_DIR", "share");
  scratch.name("APP_ROOT", "app");
  scratch.name("COMMON_LIB_PATH", "common");
  ::setenv("APP_NAME", "inventory", 1);
  ::setenv("PROCESS_INSTANCE_ID", "7", 1);

  // A template without the quoted option is an installation error and raises an exception.
  scratch.write("common/conf/svc_ssl.conf", "static Resource_Factory\n");
  try {
    VexaCommonUtils_i::get_svc_ssl_conf("svc_ssl.conf");
  } catch (const std::out_of_range&) {
    std::cout << "no quoted -SSLCAfile in the template\n";
  }

  scratch.write("common/conf/svc_ssl.conf",
                "dynamic SSLIOP_Factory ... \"-SSLVersion TLSv1.3 -SSLCAfile PEM:ca.pem\"\n");
  const std::string path = VexaCommonUtils_i::get_svc_ssl_conf("svc_ssl.conf");
  std::string text;
  if (path.empty() || VexaCommonUtils::readFile(path, text) != 0) return 1;
  std::cout << scratch.show(path) << '\n' << text;

  // For any other name, only finds the file.
  std::cout << scratch.show(VexaCommonUtils_i::get_svc_ssl_conf("svc.conf")) << '\n';
}
