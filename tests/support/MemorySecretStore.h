#pragma once

#include <string>
#include <utility>
#include <vector>

#include "core/system/SecretStore.h"

namespace orvik::test {

/// Secrets in memory. Like a real store it takes several items with one key.
class MemorySecretStore final : public SecretStore {
 public:
  struct Item {
    Key key;
    std::string label;
    Bytes data;
  };

  std::optional<Bytes> find(const Key& key) override {
    if (!canFind) {
      throw Unreadable();
    }
    for (const Item& item : items) {
      if (isOf(item, key)) {
        return item.data;
      }
    }
    return std::nullopt;
  }
  bool remove(const Key& key) override {
    return canRemove && (std::erase_if(items, [&](auto& item) { return isOf(item, key); }), true);
  }
  bool add(const Key& key, std::string_view label, ByteView data) override {
    if (canAdd) {
      items.push_back({key, std::string(label), Bytes(data.begin(), data.end())});
    }
    return canAdd;
  }

  std::vector<Item> items;
  bool canFind = true;
  bool canRemove = true;
  bool canAdd = true;

 private:
  static bool isOf(const Item& item, const Key& key) {
    return item.key.service == key.service && item.key.account == key.account;
  }
};

}  // namespace orvik::test
