// The agent's configuration file: any text is a configuration or an error that names the file.
#include "commutil-settings/configuration.h"

#include "support/expect.h"
#include "support/input.h"

using agent::Configuration;
using commutil_fuzz::expect;

namespace {

void expectUsable(const Configuration& configuration) {
  expect(configuration.endpoints.empty() != configuration.sources.empty(), "there is one source");
  for (const std::string& url : configuration.endpoints)
    expect(url.rfind("http", 0) == 0 && url.back() != '/', "an endpoint is a URL without \"/\"");
  for (const std::string& url : configuration.sources)
    expect(url.rfind("http", 0) == 0 && url.back() == '/', "a source is a URL with \"/\"");
  expect(configuration.prefix.front() == '/' && configuration.prefix.back() == '/',
         "a prefix has \"/\" at both ends");
  expect(configuration.snapshotPath.front() == '/', "the snapshot has an absolute path");
  expect(configuration.keep > 0, "a snapshot is kept");
  expect(configuration.poll.count() > 0 && configuration.maxAge.count() > 0 &&
             configuration.settle.count() >= 0,
         "durations are in range");
  expect(configuration.tls.certificate.empty() == configuration.tls.key.empty(),
         "a certificate has a key");
}

}  // namespace

void commutil_fuzz::testInput(Input& input) {
  const std::string text = input.rest();
  try {
    expectUsable(agent::parseConfiguration(text, "s.conf"));
  } catch (const agent::ConfigurationError& error) {
    expect(std::string(error.what()).rfind("s.conf:", 0) == 0, "an error names the file");
  }
}
