// The SSL option file of a service: its template with the options that it lacks.
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

  // A template without the quoted option is a fault of the installation: catch what it raises.
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

  // Any other name is only looked up.
  std::cout << scratch.show(VexaCommonUtils_i::get_svc_ssl_conf("svc.conf")) << '\n';
}
