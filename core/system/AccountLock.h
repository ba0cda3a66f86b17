#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include "core/system/FileDescriptor.h"

namespace orvik {

/// Sees to it that of all programs of one account only one does something at a time: a lock on a
/// file, which goes with the process however that ends. Where the file cannot be made, nobody is
/// kept from anything.
class AccountLock {
 public:
  /// `file`'s folder is made if it is missing. `program` is what the others are told: one word.
  AccountLock(std::filesystem::path file, std::string program);

  /// This user's, for the programs that connect with the pairing.
  [[nodiscard]] static std::shared_ptr<AccountLock> ofThisUser(std::string program);

  /// Takes the lock if nobody has it. True when there is nothing to wait for.
  [[nodiscard]] bool tryTake();
  /// Waits until it can be taken, for ever if need be. Meant for a thread that can be left behind.
  void take();
  /// Who has it, as "PROGRAM, process NUMBER"; empty when that is unknown.
  [[nodiscard]] std::string holder() const;

 private:
  [[nodiscard]] bool isTaken(int operation);

  const std::filesystem::path path;
  const std::string program;
  FileDescriptor file;
};

/// A folder of this user, the same for every program of this account, for what the programs of one
/// account have to agree about. Empty without a home.
[[nodiscard]] std::filesystem::path accountFolder();

}  // namespace orvik
