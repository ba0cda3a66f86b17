#pragma once

#include <chrono>

#include "core/system/SecretStore.h"

namespace orvik {

/// Secrets in the desktop's own store, the service org.freedesktop.secrets on the session bus: in
/// its default collection, each with the attributes "service" and "account". Where a collection is
/// locked, the desktop asks the user to unlock it; as long as it stays locked its items cannot be
/// read, removed or replaced.
class SecretServiceStore final : public SecretStore {
 public:
  static constexpr const char* serviceName = "org.freedesktop.secrets";

  struct Limits {
    /// For what the service answers by itself; it may first have to be started.
    std::chrono::milliseconds answer;
    /// For what the user may be asked for.
    std::chrono::milliseconds prompt;
    /// After a failure nothing is asked for this long: the user is not asked again at once, and
    /// what could not be read is not replaced the next moment.
    std::chrono::milliseconds rest;
  };
  static constexpr Limits usualLimits{.answer = std::chrono::seconds(5),
                                      .prompt = std::chrono::seconds(60),
                                      .rest = std::chrono::seconds(10)};

  /// Connects to the session bus for each call anew, since services and buses may end.
  explicit SecretServiceStore(const Limits& limits = usualLimits) : limits(limits) {}

  [[nodiscard]] std::optional<Bytes> find(const Key& key) override;
  /// Removes all or, when one of them stays locked, none.
  bool remove(const Key& key) override;
  [[nodiscard]] bool add(const Key& key, std::string_view label, ByteView data) override;

 private:
  /// What `question` gives. Throws when it fails or does not end in time, which begins the rest.
  template <typename Question>
  auto ask(std::chrono::milliseconds limit, Question question);

  Limits limits;
  std::chrono::steady_clock::time_point restEnd;
};

}  // namespace orvik
