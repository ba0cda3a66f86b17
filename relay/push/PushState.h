#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "relay/RecordStore.h"

namespace orvik::relay {

/// Why a push has come to nothing. Each has its row below, in the same order.
enum class PushFailure : std::uint8_t {
  gone,
  refused,
  busy,
  serviceError,
  noAnswer,
  forbiddenAddress,
  tooMany,
  queueFull,
  unusable,
  count
};

struct PushFailureRow {
  PushFailure failure;
  /// In the metric.
  std::string_view label;
};

inline constexpr std::array<PushFailureRow, static_cast<std::size_t>(PushFailure::count)>
    pushFailureRows{{
        {PushFailure::gone, "gone"},
        {PushFailure::refused, "refused"},
        {PushFailure::busy, "busy"},
        {PushFailure::serviceError, "service_error"},
        {PushFailure::noAnswer, "no_answer"},
        {PushFailure::forbiddenAddress, "forbidden_address"},
        {PushFailure::tooMany, "too_many"},
        {PushFailure::queueFull, "queue_full"},
        {PushFailure::unusable, "unusable"},
    }};

/// For metrics.
struct PushState {
  std::uint64_t sent = 0;
  std::array<std::uint64_t, pushFailureRows.size()> failures{};
  /// Pushes that wait for their turn, for another attempt or for an answer.
  std::size_t waiting = 0;
  /// From an alert's arrival to the answer of the push service that takes it.
  AnswerTimes times;

  void failed(PushFailure failure, std::uint64_t count = 1) {
    failures.at(static_cast<std::size_t>(failure)) += count;
  }
};

static_assert(
    [] {
      for (std::size_t i = 0; i < pushFailureRows.size(); ++i) {
        if (pushFailureRows.at(i).failure != static_cast<PushFailure>(i)) {
          return false;
        }
      }
      return true;
    }(),
    "the rows stand in the order of the enumeration");

}  // namespace orvik::relay
