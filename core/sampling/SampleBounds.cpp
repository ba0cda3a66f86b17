#include "core/sampling/SampleBounds.h"

#include "core/values/Text.h"

namespace orvik {

namespace {

constexpr std::size_t mostEntries = 64;
constexpr std::size_t longestText = 128;
constexpr std::size_t largestPicture = 48UL * 1024;

std::string shortened(const std::string& text) {
  if (text.size() <= longestText) {
    return text;
  }
  const std::string repaired = repairedUTF8(std::string_view(text).substr(0, longestText + 3));
  std::string_view cut = std::string_view(repaired).substr(0, longestText);
  // A code point has at most four bytes, so that little more is lost.
  while (!cut.empty() && !isValidUTF8(cut)) {
    cut.remove_suffix(1);
  }
  return std::string(cut);
}

}  // namespace

JSONObject withinBounds(const JSONObject& readings) {
  JSONObject bounded;
  for (const auto& [key, value] : readings) {
    const auto* text = value.get<std::string>();
    if (key != "icon_png") {
      bounded.set(key, withinBounds(value));
    } else if (text != nullptr && text->size() <= largestPicture) {
      bounded.set(key, value);
    }
  }
  return bounded;
}

JSONValue withinBounds(const JSONValue& readings) {
  if (const auto* text = readings.get<std::string>()) {
    return shortened(*text);
  }
  if (const auto* object = readings.get<JSONObject>()) {
    return withinBounds(*object);
  }
  if (const auto* array = readings.get<JSONValue::Array>()) {
    JSONValue::Array bounded;
    for (const JSONValue& entry : *array) {
      if (bounded.size() == mostEntries) {
        break;
      }
      bounded.push_back(withinBounds(entry));
    }
    return bounded;
  }
  return readings;
}

}  // namespace orvik
