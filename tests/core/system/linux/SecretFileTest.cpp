#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "core/system/linux/FallbackSecretStore.h"
#include "core/system/linux/SecretFile.h"
#include "tests/support/MemorySecretStore.h"
#include "tests/support/TemporaryFolder.h"

namespace orvik {
namespace {

namespace fs = std::filesystem;

const SecretStore::Key key{.service = "example.Test", .account = "pairing"};
const Bytes secret{0, '\n', 0xFF, 'a'};

mode_t modeOf(const fs::path& path) {
  struct stat status {};
  EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
  return status.st_mode & 07777U;
}

struct SecretFileTest : testing::Test {
  test::TemporaryFolder home;
  fs::path folder = home.path / "share" / "orvik";
  fs::path file = folder / "example.Test.pairing";
  SecretFile store{folder};
};

TEST_F(SecretFileTest, AnItemIsAFileOfItsOwnerAlone) {
  EXPECT_EQ(store.find(key), std::nullopt);
  EXPECT_TRUE(store.remove(key));
  fs::create_directories(folder);
  ASSERT_EQ(chmod(folder.c_str(), 0755), 0);
  ASSERT_TRUE(store.add(key, "Label", Bytes{1, 2}));
  ASSERT_TRUE(store.add(key, "Label", secret));
  EXPECT_EQ(store.find(key), secret);
  EXPECT_EQ(store.find({.service = key.service, .account = "other"}), std::nullopt);
  EXPECT_EQ(modeOf(file), 0600U);
  EXPECT_EQ(modeOf(folder), 0700U);
  EXPECT_EQ(std::distance(fs::directory_iterator(folder), {}), 1);
  EXPECT_TRUE(store.remove(key));
  EXPECT_EQ(store.find(key), std::nullopt);
}

TEST_F(SecretFileTest, WhatOthersCouldHaveSeenOrMadeIsAbsent) {
  struct Case {
    const char* name;
    std::function<void()> spoil;
  };
  const Case cases[] = {
      {"read by the group", [&] { chmod(file.c_str(), 0640); }},
      {"read by others", [&] { chmod(file.c_str(), 0604); }},
      {"written by others", [&] { chmod(file.c_str(), 0602); }},
      {"a link", [&] { fs::rename(file, folder / "x"), fs::create_symlink("x", file); }},
      {"a folder", [&] { fs::remove(file), fs::create_directory(file); }},
      {"a pipe", [&] { fs::remove(file), mkfifo(file.c_str(), 0600); }},
      {"endless", [&] { fs::resize_file(file, std::uintmax_t{1} << 40U); }},
      // Only root can give a file away.
      {"somebody else's",
       [&] { geteuid() == 0 ? chown(file.c_str(), 1, 1) : unlink(&*file.c_str()); }},
  };
  for (const Case& spoilt : cases) {
    ASSERT_TRUE(store.add(key, "Label", secret));
    ASSERT_EQ(store.find(key), secret);
    spoilt.spoil();
    EXPECT_EQ(store.find(key), std::nullopt) << spoilt.name;
    fs::remove_all(file);
  }
}

TEST_F(SecretFileTest, WhatCannotBeOpenedIsNoReasonForAnother) {
  ASSERT_TRUE(store.add(key, "Label", secret));
  struct rlimit former {};
  getrlimit(RLIMIT_NOFILE, &former);
  const struct rlimit none {
    0, former.rlim_max
  };
  setrlimit(RLIMIT_NOFILE, &none);
  EXPECT_THROW((void)store.find(key), SecretStore::Unreadable);
  setrlimit(RLIMIT_NOFILE, &former);
  EXPECT_EQ(store.find(key), secret);
}

TEST_F(SecretFileTest, WithoutAPlaceNothingIsStored) {
  home.write("file", "");
  for (const fs::path& nowhere : {fs::path(), home.path / "file" / "orvik", home.path / "file"}) {
    SecretFile without(nowhere);
    EXPECT_FALSE(without.add(key, "Label", secret)) << nowhere;
    EXPECT_EQ(without.find(key), std::nullopt);
  }
  EXPECT_FALSE(store.add({.service = "a", .account = "/../b"}, "Label", secret));
}

TEST_F(SecretFileTest, BehindAKeyringItHasWhatThatCannotKeep) {
  const Bytes newer{1};
  struct Case {
    const char* name;
    bool canFind, canRemove, canAdd;
    std::optional<Bytes> removedFromFile, inKeyring, inFile;
  };
  for (const Case& does :
       {Case{"open", true, true, true, std::nullopt, newer, std::nullopt},
        {"without a collection", true, true, false, std::nullopt, std::nullopt, newer},
        {"locked", false, false, false, secret, secret, secret}}) {
    const auto keyring = std::make_shared<test::MemorySecretStore>();
    FallbackSecretStore both(keyring, std::make_shared<SecretFile>(folder));
    EXPECT_EQ(both.find(key), std::nullopt);
    keyring->canFind = does.canFind;
    if (!does.canFind) {
      EXPECT_THROW((void)both.find(key), SecretStore::Unreadable) << "none or not, nobody knows";
    }
    ASSERT_TRUE(store.add(key, "Label", secret));
    EXPECT_EQ(both.find(key), secret) << "from before there was a keyring";
    ASSERT_TRUE(keyring->add(key, "Label", secret));
    keyring->canRemove = does.canRemove;
    keyring->canAdd = does.canAdd;
    EXPECT_EQ(both.remove(key), does.canRemove) << does.name;
    EXPECT_EQ(store.find(key), does.removedFromFile) << "both or neither: " << does.name;
    EXPECT_EQ(both.add(key, "Label", newer), does.canRemove) << does.name;
    keyring->canFind = true;
    EXPECT_EQ(keyring->find(key), does.inKeyring) << does.name;
    EXPECT_EQ(store.find(key), does.inFile) << does.name;
    store.remove(key);
  }
}

}  // namespace
}  // namespace orvik
