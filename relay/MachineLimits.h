#pragma once

#include <cstddef>

namespace orvik::relay {

/// What the machine gives one process.
struct MachineLimits {
  /// Files and sockets that may be open at once.
  std::size_t descriptors;
  /// Bytes of memory in the machine.
  std::size_t memory;
  std::size_t processors;

  /// Asks the system, and raises the number of descriptors to the most that it gives.
  [[nodiscard]] static MachineLimits ask();

  /// Descriptors for what is no client's connection: standard streams, listeners, the loops' own,
  /// the store's files, connections for monitoring and to push services.
  static constexpr std::size_t otherDescriptors = 192;
  /// How many connections it holds: one descriptor each, and in a half of the memory 20 KiB for
  /// an idle one over TLS.
  [[nodiscard]] std::size_t connections() const;
  /// An eighth of the memory, for what waits for slow clients.
  [[nodiscard]] std::size_t bufferedBytes() const { return memory / 8; }
};

}  // namespace orvik::relay
