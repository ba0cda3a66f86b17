#include <gtest/gtest.h>
#include <sys/stat.h>

#include <QFile>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "OrvikApp/platform/linux/AutostartLoginItem.h"
#include "core/BuildConstants.h"
#include "tests/support/TemporaryFolder.h"

namespace orvik {
namespace {

namespace fs = std::filesystem;
using Status = LoginItem::Status;
constexpr auto on = Status::enabled;
constexpr auto off = Status::notRegistered;

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
  [[nodiscard]] static Status status() { return openLoginItem()->status(); }
  [[nodiscard]] static bool turn(Status status) {
    return openLoginItem()->setRegistered(status == on);
  }

  const std::string name = std::string(build::applicationId) + ".desktop";
  const std::string start = "[Desktop Entry]\nType=Application\n";
  const std::string entry = start + "Exec=sh\n";
  const test::TemporaryFolder folder;
  const fs::path user = folder.path / "home";
  const fs::path system = folder.path / "etc";
};

TEST_F(LoginItemTest, WhatDesktopsWouldNotStartIsNotRegistered) {
  const std::pair<std::string, Status> cases[] = {
      {entry, on},
      {"# mine\n\n" + entry + "\n[Desktop Action x]\nHidden=true\nExec=y\n", on},
      {"[Other]\nHidden=true\n" + entry, off},
      {entry + "Hidden=false\nTryExec=sh\n", on},
      {entry + "Hidden = true \r\n", off},
      {entry + "X-GNOME-Autostart-enabled=true\n", on},
      {entry + "X-GNOME-Autostart-enabled=false\n", off},
      {entry + "X-GNOME-Autostart-enabled=no idea\n", off},
      {entry + "OnlyShowIn=KDE;\n", off},
      {entry + "OnlyShowIn=KDE;GNOME\n", on},
      {entry + "NotShowIn=GNOME;\n", off},
      {entry + "TryExec=/nowhere/orvik\n", off},
      {start + "Exec=/nowhere/orvik\n", off},
      {entry + "Type=Link\n", off},
      {start, off},
      {start + "Exec=\n", off},
      {"", off},
      {"Type=Application\n" + entry, off},
      {entry + "what is this\n", off},
      {entry + "#" + std::string(1'048'576, 'x'), off},
  };
  EXPECT_EQ(status(), off);
  for (const auto& [text, expected] : cases) {
    put(user, text);
    EXPECT_EQ(status(), expected) << text.substr(0, 200);
    // Whatever stands there, the switch works.
    EXPECT_TRUE(turn(on));
    EXPECT_EQ(status(), on) << ours().substr(0, 200);
    EXPECT_TRUE(turn(off));
    EXPECT_FALSE(fs::exists(user / "autostart" / name));
  }
}

TEST_F(LoginItemTest, TheEntryOfTheSystemCountsUntilTheUserHasOne) {
  put(system, entry);
  EXPECT_EQ(status(), on);
  for (const Status wanted : {off, on, on, off, off}) {
    EXPECT_TRUE(turn(wanted));
    EXPECT_EQ(status(), wanted);
  }
  put(user, "garbage");
  EXPECT_EQ(status(), off);
}

TEST_F(LoginItemTest, WhatTheUserAddedStays) {
  put(user, "# mine\n" + entry +
                "Name[de]=Meins\nX-GNOME-Autostart-Delay=9\nHidden=true\n\n[Other]\na=b\n");
  EXPECT_TRUE(turn(on));
  const std::string program = fs::read_symlink("/proc/self/exe").string();
  EXPECT_EQ(ours(), "# mine\n\n" + start + "Exec=" + program +
                        "\nName[de]=Meins\nX-GNOME-Autostart-Delay=9\n\nName=Orvik\nIcon=orvik"
                        "\nTerminal=false\nStartupNotify=false\nTryExec=" +
                        program + "\nX-GNOME-Autostart-enabled=true\n\n[Other]\na=b\n");
}

TEST_F(LoginItemTest, WhatCannotBeWrittenIsRefused) {
  const fs::path file = user / "autostart" / name;
  fs::create_directories(file / "full");
  EXPECT_EQ(status(), off);
  EXPECT_FALSE(turn(on));
  EXPECT_FALSE(turn(off));
  fs::remove_all(file);
  // Some switch entries off this way; nobody ever writes to the pipe.
  for (const bool isPipe : {true, false}) {
    isPipe ? static_cast<void>(mkfifo(file.c_str(), 0600)) : fs::create_symlink("/dev/null", file);
    EXPECT_EQ(status(), off);
    EXPECT_TRUE(turn(on));
    EXPECT_EQ(status(), on);
    fs::remove(file);
  }
  fs::remove_all(user);
  std::ofstream(user) << "a file where the folder should be";
  EXPECT_EQ(status(), off);
  EXPECT_FALSE(turn(on));
  EXPECT_TRUE(turn(off));
}

TEST_F(LoginItemTest, EveryPathIsStartedThatCanBeSaid) {
  // The path, and the line of the entry; empty for none.
  const std::pair<const char*, const char*> cases[] = {
      {"orvik", "/orvik"},
      {"My Apps", R"("/My Apps")"},
      {"a\"b`c$d\\e", R"("/a\\"b\\`c\\$d\\\\e")"},
      {"100%", "env /100%%"},
      {"Zoë’s", "/Zoë’s"},
      {"a=b", ""},
      {"a\nb", ""},
      {"\xff", ""},
  };
  for (const auto& [path, line] : cases) {
    const fs::path program = folder.path / path;
    std::ofstream(program) << "#!/bin/sh\n";
    fs::permissions(program, fs::perms::owner_all);
    AutostartLoginItem item(QFile::decodeName(program.c_str()));
    EXPECT_EQ(item.setRegistered(true), *line != '\0') << path;
    if (*line != '\0') {
      EXPECT_EQ(item.status(), on) << ours();
      std::string expected = line;
      expected.insert(expected.find('/'), folder.path.string());
      EXPECT_NE(ours().find("\nExec=" + expected + "\n"), std::string::npos) << ours();
    }
  }
}

}  // namespace
}  // namespace orvik
