#include <gtest/gtest.h>

#include <thread>

#include "core/values/Base64.h"
#include "relay/Admission.h"
#include "relay/Drain.h"
#include "relay/ListenAddress.h"
#include "relay/OutboundQueue.h"
#include "relay/Target.h"
#include "tests/support/Table.h"

namespace orvik::relay {
namespace {

using namespace std::chrono_literals;

TEST(RateLimit, LetsTheBurstThroughAndRefillsNoFurther) {
  const Instant start{1h};
  RateLimit limit({2, 4}, start);
  // Milliseconds, amount, whether it is let through.
  constexpr double steps[][3] = {{0, 4, 1},       {0, 1, 0},        {499, 1, 0},
                                 {500, 1, 1},     {500, 1, 0},      {3600000, 4.5, 0},
                                 {3600000, 4, 1}, {3600000, 0.5, 0}};
  for (const auto& [ms, amount, isTaken] : steps) {
    const auto at = start + std::chrono::milliseconds(static_cast<std::int64_t>(ms));
    EXPECT_EQ(limit.take(at, amount), isTaken != 0) << ms;
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
    EXPECT_EQ(!admission.enter(asio::ip::make_address(address)), expected) << address;
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
  EXPECT_TRUE(admission.isCrowded());
  enters("192.0.2.2", false);  // Four unauthenticated.
}

TEST(Admission, CountsForSeveralThreads) {
  Limits limits;
  limits.connections = 8;
  limits.unauthenticated = 6;
  limits.connectionsPerAddress = limits.unauthenticatedPerAddress = 3;
  Admission admission(limits);
  const auto come = [&admission](std::uint8_t seed) {
    for (std::uint32_t i = 0; i < 20'000; ++i) {
      const auto address = asio::ip::address_v4({192, 0, 2, static_cast<std::uint8_t>(i % 4)});
      const bool isProxied = (i + seed) % 3 == 0;
      if (admission.enter(isProxied ? Admission::Address() : address)) {
        continue;
      }
      const bool isLocated = isProxied && !admission.locate(address);
      const Admission::Address known =
          isProxied && !isLocated ? Admission::Address() : Admission::Address(address);
      const bool isAuthenticated = (i + seed) % 2 == 0;
      if (isAuthenticated) {
        admission.authenticate(known);
      }
      admission.leave(known, isAuthenticated);
    }
  };
  std::vector<std::thread> threads;
  for (std::uint8_t seed = 0; seed < 12; ++seed) {
    threads.emplace_back(come, seed);
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  for (std::size_t i = 0; i < limits.unauthenticated; ++i) {
    EXPECT_FALSE(admission.enter({})) << "all have left";
  }
  EXPECT_TRUE(admission.enter({}));
}

TEST(Admission, BoundsClaims) {
  Limits limits;
  limits.claimsPerAddress = {0.5, 2};
  limits.claimingAddresses = 2;
  Admission admission(limits);
  EXPECT_TRUE(admission.mayClaim({}, Instant()));
  struct Step {
    int second;
    const char* address;
    bool isTaken;
  };
  for (const auto& [second, address, isTaken] : std::initializer_list<Step>{
           {0, "192.0.2.1", true},
           {0, "::ffff:192.0.2.1", true},
           {0, "192.0.2.1", false},
           {1, "2001:db8::1", true},
           {2, "192.0.2.1", true},
           {2, "192.0.2.1", false},
           {2, "2001:db8:0:1::", true},  // As many as are remembered: who claimed least is not.
           {2, "192.0.2.1", false},
           {2, "2001:db8::1:2", true},
           {2, "192.0.2.1", false},
           {6, "192.0.2.1", true},
           {6, "192.0.2.1", true},
           {6, "192.0.2.1", false},
       }) {
    EXPECT_EQ(
        admission.mayClaim(asio::ip::make_address(address), Instant(std::chrono::seconds(second))),
        isTaken)
        << second << " " << address;
  }
}

TEST(Drain, SpreadsWhatIsLeftOverItsTime) {
  const Instant start{1h};
  Drain drain(start, 10s);
  // Milliseconds, how many are left, how many of them are due. Some leave by themselves.
  constexpr std::size_t steps[][3] = {{0, 100, 0},    {1000, 100, 10}, {1180, 90, 1},
                                      {5000, 80, 35}, {9900, 10, 10},  {9950, 1, 0},
                                      {9999, 1, 1},   {10000, 1, 1},   {12000, 2, 2}};
  for (const auto& [ms, left, due] : steps) {
    EXPECT_EQ(drain.due(start + std::chrono::milliseconds(ms), left), due) << ms;
  }
  EXPECT_EQ(Drain(start, 0s).due(start, 7), 7U);
}

TEST(OutboundQueue, HasRoomForABurstOfAlertsBehindTheKeptOnes) {
  const Limits limits;
  OutboundQueue queue;
  const double alerts = limits.macMessages.burst + static_cast<double>(limits.keptAlertsPerMac);
  for (double i = 0; i < 2 * alerts; ++i) {
    ASSERT_TRUE(queue.push(framedText("alert"), limits)) << i;
  }
}

TEST(OutboundQueue, KeepsWhatIsOnItsWay) {
  Limits limits;
  limits.outboundMessages = 2;
  limits.outboundBytes = 10;
  OutboundQueue queue;
  EXPECT_TRUE(queue.push(framedText("longer than ten bytes"), limits)) << "alone it always fits";
  EXPECT_FALSE(queue.push(framedText("x"), limits));
  queue.pop(23);
  EXPECT_TRUE(queue.push(framedText("ab"), limits));
  EXPECT_TRUE(queue.push(framedText("cd"), limits));
  EXPECT_FALSE(queue.push(framedText(""), limits));
  std::string room(5, '\0');
  EXPECT_EQ(queue.copy(room), 5U);
  EXPECT_EQ(room,
            "\x81\x02"
            "ab"
            "\x81");
  queue.dropBehind(5);
  EXPECT_EQ(queue.size(), 8U) << "a part of the second may be on its way";
  queue.pop(1);
  queue.dropBehind(0);
  EXPECT_EQ(queue.size(), 3U);
  queue.pop(3);
  EXPECT_TRUE(queue.empty());
}

const test::Parsers parsers{
    {"target",
     [](auto path) -> JSONValue {
       const auto target = Target::of(path);
       return target ? JSONValue((target->role == Target::Role::mac ? "mac " : "phone ") +
                                 base64URL(target->identifier))
                     : nullptr;
     }},
    {"address", [](auto text) -> JSONValue {
       const auto address = ListenAddress::read(text);
       return address ? JSONValue(address->text) : nullptr;
     }}};

TEST(Relay, ReadsTargetsAndAddressesAsTheTableSays) {
  test::expectTable("relay/texts.txt", parsers);
}

}  // namespace
}  // namespace orvik::relay
