#include "bench/load/Speech.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>

#include "core/values/Base64.h"

namespace orvik::load {
namespace {

constexpr std::string_view lineEnd = "\r\n";

// MQTT 3.1.1, section 2.2.1; the low bits as each kind asks for.
constexpr unsigned char mqttConnect = 0x10;
constexpr unsigned char mqttConnected = 0x20;
constexpr unsigned char mqttPublish = 0x30;
constexpr unsigned char mqttSubscribe = 0x82;
constexpr unsigned char mqttSubscribed = 0x90;

void append16(std::string& out, std::size_t number) {
  out += static_cast<char>(number >> 8);
  out += static_cast<char>(number & 0xFFU);
}

void appendText(std::string& out, std::string_view text) {
  append16(out, text.size());
  out += text;
}

void appendPacketHead(std::string& out, unsigned char kind, std::size_t size) {
  out += static_cast<char>(kind);
  do {
    const std::size_t low = size & 0x7FU;
    size >>= 7;
    out += static_cast<char>(low | (size > 0 ? 0x80U : 0U));
  } while (size > 0);
}

std::string mqttOpening(const Party& party) {
  std::string connect;
  appendText(connect, "MQTT");
  constexpr char level = 4;
  constexpr char cleanSession = 2;
  connect += level;
  connect += cleanSession;
  append16(connect, 0);  // no keep-alive
  appendText(connect, (party.side == Side::mac ? "m" : "p") + std::to_string(party.number) +
                          party.identifier);
  std::string out;
  appendPacketHead(out, mqttConnect, connect.size());
  out += connect;
  if (party.side == Side::phone) {
    std::string subscribe;
    append16(subscribe, 1);
    appendText(subscribe, "o/" + party.identifier);
    subscribe += '\0';
    appendPacketHead(out, mqttSubscribe, subscribe.size());
    out += subscribe;
  }
  return out;
}

std::optional<std::size_t> hearMQTT(Side side, std::string_view bytes, Heard& heard) {
  std::size_t size = 0;
  std::size_t head = 1;
  for (unsigned shift = 0;; shift += 7, ++head) {
    if (head >= bytes.size()) {
      return 0;
    }
    if (head > 4) {
      return std::nullopt;
    }
    const auto byte = static_cast<unsigned char>(bytes[head]);
    size |= static_cast<std::size_t>(byte & 0x7FU) << shift;
    if ((byte & 0x80U) == 0) {
      ++head;
      break;
    }
  }
  if (bytes.size() < head + size) {
    return 0;
  }
  const std::string_view body = bytes.substr(head, size);
  const auto kind = static_cast<unsigned char>(bytes.front());
  if (kind == (side == Side::mac ? mqttConnected : mqttSubscribed)) {
    heard.kind = Heard::Kind::accepted;
  } else if ((kind & 0xF0U) == mqttPublish && body.size() >= 2) {
    const std::size_t topic = (static_cast<std::size_t>(static_cast<unsigned char>(body[0])) << 8) |
                              static_cast<unsigned char>(body[1]);
    heard.kind = Heard::Kind::envelope;
    heard.text = body.substr(std::min(body.size(), 2 + topic));
  }
  return head + size;
}

std::optional<std::size_t> hearNATS(std::string_view bytes, Heard& heard) {
  const std::size_t end = bytes.find(lineEnd);
  if (end == std::string_view::npos) {
    return 0;
  }
  const std::string_view line = bytes.substr(0, end);
  std::size_t taken = end + lineEnd.size();
  if (line == "PONG") {
    heard.kind = Heard::Kind::accepted;
  } else if (line == "PING") {
    heard.kind = Heard::Kind::question;
    heard.text = "PONG\r\n";
  } else if (line.starts_with("-ERR")) {
    return std::nullopt;
  } else if (line.starts_with("MSG ")) {
    const std::string_view number = line.substr(line.rfind(' ') + 1);
    std::size_t size = 0;
    if (std::from_chars(number.data(), number.data() + number.size(), size).ec != std::errc()) {
      return std::nullopt;
    }
    if (bytes.size() < taken + size + lineEnd.size()) {
      return 0;
    }
    heard.kind = Heard::Kind::envelope;
    heard.text = bytes.substr(taken, size);
    taken += size + lineEnd.size();
  }
  return taken;
}

void hearOrvik(Side side, std::string_view message, Heard& heard) {
  constexpr std::string_view envelopeBegin = R"({"c":)";
  if (message.starts_with(envelopeBegin)) {
    heard.kind = Heard::Kind::envelope;
    heard.text = message;
  } else if (side == Side::mac && message.find("\"viewers\"") != std::string_view::npos) {
    heard.kind = Heard::Kind::presence;
    heard.text = message;
  } else if (side == Side::phone && message.find("\"mac\"") != std::string_view::npos) {
    heard.kind = Heard::Kind::accepted;
  }
}

}  // namespace

unsigned viewersIn(std::string_view presence) {
  constexpr std::string_view name = R"("viewers":)";
  const std::size_t at = presence.find(name);
  unsigned viewers = 0;
  if (at != std::string_view::npos) {
    std::from_chars(presence.data() + at + name.size(), presence.data() + presence.size(), viewers);
  }
  return viewers;
}

std::optional<Speech> speechNamed(std::string_view name) {
  constexpr std::array<std::pair<std::string_view, Speech>, 4> names{{{"orvik", Speech::orvik},
                                                                      {"bare", Speech::bare},
                                                                      {"nats", Speech::nats},
                                                                      {"mqtt", Speech::mqtt}}};
  const auto* const found =
      std::ranges::find(names, name, &std::pair<std::string_view, Speech>::first);
  return found == names.end() ? std::nullopt : std::optional(found->second);
}

std::string identifierOf(std::uint64_t run, std::uint64_t pairing) {
  std::array<std::uint8_t, 16> bytes{};
  for (std::size_t at = 0; at < 8; ++at) {
    bytes[at] = static_cast<std::uint8_t>(run >> (8 * at));
    bytes[8 + at] = static_cast<std::uint8_t>(pairing >> (8 * at));
  }
  return base64URL(ByteView(bytes.data(), bytes.size()));
}

std::string upgradeRequest(Speech speech, const Party& party) {
  std::string request = "GET ";
  if (speech == Speech::nats || speech == Speech::mqtt) {
    request += speech == Speech::nats ? "/" : "/mqtt";
  } else {
    request += (party.side == Side::mac ? "/v1/mac/" : "/v1/phone/") + party.identifier;
  }
  request +=
      " HTTP/1.1\r\nHost: localhost\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
      "Sec-WebSocket-Version: 13\r\nSec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\n";
  if (speech == Speech::mqtt) {
    request += "Sec-WebSocket-Protocol: mqtt\r\n";
  }
  return request + "\r\n";
}

std::string opening(Speech speech, const Party& party) {
  switch (speech) {
    case Speech::bare:
      return {};
    case Speech::orvik:
      // Any token will do, as long as it is the pairing's: its identifier, filled up.
      return R"({"auth":")" + party.identifier + std::string(43 - party.identifier.size(), 'A') +
             "\"}";
    case Speech::nats:
      return "CONNECT {\"verbose\":false,\"pedantic\":false,\"echo\":false,\"protocol\":1}\r\n" +
             (party.side == Side::phone ? "SUB o." + party.identifier + " 1\r\n" : std::string()) +
             "PING\r\n";
    case Speech::mqtt:
      return mqttOpening(party);
  }
  return {};
}

