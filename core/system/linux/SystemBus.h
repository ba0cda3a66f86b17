#pragma once

#include <chrono>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>

#include "core/values/UntypedValue.h"

struct sd_bus;

namespace orvik {

/// Asks services on D-Bus for what they know. Belongs to one thread.
class SystemBus {
 public:
  struct Method {
    const char* service;
    std::string object;
    const char* interface;
    const char* name;
  };

  /// Connects to the bus at this address, the system's own when it is empty; does not wait for
  /// that. Without a bus there are no replies.
  explicit SystemBus(const std::string& address);

  /// Everything that is asked from now on takes at most `limit` together. To be called before
  /// anything is asked.
  void allow(std::chrono::milliseconds limit);

  /// Calls a method that takes texts; gives the first value of its reply, with variants unpacked
  /// and dictionaries by text as maps. Nothing on any error, and for a service that is not
  /// running, which is not started for this.
  [[nodiscard]] std::optional<UntypedValue> call(const Method& method,
                                                 std::initializer_list<const char*> arguments = {});
  /// The value of a property.
  [[nodiscard]] std::optional<UntypedValue> property(const char* service, const std::string& object,
                                                     const char* interface, const char* name);
  /// Whether a reply since the last `allow` did not come in time.
  [[nodiscard]] bool isLate() const { return late; }

 private:
  struct Close {
    void operator()(sd_bus* opened) const;
  };

  /// Lets the bus work until there is something to do; false when the time is over or the bus is
  /// gone.
  bool wait();

  std::chrono::steady_clock::time_point deadline;
  bool late = false;
  std::unique_ptr<sd_bus, Close> bus;
};

}  // namespace orvik
