#include <boost/asio/bind_cancellation_slot.hpp>
#include <boost/asio/cancellation_signal.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/io_context.hpp>
#include <gtest/gtest.h>

#include <cctype>
#include <map>
#include <string>
#include <string_view>

#include "core/async/AsyncMutex.h"

namespace orvik {
namespace {

struct Takers {
  asio::awaitable<char> operation(char name) {
    EXPECT_EQ(running, '\0') << name;
    struct Running {
      explicit Running(char& running, char name) : running(running) { running = name; }
      ~Running() { running = '\0'; }
      char& running;
    } const mark(running, name);
    const std::function<bool()> mayEnd = [this] { return isOpen; };
    co_await gate.until(mayEnd);
    co_return name;
  }

  void start(char name) {
    asio::co_spawn(
        context, mutex.withLock(operation(name)),
        asio::bind_cancellation_slot(cancellations[name].slot(),
                                     [this](const std::exception_ptr& failure, char ended) {
                                       ends += failure ? '-' : ended;
                                       if (isSuccessorCancelled) {
                                         cancel('B');
                                       }
                                     }));
  }
  void cancel(char name) { cancellations[name].emit(asio::cancellation_type::terminal); }

  void happen(char event) {
    if (event == ' ') {
      context.restart();
      context.poll();
    } else if (event == '!') {
      isSuccessorCancelled = true;
    } else if (event == 'o') {
      isOpen = true;
      gate.notify();
    } else if (std::isupper(event) != 0) {
      start(event);
    } else {
      cancel(static_cast<char>(std::toupper(event)));
    }
  }

  asio::io_context context;
  std::map<char, asio::cancellation_signal> cancellations;
  AsyncMutex mutex{context.get_executor()};
  Notifier gate{context.get_executor()};
  bool isOpen = false;
  bool isSuccessorCancelled = false;
  char running = '\0';
  std::string ends;
};

/// A capital asks for the lock, its small letter is cancelled, at "o" operations may end, at "!" B
/// is cancelled the moment that another one has ended; a space runs what is ready. Whatever
/// happens, one operation runs at a time, and Z gets the lock at last.
TEST(AsyncMutex, GoesOnToTheNextWhoeverIsCancelled) {
  const std::pair<std::string_view, std::string> cases[] = {
      {"A B C o Z ", "ABCZ"},  {"Aa oZ ", "-Z"},      {"A a oZ ", "-Z"},
      {"A ao Z ", "-Z"},       {"A oa Z ", "AZ"},     {"A o aZ ", "AZ"},
      {"A B b o Z ", "-AZ"},   {"A B a o Z ", "-BZ"}, {"A B C b o Z ", "-ACZ"},
      {"A B ao Z ", "-BZ"},    {"A B oa Z ", "ABZ"},  {"A B C ab o Z ", "--CZ"},
      {"A B C !o Z ", "A-CZ"},
  };
  for (const auto& [events, ends] : cases) {
    Takers takers;
    for (const char event : events) {
      takers.happen(event);
    }
    EXPECT_EQ(takers.ends, ends) << events;
  }
}

}  // namespace
}  // namespace orvik
