#include "key_index.h"

#include <algorithm>
#include <cstring>

namespace settingrest {
namespace {

// A slot holds an entry's number, counted from 1, and bits of its hash that tell most others apart
// without a look at their keys. 0 is a free slot.
constexpr unsigned kNumberBits = 22;
constexpr std::uint32_t kNumberMask = (1U << kNumberBits) - 1;
static_assert(kMaxSnapshotBytes / sizeof(SnapshotFileEntry) < kNumberMask);

/// Names whose hashes collide more often are searched for without the table: keys that somebody
/// chose for that must not make it slow.
constexpr std::size_t kMostProbes = 64;

constexpr std::uint64_t kMultiplier = 0x9E3779B97F4A7C15;
constexpr std::size_t kWord = sizeof(std::uint64_t);

std::uint64_t wordAt(const char* bytes) {
  std::uint64_t word = 0;
  std::memcpy(&word, bytes, kWord);
  return word;
}

std::uint64_t shortWord(std::string_view bytes) {
  std::uint64_t word = 0;
  for (const char c : bytes) word = word << 8 | static_cast<unsigned char>(c);
  return word;
}

std::uint64_t mix(std::uint64_t hash, std::uint64_t word) {
  hash = (hash ^ word) * kMultiplier;
  return hash ^ hash >> 32;
}

/// Two words at a time, which the processor mixes side by side; the last words may overlap.
std::uint64_t hashOf(std::string_view name) {
  if (name.size() < kWord) return mix(mix(name.size(), shortWord(name)), 0);
  std::uint64_t even = name.size();
  std::uint64_t odd = kMultiplier;
  const char* const last = name.data() + name.size() - kWord;
  const char* at = name.data();
  for (; last - at > static_cast<std::ptrdiff_t>(kWord); at += 2 * kWord) {
    even = mix(even, wordAt(at));
    odd = mix(odd, wordAt(at + kWord));
  }
  const std::uint64_t hash = mix(mix(even, wordAt(std::min(at, last))), odd ^ wordAt(last));
  return mix(hash, 0);  // the last bytes change only high bits so far
}

std::uint32_t tagOf(std::uint64_t hash) {
  return static_cast<std::uint32_t>(hash >> 32) & ~kNumberMask;
}

std::size_t slotsFor(std::size_t entries) {
  std::size_t slots = 2;
  while (slots < 2 * entries) slots *= 2;
  return slots;
}

}  // namespace

KeyIndex::KeyIndex(const SnapshotView& view)
    : m_view(view), m_mask(slotsFor(view.size()) - 1), m_slots(m_mask + 1) {
  if (!fill()) m_slots.clear();
}

bool KeyIndex::fill() {
  for (std::size_t i = 0; i < m_view.size(); ++i) {
    const std::string_view key = m_view.entry(i).key;
    if (key.front() != '/') continue;  // no lookup asks for it
    const std::uint64_t hash = hashOf(key.substr(1));
    std::size_t slot = hash & m_mask;
    for (std::size_t probes = 0; m_slots[slot] != 0; slot = (slot + 1) & m_mask)
      if (++probes == kMostProbes) return false;
    m_slots[slot] = tagOf(hash) | static_cast<std::uint32_t>(i + 1);
  }
  return true;
}

std::size_t KeyIndex::find(std::string_view name) const {
  const auto isAt = [&](std::size_t index) {
    const std::string_view key = m_view.entry(index).key;
    return key.size() == name.size() + 1 && key.substr(1) == name && key.front() == '/';
  };
  if (m_slots.empty()) {
    const std::size_t index = m_view.lowerBound({"/", name, ""});
    return index < m_view.size() && isAt(index) ? index : m_view.size();
  }
  const std::uint64_t hash = hashOf(name);
  for (std::size_t slot = hash & m_mask; m_slots[slot] != 0; slot = (slot + 1) & m_mask) {
    const std::size_t number = m_slots[slot] & kNumberMask;
    if ((m_slots[slot] & ~kNumberMask) == tagOf(hash) && isAt(number - 1)) return number - 1;
  }
  return m_view.size();
}

}  // namespace settingrest
