#include "relay/Page.h"

#include <openssl/sha.h>
#include <zlib.h>

#include <algorithm>
#include <array>
#include <fstream>

#include "core/values/Base64.h"
#include "core/values/JSONReader.h"

namespace orvik::relay {

namespace fs = std::filesystem;

namespace {

/// What a link's path is; see docs/protocol.md.
constexpr std::string_view pagePath = "/orvik/p";
constexpr std::string_view folderPath = "/orvik/";
constexpr std::string_view hashedFolder = "a/";

struct Type {
  std::string_view ending;
  std::string_view type;
  bool isPackable;
};
constexpr Type unknownType{"", "application/octet-stream", false};
constexpr std::array types{Type{".html", "text/html; charset=utf-8", true},
                           Type{".js", "text/javascript; charset=utf-8", true},
                           Type{".css", "text/css; charset=utf-8", true},
                           Type{".json", "application/json", true},
                           Type{".webmanifest", "application/manifest+json", true},
                           Type{".svg", "image/svg+xml", true},
                           Type{".png", "image/png", false},
                           Type{".ico", "image/x-icon", false},
                           Type{".txt", "text/plain; charset=utf-8", true},
                           Type{".wasm", "application/wasm", true},
                           Type{".woff2", "font/woff2", false}};

const Type& typeOf(std::string_view name) {
  const auto* const found =
      std::ranges::find_if(types, [name](const Type& type) { return name.ends_with(type.ending); });
  return found == types.end() ? unknownType : *found;
}

/// Names that mean the same in a file system and in an address, without any encoding.
bool isPlainName(std::string_view name) {
  return std::ranges::all_of(name, [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' ||
           c == '_' || c == '.' || c == '/';
  });
}

/// A host, perhaps with a port, that can stand in a header: it neither ends it nor adds to it.
bool isHost(std::string_view text) {
  constexpr std::size_t longest = 256;
  return !text.empty() && text.size() < longest && std::ranges::all_of(text, [](char c) {
    return (isPlainName({&c, 1}) && c != '/') || c == ':' || c == '[' || c == ']';
  });
}

std::string contentOf(const fs::path& file, std::size_t most) {
  std::ifstream stream(file, std::ios::binary);
  std::string content(most + 1, '\0');
  if (!stream.read(content.data(), static_cast<std::streamsize>(content.size())) && !stream.eof()) {
    throw Page::Unusable("cannot read " + file.string());
  }
  content.resize(static_cast<std::size_t>(stream.gcount()));
  content.shrink_to_fit();
  return content;
}

Page::Content tagged(std::string bytes) {
  Bytes digest(SHA256_DIGEST_LENGTH);
  SHA256(bytesOf(bytes).data(), bytes.size(), digest.data());
  return {std::move(bytes), '"' + base64URL(digest) + '"'};
}

/// The text as gzip packs it, or nothing where that saves too little to be worth unpacking.
std::optional<Page::Content> packed(const std::string& text) {
  constexpr int gzipFormat = 15 + 16;
  constexpr int memoryLevel = 9;
  z_stream stream{};
  if (deflateInit2(&stream, Z_BEST_COMPRESSION, Z_DEFLATED, gzipFormat, memoryLevel,
                   Z_DEFAULT_STRATEGY) != Z_OK) {
    throw std::bad_alloc();
  }
  std::string out(deflateBound(&stream, text.size()), '\0');
  std::string in = text;
  stream.next_in = reinterpret_cast<Bytef*>(in.data());
  stream.avail_in = static_cast<uInt>(in.size());
  stream.next_out = reinterpret_cast<Bytef*>(out.data());
  stream.avail_out = static_cast<uInt>(out.size());
  deflate(&stream, Z_FINISH);
  out.resize(stream.total_out);
  deflateEnd(&stream);
  if (out.size() > text.size() / 10 * 9) {
    return std::nullopt;
  }
  return tagged(std::move(out));
}

/// The origin of the relay that the configuration names: nothing where it names none, which means
/// the page's own.
std::string originIn(const std::string& configuration) {
  const auto refuse = [](const char* what) {
    throw Page::Unusable(std::string("config.json ") + what);
  };
  std::string relay;
  try {
    const UntypedValue value = readJSON(configuration);
    const UntypedValue* const member = value.find("relay");
    const auto* const text = member == nullptr ? nullptr : member->get<std::string>();
    if (value.get<UntypedValue::Map>() == nullptr || (member != nullptr && text == nullptr)) {
      refuse("is no object with the relay's address as a text");
    }
    relay = text == nullptr ? "" : *text;
  } catch (const JSONError&) {
    refuse("is no JSON");
  }
  if (relay.empty()) {
    return relay;
  }
  const std::size_t scheme = relay.find("://");
  const bool isWebSocket = relay.starts_with("wss://") || relay.starts_with("ws://");
  const std::string_view rest = isWebSocket ? std::string_view(relay).substr(scheme + 3) : "";
  const std::string_view host = rest.substr(0, rest.find('/'));
  if (!isHost(host)) {
    refuse("names no relay of the form wss://HOST[:PORT]");
  }
  return relay.substr(0, scheme + 3) + std::string(host);
}

}  // namespace

Page Page::read(const fs::path& folder) {
  Page page;
  std::size_t left = mostBytes;
  if (!fs::is_directory(folder)) {
    throw Unusable(folder.string() + " is no folder");
  }
  for (auto entry = fs::recursive_directory_iterator(folder); entry != fs::end(entry); ++entry) {
    if (entry->path().filename().string().starts_with('.')) {
      entry.disable_recursion_pending();
      continue;
    }
    if (!entry->is_regular_file()) {
      continue;
    }
    const std::string name = entry->path().lexically_relative(folder).generic_string();
    if (!isPlainName(name)) {
      throw Unusable(entry->path().string() + " has a name that no address can have as it is");
    }
    std::string bytes = contentOf(entry->path(), left);
    if (bytes.size() > left || page.files.size() >= mostFiles) {
      throw Unusable(folder.string() + " holds more than a page");
    }
    left -= bytes.size();
    if (name == "config.json") {
      page.relayOrigin = originIn(bytes);
    }
    const Type& type = typeOf(name);
    File file{
        .type = type.type, .isHashed = name.starts_with(hashedFolder), .plain = {}, .packed = {}};
    if (type.isPackable) {
      file.packed = packed(bytes);
    }
    file.plain = tagged(std::move(bytes));
    page.files.emplace(
        name == "index.html" ? std::string(pagePath) : std::string(folderPath) + name,
        std::move(file));
  }
  if (page.find(pagePath) == nullptr) {
    throw Unusable(folder.string() + " has no index.html: is it the built page?");
  }
  return page;
}

const Page::File* Page::find(std::string_view target) const {
  const auto found = files.find(target.substr(0, target.find('?')));
  return found == files.end() ? nullptr : &found->second;
}

std::string Page::policy(std::string_view host) const {
  std::string sources = "'self'";
  if (!relayOrigin.empty()) {
    sources += " " + relayOrigin;
  } else if (isHost(host)) {
    // Older browsers do not take 'self' for WebSockets too.
    sources += " ws://" + std::string(host) + " wss://" + std::string(host);
  }
  return "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' data: blob:; "
         "connect-src " +
         sources +
         "; manifest-src 'self'; worker-src 'self'; base-uri 'none'; form-action 'none'; "
         "frame-ancestors 'none'; require-trusted-types-for 'script'; trusted-types orvik";
}

}  // namespace orvik::relay
