#include "core/sampling/SampleBounds.h"

#include <algorithm>

#include "core/values/Text.h"

namespace orvik {

namespace {

constexpr std::size_t mostEntries = 64;
constexpr std::size_t longestText = 128;
constexpr std::size_t largestPicture = 48UL * 1024;

constexpr const char* pictureKey = "icon_png";

void shorten(std::string& text) {
  if (text.size() <= longestText) {
    return;
  }
  const std::string repaired = repairedUTF8(std::string_view(text).substr(0, longestText + 3));
  std::string_view cut = std::string_view(repaired).substr(0, longestText);
  // A code point has at most four bytes, so that little more is lost.
  while (!cut.empty() && !isValidUTF8(cut)) {
    cut.remove_suffix(1);
  }
  text = cut;
}

bool isSmallPicture(const JSONValue& value) {
  const auto* text = value.get<std::string>();
  return text != nullptr && text->size() <= largestPicture;
}

void bound(JSONValue& value) {
  if (auto* text = value.get<std::string>()) {
    shorten(*text);
  } else if (auto* object = value.get<JSONObject>()) {
    keepWithinBounds(*object);
  } else if (auto* array = value.get<JSONValue::Array>()) {
    array->resize(std::min(array->size(), mostEntries));
    std::ranges::for_each(*array, bound);
  }
}

}  // namespace

void keepWithinBounds(JSONObject& readings) {
  bool isPictureTooLarge = false;
  readings.changeEach([&](std::string_view key, JSONValue& value) {
    if (key != pictureKey) {
      bound(value);
    } else {
      isPictureTooLarge = !isSmallPicture(value);
    }
  });
  if (isPictureTooLarge) {
    readings.erase(pictureKey);
  }
}

}  // namespace orvik
