#pragma once

#include <algorithm>
#include <atomic>
#include <functional>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "core/system/SecretStore.h"

namespace orvik::test {

/// Secrets in memory. Like a real store it takes several items with one key. May be used and
/// changed on any thread.
class MemorySecretStore final : public SecretStore {
 public:
  struct Item {
    Key key;
    std::string label;
    Bytes data;
  };

  enum class State { readable, locked, unreadable, absent };

  explicit MemorySecretStore(std::string name) : title(std::move(name)) {}

  std::string name() const override { return title; }
  std::optional<Bytes> find(const Key& key) override {
    switch (state) {
      case State::locked:
        throw Locked();
      case State::unreadable:
        throw Unreadable();
      case State::absent:
        throw Absent();
      case State::readable:
        break;
    }
    const std::lock_guard guard(lock);
    for (const Item& item : items) {
      if (isOf(item, key)) {
        return item.data;
      }
    }
    return std::nullopt;
  }
  bool remove(const Key& key) override {
    const std::lock_guard guard(lock);
    const auto isMeant = [&](const Item& item) { return isOf(item, key); };
    if (isOpen() && std::ranges::any_of(items, isMeant)) {
      beforeChange();
    }
    return state == State::readable && (std::ranges::none_of(items, isMeant) ||
                                        (isWritable && std::erase_if(items, isMeant) > 0));
  }
  bool add(const Key& key, std::string_view label, ByteView data) override {
    const std::lock_guard guard(lock);
    if (isOpen()) {
      beforeChange();
      items.push_back({key, std::string(label), Bytes(data.begin(), data.end())});
    }
    return isOpen();
  }
  bool unlock(const Key& /*key*/) override {
    ++prompts;
    if (isOpening && state == State::locked) {
      state = State::readable;
    }
    return state == State::readable;
  }

  std::vector<Item> content() {
    const std::lock_guard guard(lock);
    return items;
  }
  void setContent(std::vector<Item> content) {
    const std::lock_guard guard(lock);
    items = std::move(content);
  }

  std::atomic<State> state = State::readable;
  /// Called before anything changes, perhaps on another thread; may throw.
  std::function<void()> beforeChange = [] {};
  /// What can be read can be changed.
  std::atomic<bool> isWritable = true;
  /// Whether the user gives the password.
  std::atomic<bool> isOpening = false;
  std::atomic<int> prompts = 0;

 private:
  [[nodiscard]] bool isOpen() const { return state == State::readable && isWritable; }
  static bool isOf(const Item& item, const Key& key) {
    return item.key.service == key.service && item.key.account == key.account;
  }

  const std::string title;
  std::mutex lock;
  std::vector<Item> items;
};

}  // namespace orvik::test
