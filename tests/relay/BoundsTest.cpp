#include <gmock/gmock.h>

#include <sstream>

#include "relay/Admission.h"
#include "relay/ListenAddress.h"
#include "relay/Target.h"

namespace orvik::relay {
namespace {

using namespace std::chrono_literals;

TEST(RateLimit, LetsTheBurstThroughAndRefillsNoFurther) {
  const Instant start{1h};
  RateLimit limit({2, 4}, start);
  struct Step {
    Clock::Duration at;
    double amount;
    bool taken;
  };
  for (const Step& step :
       {Step{0ms, 4, true}, Step{0ms, 1, false}, Step{499ms, 1, false}, Step{500ms, 1, true},
        Step{500ms, 1, false}, Step{1h, 4.5, false}, Step{1h, 4, true}, Step{1h, 0.5, false}}) {
    EXPECT_EQ(limit.take(start + step.at, step.amount), step.taken) << step.at.count();
  }
}

TEST(Admission, BoundsTotalsAndPlaces) {
  Limits limits;
  limits.connections = 5;
  limits.connectionsPerAddress = 3;
  limits.unauthenticated = 4;
  limits.unauthenticatedPerAddress = 2;
  Admission admission(limits);
  const asio::ip::address first = asio::ip::make_address("192.0.2.1");
  const auto enters = [&](const char* address, bool expected) {
    EXPECT_EQ(admission.enter(asio::ip::make_address(address)), expected) << address;
  };
  enters("192.0.2.1", true);
  enters("::ffff:192.0.2.1", true);
  enters("192.0.2.1", false);  // Two unauthenticated.
  admission.authenticate(first);
  enters("192.0.2.1", true);
  admission.authenticate(first);
  enters("192.0.2.1", false);  // Three in all.
  enters("2001:db8::1", true);
  enters("2001:db8::2:0:0:1", true);
  enters("2001:db8:0:1::1", false);  // Five in all.
  admission.leave(first, true);
  enters("2001:db8::3", false);  // The same network as before.
  enters("2001:db8:0:1::1", true);
  enters("192.0.2.2", false);  // Four unauthenticated.
}

TEST(Target, IsReadFromTheLastThreeSegments) {
  const std::string id = "AAECAwQFBgcICQoLDA0ODw";
  const auto mac = Target::of("/v1/mac/" + id);
  const auto phone = Target::of("/a//b/v1/phone/" + id);
  ASSERT_TRUE(mac && phone);
  EXPECT_EQ(mac->role, Target::Role::mac);
  EXPECT_EQ(phone->role, Target::Role::phone);
  EXPECT_EQ(phone->identifier, mac->identifier);
  EXPECT_EQ(mac->identifier[15], 15);
  for (const std::string path :
       {"", "/", "v1/mac/#", "/v1/mac/#/", "/v1/mac/#?a=b", "/v1/mac/#==", "/v1/mac/#A",
        "/v1/macs/#", "/v2/mac/#", "/v1/mac/", "#", "/v1/mac/++++++++++++++++++++AA",
        "/v1/mac/AAECAwQFBgcICQoLDA0ODx"}) {
    const std::size_t place = path.find('#');
    EXPECT_FALSE(Target::of(place == path.npos ? path : std::string(path).replace(place, 1, id)))
        << path;
  }
}

TEST(ListenAddress, TakesNumericAddressesWithPorts) {
  for (const char* text : {"127.0.0.1:47443", "[::1]:0", "0.0.0.0:65535", "[::]:1"}) {
    std::ostringstream read;
    read << listenAddress(text).value();
    EXPECT_EQ(read.str(), text);
  }
  for (const char* text :
       {"", ":", ":1", "127.0.0.1", "127.0.0.1:", "127.0.0.1:65536", "127.0.0.1:-1", "127.0.0.1:1x",
        "::1:1", "[::1]", "[]:1", "[:1", "[127.0.0.1]:1", "localhost:1"}) {
    EXPECT_FALSE(listenAddress(text)) << text;
  }
}

}  // namespace
}  // namespace orvik::relay
