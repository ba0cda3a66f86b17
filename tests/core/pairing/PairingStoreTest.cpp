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
Bytes ascending(std::size_t count, std::uint8_t first) {
  Bytes bytes(count);
  std::iota(bytes.begin(), bytes.end(), first);
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
  // Whether it can find, remove, add; whether the pairing is kept.
  constexpr bool cases[][4] = {{true, true, true, true},
                               {true, false, true, true},
                               {true, true, false, false},
                               {false, true, true, false}};
  for (const auto& [canFind, canRemove, canAdd, isKept] : cases) {
    MemorySecretStore store;
    store.canFind = canFind;
    store.canRemove = canRemove;
    store.canAdd = canAdd;
    const Pairing first = PairingStore::loadOrCreate(store);
    const Pairing second = PairingStore::loadOrCreate(store);
    EXPECT_EQ(first == second, isKept) << canFind << canRemove << canAdd;
    EXPECT_EQ(PairingStore::save(store, first), canAdd);
    if (canFind) {
      EXPECT_EQ(PairingStore::find(store).has_value(), canAdd);
    } else {
      EXPECT_THROW((void)PairingStore::find(store), SecretStore::Unreadable);
      EXPECT_EQ(PairingStore::load(store), std::nullopt);
    }
  }
}

}  // namespace
}  // namespace orvik
