// Base64 against GLib, OpenSSL and modp_b64, each as its users call it, with results in new memory.
// The limit is a new string of the result's size, filled once.
#include <benchmark/benchmark.h>
#include <glib.h>
#include <modp_b64.h>
#include <openssl/evp.h>

#include <random>
#include <string>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "support/cells.h"

namespace {

std::string randomBytes(std::size_t size) {
  std::mt19937 random(4648);
  std::string bytes(size, '\0');
  for (char& byte : bytes) byte = static_cast<char>(random());
  return bytes;
}

const unsigned char* unsignedOf(const std::string& text) {
  return reinterpret_cast<const unsigned char*>(text.data());
}

unsigned char* unsignedOf(std::string& text) {
  return reinterpret_cast<unsigned char*>(text.data());
}

std::string encodeOurs(const std::string& data) {
  return VexaCommonUtils_i::encodeData(data.data(), static_cast<unsigned>(data.size()));
}

std::string encodeOpenssl(const std::string& data) {
  std::string text((data.size() + 2) / 3 * 4, '\0');
  EVP_EncodeBlock(unsignedOf(text), unsignedOf(data), static_cast<int>(data.size()));
  return text;
}

char* encodeGlib(const std::string& data) { return g_base64_encode(unsignedOf(data), data.size()); }

std::string encodeModp(const std::string& data) { return modp::b64_encode(data); }

std::string decodeOurs(const std::string& text) { return VexaCommonUtils::base64Decode(text); }

std::string decodeOpenssl(const std::string& text) {
  std::string bytes(text.size() / 4 * 3, '\0');
  EVP_DecodeBlock(unsignedOf(bytes), unsignedOf(text), static_cast<int>(text.size()));
  return bytes;
}

unsigned char* decodeGlib(const std::string& text) {
  gsize size = 0;
  return g_base64_decode(text.c_str(), &size);
}

std::string decodeModp(const std::string& text) { return modp::b64_decode(text); }

template <class Result>
void release(Result& /*result*/) {}
template <class Byte>
void release(Byte* result) {
  g_free(result);
}

template <class Coder>
void add(const std::string& name, const std::string& input, Coder code) {
  commutil_bench::addSized(name, input.size(), [input, code](benchmark::State& state) {
    for (auto _ : state) {
      auto result = code(input);
      benchmark::DoNotOptimize(result);
      release(result);
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(input.size()));
  });
}

void addLimit(const std::string& name, const std::string& input, std::size_t resultSize) {
  add(name + "limit:fill", input,
      [resultSize](const std::string&) { return std::string(resultSize, 'x'); });
}

const bool kRegistered = [] {
  struct Row {
    const char* size;
    std::size_t bytes;
  };
  for (const Row& row :
       {Row{"16B", 16}, Row{"100B", 100}, Row{"1KiB", 1 << 10}, Row{"64KiB", 1 << 16},
        Row{"1MiB", 1 << 20}, Row{"16MiB", 1 << 24}, Row{"64MiB", 1 << 26}}) {
    const std::string data = randomBytes(row.bytes);
    const std::string text = encodeOurs(data);
    const std::string encode = std::string("base64-encode/") + row.size + "/";
    const std::string decode = std::string("base64-decode/") + row.size + "/";
    add(encode + "ours", data, encodeOurs);
    add(decode + "ours", text, decodeOurs);
    add(encode + "glib", data, encodeGlib);
    add(encode + "openssl", data, encodeOpenssl);
    add(encode + "modp_b64", data, encodeModp);
    addLimit(encode, data, text.size());
    add(decode + "glib", text, decodeGlib);
    add(decode + "openssl", text, decodeOpenssl);
    add(decode + "modp_b64", text, decodeModp);
    addLimit(decode, text, data.size());
  }
  return true;
}();

}  // namespace
