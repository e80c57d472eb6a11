#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <random>
#include <string>
#include <string_view>

namespace commutil_soak {

/// Random arguments, the same for the same seed.
class Random {
 public:
  explicit Random(std::uint64_t seed) : m_engine(seed) {}
  /// Mixes `parts` into the seed.
  template <class... Parts>
  Random(std::uint64_t seed, Parts... parts) : m_engine(seed) {
    ((m_engine.seed(m_engine() ^ static_cast<std::uint64_t>(parts))), ...);
  }

  std::uint64_t number() { return m_engine(); }
  std::size_t below(std::size_t limit) { return static_cast<std::size_t>(m_engine() % limit); }
  /// Returns true once in `count` calls on average.
  bool once(std::size_t count) { return below(count) == 0; }
  template <class Container>
  const auto& of(const Container& all) {
    return *std::next(std::begin(all), static_cast<std::ptrdiff_t>(below(std::size(all))));
  }

  /// Returns up to `most` characters of `alphabet`.
  std::string textOf(std::string_view alphabet, std::size_t most) {
    std::string text(below(most + 1), '\0');
    for (char& c : text) c = alphabet[below(alphabet.size())];
    return text;
  }
  /// Returns up to `most` bytes of any value.
  std::string bytes(std::size_t most) {
    std::string text(below(most + 1), '\0');
    for (char& c : text) c = static_cast<char>(below(256));
    return text;
  }
  /// Returns a word of 1 to `most` letters and digits.
  std::string word(std::size_t most) {
    constexpr std::string_view kLetters =
        "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ01234";
    return "w" + textOf(kLetters, most - 1);
  }

 private:
  std::mt19937_64 m_engine;
};

}  // namespace commutil_soak