std::string_view keepAlive(Speech speech) { return speech == Speech::orvik ? "ping" : ""; }

void appendPublished(std::string& out, Speech speech, const Party& party,
                     std::string_view envelope) {
  if (speech == Speech::nats) {
    out += "PUB o." + party.identifier + " " + std::to_string(envelope.size());
    out += lineEnd;
    out += envelope;
    out += lineEnd;
  } else if (speech == Speech::mqtt) {
    const std::string topic = "o/" + party.identifier;
    appendPacketHead(out, mqttPublish, 2 + topic.size() + envelope.size());
    appendText(out, topic);
    out += envelope;
  } else {
    out += envelope;
  }
}

Opcode opcodeOf(Speech speech) { return isStream(speech) ? Opcode::binary : Opcode::text; }

bool isStream(Speech speech) { return speech == Speech::nats || speech == Speech::mqtt; }

std::optional<std::size_t> hear(Speech speech, Side side, std::string_view bytes, Heard& heard) {
  heard = {};
  if (speech == Speech::nats) {
    return hearNATS(bytes, heard);
  }
  if (speech == Speech::mqtt) {
    return hearMQTT(side, bytes, heard);
  }
  hearOrvik(side, bytes, heard);
  return bytes.size();
}

namespace {

constexpr std::string_view head = R"({"c":")";
constexpr std::string_view tail = R"(","n":"AAAAAAAAAAAAAAAA","t":"s","v":1})";
constexpr std::size_t stampSize = 16;

}  // namespace

std::string envelope(std::size_t size) {
  const std::size_t around = head.size() + tail.size();
  return std::string(head) + std::string(std::max(size, around + stampSize) - around, 'A') +
         std::string(tail);
}

void stamp(std::string& envelope, std::int64_t nanoseconds) {
  std::array<char, stampSize + 1> digits{};
  std::snprintf(digits.data(), digits.size(), "%016llx",
                static_cast<unsigned long long>(nanoseconds));
  envelope.replace(head.size(), stampSize, digits.data(), stampSize);
}

std::optional<std::int64_t> stampOf(std::string_view envelope) {
  if (envelope.size() < head.size() + stampSize || !envelope.starts_with(head)) {
    return std::nullopt;
  }
  const char* const begin = envelope.data() + head.size();
  std::int64_t time = 0;
  const auto [end, error] = std::from_chars(begin, begin + stampSize, time, 16);
  return error == std::errc() && end == begin + stampSize ? std::optional(time) : std::nullopt;
}

}  // namespace orvik::load
