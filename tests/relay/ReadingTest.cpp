#include "relay/FrameReader.h"
#include "relay/ProxyHeader.h"
#include "relay/RequestReader.h"
#include "tests/support/Hex.h"
#include "tests/support/Table.h"

namespace orvik::relay {
namespace {

/// The bytes of a row's notation.
std::string bytesIn(std::string_view notation) {
  std::istringstream words{std::string(notation)};
  std::string bytes;
  for (std::string word; words >> word;) {
    if (word.starts_with('\'')) {
      for (const char c : word.substr(1, word.size() - 2)) {
        bytes += c == '~' ? "\r\n" : c == '_' ? " " : std::string(1, c);
      }
    } else if (const std::size_t star = word.find('*'); star != std::string::npos) {
      bytes += std::string(std::stoul(word.substr(star + 1)), word[0]);
    } else {
      bytes += textOf(test::hex(word));
    }
  }
  return bytes;
}

/// What a reader that is made anew each time says, if it says the same however the bytes are cut:
/// in one piece, into single bytes, and in two anywhere.
JSONValue however(std::string_view notation,
                  const std::function<std::string(const std::vector<std::string>&)>& says) {
  const std::string bytes = bytesIn(notation);
  std::string told = says({bytes});
  std::vector<std::string> pieces;
  for (const char byte : bytes) {
    pieces.emplace_back(1, byte);
  }
  EXPECT_EQ(says(pieces), told) << notation << " in single bytes";
  const std::size_t step = 1 + bytes.size() / 1000;
  for (std::size_t cut = 1; cut < bytes.size(); cut += step) {
    EXPECT_EQ(says({bytes.substr(0, cut), bytes.substr(cut)}), told) << notation << " at " << cut;
  }
  return told;
}

std::string described(const FrameEvent& event) {
  constexpr std::array names{"text ", "binary ", "ping ", "pong ", "close ", "failed "};
  const std::string name = names.at(static_cast<std::size_t>(event.kind));
  std::string content = event.message ? std::string(event.message->text()) : event.content;
  if (event.kind == FrameEvent::Kind::failure) {
    content = std::to_string(rowOf(event.reason).code);
  } else if (event.kind == FrameEvent::Kind::close && !content.empty()) {
    const auto byte = [&](std::size_t i) { return static_cast<std::uint8_t>(content[i]); };
    content = std::to_string(byte(0) * 256 + byte(1)) + " " + content.substr(2);
  }
  return name + (content.size() > 100 ? std::to_string(content.size()) : content);
}

std::string framesIn(const std::vector<std::string>& pieces) {
  FrameReader reader;
  std::string told;
  for (std::string piece : pieces) {
    std::span<char> rest(piece);
    while (const auto event = reader.next(rest, 70'000)) {
      told += (told.empty() ? "" : "|") + described(*event);
      if (event->kind == FrameEvent::Kind::failure) {
        return told;
      }
    }
    EXPECT_TRUE(rest.empty());
  }
  EXPECT_EQ(reader.unfinished(), 0U);
  return told;
}

std::string requestIn(const std::vector<std::string>& pieces) {
  RequestReader reader(300);
  using Outcome = RequestReader::Outcome;
  Outcome outcome = Outcome::incomplete;
  bool hasMore = false;
  for (const std::string& piece : pieces) {
    // What comes behind a request is looked at when that has been answered.
    if (outcome == Outcome::request) {
      hasMore = true;
    } else if (outcome = reader.read(piece); outcome == Outcome::bad) {
      return "bad";
    }
  }
  if (outcome == Outcome::incomplete) {
    return "incomplete";
  }
  const HTTPRequest& request = reader.request();
  std::string told(request.target().data(), request.target().size());
  if (isUpgrade(request) && !isProperUpgrade(request)) {
    return told + " improper upgrade";
  }
  if (isUpgrade(request)) {
    const std::string answer = upgradeAnswer(request);
    return told + " upgrade " + answer.substr(answer.find("Accept: ") + 8, 28);
  }
  return told + (reader.isWhole() ? "" : " with a body") +
         (hasMore || reader.hasMore() ? ", more" : "");
}

std::string proxyHeaderIn(const std::vector<std::string>& pieces) {
  std::string gathered;
  for (const std::string& piece : pieces) {
    gathered += piece;
    ProxyHeader header;
    const auto outcome = header.read(gathered);
    if (outcome == ProxyHeader::Outcome::bad) {
      return "bad";
    }
    if (outcome == ProxyHeader::Outcome::header) {
      return (header.address ? header.address->to_string() : "none") + " " +
             std::to_string(header.size);
    }
  }
  return "incomplete";
}

TEST(Reading, GivesTheSameHoweverTheBytesAreCut) {
  test::expectTable("relay/bytes.txt",
                    {{"frames", [](auto text) { return however(text, framesIn); }},
                     {"request", [](auto text) { return however(text, requestIn); }},
                     {"proxy", [](auto text) { return however(text, proxyHeaderIn); }}});
}

TEST(FrameReader, TakesMemoryAsItComesNotAsAHeaderPromises) {
  FrameReader reader;
  std::string promise = bytesIn("81 ff 0000000000100000 00000000 'x'");
  std::span<char> rest(promise);
  EXPECT_FALSE(reader.next(rest, 1UL << 20U));
  EXPECT_LT(reader.unfinished(), 100U);
}

TEST(FramedText, HasTheShortestHeader) {
  for (const auto& [size, header] : {std::pair<std::size_t, const char*>{0, "8100"},
                                     {125, "817d"},
                                     {126, "817e007e"},
                                     {65'535, "817effff"},
                                     {65'536, "817f0000000000010000"}}) {
    const SharedText message = framedText(std::string(size, 'x'));
    EXPECT_EQ(message->frame(), bytesIn(header) + std::string(size, 'x')) << size;
    EXPECT_EQ(message->text().size(), size);
  }
  EXPECT_EQ(closeFrame(4000, "replaced"), bytesIn("880a 0fa0 'replaced'"));
}

}  // namespace
}  // namespace orvik::relay
