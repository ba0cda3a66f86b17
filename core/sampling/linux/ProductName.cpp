#include "core/sampling/linux/ProductName.h"

#include <algorithm>
#include <array>
#include <string_view>

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

}  // namespace orvik
