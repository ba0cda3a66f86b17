#include "core/values/PropertyListMeasure.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "core/values/JSONReader.h"

namespace orvik {

namespace {

/// Walks the object references of a binary property list as a parser that recurses would, but looks
/// at each object only once.
class BinaryMeasure {
 public:
  explicit BinaryMeasure(std::string_view bytes) : data(bytes) {}

  bool isSane() {
    constexpr std::size_t magicSize = 8;
    constexpr std::size_t trailerSize = 32;
    if (data.size() < magicSize + trailerSize) {
      return false;
    }
    const std::size_t trailer = data.size() - trailerSize;
    offsetSize = static_cast<unsigned char>(data[trailer + 6]);
    referenceSize = static_cast<unsigned char>(data[trailer + 7]);
    const auto count = number(trailer + 8, 8);
    const auto top = number(trailer + 16, 8);
    const auto table = number(trailer + 24, 8);
    if (!count || !top || !table || offsetSize == 0 || offsetSize > 8 || referenceSize == 0 ||
        referenceSize > 8 || *count > maximumValues || *table > data.size()) {
      return false;
    }
    offsetTable = *table;
    objects.assign(*count, {});
    return unfold(*top, 0);
  }

 private:
  /// What an object unfolds to, itself included; no values: it is not measured yet.
  struct Extent {
    std::uint64_t values = 0;
    std::uint64_t bytes = 0;
    /// How deep it is nested below itself.
    std::size_t height = 0;
  };
  struct Header {
    std::uint64_t kind;
    /// Of bytes, characters, elements or pairs.
    std::uint64_t count;
    /// Where the content begins.
    std::uint64_t content;
  };
  /// The kinds of object that have a length, by the upper half of their first byte.
  enum Kind : std::uint8_t { blob = 4, ascii = 5, utf16 = 6, list = 0xA, set = 0xC, map = 0xD };

  /// A big-endian number, or nothing when it lies outside of the data.
  [[nodiscard]] std::optional<std::uint64_t> number(std::uint64_t at, std::size_t bytes) const {
    if (at > data.size() || data.size() - at < bytes) {
      return std::nullopt;
    }
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < bytes; ++i) {
      value = value << 8U | static_cast<unsigned char>(data[at + i]);
    }
    return value;
  }

  [[nodiscard]] std::optional<Header> header(std::uint64_t object) const {
    const auto offset = number(offsetTable + object * offsetSize, offsetSize);
    const auto marker = offset ? number(*offset, 1) : std::nullopt;
    if (!marker) {
      return std::nullopt;
    }
    Header header{*marker >> 4U, *marker & 0xFU, *offset + 1};
    constexpr std::array withLength{blob, ascii, utf16, list, set, map};
    if (std::ranges::find(withLength, header.kind) == withLength.end()) {
      header.count = 0;
    } else if (header.count == 0xF) {
      // The length is an integer object of 1, 2, 4 or 8 bytes.
      const auto lengthMarker = number(header.content, 1);
      const bool isLength = lengthMarker && *lengthMarker >= 0x10 && *lengthMarker <= 0x13;
      const std::size_t lengthSize = isLength ? std::size_t{1} << (*lengthMarker & 0x3U) : 0;
      const auto length = isLength ? number(header.content + 1, lengthSize) : std::nullopt;
      if (!length) {
        return std::nullopt;
      }
      header.count = *length;
      header.content += 1 + lengthSize;
    }
    return header.count > data.size() ? std::nullopt : std::optional(header);
  }

  static std::uint64_t bytesOf(const Header& object) {
    switch (object.kind) {
      case blob:
      case ascii:
        return object.count;
      case utf16:
        // The parser makes room for UTF-8 of any length.
        return 4 * object.count;
      default:
        return 0;
    }
  }

  static std::uint64_t referencesOf(const Header& object) {
    switch (object.kind) {
      case list:
      case set:
        return object.count;
      case map:
        return 2 * object.count;
      default:
        return 0;
    }
  }

  /// Adds an object to the sum, and says whether it is sane. The sum grows as the walk goes on, and
  /// the walk ends where it is too large, which bounds the walk as well. A cycle is too deep.
  bool unfold(std::uint64_t object, std::size_t depth) {
    if (object >= objects.size()) {
      return false;
    }
    Extent& extent = objects[object];
    if (extent.values != 0) {
      sum.values += extent.values;
      sum.bytes += extent.bytes;
      return isWithinLimits(depth + extent.height);
    }
    const auto found = header(object);
    if (!found) {
      return false;
    }
    const Extent before = sum;
    ++sum.values;
    sum.bytes += bytesOf(*found);
    if (!isWithinLimits(depth) || (found->kind == utf16 && !isWithoutNulls(*found))) {
      return false;
    }
    std::size_t height = 0;
    for (std::uint64_t i = 0; i < referencesOf(*found); ++i) {
      const auto reference = number(found->content + i * referenceSize, referenceSize);
      if (!reference || !unfold(*reference, depth + 1)) {
        return false;
      }
      height = std::max(height, objects[*reference].height + 1);
    }
    extent = {sum.values - before.values, sum.bytes - before.bytes, height};
    return true;
  }

