#include <gmock/gmock.h>

#include <cmath>
#include <limits>

#include "core/alerts/AlertQueue.h"

namespace orvik {
namespace {

using testing::ElementsAre;

Alert alertAt(std::int64_t epochMs, std::optional<double> value = std::nullopt) {
  return {Alert::Kind::diskFull, Alert::State::raised, value, epochMs};
}

TEST(Alert, LeavesAValueOutThatIsNoNumber) {
  for (const double none : {INFINITY, -INFINITY, NAN}) {
    EXPECT_EQ(alertAt(5, none).json().text(),
              R"({"epoch_ms":5,"kind":"disk_full","state":"raised"})");
  }
}

TEST(AlertQueue, KeepsTheNewestTwentyForAnHour) {
  constexpr std::int64_t hour = 3'600'000;
  using Limits = std::numeric_limits<std::int64_t>;
  AlertQueue queue;
  for (std::int64_t ms = 1; ms <= 21; ++ms) {
    queue.append(alertAt(ms));
  }
  EXPECT_EQ(queue.due(2 + hour).size(), 20U) << "the second is exactly an hour old";
  EXPECT_EQ(queue.due(2 + hour + 1).front(), alertAt(3));
  for (const std::int64_t ms : {std::int64_t{0}, Limits::max(), Limits::min(), hour}) {
    queue.append(alertAt(ms));
  }
  EXPECT_THAT(queue.due(2 * hour), ElementsAre(alertAt(Limits::max()), alertAt(hour)));
  EXPECT_EQ(queue.due(Limits::min()).size(), 2U);
}

TEST(AlertQueue, OnlyTheOldestCanBeSent) {
  AlertQueue queue;
  queue.sent(alertAt(1));
  for (const std::int64_t ms : {1, 2, 2}) {
    queue.append(alertAt(ms));
  }
  queue.sent(alertAt(2));
  EXPECT_THAT(queue.due(0), ElementsAre(alertAt(1), alertAt(2), alertAt(2)));
  queue.sent(alertAt(1));
  queue.sent(alertAt(2));
  EXPECT_THAT(queue.due(0), ElementsAre(alertAt(2)));
}

}  // namespace
}  // namespace orvik
