#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "bench/load/Frames.h"

namespace orvik::load {

/// Who is at the other end: Orvik's relay; the bare one, which knows no messages but what it passes
/// on; nats-server; an MQTT 3.1.1 broker.
enum class Speech { orvik, bare, nats, mqtt };

[[nodiscard]] std::optional<Speech> speechNamed(std::string_view name);

enum class Side { mac, phone };

/// One end of a pairing as a server knows it.
struct Party {
  Side side;
  /// The identifier, as in the path.
  std::string identifier;
  /// Tells the phones of one Mac apart.
  unsigned number = 0;
};

/// What a server has said.
struct Heard {
  enum class Kind {
    /// The party may send, or will receive.
    accepted,
    envelope,
    /// The relay's word about phones, to a Mac.
    presence,
    /// `text` has to be sent back.
    question,
    other
  };
  Kind kind = Kind::other;
  std::string_view text;
};

/// The phones that a relay's word about them names.
[[nodiscard]] unsigned viewersIn(std::string_view presence);
/// The identifier of the pairing with this number: the same for the same two numbers.
[[nodiscard]] std::string identifierOf(std::uint64_t run, std::uint64_t pairing);

/// The request for the upgrade.
[[nodiscard]] std::string upgradeRequest(Speech speech, const Party& party);
/// What is said first after the upgrade; empty when nothing is.
[[nodiscard]] std::string opening(Speech speech, const Party& party);
/// What keeps the connection from being taken for dead; empty when nothing has to be said.
[[nodiscard]] std::string_view keepAlive(Speech speech);
/// The message that makes the server send the envelope to the phones.
void appendPublished(std::string& out, Speech speech, const Party& party,
                     std::string_view envelope);
/// The opcode of all that is sent.
[[nodiscard]] Opcode opcodeOf(Speech speech);
/// Whether messages have edges of their own, whatever frames they come in.
[[nodiscard]] bool isStream(Speech speech);
/// Reads the first message of a stream, or the whole of `bytes` where messages are frames. The
/// number of bytes that it takes, 0 while it is incomplete; nothing when it makes no sense.
[[nodiscard]] std::optional<std::size_t> hear(Speech speech, Side side, std::string_view bytes,
                                              Heard& heard);

/// An envelope of `size` bytes, at least 80, with a time in its ciphertext.
[[nodiscard]] std::string envelope(std::size_t size);
void stamp(std::string& envelope, std::int64_t nanoseconds);
/// The time in it, or nothing when it is none of these envelopes.
[[nodiscard]] std::optional<std::int64_t> stampOf(std::string_view envelope);

}  // namespace orvik::load
