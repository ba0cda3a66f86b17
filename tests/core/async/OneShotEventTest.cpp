#include <boost/asio/bind_cancellation_slot.hpp>
#include <boost/asio/cancellation_signal.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/strand.hpp>
#include <gtest/gtest.h>

#include <thread>

#include "core/async/OneShotEvent.h"

namespace orvik {
namespace {

/// A coroutine w(aits); s: a thread sets the event; the coroutine is c(ancelled), r(uns), or is
/// d(estroyed with its io_context), which b(oth) happens at the same time.
TEST(OneShotEvent, MeetsEveryEndOfItsCoroutine) {
  const std::pair<const char*, const char*> cases[] = {
      {"wr", ""},
      {"swr", "resumed"},
      {"wrsr", "resumed"},
      {"wrsrsr", "resumed"},
      {"wrssr", "resumed"},
      {"wrcrs", "aborted"},
      {"wrscr", "aborted"},
      {"wrcsr", "aborted"},
      {"wrcrwrsr", "abortedresumed"},
      {"wrsd", ""},
      {"wrds", ""},
      {"wrcds", ""},
      {"wrcsds", ""},
      {"wrb", ""},
  };
  for (int round = 0; round < 100; ++round) {
    const auto& [events, expected] = cases[static_cast<std::size_t>(round) % std::size(cases)];
    auto context = std::make_unique<asio::io_context>();
    auto cancellation = std::make_unique<asio::cancellation_signal>();
    const OneShotEvent event;
    std::string ends;
    const auto set = [event] { event.set(); };
    for (const char* what = events; *what != '\0'; ++what) {
      if (*what == 'w') {
        const asio::any_io_executor plain = context->get_executor();
        asio::co_spawn(
            round / static_cast<int>(std::size(cases)) % 2 == 0 ? plain : asio::make_strand(plain),
            event.wait(),
            asio::bind_cancellation_slot(cancellation->slot(),
                                         [&ends](const std::exception_ptr& failure) {
                                           ends += failure ? "aborted" : "resumed";
                                         }));
      } else if (*what == 's') {
        std::thread(set).join();
      } else if (*what == 'c') {
        cancellation->emit(asio::cancellation_type::terminal);
      } else if (*what == 'r') {
        context->restart();
        context->poll();
      } else {
        std::thread setting(*what == 'b' ? std::function<void()>(set) : [] {});
        cancellation.reset();
        context.reset();
        setting.join();
      }
    }
    EXPECT_EQ(ends, expected) << events;
  }
}

}  // namespace
}  // namespace orvik
