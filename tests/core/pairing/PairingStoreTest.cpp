#include <gtest/gtest.h>

#include <numeric>

#include "core/BuildConstants.h"
#include "core/pairing/PairingStore.h"
#include "tests/support/MemorySecretStore.h"

namespace orvik {
namespace {

using test::MemorySecretStore;

const SecretStore::Key key{.service = build::applicationId, .account = "pairing"};

/// The bytes first, first + 1, …
Bytes ascending(std::size_t count, int first) {
  Bytes bytes(count);
  std::iota(bytes.begin(), bytes.end(), static_cast<std::uint8_t>(first));
  return bytes;
}

TEST(PairingStore, OnlyFortyEightBytesAreAPairing) {
  for (const std::size_t size : {0U, 47U, 48U, 49U}) {
    MemorySecretStore store;
    ASSERT_TRUE(store.add(key, "", ascending(size, 1)));
    const auto loaded = PairingStore::load(store);
    ASSERT_EQ(loaded.has_value(), size == 48) << size;
    EXPECT_TRUE(!loaded || *loaded == Pairing(ascending(16, 1), ascending(32, 17)));
    const Pairing created = PairingStore::loadOrCreate(store);
    EXPECT_TRUE(!loaded || created == loaded);
    EXPECT_EQ(PairingStore::load(store), created) << "one that is damaged is replaced";
  }
}

TEST(PairingStore, SavingTwiceLeavesTheSecond) {
  MemorySecretStore store;
  ASSERT_TRUE(store.add({.service = key.service, .account = "other"}, "", {}));
  EXPECT_TRUE(PairingStore::save(store, Pairing::generate()));
  EXPECT_TRUE(PairingStore::save(store, Pairing(ascending(16, 1), ascending(32, 17))));
  ASSERT_EQ(store.items.size(), 2U);
  const auto& item = store.items.back();
  EXPECT_EQ(item.key.service, key.service);
  EXPECT_EQ(item.key.account, "pairing");
  EXPECT_EQ(item.label, "Orvik pairing");
  EXPECT_EQ(item.data, ascending(48, 1));
}

TEST(PairingStore, WhatIsCreatedStaysWhereItCan) {
  struct Case {
    bool canFind, canRemove, canAdd, isKept;
  };
  for (const Case& does : {Case{true, true, true, true},
                           {true, false, true, true},
                           {true, true, false, false},
                           {false, true, true, false}}) {
    MemorySecretStore store;
    store.canFind = does.canFind;
    store.canRemove = does.canRemove;
    store.canAdd = does.canAdd;
    const Pairing first = PairingStore::loadOrCreate(store);
    const Pairing second = PairingStore::loadOrCreate(store);
    EXPECT_EQ(first == second, does.isKept) << does.canFind << does.canRemove << does.canAdd;
    EXPECT_EQ(PairingStore::save(store, first), does.canAdd);
    if (does.canFind) {
      EXPECT_EQ(PairingStore::find(store).has_value(), does.canAdd);
    } else {
      EXPECT_THROW((void)PairingStore::find(store), SecretStore::Unreadable);
      EXPECT_EQ(PairingStore::load(store), std::nullopt);
    }
  }
}

}  // namespace
}  // namespace orvik
