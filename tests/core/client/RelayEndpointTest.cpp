#include <gtest/gtest.h>

#include <stdexcept>

#include "core/BuildConstants.h"
#include "core/client/RelayEndpoint.h"
#include "core/system/UserDefaultsFile.h"
#include "tests/support/Environment.h"
#include "tests/support/TemporaryFolder.h"

namespace orvik {
namespace {

TEST(RelayEndpoint, IsAnAddressWithAPageAtItsOwnHost) {
  constexpr std::pair<const char*, const char*> hosts[] = {{"wss://relay.test", "relay.test"},
                                                           {"wss://relay.test:443/x", "relay.test"},
                                                           {"wss://[::1]:8443", "[::1]:8443"},
                                                           {build::relayURL, build::pairingHost}};
  for (const auto& [url, host] : hosts) {
    EXPECT_EQ(RelayEndpoint::at(url).linkHost, host);
  }
  for (const char* wrong : {"ws://localhost", "localhost", "wss://localhost/?x", "wss://", ""}) {
    EXPECT_THROW(std::ignore = RelayEndpoint::at(wrong), std::invalid_argument) << wrong;
  }
}

TEST(RelayEndpoint, IsWhatTheUserHasChosen) {
  const test::TemporaryFolder folder;
  UserDefaultsFile preferences(folder.path, "relay");
  const test::Environment relay("ORVIK_RELAY", std::nullopt);
  const test::Environment trust("ORVIK_TRUST", std::nullopt);
  EXPECT_EQ(RelayEndpoint::present(preferences), std::nullopt) << "the build's reaches nobody";
  for (const RelayEndpoint& chosen :
       {RelayEndpoint{"wss://a.test", "/x.pem", "", "a.test"},
        RelayEndpoint{"wss://b.test:1/p", std::nullopt, "AB:CD", "page.test"}}) {
    EXPECT_TRUE(chosen.remember(preferences));
    EXPECT_EQ(RelayEndpoint::present(preferences), chosen);
  }
  EXPECT_TRUE(preferences.set("relay", "{\"url\":\"ws://nonsense\"}"));
  EXPECT_EQ(RelayEndpoint::present(preferences), std::nullopt);
}

TEST(RelayEndpoint, ComesFromTheEnvironmentWhileDeveloping) {
  const test::TemporaryFolder folder;
  const UserDefaultsFile preferences(folder.path, "relay");
  const test::Environment trust("ORVIK_TRUST", "/x.pem");
  const test::Environment relay("ORVIK_RELAY", "wss://localhost:47443/at");
  EXPECT_EQ(RelayEndpoint::present(preferences).has_value(), build::isDevelopment);
  const test::Environment wrong("ORVIK_RELAY", "ws://localhost");
  if (build::isDevelopment) {
    EXPECT_THROW(std::ignore = RelayEndpoint::present(preferences), std::invalid_argument);
  }
}

}  // namespace
}  // namespace orvik
