#include <gtest/gtest.h>

#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "support/fixtures.h"

namespace {

using commutil_test::allBytes;
using commutil_test::ScopedEnv;

struct Expander {
  const char* name;
  std::string (*expand)(const std::string& text);
  const char* open;
  const char* close;
};

const Expander kExpanders[] = {
    {"replaceEnvVar", VexaCommonUtils::replaceEnvVar, "$(", ")"},
    {"replEnvVar", VexaCommonUtils::replEnvVar, "%", "%"},
    {"VexareplaceEnvVar", VexaCommonUtils_i::VexareplaceEnvVar, "${", "}"},
};

/// Writes a reference in the expander's syntax wherever `pattern` has "<NAME>".
std::string inSyntax(const Expander& expander, const std::string& pattern) {
  std::string text;
  for (const char c : pattern) {
    if (c == '<') {
      text += expander.open;
    } else if (c == '>') {
      text += expander.close;
    } else {
      text += c;
    }
  }
  return text;
}

class Environment : public testing::Test {
 private:
  ScopedEnv m_home{"HOME", "/home/u"};
  ScopedEnv m_a{"A", "1"};
  ScopedEnv m_b{"B", "2"};
  ScopedEnv m_c{"C", "3"};
  ScopedEnv m_empty{"EMPTY", ""};
  ScopedEnv m_unset{"NOPE", std::nullopt};
};

TEST_F(Environment, FindsVariables) {
  EXPECT_EQ("/home/u", VexaCommonUtils::Vexagetenv("HOME"));
  EXPECT_EQ("", VexaCommonUtils::Vexagetenv("EMPTY"));
  EXPECT_EQ("", VexaCommonUtils::Vexagetenv("NOPE"));
  EXPECT_EQ("", VexaCommonUtils::Vexagetenv(""));
  EXPECT_EQ("", VexaCommonUtils::Vexagetenv(nullptr));
}

TEST_F(Environment, CopiesValuesByteForByte) {
  const std::string bytes = allBytes().substr(1);
  const ScopedEnv every("EVERY_BYTE", bytes);
  EXPECT_EQ(bytes, VexaCommonUtils::Vexagetenv("EVERY_BYTE"));
  const std::string value(1'000'000, 'v');
  const ScopedEnv longOne("LONG", value);
  EXPECT_EQ(value, VexaCommonUtils::Vexagetenv("LONG"));
}

TEST_F(Environment, SeesAChangeAtOnce) {
  const ScopedEnv changed("A", "changed");
  EXPECT_EQ("changed", VexaCommonUtils::Vexagetenv("A"));
  for (const Expander& expander : kExpanders) {
    SCOPED_TRACE(expander.name);
    EXPECT_EQ("changed", expander.expand(inSyntax(expander, "<A>")));
  }
}

struct Expansion {
  const char* name;
  const char* pattern;
  const char* result;
};

const Expansion kExpansions[] = {
    {"empty text", "", ""},
    {"no reference", "plain text", "plain text"},
    {"reference alone", "<HOME>", "/home/u"},
    {"text after", "<HOME>/x", "/home/u/x"},
    {"text before", "x/<HOME>", "x//home/u"},
    {"text around", "a<A>b", "a1b"},
    {"side by side", "<A><B>", "12"},
    {"several", "-<A>-<B>-<C>-", "-1-2-3-"},
    {"the same twice", "<A>,<A>", "1,1"},
    {"unset", "a<NOPE>b", "a<NOPE>b"},
    {"set to the empty string", "a<EMPTY>b", "a<EMPTY>b"},
    {"empty name", "a<>b", "a<>b"},
    {"the search continues after a reference that stays", "<NOPE><A>", "<NOPE>1"},
    {"kept reference last", "<A><NOPE>", "1<NOPE>"},
    {"unterminated", "x<HOME", "x<HOME"},
    {"unterminated at the end", "x<", "x<"},
    {"unterminated after a reference", "<A>x<HOME", "1x<HOME"},
    {"name is not trimmed", "< A >", "< A >"},
    {"newline in the name", "<A\n>", "<A\n>"},
};

TEST_F(Environment, ExpandsReferences) {
  for (const Expander& expander : kExpanders) {
    for (const Expansion& expansion : kExpansions) {
      SCOPED_TRACE(std::string(expander.name) + ": " + expansion.name);
      EXPECT_EQ(inSyntax(expander, expansion.result),
                expander.expand(inSyntax(expander, expansion.pattern)));
    }
  }
}

struct Text {
  const char* text;
  const char* paren;
  const char* percent;
  const char* brace;
};

const Text kTexts[] = {
    {"$(HOME)", "/home/u", "$(HOME)", "$(HOME)"},
    {"%HOME%", "%HOME%", "/home/u", "%HOME%"},
    {"${HOME}", "${HOME}", "${HOME}", "/home/u"},
    {"$HOME (A) {A} $ A", "$HOME (A) {A} $ A", "$HOME (A) {A} $ A", "$HOME (A) {A} $ A"},
    {"$ (A) $ {A}", "$ (A) $ {A}", "$ (A) $ {A}", "$ (A) $ {A}"},
    {"$", "$", "$", "$"},
    {"$$(A)$${A}", "$1$${A}", "$$(A)$${A}", "$$(A)$1"},
    {"$(A$(B))", "$(A$(B))", "$(A$(B))", "$(A$(B))"},
    {"${A${B}}", "${A${B}}", "${A${B}}", "${A${B}}"},
    {"$(A$(B)$(C)", "$(A$(B)3", "$(A$(B)$(C)", "$(A$(B)$(C)"},
    {")$(A)", ")1", ")$(A)", ")$(A)"},
    {"}${A}", "}${A}", "}${A}", "}1"},
    {"100%", "100%", "100%", "100%"},
    {"%%", "%%", "%%", "%%"},
    {"%", "%", "%", "%"},
    {"%%%", "%%%", "%%%", "%%%"},
    {"%A%B%C%", "%A%B%C%", "1B3", "%A%B%C%"},
    {"%NOPE%A%B%", "%NOPE%A%B%", "%NOPE%A2", "%NOPE%A%B%"},
    {"%%A%%", "%%A%%", "%%A%%", "%%A%%"},
    {"$(A}%B%${C)", "$(A}%B%${C)", "$(A}2${C)", "$(A}%B%${C)"},
    {"$(A}${C}", "$(A}${C}", "$(A}${C}", "$(A}3"},
};

TEST_F(Environment, RecognizesOnlyItsOwnSyntax) {
  for (const Text& row : kTexts) {
    SCOPED_TRACE(row.text);
    EXPECT_EQ(row.paren, VexaCommonUtils::replaceEnvVar(row.text));
    EXPECT_EQ(row.percent, VexaCommonUtils::replEnvVar(row.text));
    EXPECT_EQ(row.brace, VexaCommonUtils_i::VexareplaceEnvVar(row.text));
  }
}

TEST_F(Environment, NeverScansAValueAgain) {
  for (const Expander& expander : kExpanders) {
    SCOPED_TRACE(expander.name);
    const ScopedEnv nested("NESTED", inSyntax(expander, "<A>"));
    EXPECT_EQ(inSyntax(expander, "x<A>y1"), expander.expand(inSyntax(expander, "x<NESTED>y<A>")));
    const ScopedEnv half("HALF", expander.open);
    EXPECT_EQ(inSyntax(expander, "<A"), expander.expand(inSyntax(expander, "<HALF>A")));
    const ScopedEnv self("SELF", inSyntax(expander, "<SELF>"));
    EXPECT_EQ(inSyntax(expander, "<SELF>"), expander.expand(inSyntax(expander, "<SELF>")));
  }
}

TEST_F(Environment, LooksUpNamesOfAnyLength) {
  for (const std::size_t length : {1U, 126U, 127U, 128U, 129U, 255U, 256U, 100'000U}) {
    const std::string name(length, 'N');
    const ScopedEnv variable(name, "found");
    for (const Expander& expander : kExpanders) {
      SCOPED_TRACE(std::string(expander.name) + " " + std::to_string(length));
      EXPECT_EQ("found", expander.expand(inSyntax(expander, "<" + name + ">")));
      const std::string longer = inSyntax(expander, "<" + name + "N>");
      EXPECT_EQ(longer, expander.expand(longer));
    }
  }
}

TEST_F(Environment, LooksUpEveryNameUnchanged) {
  for (const char* const name : {"a b", "x.y-z", "A$B", "A(B", "A{B", "\x80\xff", "<", "1"}) {
    SCOPED_TRACE(name);
    const ScopedEnv variable(name, "found");
    EXPECT_EQ("found", VexaCommonUtils::replaceEnvVar(std::string("$(") + name + ")"));
    EXPECT_EQ("found", VexaCommonUtils::replEnvVar(std::string("%") + name + "%"));
    EXPECT_EQ("found", VexaCommonUtils_i::VexareplaceEnvVar(std::string("${") + name + "}"));
  }
  const ScopedEnv percent("P%Q", "found");
  EXPECT_EQ("found", VexaCommonUtils::replaceEnvVar("$(P%Q)"));
  EXPECT_EQ("%P%Q%", VexaCommonUtils::replEnvVar("%P%Q%"));
}

TEST_F(Environment, PassesNamesToGetenvAsCStrings) {
  // "A=x" and a NUL cannot be part of a name, but are passed to getenv(3) nevertheless.
  EXPECT_EQ("$(A=1)", VexaCommonUtils::replaceEnvVar("$(A=1)"));
  EXPECT_EQ(std::string("1-\0-", 4), VexaCommonUtils::replaceEnvVar(std::string("$(A\0B)-\0-", 9)));
  const std::string kept("$(\0A)", 5);
  EXPECT_EQ(kept, VexaCommonUtils::replaceEnvVar(kept));
}

TEST_F(Environment, KeepsEveryByteAroundReferences) {
  std::string bytes;
  for (int c = 0; c < 256; ++c) {
    if (c != '%') bytes += static_cast<char>(c);
  }
  for (const Expander& expander : kExpanders) {
    SCOPED_TRACE(expander.name);
    EXPECT_EQ(bytes + "1" + bytes, expander.expand(bytes + inSyntax(expander, "<A>") + bytes));
  }
}

TEST_F(Environment, ExpandsManyReferencesInOnePass) {
  constexpr std::size_t kReferences = 1'000'000;  // minutes when each copies the rest of the text
  for (const Expander& expander : kExpanders) {
    SCOPED_TRACE(expander.name);
    std::string text;
    std::string expected;
    for (std::size_t i = 0; i < kReferences; ++i) {
      text += inSyntax(expander, i % 2 == 0 ? "<A>x" : "<NOPE>");
      expected += i % 2 == 0 ? "1x" : inSyntax(expander, "<NOPE>");
    }
    EXPECT_TRUE(expected == expander.expand(text));
  }
}

TEST_F(Environment, MacrosAreNotExpanded) {
  for (const std::string text : {"", "$(HOME)", "%HOME%", "${HOME}", "$HOME", "plain"})
    EXPECT_EQ(text, VexaCommonUtils_i::VexareplaceMacroVar(text));
  const std::string bytes("a\0b", 3);
  EXPECT_EQ(bytes, VexaCommonUtils_i::VexareplaceMacroVar(bytes));
}

}  // namespace
