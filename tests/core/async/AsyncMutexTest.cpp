#include <boost/asio/bind_cancellation_slot.hpp>
#include <boost/asio/cancellation_signal.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/io_context.hpp>
#include <gtest/gtest.h>

#include <cctype>
#include <map>
#include <string>

#include "core/async/AsyncMutex.h"

namespace orvik {
namespace {

struct Operations {
  asio::awaitable<char> operation(char name) {
    EXPECT_EQ(running, 0) << name;
    struct Running {
      int& count;
      explicit Running(int& count) : count(++count) {}
      ~Running() { --count; }
    } const mark(running);
    const std::function<bool()> mayEnd = [this] { return isOpen; };
    co_await gate.until(mayEnd);
    co_return name;
  }
  void happen(char event) {
    if (event == ' ') {
      context.restart();
      context.poll();
    } else if (event == '!') {
      cancelledNext = 'B';
    } else if (event == 'o') {
      isOpen = true;
      gate.notify();
    } else if (std::islower(event) != 0) {
      signals[static_cast<char>(std::toupper(event))].emit(asio::cancellation_type::terminal);
    } else {
      const auto note = [this](const std::exception_ptr& failure, char name) {
        ends += failure ? '-' : name;
        signals[cancelledNext].emit(asio::cancellation_type::terminal);
      };
      asio::co_spawn(context, mutex.withLock(operation(event)),
                     asio::bind_cancellation_slot(signals[event].slot(), note));
    }
  }

  asio::io_context context;
  std::map<char, asio::cancellation_signal> signals;
  AsyncMutex mutex{context.get_executor()};
  Notifier gate{context.get_executor()};
  bool isOpen = false;
  char cancelledNext = ' ';
  int running = 0;
  std::string ends;
};

/// A capital asks for the lock, its small letter is cancelled, at "o" operations may end, at "!" B
/// is cancelled the moment that another one has ended; a space runs what is ready. Whatever
/// happens, one operation runs at a time, and Z gets the lock at last.
TEST(AsyncMutex, GoesOnToTheNextWhoeverIsCancelled) {
  const std::pair<const char*, const char*> cases[] = {
      {"A B C o Z ", "ABCZ"},  {"Aa oZ ", "-Z"},      {"A a oZ ", "-Z"},
      {"A ao Z ", "-Z"},       {"A oa Z ", "AZ"},     {"A o aZ ", "AZ"},
      {"A B b o Z ", "-AZ"},   {"A B a o Z ", "-BZ"}, {"A B C b o Z ", "-ACZ"},
      {"A B ao Z ", "-BZ"},    {"A B oa Z ", "ABZ"},  {"A B C ab o Z ", "--CZ"},
      {"A B C !o Z ", "A-CZ"},
  };
  for (const auto& [events, ends] : cases) {
    Operations operations;
    for (const char* event = events; *event != '\0'; ++event) {
      operations.happen(*event);
    }
    EXPECT_EQ(operations.ends, ends) << events;
  }
}

}  // namespace
}  // namespace orvik
