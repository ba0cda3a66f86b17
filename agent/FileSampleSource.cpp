#include "agent/FileSampleSource.h"

#include "core/system/ReplaceFile.h"
#include "core/values/JSONReader.h"

namespace orvik {

FileSampleSource::FileSampleSource(std::filesystem::path file, std::shared_ptr<Clock> clock)
    : file(std::move(file)), clock(std::move(clock)) {}

asio::awaitable<std::string> FileSampleSource::sample() { return sample(false); }

asio::awaitable<std::string> FileSampleSource::sample(bool withMacInfo) {
  JSONObject object = fields();
  if (!withMacInfo) {
    object.erase("mac_info");
  }
  co_return JSONValue(std::move(object)).text();
}

asio::awaitable<std::string> FileSampleSource::alertSample() { return sample(false); }

JSONObject FileSampleSource::fields() const {
  const Clock::UnixTime now = clock->unixNow();
  JSONObject object{{"epoch", epochSeconds(now)}, {"epoch_ms", epochMilliseconds(now)}};
  FileOperations operations;
  try {
    const JSONValue value =
        JSONValue::any(readJSON(readFile(file, operations).content.value_or("")));
    if (const auto* read = value.get<JSONObject>()) {
      object.merge(*read);
    }
  } catch (const JSONError&) {  // halfway through being written: only the time, this once
  }
  return object;
}

}  // namespace orvik
