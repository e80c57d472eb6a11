// Strings, character sets and the locale, base64, identifiers and time stamps, options.
#include <ctime>

#include "ArgsOptions.h"
#include "VexaCommonUtils.h"
#include "VexaCommonUtils_i.h"
#include "VexaLocale.h"
#include "VexaStringUtils.h"
#include "faults/tour.h"

namespace commutil_faults {
namespace {

using Utils = VexaCommonUtils;
using Utils_i = VexaCommonUtils_i;

const std::string kPadded = "  a text with spaces on both of its sides  ";
const std::string kUtf8 = "\xc3\xa4\xc3\xb6\xc3\xbc in a text of some length";
const std::wstring kWide = L"\u00e4\u00f6\u00fc in a text of some length";

/// An operation on a string.
template <class Function>
Operation ofText(const char* name, Function function, const std::string& text) {
  return {name, [=](Attempt& attempt) {
            std::string argument = text;
            return show(attempt([&] { return function(argument); }), argument);
          }};
}

Operation ofOptions(const char* name, std::string (*query)(const ArgsOptions&, Attempt&)) {
  return {name, [=](Attempt& attempt) {
            std::string words[] = {"program", "--an-option-with-a-name", "a value of some length",
                                   "another value of it", "-x"};
            char* argv[] = {words[0].data(), words[1].data(), words[2].data(), words[3].data(),
                            words[4].data()};
            const ArgsOptions options(5, argv);
            return query(options, attempt);
          }};
}

template <class Number>
Operation ofNumber(const char* name, char* (*function)(Number, char*)) {
  return {name, [=](Attempt& attempt) {
            char text[22] = "";
            const char* const result = attempt([&] { return function(Number{1234567890}, text); });
            return show(result == text, text);
          }};
}

/// Returns whether the stamp is the current time on the host's clock, five hours ahead.
std::string stampShown(const std::string& stamp) {
  for (const std::time_t now = std::time(nullptr); const int before : {0, 1, 2, 3}) {
    const std::time_t there = now - before + 5 * 60 * 60;
    std::tm local{};
    ::gmtime_r(&there, &local);
    char text[32];
    std::strftime(text, sizeof text, "%Y%m%d%H%M%S", &local);
    if (stamp == text) return "the local time";
  }
  return stamp;
}

bool isIdentifier(const std::string& text) {
  return text.size() == 32 && text.find_first_not_of("0123456789ABCDEF") == std::string::npos;
}

}  // namespace

Tour stringsTour() {
  Tour tour{
      ofText("VexaCommonUtils::Vexareverse", Utils::Vexareverse, kPadded),
      ofText("VexaCommonUtils::Vexaltrim", Utils::Vexaltrim, kPadded),
      ofText("VexaCommonUtils::Vexatrim", Utils::Vexatrim, kPadded),
      ofText(
          "VexaCommonUtils::Vexareplace",
          [](std::string& text) {
            static std::string from = "text";
            static std::string to = "replacement of some length";
            return Utils::Vexareplace(text, from, to);
          },
          kPadded),
      ofText(
          "VexaCommonUtils::stringReplace",
          [](std::string& text) {
            Utils::stringReplace("s", "a replacement", text);
            return true;
          },
          kPadded),
      {"VexaCommonUtils::split",
       [](Attempt& attempt) {
         std::list<std::string> fields{"before"};
         attempt(
             [&] { Utils::split("the first of the fields::the second of them", "::", fields); });
         return show(fields);
       }},
      {"VexaCommonUtils::splitAll",
       [](Attempt& attempt) {
         std::vector<std::string> fields{"before"};
         const unsigned long count = attempt([&] {
           return Utils::splitAll("the first of the fields;the second of them", ";", fields);
         });
         return show(count, fields);
       }},
      {"VexaCommonUtils_i::splitAll",
       [](Attempt& attempt) {
         std::set<std::string> fields{"before"};
         attempt(
             [&] { Utils_i::splitAll("the first of the fields;the second of them", ";", fields); });
         return show(fields);
       }},
      ofNumber("VexaCommonUtils::ltoa", Utils::ltoa),
      ofNumber("VexaCommonUtils::ultoa", Utils::ultoa),
      ofNumber("VexaCommonUtils_i::ulltoa", Utils_i::ulltoa),
      ofText("VexaCommonUtils::tabs", Utils::tabs, "label"),
      ofText(
          "VexaCommonUtils_i::VexatrimAll",
          [](const std::string& text) { return Utils_i::VexatrimAll(text, " \t"); }, kPadded),
      ofText(
          "VexaCommonUtils_i::trimString",
          [](const std::string& text) { return Utils_i::trimString(text, " \t"); }, kPadded),
      ofText("VexaCommonUtils_i::Isdigitstr", Utils_i::Isdigitstr, std::string(40, '7')),
      {"VexaCommonUtils_i::getUpperIntVal",
       [](Attempt& attempt) {
         return show(attempt([] { return Utils_i::getUpperIntVal(41.5); }));
       }},
      ofText(
          "ToUpperEx",
          [](std::string& text) {
            ToUpperEx(text);
            return true;
          },
          kPadded),
      ofText("ToUpper", ToUpper, kPadded),
      ofText("StringIsRight", StringIsRight, std::string(40, 'a')),
      ofText(
          "ReplaceChar",
          [](const std::string& text) { return ReplaceChar(text, 'a', "a replacement"); }, kPadded),
      {"StrHexToInt",
       [](Attempt& attempt) {
         const std::string digits = std::string(40, '0') + "7f";
         return show(attempt([&] { return StrHexToInt(digits); }));
       }},
      {"VexaCommonUtils::isBase64",
       [](Attempt& attempt) { return show(attempt([] { return Utils::isBase64('='); })); }},
      ofText("VexaCommonUtils::base64Decode", Utils::base64Decode,
             "YSB0ZXh0IHdpdGggc3BhY2VzIG9uIGJvdGg="),
      ofText("VexaCommonUtils::base64Decode [ends early]", Utils::base64Decode,
             "YSB0ZXh0IHdpdGggc3BhY2VzIG9uIGJvdGg=" + std::string(400, 'A')),
      ofText("VexaCommonUtils_i::decodeData", Utils_i::decodeData,
             "YSB0ZXh0IHdpdGggc3BhY2VzIG9uIGJvdGg="),
      ofText(
          "VexaCommonUtils_i::encodeData",
          [](const std::string& text) {
            return Utils_i::encodeData(text.data(), static_cast<unsigned>(text.size()));
          },
          kPadded),
      {"VexaCommonUtils_i::generateUUID",
       [](Attempt& attempt) {
         return show(isIdentifier(attempt([] { return Utils_i::generateUUID(); })));
       }},
      {"VexaCommonUtils::getTimeStamp",
       [](Attempt& attempt) {
         return stampShown(attempt([] { return Utils::getTimeStamp(false); }));
       },
       {"", "19700101045959"}},  // the result of time(2) is not tested, by contract
      {"ArgsOptions::ArgsOptions",
       [](Attempt& attempt) {
         return show(attempt([] { return ArgsOptions(0, nullptr).numberOfargs(); }));
       }},
      ofOptions("ArgsOptions::hasOption",
                [](const ArgsOptions& options, Attempt& attempt) {
                  const std::string name = "--an-option-with-a-name";
                  return show(attempt([&] { return options.hasOption(name); }));
                }),
      ofOptions("ArgsOptions::getOption",
                [](const ArgsOptions& options, Attempt& attempt) {
                  const std::string name = "--an-option-with-a-name";
                  return show(attempt([&] { return options.getOption(name); }));
                }),
      ofOptions("ArgsOptions::getOptions",
                [](const ArgsOptions& options, Attempt& attempt) {
                  const std::string name = "--an-option-with-a-name";
                  return show(attempt([&] { return options.getOptions(name); }));
                }),
      ofOptions("ArgsOptions::getFlags",
                [](const ArgsOptions& options, Attempt& attempt) {
                  return show(attempt([&] { return options.getFlags(); }));
                }),
      ofOptions("ArgsOptions::numberOfOptions",
                [](const ArgsOptions& options, Attempt& attempt) {
                  return show(attempt([&] { return options.numberOfOptions(); }));
                }),
      ofOptions("ArgsOptions::numberOfargs",
                [](const ArgsOptions& options, Attempt& attempt) {
                  return show(attempt([&] { return options.numberOfargs(); }));
                }),
  };
  return tour;
}

Tour charsetTour() {
  // If the locale could not be set, the "C" locale does not convert such text.
  const std::vector<std::string> all{
      "VexaLocale::Instance", "VexaCommonUtils::STR2WSTR(char const*, wchar_t*)",
      "VexaCommonUtils::STR2WSTR(string const&)", "VexaCommonUtils::WSTR2STR"};
  return {
      {"VexaLocale::Instance",
       [](Attempt& attempt) {
         const bool made = attempt([] { return VexaLocale::Instance() != nullptr; });
         return show(made, takePrinted());
       },
       {show(true, "SetLocale return NULL\n")},
       all},
      {"VexaLocale::SetLocale",
       [](Attempt& attempt) {
         return show(attempt([] { return VexaLocale::SetLocale("C.UTF-8"); }));
       },
       {"null"}},
      {"VexaLocale::Destory",
       [](Attempt& attempt) {
         VexaLocale::Instance();
         attempt([] { VexaLocale::Destory(); });
         return show(VexaLocale::Instance() != nullptr);
       },
       {},
       all},
      {"VexaCommonUtils::STR2WSTR(char const*, wchar_t*)",
       [](Attempt& attempt) {
         std::wstring text(kUtf8.size() + 1, L'x');
         attempt([&] { Utils::STR2WSTR(kUtf8.c_str(), text.data()); });
         return show(upToNul(text));
       },
       {show(std::wstring(kUtf8.size(), L'x'))},
       all},
      {"VexaCommonUtils::STR2WSTR(string const&)",
       [](Attempt& attempt) { return show(attempt([] { return Utils::STR2WSTR(kUtf8); })); },
       {show(std::wstring())},
       all},
      {"VexaCommonUtils::WSTR2STR",
       [](Attempt& attempt) {
         return show(attempt([] { return Utils::WSTR2STR(kWide.c_str()); }));
       },
       {show("")},
       all},
      {"VexaCommonUtils::LOC2UTF8",
       [](Attempt& attempt) {
         return show(attempt([] { return Utils::LOC2UTF8(kUtf8.c_str()); }));
       }},
      {"VexaCommonUtils::UTF8TOLOC",
       [](Attempt& attempt) {
         return show(attempt([] { return Utils::UTF8TOLOC(kUtf8.c_str()); }));
       }},
  };
}

}  // namespace commutil_faults
