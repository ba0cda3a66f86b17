#include "core/sampling/mac/LineProcess.h"

#include <boost/asio/buffer.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/read_until.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/system/system_error.hpp>

#include <utility>

#include "core/system/ChildProcess.h"

namespace orvik {

namespace {

class ChildLineProcess final : public LineProcess {
 public:
  ChildLineProcess(const asio::any_io_executor& executor, std::unique_ptr<ChildProcess> started)
      : child(std::move(started)), output(executor) {
    output.assign(child->output.get());
    static_cast<void>(child->output.release());
  }

  asio::awaitable<std::optional<std::string>> nextLine() override {
    for (;;) {
      boost::system::error_code error;
      const std::size_t size =
          co_await asio::async_read_until(output, asio::dynamic_buffer(unread, longestLine + 1),
                                          '\n', asio::redirect_error(asio::use_awaitable, error));
      if (error == asio::error::operation_aborted) {
        throw boost::system::system_error(error);
      }
      if (error == asio::error::not_found) {
        unread.clear();
        isSkipping = true;
        continue;
      }
      // What stands after the last line feed is a line too when nothing more will come.
      const bool isLine = !std::exchange(isSkipping, false) && !(error && unread.empty());
      std::string line = unread.substr(0, error ? unread.size() : size - 1);
      unread.erase(0, error ? unread.size() : size);
      if (isLine) {
        co_return line;
      }
      if (error) {
        co_return std::nullopt;
      }
    }
  }

  void terminate() override { child->terminate(); }

 private:
  std::unique_ptr<ChildProcess> child;
  asio::posix::stream_descriptor output;
  std::string unread;
  /// In the middle of a line that is too long.
  bool isSkipping = false;
};

}  // namespace

std::unique_ptr<LineProcess> launchLineProcess(const asio::any_io_executor& executor,
                                               const std::string& path,
                                               const std::vector<std::string>& arguments) {
  std::unique_ptr<ChildProcess> child = ChildProcess::start(path, arguments);
  if (!child) {
    return nullptr;
  }
  try {
    return std::make_unique<ChildLineProcess>(executor, std::move(child));
  } catch (const boost::system::system_error&) {
    return nullptr;  // no descriptor is left to watch the pipe with
  }
}

}  // namespace orvik
