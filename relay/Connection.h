#pragma once

#include <boost/asio/basic_stream_socket.hpp>
#include <boost/asio/generic/stream_protocol.hpp>
#include <boost/asio/io_context.hpp>

#include <memory>
#include <optional>

#include "core/system/FileDescriptor.h"
#include "relay/Admission.h"
#include "relay/FrameReader.h"
#include "relay/RequestReader.h"
#include "relay/Session.h"
#include "relay/TLSContext.h"
#include "relay/Transport.h"

namespace orvik::relay {

class Loop;

/// What is behind a listener.
enum class Service : std::uint8_t { clients, monitoring };

/// A connection as the system has given it.
struct Arrival {
  /// Does not block.
  FileDescriptor descriptor;
  int family;
  Service service;
  /// Where there is TLS.
  TLSContext tls;
  /// A server in front says first whose connection it is.
  bool isProxied;
  /// Nothing for a connection through another program that does not say.
  Admission::Address address;
};

/// One client's connection, from the accepted socket to its end. Everything runs on its loop, which
/// is another one from the upgrade on, if the identifier belongs there.
///
/// | Phase     | What may come           | What is sent             | Until                       |
/// |-----------|-------------------------|--------------------------|-----------------------------|
/// | proxy     | the PROXY header        | nothing                  | upgradeTime                 |
/// | handshake | TLS, when it has a turn | TLS                      | upgradeTime from its turn   |
/// | request   | the head of a request   | nothing                  | upgradeTime, requestWait    |
/// | answer    | nothing is read         | the answer               | answerTime                  |
/// | open      | frames                  | frames                   | the session's deadlines     |
/// | closing   | anything, ignored       | what waits, close frame  | closingTime                 |
/// | ended     | nothing                 | nothing                  |                             |
///
/// Every phase may go to closing (what waits is sent, then the end of sending is announced) and to
/// ended (the socket is closed), each with a CloseReason, of which the first counts.
class Connection final : public Peer, public std::enable_shared_from_this<Connection> {
 public:
  /// An arrival that Admission has counted, if it is for clients. Throws std::bad_alloc.
  Connection(Loop& loop, const Arrival& arrival);

  /// Begins, as one of the loop's connections, with the descriptor of its arrival.
  void start(FileDescriptor descriptor);

  void send(SharedText message) override;
  void close(CloseReason reason) override;
  [[nodiscard]] bool mayClaim() override;
  /// Ends the connection without a word.
  void cut(CloseReason reason);
  /// Sends what waits, as far as it goes.
  void flush();
  /// Goes on with the handshake, for which there is room now.
  void beginHandshake();
  /// Acts on deadlines; called regularly.
  void check(Instant now);

  /// Whether nothing new is taken or sent.
  [[nodiscard]] bool isClosing() const noexcept {
    return phase == Phase::closing || phase == Phase::ended;
  }

  /// Where it stands in its loop's list, which keeps this.
  std::size_t place = 0;

 private:
  enum class Phase : std::uint8_t { proxy, handshake, request, answer, open, closing, ended };
  using Socket =
      asio::basic_stream_socket<asio::generic::stream_protocol, asio::io_context::executor_type>;
  /// What only a connection needs that is no WebSocket yet.
  struct Opening {
    explicit Opening(const Limits& limits)
        : requests(limits.requestHeader), requestsLeft(limits.requests) {}
    RequestReader requests;
    std::string proxyHeader;
    std::size_t requestsLeft;
  };

  void waitToRead();
  void waitToWrite();
  void readable();
  void writable();
  /// True when more may be read.
  [[nodiscard]] bool shakeHands();
  [[nodiscard]] bool received(std::span<char> bytes);
  [[nodiscard]] bool takeProxyHeader(std::string_view bytes);
  /// Reads requests and answers them. True when more may be read.
  [[nodiscard]] bool takeRequests(std::string_view bytes);
  void takeRequest();
  /// `body` is the answer's where that does not last.
  void answer(HTTPAnswer response, bool mayStay, std::string body = {});
  void upgrade(const HTTPRequest& request);
  void open(const Target& target, std::string greeting);
  void takeFrames(std::span<char> bytes);
  void take(FrameEvent& event);
  void sent();
  void peerEnded(bool isLoss);
  /// From here on nothing is taken: what waits is sent within `closingTime`.
  void finish(CloseReason reason);
  /// Remembers the reason, counts it and writes it to the log: the first one only.
  void note(CloseReason reason);
  void endHandshake();
  void leave();
  void noticeAuthentication(Instant now);
  /// Counts what has come over the wire. False when that has ended the connection.
  [[nodiscard]] bool takeWireBytes();
  void answerPing();
  /// Whether the memory for what waits is used up, and this connection has much of it.
  [[nodiscard]] bool holdsMuch() const;
  /// Tells the loop how much memory is taken for what waits.
  void countBuffered();
  void scheduleFlush();
  /// Takes the socket over for the loop. False when that has ended the connection.
  [[nodiscard]] bool attach(FileDescriptor descriptor);
  [[nodiscard]] Instant now() const;
  [[nodiscard]] std::shared_ptr<Connection> self() { return shared_from_this(); }

  Loop* loop;
  Socket socket;
  Transport transport;
  Admission::Address address;
  OutboundQueue outbound;
  FrameReader frames;
  std::unique_ptr<Opening> opening;
  std::optional<Session> session;
  RateLimit inboundBytes;
  /// That has no answer yet.
  std::optional<std::string> latestPing;
  /// When the client has last been listened to, before it has authenticated.
  Instant lastServed;
  Instant cutAt;
  /// When others may go on with their handshakes although this one has not.
  Instant turnEnds;
  std::size_t turns = 0;
  std::size_t buffered = 0;
  int family;
  Service service;
  Phase phase;
  std::optional<CloseReason> reason;
  /// Why it ends when its answer has been sent.
  CloseReason afterAnswer = CloseReason::requestsAnswered;
  bool isAuthenticated = false;
  bool mayStay = false;
  bool isFlushScheduled = false;
  bool isWaitingToWrite = false;
  bool isSendingEnded = false;
  bool hasPeerEnded = false;
  bool readWantsWrite = false;
  bool isPongWaiting = false;
  /// It is one of the handshakes of TLS that the loop has under way; or waits to be.
  bool isShakingHands = false;
  bool isQueued = false;
};

}  // namespace orvik::relay
