#pragma once

#include <chrono>
#include <cstddef>

#include "core/async/Clock.h"
#include "relay/RateLimit.h"

namespace orvik::relay {

/// Every bound of the relay. Whoever reaches it may claim an identifier, so the bounds hold for
/// accepted connections too. How many connections and how much memory there may be depends on the
/// machine (`MachineLimits`), and what stands here for it is for a small one.
struct Limits {
  static constexpr std::size_t kibibyte = 1024;
  static constexpr std::size_t mebibyte = 1024 * kibibyte;

  /// A sample with its history and machine information is well under 200 KiB.
  std::size_t macMessage = mebibyte;
  /// What phones send, and what anybody sends before it is accepted, is under 100 bytes.
  std::size_t phoneMessage = 4 * kibibyte;
  /// Request line and header fields; browsers send about 1 KiB.
  std::size_t requestHeader = 8 * kibibyte;

  /// A Mac sends a sample every 2 s, and up to five a second while phones come and go; the burst
  /// covers the alerts that it sends after a reconnection.
  Rate macMessages{10, 60};
  /// A phone sends one or two pings a minute and a word when it is opened or put away.
  Rate phoneMessages{2, 20};
  /// Bytes on the wire, control frames and fragments included. A Mac's bursts are samples with
  /// history, one for each phone that is opened.
  Rate macBytes{512.0 * kibibyte, 4.0 * mebibyte};
  /// Above what `phoneMessages` of full size come to, so that only floods that are no messages
  /// run into it.
  Rate phoneBytes{16.0 * kibibyte, 128.0 * kibibyte};

  /// Event loops.
  std::size_t threads = 1;
  /// Descriptors, and about 20 KiB of memory each.
  std::size_t connections = 1024;
  /// One address shall not take all connections; a household behind one address needs a few.
  std::size_t connectionsPerAddress = 256;
  /// Connections that have not presented a token yet. They cost nothing to make: at this bound no
  /// more are accepted, and those that have taken `crowdedTime` have to go.
  std::size_t unauthenticated = 256;
  Clock::Duration crowdedTime = std::chrono::seconds(3);
  /// Handshakes of TLS that one event loop has under way. More would only make each take longer
  /// than its client waits: at half a millisecond of processor each these take an eighth of a
  /// second.
  std::size_t handshakes = 256;
  /// How long one may hold up others: a client that is there answers in a third of a second from
  /// anywhere. It goes on later.
  Clock::Duration handshakeTurn = std::chrono::milliseconds(300);
  /// How many turns one has before only the time counts that it has left.
  std::size_t handshakeTurns = 4;
  /// A browser that loads the page makes up to six at once, and a household has a few browsers.
  std::size_t unauthenticatedPerAddress = 32;

  /// Identifiers that one address claims: as many as it has connections when a relay has forgotten
  /// them all, and then one a minute. And of how many addresses that is remembered.
  Rate claimsPerAddress{1.0 / 60, 256};
  std::size_t claimingAddresses = 16'384;

  std::size_t phonesPerMac = 16;
  /// Phones that came before their Mac, for one identifier and in total. They are not counted as
  /// unauthenticated: after a restart they would keep the Macs out that they wait for.
  std::size_t heldPhonesPerMac = 8;
  std::size_t heldPhones = 512;
  /// A Mac is back 60 s after a lost connection at the latest.
  Clock::Duration holdTime = std::chrono::seconds(60);
  /// Identifiers that are to be nobody's, and which the store does not yet have so.
  std::size_t revocations = 512;
  /// What clients say while the store has not yet answered for them. A client waits for the answer
  /// with what it has to say, so that this is an alert or two.
  std::size_t waitingMacsPerMac = 4;
  std::size_t waitingMessages = 20;
  std::size_t waitingBytes = 16 * kibibyte;

  /// Alerts that are kept: as many as a Mac keeps itself while it has no relay, each well under
  /// 1 KiB.
  std::size_t keptAlertsPerMac = 20;
  std::size_t keptAlertBytes = 4 * kibibyte;
  Clock::Duration keptAlertTime = std::chrono::hours(24);
  /// How old an alert that no phone has got may be for a phone that does not count.
  Clock::Duration untakenAlertTime = std::chrono::hours(1);

