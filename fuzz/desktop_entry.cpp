// Own code: OrvikApp/platform/linux/AutostartLoginItem
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "OrvikApp/platform/linux/AutostartLoginItem.h"
#include "core/BuildConstants.h"

/// An autostart entry that somebody has written: when Orvik says that it is switched on or off, it
/// is, whatever stood there before.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace orvik;
  namespace fs = std::filesystem;
  static const fs::path home = [] {
    std::string made = (fs::temp_directory_path() / "fuzz-entry-XXXXXX").string();
    const fs::path folder = mkdtemp(made.data());
    for (const char* const name : {"XDG_CONFIG_HOME", "XDG_CONFIG_DIRS", "HOME"}) {
      setenv(name, (folder / name).c_str(), 1);
    }
    fs::create_directories(folder / "XDG_CONFIG_HOME" / "autostart");
    std::atexit([] { fs::remove_all(home); });
    return folder;
  }();
  const fs::path entry =
      home / "XDG_CONFIG_HOME" / "autostart" / (std::string(build::applicationId) + ".desktop");
  std::ofstream(entry, std::ios::binary)
      .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
  AutostartLoginItem item(QStringLiteral("/bin/true"));
  static_cast<void>(item.status());
  if (item.setRegistered(true) && item.status() != LoginItem::Status::enabled) {
    std::abort();
  }
  if (item.setRegistered(false) && item.status() == LoginItem::Status::enabled) {
    std::abort();
  }
  return 0;
}
