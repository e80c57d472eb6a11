// Compares the wide reader with the stdio calls that define it, on a separate handle: any bytes and
// any sequence of operations, in a UTF-8 locale and in the C locale.
#include <algorithm>
#include <array>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cwchar>
#include <string>
#include <utility>
#include <vector>

#include "VexaWideIO.h"
#include "os/handles.h"
#include "support/expect.h"
#include "support/input.h"
#include "support/scratch.h"

namespace {

using commutil_fuzz::expect;
using commutil_fuzz::expectEqual;
using commutil_fuzz::Input;

constexpr wchar_t kUnwritten = 0x5A5A;

/// The model: stdio calls on a handle.
class Model {
 public:
  Model(const char* path, std::string content)
      : m_file(std::fopen(path, "r")), m_content(std::move(content)) {
    expect(m_file != nullptr, "the file can be opened");
  }

  std::FILE* file() const { return m_file.get(); }
  bool isWide() const { return std::fwide(file(), 0) > 0; }

  /// An offset to seek to. The C library may never return from a seek of a wide handle into a
  /// character, so this is the start of that character, in valid text before it.
  long offset(std::size_t wanted) const {
    if (!isWide()) return static_cast<long>(wanted);
    std::size_t at = 0;
    std::mbstate_t state{};
    while (at < m_content.size()) {
      const std::size_t length =
          std::mbrtowc(nullptr, &m_content[at], m_content.size() - at, &state);
      const std::size_t next = at + std::max<std::size_t>(length, 1);  // 0 for a NUL
      if (length > m_content.size() || next > wanted) break;
      at = next;
    }
    return static_cast<long>(at);
  }

  /// Stores values until the end, `limit` of them, or a line feed or `delim`. Returns the index of
  /// the latter, or else the number of values.
  std::size_t readWide(std::vector<wchar_t>& buf, std::size_t limit, std::wint_t delim) {
    std::size_t i = 0;
    for (; i < limit && std::feof(file()) == 0; ++i) {
      const std::wint_t c = std::fgetwc(file());
      buf[i] = static_cast<wchar_t>(c);
      if (c == L'\n' || c == delim) break;
    }
    return i;
  }

  void getWide(std::vector<wchar_t>& buf, std::size_t n, std::wint_t delim) {
    buf[n == 1 ? 0 : readWide(buf, n - 1, delim)] = L'\0';
  }

  void getline(std::vector<wchar_t>& buf, std::size_t n) {
    buf[n == 1 ? 1 : readWide(buf, n - 1, L'\n') + 1] = L'\0';
  }

  void getline(std::vector<wchar_t>& buf, std::size_t n, std::wint_t delim) {
    const std::size_t p = n == 1 ? 0 : readWide(buf, n - 1, delim);
    buf[buf[p] == L'\n' ? p + 1 : p] = L'\0';
  }

  int get(char& c) {
    if (std::feof(file()) != 0) return 0;
    const int byte = std::fgetc(file());
    if (byte == EOF) return 0;
    c = static_cast<char>(byte);
    return static_cast<signed char>(byte);
  }

  void getBytes(std::vector<char>& buf, std::size_t n, char delim) {
    std::size_t i = 0;
    while (i < n - 1 && std::feof(file()) == 0) {
      const int c = std::fgetc(file());
      if (c == EOF || c == '\n' || static_cast<char>(c) == delim) break;
      buf[i++] = static_cast<char>(c);
    }
    buf[i] = '\0';
  }

  /// Reads the characters of a number; returns false if the byte after it cannot be put back.
  bool readNumber(const std::string& accepted, std::string& text) {
    int c = EOF;
    while (std::feof(file()) == 0) {
      c = std::fgetc(file());
      if (c == EOF || accepted.find(static_cast<char>(c)) == accepted.npos) break;
      text += static_cast<char>(c);
      if (text.size() < 100) continue;
      text.pop_back();
      return true;
    }
    if (std::feof(file()) != 0 || c == '\n') return true;
    return std::fseek(file(), -1, SEEK_CUR) == 0;
  }