  /// Phones of one Mac that want alerts pushed: as many as may be connected. Push services make
  /// URLs of some hundred bytes, and 1024 at most.
  std::size_t subscriptionsPerMac = 16;
  std::size_t endpointBytes = kibibyte;
  /// A phone says it at each connection, which is noted again after a day.
  Clock::Duration subscriptionTime = std::chrono::days(180);
  Clock::Duration subscriptionRenewal = std::chrono::days(1);
  /// Unused for so long it makes room for another, when there are as many as may be.
  Clock::Duration subscriptionIdleTime = std::chrono::days(30);
  /// Alerts of one Mac that are pushed: a flood of them is no business of the push services. Mains
  /// power that comes and goes makes two a minute at most.
  Rate pushes{1.0 / 30, 60};
  /// Requests at once: to one origin of a push service, and to all, each with a descriptor.
  std::size_t pushesUnderWay = 16;
  std::size_t allPushesUnderWay = 64;
  /// Pushes that wait, those under way included: for one origin, of one Mac (eight kinds of alerts
  /// for as many phones as it may have), and in all, about 2 KiB of memory each.
  std::size_t pushesWaiting = 4096;
  std::size_t pushesWaitingPerMac = 128;
  std::size_t allPushesWaiting = 16'384;
  /// Of these, for all origins together that may have been made up: hosts below one of the list
  /// which have not answered. Each has one request at once. And how many are remembered to have.
  std::size_t unprovenPushesUnderWay = 16;
  std::size_t unprovenPushesWaiting = 4096;
  std::size_t provenOrigins = 256;
  /// Memory for what waits to be pushed.
  std::size_t pushBytes = 32 * mebibyte;
  /// For a push service to answer, and what is read of its answer.
  Clock::Duration pushTime = std::chrono::seconds(10);
  std::size_t pushAnswerBytes = 4 * kibibyte;
  std::size_t pushHeaderBytes = 16 * kibibyte;
  /// Attempts, the time before the second, and how old an alert may be for another: a phone that
  /// hears of it later sees it when it connects.
  int pushAttempts = 5;
  Clock::Duration pushRetry = std::chrono::seconds(2);
  Clock::Duration pushAge = std::chrono::hours(1);

  /// Without a file to keep them in: identifiers with a known owner, about 20 MB, and in less
  /// memory than that all alerts together, a half, and all subscriptions.
  std::size_t records = 100'000;
  std::size_t keptBytes = 8 * mebibyte;
  /// Records of the file that nobody has used for so long go.
  Clock::Duration recordTime = std::chrono::days(180);
  /// The file, for which a stranger's identifiers cost nothing: a million Macs without alerts take
  /// a fifth of it.
  std::size_t storeBytes = 1024 * mebibyte;
  /// What waits for the file: a question of each of as many clients as a machine holds.
  std::size_t storeQueue = 65'536;
  std::size_t storeQueueBytes = 64 * mebibyte;
  /// What waits for the engine that several relays share, and of its messages for an event loop.
  std::size_t neighbourQueueBytes = 32 * mebibyte;
  /// Between two signs of life of a relay, and after how long without one it has gone.
  Clock::Duration heartbeatInterval = std::chrono::milliseconds(500);
  Clock::Duration neighbourTime = std::chrono::seconds(4);
  /// Relays that serve clients of one Mac: one for each of its phones, and as many that have gone.
  std::size_t neighboursPerMac = 32;
  /// A record that another relay has changed is read once more after this time: a leader that does
  /// not know yet that it is none may have given an old one.
  Clock::Duration rereadTime = std::chrono::seconds(6);
  /// How long after a Mac's arrival the alerts that it raises may be such as another relay has
  /// pushed: a computer repeats them at once, and that relay is asked at the same time.
  Clock::Duration repeatTime = std::chrono::seconds(2);
  /// Records that are read again between two looks at the deadlines, and as many that are noted as
  /// used.
  std::size_t rereads = 500;
  /// Before it is asked again to keep what it could not.
  Clock::Duration keepRetry = std::chrono::seconds(10);
  /// Identifiers that somebody is connected to count as used so often: twice within a day, after
  /// which they may have to make room.
  Clock::Duration useInterval = std::chrono::hours(12);
  /// How long another program that reads the file, for a backup, may hold up a write.
  Clock::Duration storeLock = std::chrono::seconds(1);
  /// Before the file is tried again after a failure: twice as long each time, up to half a minute.
  Clock::Duration storeRetry = std::chrono::seconds(1);
  Clock::Duration longestStoreRetry = std::chrono::seconds(30);

  /// What waits to be sent to one connection, the message being sent included. A Mac's burst of
  /// `macMessages` may come in one turn and be alerts, which with their numbers are two messages
  /// each to a phone, which may not have taken the kept ones yet.
  std::size_t outboundMessages = 192;
  std::size_t outboundBytes = mebibyte;
  /// What waits for all connections together, and messages that are not complete yet.
  std::size_t bufferedBytes = 256 * mebibyte;

  /// From accepting a connection to the end of its upgrade.
  Clock::Duration upgradeTime = std::chrono::seconds(10);
  /// For an answer to be taken: half a MiB on the slowest of telephone networks.
  Clock::Duration answerTime = std::chrono::seconds(30);
  /// From an answer to the end of the next request: browsers ask again at once or not soon.
  Clock::Duration requestWait = std::chrono::seconds(5);
  /// Requests on one connection before it is closed; the page has far fewer files.
  std::size_t requests = 64;
  /// From the upgrade to the token.
  Clock::Duration authenticationTime = std::chrono::seconds(10);
  /// Without any message or control frame. A Mac pings every 80 s, a phone once or twice a minute.
  Clock::Duration idleTime = std::chrono::seconds(180);
  /// For the other side's part of the closing handshake.
  Clock::Duration closingTime = std::chrono::seconds(3);
  /// For all closing handshakes when the relay shuts down, so that it is gone within 2 s.
  Clock::Duration shutdownTime = std::chrono::milliseconds(1500);
  /// Between two looks at the deadlines, which are late by as much at most.
  Clock::Duration checkInterval = std::chrono::seconds(1);
};

}  // namespace orvik::relay
