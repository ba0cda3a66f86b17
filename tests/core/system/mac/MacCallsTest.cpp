// On the stand-in for the Mac's frameworks: what is asked, what comes of each answer, and that
// everything which we are given is released.

#include <gmock/gmock.h>
#include <sys/time.h>

#include "core/sampling/mac/Sysctl.h"
#include "core/system/SecretStore.h"
#include "tests/core/system/mac/standin/StandIn.h"

namespace orvik {
namespace {

using standin::machine;
using testing::ElementsAre;
using testing::Optional;

class MacCalls : public testing::Test {
 protected:
  MacCalls() { machine = {}; }
  ~MacCalls() override {
    EXPECT_TRUE(machine.owned.empty());
    EXPECT_EQ(machine.pools, 0);
  }
};

TEST_F(MacCalls, AKeychainItemIsFoundByServiceAndAccountAlone) {
  const auto store = openSecretStores().front();
  const SecretStore::Key key{"example.orvik", "pairing"};
  const Bytes secret = {0, 1, 0xFF};
  EXPECT_EQ(store->find(key), std::nullopt);
  EXPECT_TRUE(store->remove(key));
  EXPECT_TRUE(store->add(key, "Orvik pairing", secret));
  EXPECT_TRUE(store->add({"example.orvik", "other"}, "", Bytes{}));
  EXPECT_THAT(store->find(key), Optional(secret));
  const std::string item = " account=pairing class=password service=example.orvik";
  EXPECT_THAT(
      machine.asked,
      ElementsAre("find account=pairing class=password limit=one return=true service=example.orvik",
                  "delete" + item,
                  "add accessible=this-device account=pairing class=password data=" +
                      std::string(textOf(secret)) + " label=Orvik pairing service=example.orvik",
                  testing::StartsWith("add "), testing::StartsWith("find ")));
  EXPECT_TRUE(store->remove(key));
  EXPECT_EQ(store->find(key), std::nullopt);
  EXPECT_EQ(machine.keychain.size(), 1U);
  // Locked, denied, or asked for what is no text: never a wider question.
  machine.asked.clear();
  EXPECT_FALSE(store->add({"\xFF", "pairing"}, "", secret));
  EXPECT_FALSE(store->remove({"example.orvik", "\xFF"}));
  EXPECT_EQ(store->find({"example.orvik", "\xFF"}), std::nullopt);
  EXPECT_TRUE(machine.asked.empty());
  machine.status = -128;
  EXPECT_EQ(store->find({"example.orvik", "other"}), std::nullopt);
  EXPECT_FALSE(store->remove({"example.orvik", "other"}) || store->add(key, "", secret));
  machine.status = 0;
  EXPECT_FALSE(store->add({"example.orvik", "other"}, "", secret)) << "never two under one key";
}

template <typename Value>
std::string bytesIn(const Value& value) {
  return {reinterpret_cast<const char*>(&value), sizeof value};
}

TEST_F(MacCalls, WhatTheKernelTells) {
  EXPECT_EQ(Sysctl::bootTime(), std::nullopt);
  machine.kernel = {{"kern.boottime", bytesIn(timeval{1'800'000'000, 999'999})},
                    {"text", std::string("a\xFF\0b", 4)},
                    {"empty", ""},
                    {"long", std::string(5000, 'a')},
                    {"four", bytesIn(std::int32_t{-4})},
                    {"eight", bytesIn(std::int64_t{1} << 40)}};
  EXPECT_EQ(epochSeconds(Sysctl::bootTime().value()), 1'800'000'000);
  EXPECT_THAT(Sysctl::text("text"), Optional(std::string("a\uFFFD")));
  EXPECT_THAT(Sysctl::text("empty"), Optional(std::string()));
  EXPECT_THAT(Sysctl::integer("four"), Optional(-4));
  EXPECT_THAT(Sysctl::integer("eight"), Optional(std::int64_t{1} << 40));
  for (const char* name : {"long", "absent"}) {
    EXPECT_EQ(Sysctl::text(name), std::nullopt);
  }
  // Of another size: too small to be a number, or too large.
  for (const char* name : {"empty", "long", "kern.boottime"}) {
    EXPECT_EQ(Sysctl::integer(name), std::nullopt) << name;
  }
}

}  // namespace
}  // namespace orvik
