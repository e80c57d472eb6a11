// The wide streams with their operators, and wide printing.
#include <cstdarg>
#include <cwchar>
#include <filesystem>
#include <memory>

#include "VexaLocale.h"
#include "VexaWideIO.h"
#include "faults/tour.h"
#include "support/fixtures.h"
#include "support/host.h"

namespace commutil_faults {
namespace {

constexpr int kRead = 8;
constexpr int kWrite = 16;
const std::string kReaders = "Vexawifstream";
const std::string kWriters = "Vexawofstream";
const std::string kFiles = "Vexawfstream";

// A failed read, also for lack of a buffer, returns WEOF. The next read may succeed.
const std::wstring kFailedLine(1, static_cast<wchar_t>(WEOF));
const std::wstring kFirstLine = L"a line of text, \u00e4\u00f6\u00fc";
const std::wstring kFirstField = L"a line of text";

std::vector<std::string> failuresOfLine(const std::wstring& line) {
  return {show(kFailedLine), show(kFailedLine + line)};
}

std::string outputPath() { return commutil_test::Host::path("output"); }

/// A new handle's behavior depends on the locale, which is set once and does not fail here.
void setLocale() { VexaLocale::Instance(); }

/// An operation on a stream that has opened `file` for reading.
template <class Stream, class Body>
Operation reading(const std::string& name, const char* file, Body body,
                  std::vector<std::string> failures = {}) {
  return {name,
          [=](Attempt& attempt) {
            setLocale();
            Stream stream;
            stream.open(commutil_test::Host::path(file).c_str(), kRead);
            return body(attempt, stream);
          },
          std::move(failures)};
}

/// An operation on a stream that has opened the output file for writing; the result includes the
/// file.
template <class Stream, class Body>
Operation writing(const std::string& name, Body body, std::vector<std::string> failures = {}) {
  return {name,
          [=](Attempt& attempt) {
            setLocale();
            std::string answer;
            {
              Stream stream;
              stream.open(outputPath().c_str(), kWrite);
              answer = body(attempt, stream);
            }
            return answer + " " + show(commutil_test::readFile(outputPath()));
          },
          std::move(failures)};
}

template <class Stream>
Operation making(const std::string& name) {
  return {name, [](Attempt& attempt) {
            attempt([] { Stream stream; });
            return show("made");
          }};
}

template <class Stream>
Operation destroying(const std::string& name, const char* file, int mode) {
  return {name, [=](Attempt& attempt) {
            setLocale();
            auto stream = std::make_unique<Stream>();
            stream->open(commutil_test::Host::path(file).c_str(), mode);
            attempt([&] { stream.reset(); });
            return show("gone");
          }};
}

template <class Stream>
Operation closing(const std::string& name, const char* file, int mode) {
  return {name, [=](Attempt& attempt) {
            setLocale();
            Stream stream;
            stream.open(commutil_test::Host::path(file).c_str(), mode);
            attempt([&] { stream.close(); });
            return show(stream.fail());
          }};
}

template <class Stream>
Operation opening(const std::string& name, const char* file, int mode) {
  return {name,
          [=](Attempt& attempt) {
            Stream stream;
            attempt([&] { stream.open(commutil_test::Host::path(file).c_str(), mode); });
            return show(stream.fail() == 0);
          },
          {show(false)}};
}

/// The reads that the reader and the combined stream have.
template <class Stream>
void addReads(Tour& tour, const std::string& of) {
  const auto wideLine = [](auto read) {
    return [=](Attempt& attempt, Stream& stream) {
      wchar_t line[101] = L"";  // getline needs one element more
      attempt([&] { read(stream, line); });
      return show(std::wstring(line));
    };
  };
  const auto byteLine = [](auto read) {
    return [=](Attempt& attempt, Stream& stream) {
      char line[100] = "";
      attempt([&] { read(stream, line); });
      return show(line);
    };
  };
  tour.push_back(reading<Stream>(
      of + "::get()", "lines",
      [](Attempt& attempt, Stream& stream) { return show(attempt([&] { return stream.get(); })); },
      {show(WEOF)}));
  tour.push_back(reading<Stream>(of + "::get(wchar_t&)", "lines",
                                 [](Attempt& attempt, Stream& stream) {
                                   wchar_t c = L'?';
                                   const int result = attempt([&] { return stream.get(c); });
                                   return show(result, static_cast<int>(c));
                                 },
                                 {show(-1, -1)}));
  tour.push_back(reading<Stream>(of + "::get(char&)", "lines",
                                 [](Attempt& attempt, Stream& stream) {
                                   char c = '?';
                                   const int result = attempt([&] { return stream.get(c); });
                                   return show(result, static_cast<int>(c));
                                 },
                                 {show(0, static_cast<int>('?'))}));
  tour.push_back(
      reading<Stream>(of + "::get(wchar_t*, unsigned long)", "lines",
                      wideLine([](Stream& stream, wchar_t* line) { stream.get(line, 100); }),
                      failuresOfLine(kFirstLine)));
  tour.push_back(
      reading<Stream>(of + "::get(wchar_t*, unsigned long, unsigned int)", "lines",
                      wideLine([](Stream& stream, wchar_t* line) { stream.get(line, 100, L','); }),
                      failuresOfLine(kFirstField)));
  tour.push_back(
      reading<Stream>(of + "::getline(wchar_t*, unsigned long)", "lines",
                      wideLine([](Stream& stream, wchar_t* line) { stream.getline(line, 100); }),
                      failuresOfLine(kFirstLine + L"\n")));
  tour.push_back(reading<Stream>(
      of + "::getline(wchar_t*, unsigned long, unsigned int)", "lines",
      wideLine([](Stream& stream, wchar_t* line) { stream.getline(line, 100, L','); }),
      failuresOfLine(kFirstField)));
  tour.push_back(reading<Stream>(
      of + "::get(char*, unsigned long)", "lines",
      byteLine([](Stream& stream, char* line) { stream.get(line, 100); }), {show("")}));
  tour.push_back(reading<Stream>(
      of + "::get(char*, unsigned long, int)", "lines",
      byteLine([](Stream& stream, char* line) { stream.get(line, 100, ','); }), {show("")}));
  tour.push_back(reading<Stream>(of + "::read", "lines",
                                 [](Attempt& attempt, Stream& stream) {
                                   char bytes[21] = "";
                                   const std::size_t count =
                                       attempt([&] { return stream.read(bytes, 1, 20); });
                                   return show(count, bytes);
                                 },
                                 {show(0, "")}));
}

/// A wide string that takes several writes. After a failed one its rest is not written, and what
/// the handle still holds may be written twice.
template <class Stream>
Operation puttingMuch(const std::string& of) {
  static constexpr std::size_t kLength = 5000;
  return {of + "::put(wchar_t const*)",
          [](Attempt& attempt) {
            setLocale();
            int result = 0;
            {
              Stream stream;
              stream.open(outputPath().c_str(), kWrite);
              const std::wstring text(kLength, L'\u00e4');
              result = attempt([&] { return stream.put(text.c_str()); });
            }
            const std::string written = commutil_test::readFile(outputPath());
            std::size_t size = 0;
            while (written.compare(size, 2, "\u00e4") == 0) size += 2;
            if (size != written.size()) return show(result, written);
            return show(result, size == 2 * kLength ? "all of it" : "other characters");
          },
          {show(-1, "other characters")}};
}

/// The writes that the writer and the combined stream have.
template <class Stream>
void addWrites(Tour& tour, const std::string& of) {
  tour.push_back(writing<Stream>(of + "::put(wchar_t)", [](Attempt& attempt, Stream& stream) {
    return show(attempt([&] { return stream.put(L'\u00e4'); }));
  }));
  tour.push_back(puttingMuch<Stream>(of));
  tour.push_back(writing<Stream>(of + "::put(char)", [](Attempt& attempt, Stream& stream) {
    return show(attempt([&] { return stream.put('a'); }));
  }));
  tour.push_back(writing<Stream>(of + "::put(char const*)", [](Attempt& attempt, Stream& stream) {
    return show(attempt([&] { return stream.put("a line of text") >= 0; }));
  }));
  tour.push_back(writing<Stream>(of + "::write", [](Attempt& attempt, Stream& stream) {
    return show(attempt([&] { return stream.write("a line of text", 1, 14); }));
  }));
}

/// `stream << value`; numbers and text use different functions. What is flushed may be lost.
template <class Stream, class Value>
Operation inserting(const std::string& of, const char* type, Value value) {
  return writing<Stream>("operator<<(" + of + "&, " + type + ")",
                         [=](Attempt& attempt, Stream& stream) {
                           attempt([&] { stream << value; });
                           return show("inserted");
                         },
                         {show("inserted") + " " + show("")});
}

template <class Stream>
void addInserters(Tour& tour, const std::string& of) {
  tour.push_back(inserting<Stream>(of, "wchar_t const*", L"\u00e4 and more"));
  tour.push_back(inserting<Stream>(of, "wchar_t", L'\u00e4'));
  tour.push_back(inserting<Stream>(of, "char const*", "a line of text"));
  tour.push_back(inserting<Stream>(of, "char", 'a'));
  tour.push_back(inserting<Stream>(of, "int", -4711));
  tour.push_back(inserting<Stream>(of, "unsigned int", 4711U));
  tour.push_back(inserting<Stream, short>(of, "short", -47));
  tour.push_back(inserting<Stream, unsigned short>(of, "unsigned short", 47));
  tour.push_back(inserting<Stream>(of, "long", -4711L));
  tour.push_back(inserting<Stream>(of, "unsigned long", 4711UL));
  tour.push_back(inserting<Stream>(of, "float", 8.25F));
  tour.push_back(inserting<Stream>(of, "double", 8.25));
}

template <class Stream, class Value>
Operation extractingNumber(const std::string& of, const char* type) {
  return reading<Stream>("operator>>(" + of + "&, " + type + "&)", "numbers",
                         [](Attempt& attempt, Stream& stream) {
                           Value value{};
                           attempt([&] { stream >> value; });
                           return show(value);
                         },
                         {show(static_cast<Value>(-1))});
}

template <class Stream, class Character>
Operation extractingLine(const std::string& of, const char* type) {
  return reading<Stream>("operator>>(" + of + "&, " + type + "*)", "lines",
                         [](Attempt& attempt, Stream& stream) {
                           std::basic_string<Character> line(4097, Character{});
                           attempt([&] { stream >> line.data(); });
                           return show(upToNul(line));
                         },
                         {show(kFailedLine), show(kFailedLine + kFirstLine), show("")});
}

template <class Stream>
void addExtractors(Tour& tour, const std::string& of, const char* skipped) {
  tour.push_back(extractingLine<Stream, wchar_t>(of, "wchar_t"));
  tour.push_back(extractingLine<Stream, char>(of, "char"));
  tour.push_back(reading<Stream>("operator>>(" + of + "&, wchar_t&)", "lines",
                                 [](Attempt& attempt, Stream& stream) {
                                   wchar_t c = L'?';
                                   attempt([&] { stream >> c; });
                                   return show(static_cast<int>(c));
                                 },
                                 {show(-1)}));
  tour.push_back(reading<Stream>("operator>>(" + of + "&, " + skipped + ")", "lines",
                                 [](Attempt& attempt, Stream& stream) {
                                   char c = '?';
                                   attempt([&] { stream >> c; });
                                   const int next = stream.get(c);
                                   return show(next, static_cast<int>(c));
                                 },
                                 {show(static_cast<int>('a'), static_cast<int>('a'))}));
  tour.push_back(extractingNumber<Stream, int>(of, "int"));
  tour.push_back(extractingNumber<Stream, short>(of, "short"));
  tour.push_back(extractingNumber<Stream, long>(of, "long"));
  tour.push_back(extractingNumber<Stream, unsigned int>(of, "unsigned int"));
  tour.push_back(extractingNumber<Stream, unsigned short>(of, "unsigned short"));
  tour.push_back(extractingNumber<Stream, unsigned long>(of, "unsigned long"));
  tour.push_back(extractingNumber<Stream, float>(of, "float"));
  tour.push_back(extractingNumber<Stream, double>(of, "double"));
}

Operation manipulating(const char* name, std::ostream& (*manipulator)(std::ostream&)) {
  return writing<Vexawofstream>(name, [=](Attempt& attempt, Vexawofstream& stream) {
    stream.put(L"before ");
    attempt([&] { stream << manipulator; });
    return show("done");
  });
}

void formatInto(wchar_t* buffer, const wchar_t* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  Vexavswprintf(buffer, format, arguments);
  va_end(arguments);
}

std::wstring room() { return std::wstring(4096, L'\0'); }

}  // namespace

Tour wideReaderTour() {
  using Stream = Vexawifstream;
  Tour tour{
      making<Stream>(kReaders + "::Vexawifstream"),
      destroying<Stream>(kReaders + "::~Vexawifstream", "lines", kRead),
      opening<Stream>(kReaders + "::open", "lines", kRead),
      closing<Stream>(kReaders + "::close", "lines", kRead),
      reading<Stream>(kReaders + "::isValid", "lines",
                      [](Attempt& attempt, Stream& stream) {
                        return show(attempt([&] { return stream.isValid(); }));
                      }),
      reading<Stream>(kReaders + "::eof", "lines",
                      [](Attempt& attempt, Stream& stream) {
                        return show(attempt([&] { return stream.eof(); }));
                      }),
      reading<Stream>(kReaders + "::fail", "lines",
                      [](Attempt& attempt, Stream& stream) {
                        return show(attempt([&] { return stream.fail(); }));
                      }),
      reading<Stream>(kReaders + "::fseekg", "lines",
                      [](Attempt& attempt, Stream& stream) {
                        const int result = attempt([&] { return stream.fseekg(2); });
                        char c = '?';
                        stream.get(c);
                        return show(result, static_cast<int>(c));
                      },
                      {show(-1, static_cast<int>('a'))}),
      reading<Stream>(kReaders + "::ftellg", "lines",
                      [](Attempt& attempt, Stream& stream) {
                        return show(attempt([&] { return stream.ftellg(); }));
                      },
                      {show(-1)}),
      reading<Stream>(kReaders + "::getn", "numbers",
                      [](Attempt& attempt, Stream& stream) {
                        return show(attempt([&] { return stream.getn(); }));
                      },
                      {show(-1)}),
      reading<Stream>(kReaders + "::getd", "numbers",
                      [](Attempt& attempt, Stream& stream) {
                        return show(attempt([&] { return stream.getd(); }));
                      },
                      {show(-1.0)}),
  };
  addReads<Stream>(tour, kReaders);
  addExtractors<Stream>(tour, kReaders, "char&");
  return tour;
}

Tour wideWriterTour() {
  using Stream = Vexawofstream;
  Tour tour{
      making<Stream>(kWriters + "::Vexawofstream"),
      destroying<Stream>(kWriters + "::~Vexawofstream", "output", kWrite),
      opening<Stream>(kWriters + "::open", "output", kWrite),
      closing<Stream>(kWriters + "::close", "output", kWrite),
      writing<Stream>(kWriters + "::isValid",
                      [](Attempt& attempt, Stream& stream) {
                        return show(attempt([&] { return stream.isValid(); }));
                      }),
      writing<Stream>(kWriters + "::eof",
                      [](Attempt& attempt, Stream& stream) {
                        return show(attempt([&] { return stream.eof(); }));
                      }),
      writing<Stream>(kWriters + "::fail",
                      [](Attempt& attempt, Stream& stream) {
                        return show(attempt([&] { return stream.fail(); }));
                      }),
      manipulating("wendl", wendl),
      manipulating("wends", wends),
      manipulating("wflush", wflush),
  };
  addWrites<Stream>(tour, kWriters);
  addInserters<Stream>(tour, kWriters);
  return tour;
}

Tour wideFileTour() {
  using Stream = Vexawfstream;
  Tour tour{
      making<Stream>(kFiles + "::Vexawfstream"),
      destroying<Stream>(kFiles + "::~Vexawfstream", "output", kWrite),
      opening<Stream>(kFiles + "::open", "lines", kRead),
      opening<Stream>(kFiles + "::open [to write]", "output", kWrite),
      closing<Stream>(kFiles + "::close", "lines", kRead),
      reading<Stream>(kFiles + "::eof", "lines",
                      [](Attempt& attempt, Stream& stream) {
                        return show(attempt([&] { return stream.eof(); }));
                      }),
      reading<Stream>(kFiles + "::fail", "lines",
                      [](Attempt& attempt, Stream& stream) {
                        return show(attempt([&] { return stream.fail(); }));
                      }),
  };
  addReads<Stream>(tour, kFiles);
  addWrites<Stream>(tour, kFiles);
  addInserters<Stream>(tour, kFiles);
  addExtractors<Stream>(tour, kFiles, "char");
  return tour;
}

Tour widePrintTour() {
  return {
      {"Vexavswprintf",
       [](Attempt& attempt) {
         std::wstring text = room();
         attempt([&] { formatInto(text.data(), L"%d of %ls", 7, L"a text"); });
         return show(upToNul(text));
       },
       {show(std::wstring())}},
      {"Vexaswprintf",
       [](Attempt& attempt) {
         std::wstring text = room();
         attempt([&] { Vexaswprintf(text.data(), L"%d of %ls", 7, L"a text"); });
         return show(upToNul(text));
       },
       {show(std::wstring())}},
      {"Vexaswprintf [wide field]",
       [](Attempt& attempt) {
         std::wstring text = room();
         attempt([&] { Vexaswprintf(text.data(), L"%.2000f", 0.5); });
         return show(upToNul(text));
       },
       {show(std::wstring())}},
      {"Vexawprintf",
       [](Attempt& attempt) {
         setLocale();
         attempt([] { Vexawprintf(L"%d of %ls", 7, L"a text"); });
         return show(takePrinted());
       }},
      {"Vexafwprintf",
       [](Attempt& attempt) {
         setLocale();
         std::wstring text = room();
         std::FILE* const file = std::fopen(outputPath().c_str(), "w");
         attempt([&] { Vexafwprintf(file, text.data(), L"%d of %ls", 7, L"a text"); });
         std::fclose(file);
         return show(upToNul(text), commutil_test::readFile(outputPath()));
       }},
  };
}

}  // namespace commutil_faults
