#include "core/sampling/linux/MachineNames.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>
#include <vector>

#include "core/sampling/linux/KernelText.h"
#include "core/values/Text.h"

namespace orvik {

namespace {

/// What stands in fields that nobody has filled in, in lower case.
constexpr std::array<std::string_view, 24> fillers{"0123456789",
                                                   "123456789",
                                                   "all series",
                                                   "base board",
                                                   "board name",
                                                   "default string",
                                                   "empty",
                                                   "invalid",
                                                   "n/a",
                                                   "na",
                                                   "none",
                                                   "not applicable",
                                                   "not available",
                                                   "not specified",
                                                   "o.e.m.",
                                                   "oem",
                                                   "product name",
                                                   "system manufacturer",
                                                   "system product name",
                                                   "system version",
                                                   "to be filled by o.e.m.",
                                                   "type1productconfigid",
                                                   "undefined",
                                                   "unknown"};

/// The legal form of a company is no part of what it is called.
constexpr std::array<std::string_view, 10> legalForms{
    "inc", "corporation", "corp", "co", "ltd", "limited", "gmbh", "llc", "ag", "s.a"};

/// Trimmed; empty when it says nothing.
std::string meaningful(std::string_view field) {
  const std::string_view text = trimmed(field);
  const bool isFiller = std::ranges::count(fillers, lowercased(text)) > 0 ||
                        text.find_first_not_of(" .-_0xX") == std::string_view::npos;
  return std::string(isFiller ? std::string_view() : text);
}

/// "Micro-Star International Co., Ltd." without what only a lawyer needs.
std::string companyName(std::string_view vendor) {
  std::string_view name = trimmed(vendor);
  for (;;) {
    const std::size_t lastWord = name.find_last_of(" ,");
    if (lastWord == std::string_view::npos) {
      break;
    }
    std::string_view word = name.substr(lastWord + 1);
    word = word.substr(0, word.find_last_not_of('.') + 1);
    if (!word.empty() && std::ranges::count(legalForms, lowercased(word)) == 0) {
      break;
    }
    name = name.substr(0, lastWord);
  }
  return std::string(name);
}

/// Without the maker's name where the product's begins with it.
std::string joined(const std::string& company, const std::string& product) {
  const std::string firstWord = lowercased(company.substr(0, company.find(' ')));
  return company.empty() || lowercased(product).starts_with(firstWord) ? product
                                                                       : company + " " + product;
}

bool isLenovo(const FirmwareNames& names) { return lowercased(names.systemVendor) == "lenovo"; }

}  // namespace

std::optional<std::string> productName(const FirmwareNames& names) {
  // This maker writes the number of the model into the field for the name, and the name into the
  // one for the version.
  const std::string version = isLenovo(names) ? meaningful(names.productVersion) : "";
  if (!version.empty()) {
    return joined("Lenovo", version);
  }
  if (const std::string product = meaningful(names.productName); !product.empty()) {
    return joined(companyName(meaningful(names.systemVendor)), product);
  }
  const std::string board = meaningful(names.boardName);
  return board.empty() ? std::nullopt
                       : std::optional(joined(companyName(meaningful(names.boardVendor)), board));
}

std::optional<std::string> modelIdentifier(const FirmwareNames& names) {
  const std::string product = meaningful(names.productName);
  const std::string model = product.empty() ? meaningful(names.boardName) : product;
  return model.empty() ? std::nullopt : std::optional(model);
}

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
