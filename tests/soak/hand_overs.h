#pragma once

#include <ace/Message_Block.h>

#include <atomic>
#include <cstdint>
#include <cstring>
#include <mutex>
#include <thread>

#include "VexaLocks.h"

namespace commutil_soak {

/// A token that the threads of a process hand over, and a queue whose messages they take in the
/// order of the token. Counts the turns that came out of order.
///
/// The counters are not atomic: the thread sanitizer sees whether the token orders accesses to
/// them.
class HandOvers {
 public:
  HandOvers() { m_queue.setToken(&m_queueToken); }

  /// Reserves a place and waits for the turn.
  void passToken() {
    m_token.grab();
    const std::uint64_t place = m_places++;
    m_token.letgo();
    std::this_thread::yield();  // so that others reserve before this turn
    m_token.acquire(nullptr, nullptr, nullptr);
    takeTurn(m_turn, place);
    m_token.release();
  }

  /// Puts a message into the queue, and takes the first one in its turn.
  void passMessage() {
    put();
    ACE_Message_Block* message = nullptr;
    if (m_queue.dequeue_head(message, nullptr) == -1) {
      ++m_outOfOrder;
      return;
    }
    std::this_thread::yield();
    m_queueToken.acquire(nullptr, nullptr, nullptr);
    std::uint64_t place = 0;
    std::memcpy(&place, message->rd_ptr(), sizeof place);
    takeTurn(m_messageTurn, place);
    m_queueToken.release();
    message->release();
  }

  std::uint64_t count() const { return m_count; }
  std::uint64_t outOfOrder() const { return m_outOfOrder; }

 private:
  void put() {
    auto* const message = new ACE_Message_Block(sizeof(std::uint64_t));
    const std::lock_guard lock(m_putting);
    std::memcpy(message->wr_ptr(), &m_messages, sizeof m_messages);
    message->wr_ptr(sizeof m_messages);
    ++m_messages;
    m_queue.enqueue_tail(message);
  }

  void takeTurn(std::uint64_t& turn, std::uint64_t place) {
    if (turn != place) ++m_outOfOrder;
    turn = place + 1;
    ++m_count;
  }

  VexaToken m_token;
  std::uint64_t m_places = 0;
  std::uint64_t m_turn = 0;
  VexaToken m_queueToken;
  VexaToken_Message_Queue m_queue;
  std::mutex m_putting;
  std::uint64_t m_messages = 0;
  std::uint64_t m_messageTurn = 0;
  std::atomic<std::uint64_t> m_count{0};
  std::atomic<std::uint64_t> m_outOfOrder{0};
};

}  // namespace commutil_soak