  /// A null character in a key makes the parser end the whole program.
  [[nodiscard]] bool isWithoutNulls(const Header& text) const {
    for (std::uint64_t i = 0; i < text.count; ++i) {
      if (number(text.content + 2 * i, 2).value_or(0) == 0) {
        return false;
      }
    }
    return true;
  }

  [[nodiscard]] bool isWithinLimits(std::size_t deepest) const {
    return deepest <= maximumNesting && sum.values <= maximumValues &&
           sum.bytes <= maximumUnfoldedBytes;
  }

  std::string_view data;
  std::size_t offsetSize = 0;
  std::size_t referenceSize = 0;
  std::uint64_t offsetTable = 0;
  std::vector<Extent> objects;
  Extent sum;
};

/// Passes over the markup of a document exactly as the parser does, since what looks like a tag in
/// a comment is none.
class XMLMeasure {
 public:
  explicit XMLMeasure(std::string_view xml) : xml(xml) {}

  bool isSane() {
    for (std::size_t at = xml.find('<'); at < xml.size();) {
      const std::string_view found = markup(at);
      const std::size_t end = at + found.size();
      const std::size_t next = std::min(xml.find('<', end), xml.size());
      if (!addMarkup(found, at)) {
        return false;
      }
      addText(xml.substr(end, next - end));
      if (values > maximumValues || steps > maximumSteps) {
        return false;
      }
      at = next;
    }
    return true;
  }

 private:
  /// What the parser does more than once for each tag, in steps along a list, or of this many bytes
  /// compared or moved. As many as a computer does in half a second: a dictionary of 10 000 keys,
  /// or a text of 25 000 entities.
  static constexpr std::uint64_t maximumSteps = 50'000'000;
  static constexpr std::size_t bytesOfStep = 64;

  /// From the opening bracket to the end of the tag, comment, CDATA or instruction.
  [[nodiscard]] std::string_view markup(std::size_t at) const {
    struct Form {
      std::string_view begin;
      std::string_view end;
    };
    static constexpr std::array<Form, 4> forms{
        {{"<!--", "-->"}, {"<![CDATA[", "]]>"}, {"<?", "?>"}, {"<", ">"}}};
    const std::string_view rest = xml.substr(at);
    const auto* const form = std::ranges::find_if(
        forms, [rest](const Form& candidate) { return rest.starts_with(candidate.begin); });
    const std::size_t end = rest.find(form->end, form->begin.size());
    return end == std::string_view::npos ? rest : rest.substr(0, end + form->end.size());
  }

  /// Whether the document may still be sane.
  bool addMarkup(std::string_view found, std::size_t at) {
    if (found.starts_with("<!--") || found.starts_with("<![CDATA[")) {
      ++values;
      return true;
    }
    // The parser takes no bracket inside of quotes for the end of a tag.
    if (std::ranges::count(found, '"') % 2 != 0 ||
        (found.starts_with("<!") && found.find('[') != std::string_view::npos)) {
      return false;
    }
    if (found.starts_with("</")) {
      close(found, at);
      return true;
    }
    ++values;
    if (found.starts_with("<key")) {
      steps += ++keys.back();
      keyStart = at;
    } else if (isContainer(found.substr(1)) && !found.ends_with("/>")) {
      keys.push_back(0);
    }
    return keys.size() <= maximumNesting + 1;
  }

  void close(std::string_view tag, std::size_t at) {
    if (tag.starts_with("</key")) {
      // Each of the keys before it may be compared with the whole of this one.
      steps += keys.back() * ((at - keyStart) / bytesOfStep);
    } else if (isContainer(tag.substr(2)) && keys.size() > 1) {
      keys.pop_back();
    }
  }

  /// Each entity moves the rest of its text.
  void addText(std::string_view text) {
    const auto entities = static_cast<std::uint64_t>(std::ranges::count(text, '&'));
    steps += entities * (text.size() / bytesOfStep);
  }

  static bool isContainer(std::string_view name) {
    return name.starts_with("array") || name.starts_with("dict");
  }

  std::string_view xml;
  /// How many keys each of the open containers has so far; the first is the document itself.
  std::vector<std::uint64_t> keys{0};
  std::size_t keyStart = 0;
  std::uint64_t values = 0;
  std::uint64_t steps = 0;
};

}  // namespace

bool isSaneBinaryList(std::string_view bytes) { return BinaryMeasure(bytes).isSane(); }

bool isSaneXMLList(std::string_view xml) { return XMLMeasure(xml).isSane(); }

}  // namespace orvik
