// commutil base64.
#include <VexaCommonUtils_i.h>

#include <gtest/gtest.h>

#include <string>

#include "tools/run_tool.h"

namespace {

using commutil_test::Deployment;
using commutil_test::ProcessResult;

std::string bytes(std::size_t count) {
  std::string result(count, '\0');
  unsigned state = 12345;
  for (char& c : result) c = static_cast<char>((state = state * 1103515245U + 12345U) >> 16);
  return result;
}

TEST(Base64, EncodesAndDecodesStreams) {
  const Deployment deployment;
  constexpr std::size_t kPiece = 48 * 1024;
  for (const std::size_t size : {std::size_t{0}, std::size_t{1}, std::size_t{2}, std::size_t{3},
                                 kPiece - 1, kPiece, kPiece + 1, kPiece + 2, 5 * kPiece + 7}) {
    SCOPED_TRACE(size);
    const std::string data = bytes(size);
    const std::string text =
        VexaCommonUtils_i::encodeData(data.data(), static_cast<unsigned>(data.size()));
    const ProcessResult encoded = deployment.run({"base64", "encode"}, data);
    EXPECT_EQ(0, encoded.code);
    EXPECT_TRUE(text == encoded.out);
    const ProcessResult decoded = deployment.run({"base64", "decode"}, text);
    EXPECT_EQ(0, decoded.code);
    EXPECT_TRUE(data == decoded.out);
  }
}

TEST(Base64, FailsForInputThatItDoesNotDecode) {
  const Deployment deployment;
  const std::string pieces(64 * 1024, 'A');  // decodes to zeros, a whole piece of input
  const std::string zeros(48 * 1024, '\0');
  const struct {
    std::string text;
    std::string data;
    std::size_t ignoredFrom;  // counted from 1, 0 if all input is decoded
  } rows[] = {
      {"", "", 0},
      {"TWFu\n", "Man", 0},
      {"TWFu\r\n\n", "Man", 0},
      {"TWE", "Ma", 0},
      {"TQ=", "M", 0},
      {"TQ==\n", "M", 0},
      {"TQ==TWFu", "M", 5},
      {"TQ===", "M", 5},
      {"TWE==", "Ma", 5},
      {"TWFu=", "Man", 5},
      {"TQ\n==", "M", 4},
      {"TWFu\nTWFu", "Man", 6},
      {"TWFu TWFu", "Man", 5},
      {"T", "", 1},
      {"TWFuT\n", "Man", 5},
      {"T=", "", 2},
      {"-", "", 1},
      {"=", "", 1},
      {pieces + "\n", zeros, 0},
      {pieces + std::string(70000, '\n'), zeros, 0},
      {pieces + std::string(70000, '\n') + "x", zeros, 65537 + 70000},
      {pieces + "TWE=TWFu", zeros + "Ma", 65541},
      {pieces + "\n" + pieces, zeros, 65538},
      {pieces + "T" + "=" + pieces, zeros, 65538},
      {pieces.substr(1) + "=" + pieces, zeros.substr(1), 65537},
      {pieces.substr(2) + "TQ" + "==" + pieces, zeros.substr(3) + std::string("\0\x04\xd0", 3),
       65537},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.text.substr(0, 20));
    const ProcessResult result = deployment.run({"base64", "decode"}, row.text);
    EXPECT_EQ(row.ignoredFrom == 0 ? 0 : 1, result.code);
    EXPECT_TRUE(row.data == result.out);
    const std::string message = "commutil: standard input from byte " +
                                std::to_string(row.ignoredFrom) + " on is not decoded\n";
    EXPECT_EQ(row.ignoredFrom == 0 ? "" : message, result.err);
  }
}

TEST(Base64, FailsWhenItsInputCannotBeRead) {
  const ProcessResult result = commutil_test::runProcess(
      {"/bin/sh", "-c", "exec \"$0\" base64 encode </", Deployment().tool()}, {});
  EXPECT_EQ(1, result.code);
  EXPECT_EQ("", result.out);
  EXPECT_EQ("commutil: standard input cannot be read\n", result.err);
}

}  // namespace
