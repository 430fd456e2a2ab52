#pragma once

#include <atomic>
#include <bit>
#include <cstddef>
#include <utility>
#include <vector>

namespace tallyrig {

/// A queue of fixed capacity between one producing and one consuming thread. All memory is taken at construction.
/// Real-time safe on either side for items that can be assigned without allocation.
template <typename Item>
class SpscQueue {
 public:
  /// Room for at least `capacity` items.
  explicit SpscQueue(std::size_t capacity) : items_(std::bit_ceil(capacity)), mask_(items_.size() - 1) {}

  std::size_t capacity() const noexcept { return items_.size(); }

  // Producing thread.

  std::size_t room() const noexcept { return items_.size() - (staged_ - read_.load(std::memory_order_acquire)); }
  /// There must be room. The consumer sees the item after the next `publish`.
  void stage(Item item) noexcept { items_[staged_++ & mask_] = std::move(item); }
  void publish() noexcept { written_.store(staged_, std::memory_order_release); }

  // Consuming thread.

  /// Null if the queue is empty. Valid until `pop`.
  Item* front() noexcept {
    const std::size_t at = read_.load(std::memory_order_relaxed);
    return at == written_.load(std::memory_order_acquire) ? nullptr : &items_[at & mask_];
  }
  /// The queue must not be empty.
  void pop() noexcept { read_.store(read_.load(std::memory_order_relaxed) + 1, std::memory_order_release); }

 private:
  std::vector<Item> items_;
  const std::size_t mask_;
  std::size_t staged_ = 0;
  alignas(64) std::atomic<std::size_t> written_ = 0;
  alignas(64) std::atomic<std::size_t> read_ = 0;
};

}  // namespace tallyrig
