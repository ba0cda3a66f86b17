// Own code: relay/Options
#include <CLI/CLI.hpp>

#include <cmath>
#include <cstdlib>
#include <sstream>

#include "relay/Options.h"

namespace {

/// Reads what is given as the file that is named.
class OneFile final : public CLI::ConfigINI {
 public:
  explicit OneFile(std::string_view text) : text(text) {}
  std::vector<CLI::ConfigItem> from_config(std::istream& /*input*/) const override {
    std::istringstream stream{std::string(text)};
    return CLI::ConfigINI::from_config(stream);
  }

 private:
  std::string_view text;
};

}  // namespace

/// A file of options is taken or refused as a whole, and no number gets out of its bounds.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace orvik::relay;
  Options options;
  CLI::App app;
  try {
    options.declare(app);
    app.config_formatter(
        std::make_shared<OneFile>(std::string_view(reinterpret_cast<const char*>(data), size)));
    app.parse("--config /dev/null", false);
  } catch (const CLI::Error&) {
    return 0;
  }
  if (options.maxPhones < 1 || options.maxPhones > 1000 || !std::isfinite(options.drain) ||
      options.drain < 0 || options.threads > 256 || options.macBytes < 64) {
    std::abort();
  }
  try {
    const MachineLimits machine{.descriptors = 65536, .memory = 1UL << 32U, .processors = 2};
    static_cast<void>(options.limits(machine));
    static_cast<void>(options.drainTime());
  } catch (const std::runtime_error&) {
    // Two options that do not go together.
  }
  return 0;
}
