#include "relay/push/VAPID.h"

#include <algorithm>
#include <cerrno>
#include <system_error>

#include "core/system/ReplaceFile.h"
#include "core/values/Base64.h"
#include "core/values/JSONValue.h"

namespace orvik::relay {

namespace fs = std::filesystem;

namespace {

/// Services refuse tokens for longer than a day (RFC 8292, section 2).
constexpr std::chrono::hours lifetime{12};
/// A token is made anew while it still holds for a clock that is wrong by as much.
constexpr std::chrono::hours beforeExpiry{6};
/// Services with names of their own for parts of themselves have a few dozen.
constexpr std::size_t mostTokens = 256;

std::string part(const JSONObject& object) { return base64URL(bytesOf(JSONValue(object).text())); }

}  // namespace

P256Key VAPID::keptIn(const fs::path& folder) {
  FileOperations operations;
  const fs::path file = folder / "push-key.pem";
  const FileRead kept = readFile(file, operations);
  if (kept.content) {
    try {
      return P256Key::fromPEM(*kept.content);
    } catch (const P256Key::Unusable&) {
      throw std::runtime_error(file.string() +
                               " has no key for pushing; without the file a new one is made");
    }
  }
  if (kept.error != ENOENT) {
    throw std::system_error(kept.error, std::generic_category(), "cannot read " + file.string());
  }
  P256Key key = P256Key::generate();
  if (!makeFolders(folder, operations) || !replaceFile(file, key.pem(), operations)) {
    throw std::system_error(errno, std::generic_category(), "cannot write " + file.string());
  }
  return key;
}

bool VAPID::isSubject(std::string_view text) {
  constexpr std::size_t longest = 256;
  const auto isPlain = [](char c) { return c > ' ' && c < '\x7F' && c != '"' && c != '\\'; };
  const auto begins = [text](std::string_view scheme) {
    return text.starts_with(scheme) && text.size() > scheme.size();
  };
  return text.size() <= longest && std::ranges::all_of(text, isPlain) &&
         (begins("https://") || (begins("mailto:") && text.find('@') != std::string_view::npos));
}

std::string VAPID::publicKey() const { return base64URL(key.publicKey()); }

const std::string& VAPID::authorization(const std::string& origin, Clock::UnixTime now) {
  if (tokens.size() >= mostTokens) {
    tokens.clear();
  }
  Token& kept = tokens[origin];
  // A clock that was put back would make tokens of the future, which services refuse.
  if (kept.field.empty() || now >= kept.renewal || now < kept.renewal - lifetime) {
    kept = {"vapid t=" + token(origin, now + lifetime) + ", k=" + publicKey(),
            now + lifetime - beforeExpiry};
  }
  return kept.field;
}

std::string VAPID::token(const std::string& origin, Clock::UnixTime expiry) const {
  const std::string text = part({{"alg", "ES256"}, {"typ", "JWT"}}) + "." +
                           part({{"aud", origin}, {"exp", epochSeconds(expiry)}, {"sub", subject}});
  return text + "." + base64URL(key.sign(text));
}

}  // namespace orvik::relay
