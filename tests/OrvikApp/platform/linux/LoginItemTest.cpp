#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "OrvikApp/platform/LoginItem.h"
#include "OrvikApp/platform/linux/AutostartEntry.h"
#include "core/BuildConstants.h"
#include "tests/support/TemporaryFolder.h"

namespace orvik {
namespace {

namespace fs = std::filesystem;
using Status = LoginItem::Status;

class LoginItemTest : public testing::Test {
 protected:
  LoginItemTest() {
    setenv("XDG_CONFIG_HOME", user.c_str(), 1);
    setenv("XDG_CONFIG_DIRS", ("relative:" + system.string() + ":/nowhere").c_str(), 1);
    setenv("XDG_CURRENT_DESKTOP", "ubuntu:GNOME", 1);
  }

  void put(const fs::path& folder, const std::string& text) const {
    fs::create_directories(folder / "autostart");
    std::ofstream(folder / "autostart" / name, std::ios::binary) << text;
  }
  [[nodiscard]] std::string ours() const {
    std::ifstream stream(user / "autostart" / name);
    return {std::istreambuf_iterator<char>(stream), {}};
  }
  [[nodiscard]] Status status() const { return openLoginItem()->status(); }

  const std::string name = std::string(build::applicationId) + ".desktop";
  const std::string start = "[Desktop Entry]\nType=Application\n";
  const std::string entry = start + "Exec=sh\n";
  const test::TemporaryFolder folder;
  const fs::path user = folder.path / "home";
  const fs::path system = folder.path / "etc";
};

TEST_F(LoginItemTest, WhatDesktopsWouldNotStartIsNotRegistered) {
  constexpr auto on = Status::enabled;
  constexpr auto off = Status::notRegistered;
  const std::pair<std::string, Status> cases[] = {
      {entry, on},
      {"# mine\n\n" + entry + "\n[Desktop Action x]\nHidden=true\nExec=y\n", on},
      {"[Other]\nHidden=true\n" + entry, on},
      {entry + "Hidden=false\nTryExec=sh\n", on},
      {entry + "Hidden=true\n", off},
      {entry + "Hidden = true \r\n", off},
      {entry + "X-GNOME-Autostart-enabled=true\n", on},
      {entry + "X-GNOME-Autostart-enabled=false\n", off},
      {entry + "X-GNOME-Autostart-enabled=no idea\n", off},
      {entry + "OnlyShowIn=KDE;\n", off},
      {entry + "OnlyShowIn=KDE;GNOME\n", on},
      {entry + "NotShowIn=GNOME;\n", off},
      {entry + "NotShowIn=KDE;\n", on},
      {entry + "TryExec=/nowhere/orvik\n", off},
      {entry + "Type=Link\n", off},
      {"[Desktop Entry]\nExec=sh\n", off},
      {start, off},
      {start + "Exec=\n", off},
      {"", off},
      {"Type=Application\nExec=sh\n", off},
      {"Type=Application\n" + entry, off},
      {entry + "what is this\n", off},
      {entry + "=nothing\n", off},
      {entry + "Comment=\xff\n", off},
      {entry + "#" + std::string(1'048'576, 'x'), off},
  };
  EXPECT_EQ(status(), off);
  for (const auto& [text, expected] : cases) {
    put(user, text);
    EXPECT_EQ(status(), expected) << text.substr(0, 200);
    // Whatever stands there, the switch works.
    EXPECT_TRUE(openLoginItem()->setRegistered(true));
    EXPECT_EQ(status(), on) << ours().substr(0, 200);
    EXPECT_TRUE(openLoginItem()->setRegistered(false));
    EXPECT_EQ(status(), off);
    EXPECT_FALSE(fs::exists(user / "autostart" / name));
  }
}

TEST_F(LoginItemTest, TheEntryOfTheSystemCountsUntilTheUserHasOne) {
  put(system, entry);
  EXPECT_EQ(status(), Status::enabled);
  for (const bool isOn : {false, true, true, false, false}) {
    EXPECT_TRUE(openLoginItem()->setRegistered(isOn));
    EXPECT_EQ(status(), isOn ? Status::enabled : Status::notRegistered);
  }
  put(user, "garbage");
  EXPECT_EQ(status(), Status::notRegistered);
  fs::remove(user / "autostart" / name);
  put(system, entry + "Hidden=true\n");
  EXPECT_EQ(status(), Status::notRegistered);
}

TEST_F(LoginItemTest, WhatTheUserAddedStays) {
  put(user, "# mine\n" + entry +
                "Name[de]=Meins\nX-GNOME-Autostart-Delay=9\nHidden=true\n\n[Other]\na=b\n");
  EXPECT_TRUE(openLoginItem()->setRegistered(true));
  const std::string program = fs::read_symlink("/proc/self/exe").string();
  EXPECT_EQ(ours(), "# mine\n" + start + "Exec=" + program +
                        "\nName[de]=Meins\nX-GNOME-Autostart-Delay=9\n\nName=Orvik\nIcon=orvik"
                        "\nTerminal=false\nStartupNotify=false\nTryExec=" +
                        program + "\nX-GNOME-Autostart-enabled=true\n[Other]\na=b\n");
}

TEST_F(LoginItemTest, WhatCannotBeWrittenIsRefused) {
  const fs::path file = user / "autostart" / name;
  fs::create_directories(file / "full");
  EXPECT_EQ(status(), Status::notRegistered);
  EXPECT_FALSE(openLoginItem()->setRegistered(true));
  EXPECT_FALSE(openLoginItem()->setRegistered(false));
  fs::remove_all(file);
  // Some switch entries off this way; nobody ever writes to the pipe.
  for (const bool isPipe : {true, false}) {
    isPipe ? static_cast<void>(mkfifo(file.c_str(), 0600)) : fs::create_symlink("/dev/null", file);
    EXPECT_EQ(status(), Status::notRegistered);
    EXPECT_TRUE(openLoginItem()->setRegistered(true));
    EXPECT_EQ(status(), Status::enabled);
    fs::remove(file);
  }
  fs::remove_all(user);
  std::ofstream(user) << "a file where the folder should be";
  EXPECT_EQ(status(), Status::notRegistered);
  EXPECT_FALSE(openLoginItem()->setRegistered(true));
  EXPECT_TRUE(openLoginItem()->setRegistered(false));
  setenv("XDG_CONFIG_HOME", "relative", 1);
  const std::string home = getenv("HOME");
  unsetenv("HOME");
  EXPECT_EQ(status(), Status::notFound);
  EXPECT_FALSE(openLoginItem()->setRegistered(true));
  setenv("HOME", home.c_str(), 1);
}

TEST(AutostartEntry, SaysEveryPathThatCanBeSaid) {
  const std::tuple<std::string, std::optional<std::string>, std::string> cases[] = {
      {"/usr/bin/orvik", "/usr/bin/orvik", "/usr/bin/orvik"},
      {"/opt/My Apps/orvik", "\"/opt/My Apps/orvik\"", "\"/opt/My Apps/orvik\""},
      {"/a\"b`c$d\\e", R"("/a\"b\`c\$d\\e")", R"("/a\\"b\\`c\\$d\\\\e")"},
      {"/100%/orvik", "env /100%%/orvik", "env /100%%/orvik"},
      {"/Zoë’s/orvik", "/Zoë’s/orvik", "/Zoë’s/orvik"},
      {"/a=b", std::nullopt, ""},
      {"/a\nb", std::nullopt, ""},
      {"/\xff", std::nullopt, ""},
  };
  for (const auto& [path, command, line] : cases) {
    ASSERT_EQ(AutostartEntry::command(path), command) << path;
    if (command) {
      AutostartEntry entry;
      entry.set("Exec", *command);
      EXPECT_EQ(entry.text(), "[Desktop Entry]\nExec=" + line + "\n");
      EXPECT_EQ(AutostartEntry::parse(entry.text())->value("Exec"), command);
    }
  }
}

}  // namespace
}  // namespace orvik
