#include <array>
#include <cstdint>
#include <cstdlib>

#include "core/sampling/mac/MacInfoParsing.h"
#include "core/sampling/mac/RegularExpression.h"
#include "core/sampling/mac/SamplerParsing.h"
#include "core/values/Text.h"

namespace {

using namespace orvik;

JSONValue orNull(const auto& value) { return value ? JSONValue(*value) : JSONValue(); }

JSONValue frequencies(std::string_view text) {
  const auto top = MacInfoParsing::maxMHz(text);
  return JSONValue::Array{orNull(top.performance), orNull(top.efficiency)};
}

/// The first line is the interface that is looked for.
JSONValue link(std::string_view text) {
  const std::string_view interface = text.substr(0, text.find('\n'));
  const auto found = firstMatch(text, escapedForPattern(interface));
  if (interface.size() < 1000 && isValidUTF8(interface) &&
      (!found || found->front() != interface)) {
    std::abort();
  }
  return orNull(SamplerParsing::linkName(text, interface));
}

using Parser = JSONValue (*)(std::string_view);
constexpr std::array<Parser, 11> parsers{
    [](auto text) -> JSONValue { return SamplerParsing::pmsetBattery(text); },
    [](auto text) -> JSONValue { return SamplerParsing::batteryExtras(text); },
    [](auto text) -> JSONValue { return SamplerParsing::powerProfile(text); },
    [](auto text) -> JSONValue { return SamplerParsing::processes(text); },
    [](auto text) -> JSONValue { return orNull(SamplerParsing::lastBackup(text)); },
    [](auto text) -> JSONValue { return SamplerParsing::timeMachine(0, text, text); },
    [](auto text) -> JSONValue { return orNull(SamplerParsing::routerName(text)); },
    frequencies,
    [](auto text) -> JSONValue { return orNull(MacInfoParsing::deviceTreeString(text)); },
    [](auto text) -> JSONValue { return orNull(SamplerParsing::gateway(text)); },
    link};

}  // namespace

/// The first byte says which tool's output the rest is ('0' for the first parser). Whatever it is,
/// what goes into the payload is well-formed.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size > 0) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const auto parser = static_cast<std::uint8_t>(data[0] - '0') % parsers.size();
    if (!isValidUTF8(parsers[parser](text.substr(1)).text())) {
      std::abort();
    }
  }
  return 0;
}
