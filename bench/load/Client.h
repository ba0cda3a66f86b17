#pragma once

#include <functional>
#include <string>

#include "bench/load/Speech.h"
#include "bench/load/Transport.h"

namespace orvik::load {

/// One end of one connection: connects, upgrades, says who it is and then passes on what it hears.
/// It owns no timer and no event queue: whoever has them calls `advance`.
class Client {
 public:
  enum class State { upgrading, opening, accepted, ended };
  using Listener = std::function<void(const Heard&)>;

  Client(Transport transport, Speech speech, Party party);

  /// Puts what a terminator would say of a client at `source` before all else (PROXY protocol,
  /// version 2). Before the first `advance`.
  void introduce(in_addr source);
  /// Goes on as far as the socket lets it. `listener` hears what comes once it is accepted.
  void advance(const Listener& listener);
  /// Sends a message of the protocol.
  void say(std::string_view message);
  /// Sends an envelope to the phones.
  void publish(std::string_view envelope);

  [[nodiscard]] int descriptor() const { return transport.descriptor(); }
  [[nodiscard]] State state() const { return phase; }
  /// Whether it waits for the socket to take bytes.
  [[nodiscard]] bool awaitsWriting() const { return transport.awaitsWriting(); }
  /// Why it has ended, in few words.
  [[nodiscard]] const std::string& trouble() const { return reason; }

 private:
  void end(std::string why);
  void flush();
  void read(const Listener& listener);
  /// Bytes of `bytes` that it has taken.
  std::size_t take(std::string_view bytes, const Listener& listener);
  std::size_t takeAnswer(std::string_view bytes);
  std::size_t takeFrame(std::string_view bytes, const Listener& listener);
  void takePayload(const Frame& frame, std::string_view payload, const Listener& listener);
  void hearAll(std::string_view bytes, const Listener& listener);
  void put(Opcode opcode, std::string_view payload);

  Transport transport;
  Speech speech;
  Party party;
  State phase = State::upgrading;
  std::string outgoing;
  /// The beginning of a frame, and what of a message has come in earlier ones.
  std::string incoming;
  std::string partial;
  std::string reason;
};

}  // namespace orvik::load
