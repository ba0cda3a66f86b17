#include <cstdlib>

#include "core/sampling/mac/BluetoothParsing.h"
#include "core/sampling/mac/DisplayParsing.h"
#include "core/sampling/mac/ProfilerDocument.h"
#include "core/sampling/mac/USBParsing.h"
#include "core/sampling/mac/VolumeParsing.h"
#include "core/values/Text.h"

namespace {

using namespace orvik;
using namespace orvik::ConnectionsParsing;

template <typename Record>
JSONValue list(const std::vector<Record>& records) {
  JSONValue::Array array;
  for (const Record& record : records) {
    array.push_back(record.json());
  }
  return array;
}

/// The first letter says which tool printed the text.
JSONValue read(char tool, std::string_view text) {
  switch (tool) {
    case 'u': {
      auto devices = usbDevices(text);
      linkVolumes(devices, {{"Volume", 1, 1, "USB", "Maker Drive Media", false}});
      return list(devices);
    }
    case 'v':
      return list(volumes(profilerDocument(text), "Backup"));
    case 'd':
      return displays(profilerDocument(text));
    default:
      return bluetooth(profilerDocument(text));
  }
}

}  // namespace

/// Whatever a tool prints, the payload made of it is valid UTF-8.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  if (!input.empty() && !isValidUTF8(read(input.front(), input.substr(1)).text())) {
    std::abort();
  }
  return 0;
}
