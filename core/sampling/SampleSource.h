#pragma once

#include <boost/asio/awaitable.hpp>

#include <string>

namespace orvik {

namespace asio = boost::asio;

/// Where the relay client gets what it seals and sends: the UTF-8 text of one JSON object that
/// describes the machine at one instant. A sample is always produced; what cannot be read is
/// absent from it.
class SampleSource {
 public:
  virtual ~SampleSource() = default;

  virtual asio::awaitable<std::string> sample() = 0;

  /// A sample with the machine's slow-changing description when asked for. A source that has none
  /// gives the plain sample.
  virtual asio::awaitable<std::string> sample(bool /*withMacInfo*/) { return sample(); }

  /// The readings that alerts and the history need, at the least.
  virtual asio::awaitable<std::string> alertSample() { return sample(); }
};

}  // namespace orvik