 private:
  commutil::FileHandle m_file;
  std::string m_content;
};

/// A size from 1 to about 1100; small sizes are more likely.
std::size_t readSize(Input& input) {
  const unsigned n = input.choice(64);
  return n < 48 ? n + 1 : (n - 47) * 67;
}

std::wint_t readDelim(Input& input) {
  constexpr std::array<std::wint_t, 9> kDelims{L',', L' ',   L'\n',   L'\0', L'\r',
                                               0xE9, 0x20AC, 0x1F600, WEOF};
  return kDelims[input.choice(kDelims.size())];
}

/// Reads a line of wide text both ways, into arrays with the same old contents.
void checkWideLine(Input& input, Vexawifstream& stream, Model& model, unsigned form) {
  const std::size_t n = readSize(input);
  const std::wint_t delim = form % 2 == 0 ? L'\n' : readDelim(input);
  std::vector<wchar_t> expected(n + 1, kUnwritten);
  if (input.choice(2) == 1) std::fill(expected.begin(), expected.end(), L'\n');
  std::vector<wchar_t> actual = expected;
  switch (form) {
    case 0:
      stream.get(actual.data(), n);
      model.getWide(expected, n, delim);
      break;
    case 1:
      stream.get(actual.data(), n, delim);
      model.getWide(expected, n, delim);
      break;
    case 2:
      stream.getline(actual.data(), n);
      model.getline(expected, n);
      break;
    default:
      stream.getline(actual.data(), n, delim);
      model.getline(expected, n, delim);
      break;
  }
  expectEqual(actual, expected, "a line of wide text");
}

void checkByteLine(Input& input, Vexawifstream& stream, Model& model) {
  const std::size_t n = readSize(input);
  const bool withDelim = input.choice(2) == 1;
  const char delim = withDelim ? input.byte() : '\n';
  std::vector<char> expected(n, '#');
  std::vector<char> actual = expected;
  if (withDelim) {
    stream.get(actual.data(), n, static_cast<int>(static_cast<signed char>(delim)));
  } else {
    stream.get(actual.data(), n);
  }
  model.getBytes(expected, n, delim);
  expectEqual(actual, expected, "a line of bytes");
}

void checkCharacter(Input& input, Vexawifstream& stream, Model& model) {
  if (input.choice(2) == 0) {
    expectEqual(stream.get(), std::fgetwc(model.file()), "a wide character");
    return;
  }
  wchar_t c = kUnwritten;
  const auto expected = static_cast<wchar_t>(std::fgetwc(model.file()));
  expectEqual(stream.get(c), static_cast<int>(expected), "a wide character's value");
  expectEqual(c, expected, "a wide character stored");
}

void checkByte(Vexawifstream& stream, Model& model) {
  char actual = '#';
  char expected = '#';
  expectEqual(stream.get(actual), model.get(expected), "a byte's value");
  expectEqual(actual, expected, "a byte stored");
}

void checkNumber(Input& input, Vexawifstream& stream, Model& model) {
  if (model.isWide()) return;  // would step back a byte: see Model::offset
  std::string text;
  if (input.choice(2) == 0) {
    const bool read = model.readNumber("0123456789", text);
    expectEqual(stream.getn(), read ? std::strtol(text.c_str(), nullptr, 10) : -1, "getn");
  } else {
    const bool read = model.readNumber("0123456789.", text);
    expectEqual(stream.getd(), read ? std::strtod(text.c_str(), nullptr) : -1.0, "getd");
  }
}

void checkRead(Input& input, Vexawifstream& stream, Model& model) {
  const std::size_t size = input.choice(5);
  const std::size_t count = readSize(input);
  std::vector<char> expected(size * count, '#');
  std::vector<char> actual = expected;
  if (size == 0) actual.resize(1);  // the library does not read into a null array
  expectEqual(stream.read(actual.data(), size, count),
              size == 0 ? 0 : std::fread(expected.data(), size, count, model.file()), "read");
  if (size != 0) expectEqual(actual, expected, "the bytes read");
}

void checkOperation(Input& input, Vexawifstream& stream, Model& model) {
  const unsigned operation = input.choice(10);
  switch (operation) {
    case 0:
    case 1:
    case 2:
    case 3:
      return checkWideLine(input, stream, model, operation);
    case 4:
      return checkCharacter(input, stream, model);
    case 5:
      return checkByte(stream, model);
    case 6:
      return checkByteLine(input, stream, model);
    case 7:
      return checkNumber(input, stream, model);
    case 8:
      return checkRead(input, stream, model);
    default:
      break;
  }
  const long offset = model.offset(readSize(input) - 1);
  expectEqual(stream.fseekg(offset), std::fseek(model.file(), offset, SEEK_SET), "fseekg");
}

}  // namespace

void commutil_fuzz::testInput(Input& input) {
  static const Scratch scratch;
  expect(std::setlocale(LC_ALL, input.choice(2) == 0 ? "C.UTF-8" : "C") != nullptr, "a locale");
  const std::string operations = input.field();
  const std::string content = input.rest();
  const std::string path = scratch.write("text", content);

  Vexawifstream stream;
  stream.open(path.c_str(), 8);
  expect(stream.isValid(), "the file can be opened");
  Model model(path.c_str(), content);
  Input steps(reinterpret_cast<const std::uint8_t*>(operations.data()), operations.size());
  for (int i = 0; i < 100 && !steps.empty(); ++i) {
    checkOperation(steps, stream, model);
    expectEqual(stream.eof() != 0, std::feof(model.file()) != 0, "eof");
    expectEqual(stream.fail() != 0, std::ferror(model.file()) != 0, "fail");
    expectEqual(stream.ftellg(), std::ftell(model.file()), "ftellg");
  }
}
