// Own code: core/sampling/mac/([A-Za-z]+Parsing|ProfilerDocument|RegularExpression)
#include <array>
#include <cstdint>
#include <cstdlib>

#include "core/sampling/mac/BluetoothParsing.h"
#include "core/sampling/mac/DisplayParsing.h"
#include "core/sampling/mac/MacInfoParsing.h"
#include "core/sampling/mac/MacmonParsing.h"
#include "core/sampling/mac/ProfilerDocument.h"
#include "core/sampling/mac/RegularExpression.h"
#include "core/sampling/mac/SamplerParsing.h"
#include "core/sampling/mac/USBParsing.h"
#include "core/sampling/mac/VolumeParsing.h"
#include "core/values/JSONReader.h"
#include "core/values/Text.h"

namespace {

using namespace orvik;
using namespace orvik::ConnectionsParsing;

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

JSONValue listed(const auto& records) {
  JSONValue::Array array;
  for (const auto& record : records) {
    array.push_back(record.json());
  }
  return array;
}

JSONValue usb(std::string_view text) {
  auto devices = usbDevices(text);
  linkVolumes(devices, {{"Volume", 1, 1, "USB", "Maker Drive Media", false}});
  return listed(devices);
}

JSONValue macmonKeys(std::string_view text) {
  const UntypedValue line = readJSONOrNull(text);
  PowerGuard guard;
  JSONObject keys;
  // Often enough for the guard to take notice.
  for (int reading = 0; reading < 8 && line.get<UntypedValue::Map>() != nullptr; ++reading) {
    keys = SamplerParsing::macmon(*line.get<UntypedValue::Map>(), guard);
    if (keys.size() != 15) {
      std::abort();
    }
  }
  return keys;
}

using Parser = JSONValue (*)(std::string_view);
constexpr std::array<Parser, 16> parsers{
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
    link,
    usb,
    [](auto text) { return listed(volumes(profilerDocument(text), "Backup")); },
    [](auto text) { return displays(profilerDocument(text)); },
    [](auto text) -> JSONValue { return bluetooth(profilerDocument(text)); },
    macmonKeys};

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
