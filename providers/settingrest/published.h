#pragma once

#include <atomic>
#include <memory>
#include <utility>

#include "pin_slots.h"

namespace settingrest {

/// A value that any number of threads read while others replace it. Takes no lock, so a child
/// forked at any moment can read and replace it too; in the child, values that other threads were
/// reading are never freed. Its values outlive it: in static storage, threads may read at process
/// exit.
template <class T>
class Published {
  struct Node {
    const T value;
    Node* next;
  };

 public:
  /// Keeps a value from being freed. Empty if there was no value.
  class Pin {
   public:
    Pin() = default;
    Pin(Pin&& other) noexcept
        : m_slot(std::exchange(other.m_slot, nullptr)),
          m_node(std::exchange(other.m_node, nullptr)) {}
    Pin& operator=(Pin&& other) noexcept {
      std::swap(m_slot, other.m_slot);
      std::swap(m_node, other.m_node);
      return *this;
    }
    ~Pin() {
      if (m_slot != nullptr) m_slot->pinned.store(nullptr, std::memory_order_release);
    }

    explicit operator bool() const { return m_node != nullptr; }
    const T& operator*() const { return m_node->value; }
    const T* operator->() const { return &m_node->value; }

   private:
    friend class Published;
    Pin(PinSlot* slot, Node* node) : m_slot(slot), m_node(node) {}

    PinSlot* m_slot = nullptr;
    Node* m_node = nullptr;
  };

  constexpr Published() = default;
  Published(const Published&) = delete;
  Published& operator=(const Published&) = delete;

  /// Returns the current value, pinned.
  Pin pin() const {
    Node* node = m_current.load();
    if (node == nullptr) return Pin();
    PinSlot& slot = claimPinSlot(node);
    // A value that is current after it was pinned is seen as pinned by whoever replaces it.
    for (Node* now = m_current.load(); now != node; now = m_current.load()) {
      node = now;
      slot.pinned.store(node);
    }
    return Pin(&slot, node);
  }

  /// Replaces the value that `expected` pins (none if it is empty) by `next`. Returns false if
  /// another thread has replaced it.
  bool replace(const Pin& expected, T next) {
    auto added = std::unique_ptr<Node>(new Node{std::move(next), nullptr});
    Node* before = expected.m_node;
    if (!m_current.compare_exchange_strong(before, added.get())) return false;
    static_cast<void>(added.release());
    if (before != nullptr) retire(before);
    return true;
  }

  /// Frees the replaced values that nobody pins any more.
  void reap() {
    if (m_retired.load(std::memory_order_relaxed) == nullptr) return;
    Node* node = m_retired.exchange(nullptr);
    while (node != nullptr) {
      Node* const next = std::exchange(node->next, nullptr);
      isPinned(node) ? retire(node) : delete node;
      node = next;
    }
  }

  /// Frees all values. For when no thread uses them any more.
  void clear() {
    deleteAll(m_current.exchange(nullptr));
    deleteAll(m_retired.exchange(nullptr));
  }

 private:
  void retire(Node* node) {
    node->next = m_retired.load();
    while (!m_retired.compare_exchange_weak(node->next, node)) {
    }
  }

  static void deleteAll(Node* node) {
    while (node != nullptr) delete std::exchange(node, node->next);
  }

  std::atomic<Node*> m_current{nullptr};
  std::atomic<Node*> m_retired{nullptr};  // a list
};

/// A published value that is freed with its owner.
template <class T>
class OwnedPublished : public Published<T> {
 public:
  OwnedPublished() = default;
  OwnedPublished(const OwnedPublished&) = delete;
  OwnedPublished& operator=(const OwnedPublished&) = delete;
  ~OwnedPublished() { this->clear(); }
};

}  // namespace settingrest
