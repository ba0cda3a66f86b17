#include "core/sampling/linux/ChipName.h"

#include <algorithm>
#include <array>
#include <utility>
#include <vector>

#include "core/sampling/linux/TextFields.h"
#include "core/values/Text.h"

namespace orvik {

namespace {

/// The makers of chips as device trees abbreviate them.
constexpr std::array<std::pair<std::string_view, std::string_view>, 16> makers{
    {{"allwinner", "Allwinner"},
     {"amlogic", "Amlogic"},
     {"apple", "Apple"},
     {"brcm", "Broadcom"},
     {"fsl", "NXP"},
     {"marvell", "Marvell"},
     {"mediatek", "MediaTek"},
     {"nvidia", "NVIDIA"},
     {"nxp", "NXP"},
     {"qcom", "Qualcomm"},
     {"renesas", "Renesas"},
     {"rockchip", "Rockchip"},
     {"samsung", "Samsung"},
     {"st", "ST"},
     {"starfive", "StarFive"},
     {"ti", "TI"}}};

void removeAll(std::string& text, std::string_view part) {
  for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at)) {
    text.erase(at, part.size());
  }
}

/// Device trees are in lower case, chips are not.
std::string upperCase(std::string_view text) {
  std::string upper(text);
  std::ranges::transform(upper, upper.begin(), [](char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
  });
  return upper;
}

/// The value of the first line "key : value".
std::string_view valueOf(std::string_view cpuinfo, std::string_view key) {
  for (const std::string_view line : splitAt(cpuinfo, '\n')) {
    const std::size_t colon = line.find(':');
    if (colon != std::string_view::npos && trimmed(line.substr(0, colon)) == key) {
      return trimmed(line.substr(colon + 1));
    }
  }
  return {};
}

}  // namespace

std::string plainProcessorName(std::string_view fullName) {
  // Behind these stand the clock rate and the graphics unit, which are told elsewhere or not at
  // all.
  const std::size_t end = std::min(fullName.find(" @ "), fullName.find(" with "));
  std::string name(fullName.substr(0, end));
  for (const std::string_view mark : {"(R)", "(r)", "(TM)", "(tm)", "(C)"}) {
    removeAll(name, mark);
  }
  std::vector<std::string_view> words = fieldsOf(name);
  std::erase(words, "CPU");
  if (words.size() > 2 && words.back() == "Processor" &&
      words[words.size() - 2].ends_with("-Core")) {
    words.resize(words.size() - 2);
  }
  std::string plain;
  for (const std::string_view word : words) {
    plain.append(plain.empty() ? "" : " ").append(word);
  }
  return repairedUTF8(plain);
}

std::optional<std::string> chipOfProcessorTable(std::string_view cpuinfo) {
  // x86 and others; PowerPC; MIPS; 32-bit ARM.
  for (const std::string_view key : {"model name", "cpu", "cpu model", "Hardware"}) {
    const std::string name = plainProcessorName(valueOf(cpuinfo, key));
    // 32-bit ARM names its instruction set, which is no chip.
    if (!name.empty() && !name.starts_with("ARMv")) {
      return name;
    }
  }
  return std::nullopt;
}

std::optional<std::string> chipOfDeviceTree(std::string_view compatible) {
  // Each text ends with a zero byte, the last one too.
  const std::string_view texts = compatible.substr(0, compatible.find_last_not_of('\0') + 1);
  const std::string_view entry = splitAt(texts, '\0').back();
  const std::size_t comma = entry.find(',');
  if (comma == std::string_view::npos || comma + 1 == entry.size()) {
    return std::nullopt;
  }
  const std::string_view code = entry.substr(0, comma);
  const auto* const maker =
      std::ranges::find(makers, code, &std::pair<std::string_view, std::string_view>::first);
  return (maker == makers.end() ? repairedUTF8(code) : std::string(maker->second)) + " " +
         repairedUTF8(upperCase(entry.substr(comma + 1)));
}

}  // namespace orvik
