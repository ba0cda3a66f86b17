#pragma once

#include <chrono>

#include "core/system/SecretStore.h"

namespace orvik {

/// Secrets in the desktop's own store, the service org.freedesktop.secrets on the session bus: in
/// its default collection, each with the attributes "service" and "account". A locked collection's
/// items can be neither read, removed nor replaced. Absent where no such service runs or would be
/// started, and where one has no default collection, which it would ask the user to make.
class SecretServiceStore final : public SecretStore {
 public:
  static constexpr const char* serviceName = "org.freedesktop.secrets";

  struct Limits {
    /// For what the service answers by itself; it may first have to be started.
    std::chrono::milliseconds answer;
    /// For what the user may be asked for.
    std::chrono::milliseconds prompt;
    /// After a question that was not answered in time, further ones fail at once for this long.
    std::chrono::milliseconds rest;
  };
  static constexpr Limits usualLimits{.answer = std::chrono::seconds(5),
                                      .prompt = std::chrono::seconds(60),
                                      .rest = std::chrono::seconds(2)};

  /// Connects to the session bus for each call anew, since services and buses may end.
  explicit SecretServiceStore(const Limits& limits = usualLimits) : limits(limits) {}

  [[nodiscard]] std::string name() const override { return "keyring"; }
  [[nodiscard]] std::optional<Bytes> find(const Key& key) override;
  /// Removes all or, when one of them is locked, none.
  bool remove(const Key& key) override;
  [[nodiscard]] bool add(const Key& key, std::string_view label, ByteView data) override;
  bool unlock(const Key& key) override;

 private:
  /// What `question` gives within the limit for answers. Throws Unreadable when it fails or does
  /// not end in time.
  template <typename Question>
  auto ask(Question question);
  void requireService() const;

  Limits limits;
  std::chrono::steady_clock::time_point restEnd;
};

}  // namespace orvik
