#pragma once

#include <cstddef>
#include <filesystem>
#include <memory>

#include "core/async/Clock.h"
#include "relay/Limits.h"
#include "relay/cluster/JetStreamStore.h"

namespace orvik::relay {

/// Identifiers of a file, by what has become of them in the cluster.
struct Copy {
  std::size_t there = 0;
  std::size_t ofOthers = 0;
  /// What the cluster has of them cannot be read, or would become too long.
  std::size_t leftOut = 0;
};

/// Adds what a store's file keeps to what the cluster does: owners, alerts and subscriptions. Does
/// the same when it is called again. Takes as long as it takes; throws std::runtime_error, with one
/// line, when the file cannot be read, or the cluster does not work, or has no room, for half a
/// minute.
Copy copyToCluster(const std::filesystem::path& file, const JetStreamStore::Settings& settings,
                   const Limits& limits, const std::shared_ptr<Clock>& clock,
                   const JetStreamStore::Log& log);

}  // namespace orvik::relay
