#include "phone/terminal/PairingLink.h"

#include <boost/url/parse.hpp>

#include "core/values/Base64.h"
#include "core/values/Text.h"
#include "phone/terminal/DisplayText.h"

namespace orvik {

namespace {

/// The text before the next dot; `rest` moves past the dot.
std::string_view nextPart(std::string_view& rest) {
  const std::size_t dot = rest.find('.');
  if (dot == std::string_view::npos) {
    throw PairingLinkError("The link is incomplete: copy all of it.");
  }
  const std::string_view part = rest.substr(0, dot);
  rest.remove_prefix(dot + 1);
  return part;
}

/// The bytes of a part that holds exactly `size` of them in canonical form.
WipedBytes bytesOfPart(std::string_view part, std::size_t size, const char* complaint) {
  std::optional<Bytes> found = bytesFromBase64URL(part);
  WipedBytes bytes(found ? *std::move(found) : Bytes());
  if (bytes.bytes.size() != size || SecretText(base64URL(bytes.bytes)).text() != part) {
    throw PairingLinkError(complaint);
  }
  return bytes;
}

std::string percentDecoded(std::string_view text) {
  std::string out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '%') {
      out.push_back(text[i]);
      continue;
    }
    const auto byte = byteFromHex(text.substr(i + 1, 2));
    if (!byte) {
      throw PairingLinkError("The computer's name in the link is damaged: copy the link again.");
    }
    out.push_back(static_cast<char>(*byte));
    i += 2;
  }
  return out;
}

void checkAddress(std::string_view address) {
  const auto url = boost::urls::parse_uri(address);
  if (!url || url->scheme_id() != boost::urls::scheme::https || url->encoded_host().empty()) {
    throw PairingLinkError("A pairing link begins with https:// and a host.");
  }
  if (url->encoded_path() != "/orvik/p" || url->has_query() || url->has_userinfo()) {
    throw PairingLinkError("This is a web address, but no pairing link.");
  }
}

}  // namespace

PairingLink PairingLink::read(std::string_view text) {
  const std::string_view link = trimmed(text);
  if (link.empty()) {
    throw PairingLinkError("The pairing link is empty.");
  }
  if (link.size() > maximumLength) {
    throw PairingLinkError("The text is too long to be a pairing link.");
  }
  const std::size_t hash = link.find('#');
  checkAddress(link.substr(0, hash));
  if (hash == std::string_view::npos) {
    throw PairingLinkError("The link ends before its #: quote the link on the command line.");
  }
  std::string_view rest = link.substr(hash + 1);
  if (nextPart(rest) != "1") {
    throw PairingLinkError("The link has a version that this program does not know.");
  }
  const WipedBytes macId =
      bytesOfPart(nextPart(rest), Pairing::macIdSize,
                  "The identifier in the link is damaged: copy the link again.");
  const WipedBytes secret = bytesOfPart(nextPart(rest), Pairing::secretSize,
                                        "The secret in the link is damaged: copy the link again.");
  return {Pairing(macId.bytes, secret.bytes), displayText(percentDecoded(rest))};
}

}  // namespace orvik
