#pragma once

#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "core/values/Bytes.h"

namespace orvik {

/// The user's own store of secrets: the login keychain, or what a desktop has in its place. Small
/// byte strings, each under a service and an account; readable once the user has logged in, kept
/// on this device. Calls may block while the system answers; not to be used concurrently.
class SecretStore {
 public:
  /// What identifies an item.
  struct Key {
    /// The reverse-DNS identifier of the application.
    std::string service;
    std::string account;
  };

  /// There may well be such an item, but nobody can say now: it is locked, or the system did not
  /// answer. Whoever wants to put another in its place has to know the difference.
  struct Unreadable : std::runtime_error {
    Unreadable() : std::runtime_error("the stored secret cannot be read; is the keyring locked?") {}
  };

  virtual ~SecretStore() = default;

  /// The data of one item; nothing when there is none. Throws Unreadable.
  [[nodiscard]] virtual std::optional<Bytes> find(const Key& key) = 0;
  /// Removes every item with this key. That there was none is no failure.
  virtual bool remove(const Key& key) = 0;
  /// Adds an item; `label` is what the user sees in a list of secrets. False when it failed.
  [[nodiscard]] virtual bool add(const Key& key, std::string_view label, ByteView data) = 0;
};

/// The store of this system and user. Never null: where there is none, one in which nothing is
/// found and to which nothing can be added.
[[nodiscard]] std::shared_ptr<SecretStore> openSecretStore();

}  // namespace orvik
