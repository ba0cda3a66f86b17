#pragma once

#include <memory>

namespace orvik {

/// Whether the system starts the application when the user logs in. Main thread only.
class LoginItem {
 public:
  enum class Status {
    notRegistered,
    enabled,
    /// Registered, but the user has still to allow it.
    requiresApproval,
    notFound,
  };

  virtual ~LoginItem() = default;

  [[nodiscard]] virtual Status status() const = 0;
  /// Registers the application, or unregisters it. False when the system refused.
  virtual bool setRegistered(bool registered) = 0;
};

/// The login item of this system and user. Never null.
[[nodiscard]] std::unique_ptr<LoginItem> openLoginItem();

}  // namespace orvik
