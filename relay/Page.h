#pragma once

#include <filesystem>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace orvik::relay {

/// The page that a scanned link opens: all files of one folder, read into memory at once. Answering
/// a request is a look into a map and touches no file.
class Page {
 public:
  /// The bytes of a file as they are sent, and their entity tag, quotes included.
  struct Content {
    std::string bytes;
    std::string tag;
  };
  struct File {
    std::string_view type;
    /// The name changes with the content, so it may be kept for ever.
    bool isHashed = false;
    Content plain;
    /// The same as gzip packs it, where that is worth it.
    std::optional<Content> packed;
  };

  /// The folder holds no page, or more than a page.
  struct Unusable : std::runtime_error {
    using std::runtime_error::runtime_error;
  };
  /// Far above any page, so that a folder named by mistake is not read to its end.
  static constexpr std::size_t mostFiles = 1000;
  static constexpr std::size_t mostBytes = 32UL << 20U;

  /// Reads a folder: `index.html` is the page itself, `a/` has the files with hashed names,
  /// `config.json`, which may be missing, the relay that the page connects to where that is not
  /// its own origin. Files whose names begin with a dot are left out. Throws Unusable, and
  /// std::filesystem::filesystem_error when something cannot be read.
  [[nodiscard]] static Page read(const std::filesystem::path& folder);

  /// The file under the path of a request ("/orvik/p?a=b"), or null. Names are compared byte by
  /// byte: nothing is decoded, and no path leads anywhere else.
  [[nodiscard]] const File* find(std::string_view target) const;

  /// What browsers may load for the page, as Content-Security-Policy says it. `host` is what the
  /// request says that it asks, and is left out where it is no host.
  [[nodiscard]] std::string policy(std::string_view host) const;

 private:
  std::map<std::string, File, std::less<>> files;
  /// Empty where the relay has the page's own origin.
  std::string relayOrigin;
};

}  // namespace orvik::relay
