// Own code: relay/(FrameReader|RequestReader|ProxyHeader|HTTPAnswer)
// Own code: relay/cluster/(RelayMessage|StoredRecord)
#include <array>
#include <cstdlib>
#include <vector>

#include "relay/ClientMessage.h"
#include "relay/FrameReader.h"
#include "relay/ProxyHeader.h"
#include "relay/RequestReader.h"
#include "relay/cluster/RelayMessage.h"
#include "relay/cluster/StoredRecord.h"

namespace {

using namespace orvik::relay;

constexpr std::size_t longestMessage = 4096;
constexpr std::size_t longestHead = 8192;

std::string frames(const std::vector<std::string>& pieces) {
  FrameReader reader;
  std::string told;
  for (std::string piece : pieces) {
    std::span<char> rest(piece);
    while (const auto event = reader.next(rest, longestMessage)) {
      told += std::to_string(static_cast<int>(event->kind)) + event->content;
      if (event->message) {
        told += event->message->text();
      }
      if (event->kind == FrameEvent::Kind::failure) {
        return told + std::to_string(rowOf(event->reason).code);
      }
    }
    // Nothing is left behind, and nothing grows beyond what was sent.
    if (!rest.empty() || reader.unfinished() > longestMessage + FramedText::room) {
      std::abort();
    }
  }
  return told;
}

std::string request(const std::vector<std::string>& pieces) {
  RequestReader reader(longestHead);
  for (const std::string& piece : pieces) {
    switch (reader.read(piece)) {
      case RequestReader::Outcome::incomplete:
        break;
      case RequestReader::Outcome::bad:
        return "bad";
      case RequestReader::Outcome::request: {
        const HTTPRequest& found = reader.request();
        if (isUpgrade(found) && isProperUpgrade(found)) {
          return upgradeAnswer(found);
        }
        const HTTPAnswer answer = answerTo(found, nullptr, true);
        return headOf(answer);
      }
    }
  }
  return "incomplete";
}

std::string proxyHeader(const std::vector<std::string>& pieces) {
  std::string gathered;
  for (const std::string& piece : pieces) {
    gathered += piece;
    ProxyHeader header;
    switch (header.read(gathered)) {
      case ProxyHeader::Outcome::incomplete:
        break;
      case ProxyHeader::Outcome::bad:
        return "bad";
      case ProxyHeader::Outcome::header:
        return (header.address ? header.address->to_string() : "none") +
               std::to_string(header.size);
    }
  }
  return "incomplete";
}

/// What another relay tells or keeps comes whole, and means the same when it is told on.
void readOfOtherRelays(std::string_view text) {
  const auto message = RelayMessage::in(text);
  if (message && RelayMessage::in(message->text()) != message) {
    std::abort();
  }
  static const Limits limits;
  if (const auto record = StoredRecord::in(text, limits)) {
    const auto again = StoredRecord::in(record->text(), limits);
    if (!again || again->text() != record->text()) {
      std::abort();
    }
  }
}

/// What a phone, a computer or another relay says, which comes as a whole.
std::string message(const std::vector<std::string>& pieces) {
  std::string text;
  for (const std::string& piece : pieces) {
    text += piece;
  }
  readOfOtherRelays(text);
  constexpr std::size_t longestEndpoint = 1024;
  std::string told;
  if (const auto said = Subscribe::in(text, longestEndpoint)) {
    told += "subscribe " + said->replaces;
    if (said->subscription && said->subscription->endpoint.size() > longestEndpoint) {
      std::abort();
    }
  }
  if (const auto mark = AlertMark::in(text)) {
    told += "next " + mark->topic;
    // It goes into a header.
    if (mark->topic.size() > 32 || mark->topic.find_first_of("\r\n :") != std::string::npos) {
      std::abort();
    }
  }
  told += unsubscribeIn(text).value_or("");
  const bool isKnown =
      Authentication::in(text) || activeIn(text) || isRevocation(text) || isAlert(text);
  return told + (isKnown ? "known" : "");
}

}  // namespace

/// What a client sends means the same however it is cut. The first byte says what is read and into
/// how many pieces it is cut; as many bytes behind it say where.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) {
    return 0;
  }
  const std::size_t cuts = std::min<std::size_t>((data[0] >> 2U) & 0x0FU, size - 1);
  const std::string bytes(reinterpret_cast<const char*>(data) + 1 + cuts, size - 1 - cuts);
  std::vector<std::string> pieces;
  std::string rest = bytes;
  for (std::size_t i = 0; i < cuts; ++i) {
    const std::size_t length = std::min<std::size_t>(data[1 + i], rest.size());
    pieces.push_back(rest.substr(0, length));
    rest.erase(0, length);
  }
  pieces.push_back(rest);
  constexpr std::array readers{frames, request, proxyHeader, message};
  const auto read = readers[data[0] & 3U];
  const std::string whole = read({bytes});
  const std::string cut = read(pieces);
  // A bad line may be noticed before the request ends, or only then.
  const bool isUnfinished = read == request && (whole == "incomplete" || cut == "incomplete") &&
                            (whole == "bad" || cut == "bad");
  if (whole != cut && !isUnfinished) {
    std::abort();
  }
  return 0;
}
