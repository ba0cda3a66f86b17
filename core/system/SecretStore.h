#pragma once

#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "core/values/Bytes.h"

namespace orvik {

/// A place for the user's secrets: the login keychain, what a desktop has in its stead, or a
/// private file. Small byte strings, each under a service and an account, kept on this device.
/// Calls may block while the system answers, and none but `unlock` asks the user anything. Not to
/// be used concurrently, except for `unlock`.
class SecretStore {
 public:
  /// What identifies an item.
  struct Key {
    /// The reverse-DNS identifier of the application.
    std::string service;
    std::string account;
  };

  /// There may well be such an item, but nobody can say now: the system did not answer. Whoever
  /// wants to put another in its place has to know the difference.
  struct Unreadable : std::runtime_error {
    using std::runtime_error::runtime_error;
    Unreadable() : Unreadable("the stored secret cannot be read") {}
  };
  /// The same, until the user has unlocked the store.
  struct Locked : Unreadable {
    Locked() : Unreadable("the store of secrets is locked") {}
  };
  /// There is no such store on this system now. One may appear, and have the item.
  struct Absent : Unreadable {
    Absent() : Unreadable("there is no such store of secrets") {}
  };

  virtual ~SecretStore() = default;

  /// One word that tells the stores of a system apart, the same in every run.
  [[nodiscard]] virtual std::string name() const = 0;
  /// The data of one item; nothing when there is none. Throws Unreadable, or what it is more
  /// closely.
  [[nodiscard]] virtual std::optional<Bytes> find(const Key& key) = 0;
  /// Removes every item with this key. That there was none is no failure.
  virtual bool remove(const Key& key) = 0;
  /// Adds an item; `label` is what the user sees in a list of secrets. False when it failed.
  [[nodiscard]] virtual bool add(const Key& key, std::string_view label, ByteView data) = 0;
  /// Has the system ask the user to unlock the item, or the place where it would be; blocks for up
  /// to a minute. False when it stays locked or cannot be. On any thread.
  virtual bool unlock(const Key& key) = 0;
};

/// The stores of this system and user, the best first; at least one. Opening them asks nothing.
[[nodiscard]] std::vector<std::shared_ptr<SecretStore>> openSecretStores();

}  // namespace orvik
