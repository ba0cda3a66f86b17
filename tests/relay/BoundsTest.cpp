#include <gmock/gmock.h>

#include <sstream>

#include "relay/Admission.h"
#include "relay/ListenAddress.h"
#include "relay/OutboundQueue.h"
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
  const auto enter = [&](const char* text) {
    return admission.enter(asio::ip::make_address(text));
  };
  const asio::ip::address first = asio::ip::make_address("192.0.2.1");
  EXPECT_TRUE(enter("192.0.2.1"));
  EXPECT_TRUE(enter("::ffff:192.0.2.1"));
  EXPECT_FALSE(enter("192.0.2.1")) << "two unauthenticated";
  admission.authenticate(first);
  EXPECT_TRUE(enter("192.0.2.1"));
  admission.authenticate(first);
  EXPECT_FALSE(enter("192.0.2.1")) << "three in all";
  EXPECT_TRUE(enter("2001:db8::1"));
  EXPECT_TRUE(enter("2001:db8::2:0:0:1"));
  EXPECT_FALSE(enter("2001:db8::3")) << "the same network";
  EXPECT_FALSE(enter("2001:db8:0:1::1")) << "five in all";
  admission.leave(first, true);
  EXPECT_TRUE(enter("2001:db8:0:1::1"));
  EXPECT_FALSE(enter("192.0.2.2")) << "four unauthenticated";
}

TEST(OutboundQueue, IsBoundedInMessagesAndBytes) {
  Limits limits;
  limits.outboundMessages = 3;
  limits.outboundBytes = 10;
  OutboundQueue queue(limits);
  const auto push = [&](std::size_t size) {
    return queue.push(std::make_shared<const std::string>(size, 'x'));
  };
  EXPECT_FALSE(push(11));
  EXPECT_TRUE(push(6));
  EXPECT_FALSE(push(5));
  EXPECT_TRUE(push(4));
  EXPECT_TRUE(push(0));
  EXPECT_FALSE(push(0));
  queue.pop();
  EXPECT_EQ(queue.front()->size(), 4U);
  EXPECT_TRUE(push(6));
}

TEST(Target, IsReadFromTheLastThreeSegments) {
  const std::string id = "AAECAwQFBgcICQoLDA0ODw";
  const auto mac = Target::of("/v1/mac/" + id);
  ASSERT_TRUE(mac);
  EXPECT_EQ(mac->role, Target::Role::mac);
  EXPECT_EQ(mac->identifier[15], 15);
  const auto phone = Target::of("/a//b/v1/phone/" + id);
  ASSERT_TRUE(phone);
  EXPECT_EQ(phone->role, Target::Role::phone);
  EXPECT_EQ(phone->identifier, mac->identifier);
  for (const std::string& path :
       {std::string(), std::string("/"), id, "v1/mac/" + id, "/v1/mac/" + id + "/",
        "/v1/mac/" + id + "?a=b", "/v1/mac/" + id + "==", "/v1/mac/" + id.substr(1),
        "/v1/mac/" + id.substr(0, 21) + "x", "/v1/macs/" + id, "/v2/mac/" + id,
        std::string("/v1/mac/++++++++++++++++++++AA"), std::string("/v1/mac/")}) {
    EXPECT_FALSE(Target::of(path)) << path;
  }
}

TEST(ListenAddress, TakesNumericAddressesWithPorts) {
  for (const char* text : {"127.0.0.1:47443", "[::1]:0", "0.0.0.0:65535", "[::]:1"}) {
    std::ostringstream read;
    const auto endpoint = listenAddress(text);
    ASSERT_TRUE(endpoint) << text;
    read << *endpoint;
    EXPECT_EQ(read.str(), text);
  }
  for (const char* text :
       {"", ":", ":1", "127.0.0.1", "127.0.0.1:", "127.0.0.1:65536", "127.0.0.1:-1", "127.0.0.1:1x",
        "::1:1", "[::1]", "[]:1", "[:1", "[127.0.0.1]:1", "localhost:1", "[::1 ]:1"}) {
    EXPECT_FALSE(listenAddress(text)) << text;
  }
}

}  // namespace
}  // namespace orvik::relay
