#include <gtest/gtest.h>

#include <QFile>

#include "OrvikApp/platform/linux/AutostartLoginItem.h"
#include "core/BuildConstants.h"
#include "tests/support/Table.h"
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
  [[nodiscard]] std::string ours() const { return test::contentsOf(user / "autostart" / name); }
  [[nodiscard]] static Status status() { return openLoginItem()->status(); }
  [[nodiscard]] static bool turn(Status status) {
    return openLoginItem()->setRegistered(status == on);
  }

  const std::string name = std::string(build::applicationId) + ".desktop";
  const std::string entry = "[Desktop Entry]\nType=Application\nExec=sh\n";
  const test::TemporaryFolder folder;
  const fs::path user = folder.path / "home";
  const fs::path system = folder.path / "etc";
};

TEST_F(LoginItemTest, WhatDesktopsWouldNotStartIsNotRegistered) {
  const auto tried = [&](std::string_view text) {
    put(user, std::string(text));
    const bool isOn = status() == on;
    // Whatever stands there, the switch works, and what others have written stays.
    EXPECT_TRUE(turn(on));
    EXPECT_EQ(status(), on) << ours().substr(0, 200);
    for (const char* theirs : {"# mine\n", "Name[de]=Meins\n", "[Other]\na=b\n"}) {
      EXPECT_EQ(ours().find(theirs) != std::string::npos, text.starts_with("# mine")) << theirs;
    }
    EXPECT_TRUE(turn(off));
    EXPECT_FALSE(fs::exists(user / "autostart" / name));
    return isOn;
  };
  EXPECT_EQ(status(), off);
  test::expectTable("app/autostart.txt", {{"entry", tried}});
  EXPECT_FALSE(tried(entry + "#" + std::string(1'048'576, 'x')));
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

TEST_F(LoginItemTest, WhatCannotBeWrittenIsRefused) {
  const fs::path file = user / "autostart" / name;
  fs::create_directories(file / "full");
  EXPECT_EQ(status(), off);
  EXPECT_FALSE(turn(on));
  EXPECT_FALSE(turn(off));
  fs::remove_all(file);
  // Some switch entries off this way.
  fs::create_symlink("/dev/null", file);
  EXPECT_EQ(status(), off);
  EXPECT_TRUE(turn(on));
  EXPECT_EQ(status(), on);
  fs::remove_all(user);
  std::ofstream(user) << "a file where the folder should be";
  EXPECT_EQ(status(), off);
  EXPECT_FALSE(turn(on));
  EXPECT_TRUE(turn(off));
}

TEST_F(LoginItemTest, EveryPathIsStartedThatCanBeSaid) {
  // The path, and the line of the entry; empty for none.
  for (const auto& [path, line] : {std::pair{"My Apps", R"("/My Apps")"},
                                   {"a\"b`c$d\\e", R"("/a\\"b\\`c\\$d\\\\e")"},
                                   {"100%", "env /100%%"},
                                   {"Zoë’s", "/Zoë’s"},
                                   {"a=b", ""},
                                   {"a\nb", ""},
                                   {"\xff", ""}}) {
    const fs::path program = folder.path / path;
    std::ofstream(program) << "#!/bin/sh\n";
    fs::permissions(program, fs::perms::owner_all);
    AutostartLoginItem item(QFile::decodeName(program.c_str()));
    std::string expected = line;
    EXPECT_EQ(item.setRegistered(true), !expected.empty()) << path;
    if (!expected.empty()) {
      EXPECT_EQ(item.status(), on) << ours();
      expected.insert(expected.find('/'), folder.path.string());
      EXPECT_NE(ours().find("\nExec=" + expected + "\n"), std::string::npos) << ours();
    }
  }
}

}  // namespace
}  // namespace orvik
