#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <functional>
#include <utility>

#include "core/system/linux/SecretFile.h"
#include "tests/support/TemporaryFolder.h"

namespace orvik {
namespace {

namespace fs = std::filesystem;

const SecretStore::Key fileKey{.service = "example.Test", .account = "pairing"};
const Bytes fileSecret{0, '\n', 0xFF, 'a'};

struct SecretFileTest : testing::Test {
  test::TemporaryFolder home;
  fs::path folder = home.path / "share" / "orvik";
  fs::path file = folder / "example.Test.pairing";
  SecretFile store{folder};
};

TEST_F(SecretFileTest, AnItemIsAFileOfItsOwnerAlone) {
  EXPECT_EQ(store.find(fileKey), std::nullopt);
  EXPECT_TRUE(store.remove(fileKey));
  fs::create_directories(folder);
  fs::permissions(folder, fs::perms(0755));
  ASSERT_TRUE(store.add(fileKey, "Label", Bytes{1, 2}));
  ASSERT_TRUE(store.add(fileKey, "Label", fileSecret));
  EXPECT_EQ(store.find(fileKey), fileSecret);
  EXPECT_EQ(store.find({.service = fileKey.service, .account = "other"}), std::nullopt);
  EXPECT_EQ(fs::status(file).permissions(), fs::perms(0600));
  EXPECT_EQ(fs::status(folder).permissions(), fs::perms(0700));
  EXPECT_EQ(std::distance(fs::directory_iterator(folder), {}), 1);
  // Left by a program that was ended in the midst of it; the second is somebody else's.
  home.write("share/orvik/example.Test.pairing.a1B2c3", "secret");
  home.write("share/orvik/example.Test.pairing.mine", "secret");
  EXPECT_TRUE(store.remove(fileKey));
  EXPECT_EQ(store.find(fileKey), std::nullopt);
  EXPECT_EQ(std::distance(fs::directory_iterator(folder), {}), 1);
  fs::remove(folder / "example.Test.pairing.mine");
}

TEST_F(SecretFileTest, WhatOthersCouldHaveSeenOrMadeIsNotRead) {
  const std::function<void()> spoilers[] = {
      [&] { chmod(file.c_str(), 0640); },
      [&] { chmod(file.c_str(), 0604); },
      [&] { chmod(file.c_str(), 0602); },
      [&] { fs::rename(file, folder / "x"), fs::create_symlink("x", file); },
      [&] { fs::remove(file), fs::create_directory(file); },
      [&] { fs::remove(file), mkfifo(file.c_str(), 0600); },
      [&] { fs::resize_file(file, std::uintmax_t{1} << 40U); },
      // Only root can give a file away.
      [&] { geteuid() == 0 ? chown(file.c_str(), 1, 1) : unlink(file.c_str()); },
  };
  for (const auto& spoil : spoilers) {
    ASSERT_TRUE(store.add(fileKey, "Label", fileSecret));
    ASSERT_EQ(store.find(fileKey), fileSecret);
    spoil();
    if (&spoil - spoilers < 3) {
      EXPECT_THROW((void)store.find(fileKey), SecretStore::Unreadable)
          << "this user's, and no other";
    } else {
      EXPECT_EQ(store.find(fileKey), std::nullopt) << &spoil - spoilers;
    }
    fs::remove_all(file);
  }
}

TEST_F(SecretFileTest, WhatCannotBeOpenedIsNoReasonForAnother) {
  ASSERT_TRUE(store.add(fileKey, "Label", fileSecret));
  rlimit limit{};
  getrlimit(RLIMIT_NOFILE, &limit);
  const rlim_t former = std::exchange(limit.rlim_cur, 0);
  setrlimit(RLIMIT_NOFILE, &limit);
  EXPECT_THROW((void)store.find(fileKey), SecretStore::Unreadable);
  limit.rlim_cur = former;
  setrlimit(RLIMIT_NOFILE, &limit);
  EXPECT_EQ(store.find(fileKey), fileSecret);
  // Without a place nothing is stored.
  home.write("file", "");
  for (const fs::path& nowhere : {fs::path(), home.path / "file" / "orvik", home.path / "file"}) {
    SecretFile without(nowhere);
    EXPECT_FALSE(without.add(fileKey, "Label", fileSecret)) << nowhere;
    EXPECT_EQ(without.find(fileKey), std::nullopt);
  }
  EXPECT_FALSE(store.add({.service = "a", .account = "/../b"}, "Label", fileSecret));
}

}  // namespace
}  // namespace orvik
