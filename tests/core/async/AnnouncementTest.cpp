#include <boost/asio/bind_cancellation_slot.hpp>
#include <boost/asio/cancellation_signal.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/strand.hpp>
#include <boost/asio/this_coro.hpp>
#include <gtest/gtest.h>

#include <optional>
#include <string_view>
#include <thread>

#include "core/async/Announcement.h"

namespace orvik {
namespace {

asio::awaitable<void> listen(std::optional<Announcement::Announcer>& announcer) {
  const asio::any_io_executor executor = co_await asio::this_coro::executor;
  Announcement announcement(executor);
  announcer = announcement.announcer();
  co_await announcement.heard();
}

/// In each case a coroutine waits already. Then: a(nnounced by a thread), c(ancelled), r(esumed),
/// d(estroyed with its io_context).
TEST(Announcement, MeetsEveryEndOfItsCoroutine) {
  enum class End { none, heard, aborted };
  const std::pair<std::string_view, End> cases[] = {
      {"ar", End::heard},    {"arar", End::heard},  {"aar", End::heard}, {"cra", End::aborted},
      {"acr", End::aborted}, {"car", End::aborted}, {"ad", End::none},   {"da", End::none},
      {"cda", End::none},    {"cada", End::none},
  };
  for (const auto& [events, expected] : cases) {
    for (const bool isOnStrand : {false, true}) {
      auto context = std::make_unique<asio::io_context>();
      auto cancellation = std::make_unique<asio::cancellation_signal>();
      std::optional<Announcement::Announcer> announcer;
      End end = End::none;
      const asio::any_io_executor plain = context->get_executor();
      asio::co_spawn(isOnStrand ? asio::any_io_executor(asio::make_strand(plain)) : plain,
                     listen(announcer),
                     asio::bind_cancellation_slot(cancellation->slot(),
                                                  [&end](const std::exception_ptr& failure) {
                                                    EXPECT_EQ(end, End::none);
                                                    end = failure ? End::aborted : End::heard;
                                                  }));
      context->poll();
      for (const char event : events) {
        switch (event) {
          case 'a':
            std::thread([&announcer] { announcer->announce(); }).join();
            break;
          case 'c':
            cancellation->emit(asio::cancellation_type::terminal);
            break;
          case 'r':
            context->restart();
            context->poll();
            break;
          default:
            cancellation.reset();
            context.reset();
        }
      }
      EXPECT_EQ(end, expected) << events;
    }
  }
}

}  // namespace
}  // namespace orvik
