#pragma once

#include <filesystem>
#include <memory>

#include "core/async/Clock.h"
#include "core/sampling/SampleSource.h"
#include "core/values/JSONValue.h"

namespace orvik {

/// Samples out of a file, for whoever develops a phone: readings that stay as they were written
/// down. The file holds one JSON object and is read anew for every sample; "mac_info" goes out
/// only when it is asked for, and the time is the clock's unless the file has one.
class FileSampleSource final : public SampleSource {
 public:
  FileSampleSource(std::filesystem::path file, std::shared_ptr<Clock> clock);

  asio::awaitable<std::string> sample() override;
  asio::awaitable<std::string> sample(bool withMacInfo) override;
  asio::awaitable<std::string> alertSample() override;

 private:
  [[nodiscard]] JSONObject fields() const;

  std::filesystem::path file;
  std::shared_ptr<Clock> clock;
};

}  // namespace orvik
