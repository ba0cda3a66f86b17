#include "core/sampling/mac/LineProcess.h"

#include <boost/asio/buffer.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/system/system_error.hpp>

#include <array>
#include <string_view>
#include <utility>

#include "core/system/ChildProcess.h"

namespace orvik {

namespace {

/// Cuts what comes in pieces into lines.
class Lines {
 public:
  void append(std::string_view bytes) {
    rest.erase(0, taken);
    taken = 0;
    rest += bytes;
    if (rest.size() > longestLine && rest.find('\n') == std::string::npos) {
      rest.clear();
      isSkipping = true;
    }
  }

  std::optional<std::string> take() {
    for (;;) {
      const std::size_t end = rest.find('\n', taken);
      if (end == std::string::npos) {
        return std::nullopt;
      }
      std::string line = rest.substr(taken, end - taken);
      taken = end + 1;
      if (!std::exchange(isSkipping, false) && line.size() <= longestLine) {
        return line;
      }
    }
  }

  /// What stands after the last line feed when nothing more will come.
  std::optional<std::string> takeRest() {
    std::string line = rest.substr(taken);
    rest.clear();
    taken = 0;
    return line.empty() || isSkipping ? std::nullopt : std::optional(std::move(line));
  }

 private:
  std::string rest;
  /// How much of `rest` has been given out.
  std::size_t taken = 0;
  /// In the middle of a line that is too long.
  bool isSkipping = false;
};

class ChildLineProcess final : public LineProcess {
 public:
  ChildLineProcess(const asio::any_io_executor& executor, std::unique_ptr<ChildProcess> started)
      : child(std::move(started)), output(executor) {
    output.assign(child->output.get());
    static_cast<void>(child->output.release());
  }

  asio::awaitable<std::optional<std::string>> nextLine() override {
    for (;;) {
      if (auto line = lines.take()) {
        co_return line;
      }
      boost::system::error_code error;
      const std::size_t count = co_await output.async_read_some(
          asio::buffer(chunk), asio::redirect_error(asio::use_awaitable, error));
      if (error == asio::error::operation_aborted) {
        throw boost::system::system_error(error);
      }
      if (error) {
        co_return lines.takeRest();
      }
      lines.append({chunk.data(), count});
    }
  }

  void terminate() override { child->terminate(); }

 private:
  std::unique_ptr<ChildProcess> child;
  asio::posix::stream_descriptor output;
  std::array<char, std::size_t{16} << 10> chunk{};
  Lines lines;
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
