#include "bench/load/Client.h"

#include <array>
#include <utility>
#include <vector>

namespace orvik::load {
namespace {

constexpr std::size_t readSize = 65'536;
// What a server sends at most before this takes it for broken.
constexpr std::size_t maximumMessage = 4U << 20;
constexpr Mask mask{'\x5A', '\x17', '\x3C', '\x71'};

}  // namespace

Client::Client(Transport transport, Speech speech, Party party)
    : transport(std::move(transport)),
      speech(speech),
      party(std::move(party)),
      outgoing(upgradeRequest(speech, this->party)) {}

void Client::introduce(in_addr source) {
  std::string head("\r\n\r\n\0\r\nQUIT\n", 12);
  constexpr std::array<char, 4> proxyOfTCP4{0x21, 0x11, 0, 12};
  head.append(proxyOfTCP4.data(), proxyOfTCP4.size());
  const in_addr target{htonl(INADDR_LOOPBACK)};
  head.append(reinterpret_cast<const char*>(&source), sizeof source);
  head.append(reinterpret_cast<const char*>(&target), sizeof target);
  constexpr std::array<char, 4> ports{4, 1, 1, static_cast<char>(0xBB)};
  head.append(ports.data(), ports.size());
  outgoing.insert(0, head);
}

void Client::advance(const Listener& listener) {
  flush();
  if (phase != State::ended) {
    read(listener);
  }
  flush();
}

void Client::say(std::string_view message) {
  put(opcodeOf(speech), message);
  flush();
}

void Client::publish(std::string_view envelope) {
  if (isStream(speech)) {
    std::string message;
    message.reserve(envelope.size() + 64);
    appendPublished(message, speech, party, envelope);
    say(message);
  } else {
    say(envelope);
  }
}

void Client::end(std::string why) {
  if (phase != State::ended) {
    phase = State::ended;
    reason = std::move(why);
  }
}

void Client::flush() {
  std::size_t written = 0;
  while (phase != State::ended && written < outgoing.size()) {
    const auto taken = transport.write(std::string_view(outgoing).substr(written));
    if (!taken) {
      end(phase == State::accepted ? "the connection was cut" : "cut before it was accepted");
    } else if (*taken == 0) {
      break;
    } else {
      written += *taken;
    }
  }
  outgoing.erase(0, written);
  if (outgoing.empty()) {
    std::string().swap(outgoing);
  }
}

void Client::read(const Listener& listener) {
  static std::vector<char> buffer(readSize);
  do {
    const auto got = transport.read(buffer.data(), buffer.size());
    if (!got) {
      end(phase == State::accepted ? "the connection was cut" : "cut before it was accepted");
      return;
    }
    if (*got == 0) {
      return;
    }
    std::string_view bytes(buffer.data(), *got);
    if (!incoming.empty()) {
      incoming += bytes;
      bytes = incoming;
    }
    const std::size_t taken = take(bytes, listener);
    std::string rest(bytes.substr(taken));
    incoming.swap(rest);
    if (incoming.size() > maximumMessage) {
      end("a message is too long");
    }
  } while (phase != State::ended && transport.holdsBytes());
}

std::size_t Client::take(std::string_view bytes, const Listener& listener) {
  std::size_t taken = 0;
  while (phase != State::ended) {
    const std::string_view rest = bytes.substr(taken);
    const std::size_t more =
        phase == State::upgrading ? takeAnswer(rest) : takeFrame(rest, listener);
    if (more == 0) {
      break;
    }
    taken += more;
  }
  return taken;
}

std::size_t Client::takeAnswer(std::string_view bytes) {
  constexpr std::string_view headEnd = "\r\n\r\n";
  const std::size_t end = bytes.find(headEnd);
  if (end == std::string_view::npos) {
    return 0;
  }
  if (!bytes.starts_with("HTTP/1.1 101")) {
    this->end("answered " + std::string(bytes.substr(0, bytes.find("\r\n"))));
    return 0;
  }
  const std::string first = opening(speech, party);
  phase = first.empty() ? State::accepted : State::opening;
  if (!first.empty()) {
    put(opcodeOf(speech), first);
  }
  return end + headEnd.size();
}

std::size_t Client::takeFrame(std::string_view bytes, const Listener& listener) {
  const std::optional<Frame> frame = frameAt(bytes);
  if (!frame || bytes.size() < frame->size()) {
    return 0;
  }
  const std::string_view payload = bytes.substr(frame->headerSize, frame->payloadSize);
  if (frame->opcode == Opcode::ping) {
    put(Opcode::pong, payload);
  } else if (frame->opcode == Opcode::close) {
    const unsigned code = payload.size() < 2 ? 1005U
                                             : static_cast<unsigned char>(payload[0]) * 256U +
                                                   static_cast<unsigned char>(payload[1]);
    end("closed with " + std::to_string(code) + " " +
        std::string(payload.substr(std::min<std::size_t>(payload.size(), 2))));
  } else if (frame->opcode != Opcode::pong) {
    takePayload(*frame, payload, listener);
  }
  return frame->size();
}

void Client::takePayload(const Frame& frame, std::string_view payload, const Listener& listener) {
  const bool isWhole = isStream(speech) || frame.isFinal;
  if (partial.empty() && isWhole) {
    hearAll(payload, listener);
    return;
  }
  partial += payload;
  if (isWhole) {
    std::string whole;
    whole.swap(partial);
    hearAll(whole, listener);
  }
}

void Client::hearAll(std::string_view bytes, const Listener& listener) {
  while (!bytes.empty() && phase != State::ended) {
    Heard heard;
    const auto taken = hear(speech, party.side, bytes, heard);
    if (!taken) {
      end("said what makes no sense: " + std::string(bytes.substr(0, 80)));
      return;
    }
    if (*taken == 0) {
      partial = bytes;
      return;
    }
    bytes.remove_prefix(*taken);
    if (heard.kind == Heard::Kind::question) {
      put(opcodeOf(speech), heard.text);
    } else if (heard.kind == Heard::Kind::accepted || heard.kind == Heard::Kind::presence) {
      phase = State::accepted;
      listener(heard);
    } else if (heard.kind == Heard::Kind::envelope) {
      listener(heard);
    }
  }
}

void Client::put(Opcode opcode, std::string_view payload) {
  appendHeader(outgoing, opcode, payload.size(), mask);
  const std::size_t begin = outgoing.size();
  outgoing += payload;
  applyMask(outgoing.data() + begin, payload.size(), mask);
}

}  // namespace orvik::load
