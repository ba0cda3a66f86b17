#pragma once

#include <boost/asio/any_io_executor.hpp>

#include <functional>

namespace orvik {

namespace asio = boost::asio;

/// From now until the executor's context ends, has `action` called on the main thread for SIGTERM,
/// SIGINT and SIGHUP, which then do nothing else. Those that the program was started to ignore, as
/// nohup does, stay ignored. Throws boost::system::system_error.
void onTerminationSignal(const asio::any_io_executor& executor, std::function<void()> action);

}  // namespace orvik
