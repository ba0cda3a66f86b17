#pragma once

#include <memory>

#include "core/sampling/mac/CommandRunner.h"
#include "core/sampling/mac/MacSystem.h"
#include "core/sampling/mac/MacmonReader.h"
#include "core/values/JSONValue.h"

namespace orvik {

/// What a Mac is: the object under "mac_info". It hardly changes and takes a run of a tool to read.
class MacInfo {
 public:
  /// `macmon` is asked only where its tool is.
  MacInfo(std::shared_ptr<MacSystem> system, std::shared_ptr<CommandRunner> commands,
          std::shared_ptr<const MacmonReader> macmon);

  /// What cannot be read is left out.
  asio::awaitable<JSONObject> read();

 private:
  void setCores(JSONObject& info);
  asio::awaitable<std::string> socLine();

  std::shared_ptr<MacSystem> system;
  std::shared_ptr<CommandRunner> commands;
  std::shared_ptr<const MacmonReader> macmon;
};

}  // namespace orvik
