// On the stand-in for the Mac's frameworks: what is asked, what comes of each answer, and that
// everything which we are given is released.

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/use_future.hpp>
#include <gmock/gmock.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>
#include <sys/time.h>

#include <memory>

#include "core/sampling/ThisMachine.h"
#include "core/sampling/mac/ThisMac.h"
#include "core/system/SecretStore.h"
#include "core/system/TrustedRoots.h"
#include "core/system/UserDefaults.h"
#include "tests/core/system/mac/standin/StandIn.h"

namespace orvik {
namespace {

using standin::machine;
using standin::make;
using testing::ElementsAre;
using testing::Optional;

class MacCalls : public testing::Test {
 protected:
  MacCalls() { machine = {}; }
  ~MacCalls() override {
    EXPECT_TRUE(machine.owned.empty());
    EXPECT_EQ(machine.entries, 0);
    EXPECT_EQ(machine.pools, 0);
  }
};

template <typename Value>
std::string bytesIn(const Value& value) {
  return {reinterpret_cast<const char*>(&value), sizeof value};
}

TEST_F(MacCalls, AKeychainItemIsFoundByServiceAndAccountAlone) {
  const auto store = openSecretStore();
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

TEST_F(MacCalls, PreferencesOfEachDomain) {
  const auto own = openUserDefaults(std::nullopt);
  const auto suite = openUserDefaults("suite");
  EXPECT_TRUE(own->set("key", std::string("a\0b", 3)));
  EXPECT_EQ(suite->data("key"), std::nullopt);
  EXPECT_THAT(own->data("key"), Optional(std::string("a\0b", 3)));
  EXPECT_TRUE(suite->set("key", ""));
  EXPECT_THAT(machine.preferences, testing::SizeIs(2));
  machine.preferences["suite/key"] = make(standin::string, "not data");
  machine.savesPreferences = false;
  EXPECT_EQ(suite->data("key"), std::nullopt);
  EXPECT_FALSE(suite->set("key", "b") || suite->set("\xFF", "b"));
  EXPECT_EQ(own->data("\xFF"), std::nullopt);
  for (const char* refused : {"", "NSGlobalDomain", "\xFF"}) {
    EXPECT_EQ(openUserDefaults(refused), nullptr);
  }
}

TEST_F(MacCalls, WhatTheKernelTells) {
  ThisMac mac(std::make_shared<SystemClock>(), "PNG");
  EXPECT_EQ(mac.bootEpoch(), 0);
  EXPECT_EQ(readMachineLoad().uptime, 0);
  timeval now{};
  gettimeofday(&now, nullptr);
  machine.kernel = {{"kern.boottime", bytesIn(timeval{now.tv_sec - 100, 999'999})},
                    {"text", std::string("a\xFF\0b", 4)},
                    {"empty", ""},
                    {"long", std::string(5000, 'a')},
                    {"four", bytesIn(std::int32_t{-4})},
                    {"eight", bytesIn(std::int64_t{1} << 40)}};
  EXPECT_EQ(mac.bootEpoch(), now.tv_sec - 100);
  EXPECT_NEAR(readMachineLoad().uptime, 100, 60);
  EXPECT_THAT(mac.sysctlString("text"), Optional(std::string("a\uFFFD")));
  EXPECT_THAT(mac.sysctlString("empty"), Optional(std::string()));
  EXPECT_THAT(mac.sysctlInt("four"), Optional(-4));
  EXPECT_THAT(mac.sysctlInt("eight"), Optional(std::int64_t{1} << 40));
  for (const char* name : {"long", "absent"}) {
    EXPECT_EQ(mac.sysctlString(name), std::nullopt);
  }
  // Of another size: too small to be a number, or too large.
  for (const char* name : {"empty", "long", "kern.boottime"}) {
    EXPECT_EQ(mac.sysctlInt(name), std::nullopt) << name;
  }
  const auto version = [&](const char* text) {
    machine.kernel["kern.osproductversion"] = text;
    const auto parts = mac.version().value_or(MacSystem::Version{-1, -1, -1});
    return std::vector{parts.major, parts.minor, parts.patch};
  };
  EXPECT_THAT(version("14.2.1"), ElementsAre(14, 2, 1));
  EXPECT_THAT(version("26"), ElementsAre(26, 0, 0));
  for (const char* none : {"", "14.", "14.2.1.3", "14,2", "-1", "a", "99999999999999999999"}) {
    EXPECT_THAT(version(none), ElementsAre(-1, -1, -1)) << none;
  }
}

TEST_F(MacCalls, CapacitiesAndTheProductsName) {
  ThisMac mac(std::make_shared<SystemClock>(), "PNG");
  const auto dataVolume = [&] {
    asio::io_context context;
    auto capacity = asio::co_spawn(context, mac.dataVolume(), asio::use_future);
    context.run();
    return capacity.get();
  };
  const std::string volume = "/System/Volumes/Data ";
  EXPECT_FALSE(dataVolume());
  machine.values = {{volume + "total", make(standin::number, "", 500)},
                    {volume + "available", nullptr},
                    {volume + "important", make(standin::string, "much")}};
  ASSERT_TRUE(dataVolume());
  EXPECT_EQ(dataVolume()->total, 500);
  EXPECT_FALSE(dataVolume()->available || dataVolume()->forImportantUsage);
  machine.values[volume + "available"] = make(standin::number, "", 90);
  machine.values[volume + "important"] = make(standin::number, "", 100);
  EXPECT_THAT(dataVolume()->available, Optional(90));
  EXPECT_THAT(dataVolume()->forImportantUsage, Optional(100));
  machine.values[volume + "total"] = make(standin::number, "", -1);
  EXPECT_FALSE(dataVolume());

  machine.values["product-name"] = make(standin::data, std::string("MacBook Air\0", 12));
  EXPECT_EQ(mac.productName(), std::nullopt);
  machine.values["IODeviceTree:/product"] = nullptr;
  EXPECT_THAT(mac.productName(), Optional(std::string("MacBook Air\0", 12)));
  machine.values["product-name"] = make(standin::string, "MacBook Air");
  EXPECT_EQ(mac.productName(), std::nullopt);
}

TEST_F(MacCalls, RootsThatTheSystemTrustsAreTrusted) {
  const std::unique_ptr<BIO, int (*)(BIO*)> file(BIO_new_file(ORVIK_FIXTURES "/localhost.pem", "r"),
                                                 BIO_free);
  const std::unique_ptr<X509, void (*)(X509*)> read(
      PEM_read_bio_X509(file.get(), nullptr, nullptr, nullptr), X509_free);
  unsigned char* der = nullptr;
  const int size = i2d_X509(read.get(), &der);
  ASSERT_GT(size, 0);
  const std::string root(der, der + size);
  OPENSSL_free(der);
  const auto trusted = [] {
    const std::unique_ptr<SSL_CTX, void (*)(SSL_CTX*)> context(SSL_CTX_new(TLS_client_method()),
                                                               SSL_CTX_free);
    trustSystemRoots(*context);
    const X509_STORE* store = SSL_CTX_get_cert_store(context.get());
    return sk_X509_OBJECT_num(X509_STORE_get0_objects(store));
  };
  // What is broken or no certificate is left out, and so is what comes twice.
  const auto certificate = make(standin::certificate, root);
  machine.anchors = {make(standin::certificate, "broken"), certificate, make(standin::string, root),
                     make(standin::certificate, ""), certificate};
  EXPECT_EQ(trusted(), 1);
  machine.status = -1;
  EXPECT_EQ(trusted(), 0);
}

}  // namespace
}  // namespace orvik
