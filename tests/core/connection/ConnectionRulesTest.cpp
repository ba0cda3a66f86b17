#include <gtest/gtest.h>

#include "core/connection/BackOff.h"
#include "core/connection/DeadLinkWatch.h"
#include "core/connection/WebSocketURL.h"

namespace orvik {
namespace {

using namespace std::chrono_literals;

TEST(BackOff, DoublesUpToAMinuteAndStartsAgainAfterAcceptance) {
  BackOff backOff;
  const std::pair<bool, std::chrono::seconds> ends[] = {
      {false, 1s},  {false, 2s},  {false, 4s}, {false, 8s}, {false, 16s}, {false, 32s},
      {false, 60s}, {false, 60s}, {true, 1s},  {true, 1s},  {false, 2s},  {false, 4s}};
  for (const auto& [wasAccepted, wait] : ends) {
    EXPECT_EQ(backOff.next(wasAccepted), wait);
  }
  EXPECT_EQ(BackOff().next(true), 1s);
  for (const auto& [chance, wait] : {std::pair{0.0, 4000ms}, {0.5, 6000ms}, {1.0, 8000ms}}) {
    EXPECT_EQ(BackOff::spread(4s, chance), wait);
  }
}

TEST(DeadLinkWatch, TakesWhatArrivesFromThePingOnForLife) {
  DeadLinkWatch watch;
  watch.pinged(Instant(100s));
  const std::pair<Clock::Duration, bool> arrivals[] = {
      {0s, true}, {100s - 1ns, true}, {100s, false}, {100s + 1ns, false}};
  for (const auto& [lastInbound, isDead] : arrivals) {
    EXPECT_EQ(watch.isDead(Instant(lastInbound)), isDead) << lastInbound.count();
  }
  watch.pinged(Instant(180s));
  EXPECT_TRUE(watch.isDead(Instant(101s))) << "each ping asks anew";
}

TEST(WebSocketURL, TakesOnlyWhatItCanConnectTo) {
  const std::pair<const char*, const char*> good[] = {
      {"wss://relay.example", "relay.example 443 / relay.example"},
      {"wss://relay.example:8443/a/b?c=1", "relay.example 8443 /a/b?c=1 relay.example:8443"},
      {"wss://[::1]:99/", "::1 99 / [::1]:99"},
      {"WSS://127.0.0.1", "127.0.0.1 443 / 127.0.0.1"},
      {"wss://relay.example?x", "relay.example 443 /?x relay.example"}};
  for (const auto& [text, parts] : good) {
    const auto url = WebSocketURL::parse(text).value();
    EXPECT_EQ(url.host + " " + std::to_string(url.port) + " " + url.target + " " + url.hostHeader(),
              parts);
  }
  for (const char* text :
       {"", "relay.example", "ws://relay.example", "https://relay.example", "wss://", "wss:///x",
        "wss://a b", "wss://u:p@relay.example", "wss://relay.example/#x", "wss://relay.example:0",
        "wss://relay.example:99999", "wss://relay.example/\r\nX: y"}) {
    EXPECT_FALSE(WebSocketURL::parse(text)) << text;
  }
  EXPECT_EQ(appendingPath("wss://h", "v1/x"), "wss://h/v1/x");
  EXPECT_EQ(appendingPath("wss://h/b/", "v1/x"), "wss://h/b/v1/x");
}

}  // namespace
}  // namespace orvik
