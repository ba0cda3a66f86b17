#include <boost/asio/bind_cancellation_slot.hpp>
#include <boost/asio/cancellation_signal.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/strand.hpp>
#include <gtest/gtest.h>

#include <string_view>
#include <thread>

#include "core/async/OneShotEvent.h"

namespace orvik {
namespace {

/// A coroutine w(aits); s: a thread sets the event; the coroutine is c(ancelled), r(uns), or is
/// d(estroyed with its io_context).
TEST(OneShotEvent, MeetsEveryEndOfItsCoroutine) {
  enum class End { none, resumed, aborted };
  const std::pair<std::string_view, End> cases[] = {
      {"wr", End::none},        {"swr", End::resumed},   {"wrsr", End::resumed},
      {"wrsrsr", End::resumed}, {"wrssr", End::resumed}, {"wrcrs", End::aborted},
      {"wrscr", End::aborted},  {"wrcsr", End::aborted}, {"wrcrwrsr", End::resumed},
      {"wrsd", End::none},      {"wrds", End::none},     {"wrcds", End::none},
      {"wrcsds", End::none},
  };
  for (const auto& [events, expected] : cases) {
    for (const bool isOnStrand : {false, true}) {
      auto context = std::make_unique<asio::io_context>();
      auto cancellation = std::make_unique<asio::cancellation_signal>();
      const OneShotEvent event;
      End end = End::none;
      for (const char what : events) {
        switch (what) {
          case 'w':
            asio::co_spawn(isOnStrand ? asio::any_io_executor(asio::make_strand(*context))
                                      : context->get_executor(),
                           event.wait(),
                           asio::bind_cancellation_slot(
                               cancellation->slot(), [&end](const std::exception_ptr& failure) {
                                 end = failure ? End::aborted : End::resumed;
                               }));
            break;
          case 's':
            std::thread([event] { event.set(); }).join();
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
