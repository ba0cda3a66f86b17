#pragma once

#include <memory>
#include <optional>
#include <string>

#include "core/async/BlockingWork.h"
#include "core/sampling/mac/MacSystem.h"

namespace orvik {

/// The Mac that the program runs on.
class ThisMac final : public MacSystem {
 public:
  /// `icon` is the PNG that iconPNG() gives: only a program with a user interface can have it
  /// drawn.
  ThisMac(std::shared_ptr<Clock> clock, std::optional<std::string> icon);

  [[nodiscard]] std::int64_t bootEpoch() override;
  asio::awaitable<std::optional<Capacity>> dataVolume() override;
  [[nodiscard]] std::optional<std::string> sysctlString(const std::string& name) override;
  [[nodiscard]] std::optional<std::int64_t> sysctlInt(const std::string& name) override;
  [[nodiscard]] std::optional<std::string> productName() override;
  [[nodiscard]] std::optional<Version> version() override;
  [[nodiscard]] std::optional<std::string> iconPNG() override;

 private:
  BlockingWork questions;
  const std::optional<std::string> icon;
};

}  // namespace orvik
