#include <gmock/gmock.h>
#include <unistd.h>

#include "relay/Certificate.h"
#include "relay/SelfSigned.h"
#include "tests/support/TemporaryFolder.h"

namespace orvik::relay {
namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;
namespace fs = std::filesystem;

constexpr Clock::UnixTime now{1'800'000'000s};

class CertificateTest : public testing::Test {
 protected:
  std::string fingerprint(Clock::UnixTime time, const std::vector<std::string>& names = {}) {
    return Certificate::keptIn(state, names, time).fingerprint;
  }
  std::string failure(const std::string& chain, const std::string& key) {
    try {
      static_cast<void>(Certificate::read(folder.write("chain", chain), folder.write("key", key)));
      return "";
    } catch (const std::runtime_error& error) {
      return error.what();
    }
  }

  const test::TemporaryFolder folder;
  const fs::path state = folder.path / "a" / "state";
};

TEST_F(CertificateTest, IsMadeOnceAndKeptUntilItIsOfNoUse) {
  const std::string first = fingerprint(now);
  EXPECT_EQ(first.size(), 32 * 3 - 1U);
  const auto mode = [this](const char* name) { return fs::status(state / name).permissions(); };
  EXPECT_EQ(mode(""), fs::perms::owner_all);
  EXPECT_EQ(mode("key.pem"), fs::perms(0600));
  EXPECT_EQ(mode("certificate.pem"), fs::perms(0644)) << "clients are to trust it";
  EXPECT_EQ(std::distance(fs::directory_iterator(state), {}), 2) << "nothing temporary is left";
  EXPECT_EQ(fingerprint(now), first);
  EXPECT_EQ(fingerprint(now, {"localhost", "127.0.0.1", "::1"}), first);
  const auto lastKept = now - 25h + SelfSigned::lifetime - Certificate::renewal - 1s;
  EXPECT_EQ(fingerprint(lastKept), first);
  const std::string second = fingerprint(lastKept + 1s);
  EXPECT_NE(second, first);

  const std::vector<std::string> names = {"relay.example", "192.0.2.7"};
  const std::string third = fingerprint(lastKept, names);
  EXPECT_NE(third, second);
  EXPECT_EQ(fingerprint(lastKept, names), third);
  EXPECT_EQ(fingerprint(lastKept), third);

  std::ofstream(state / "key.pem") << SelfSigned::make({"localhost"}, now).key;
  const std::string fourth = fingerprint(lastKept);
  EXPECT_NE(fourth, third);
  EXPECT_EQ(fingerprint(lastKept), fourth);
  fs::resize_file(state / "certificate.pem", 40);
  EXPECT_NE(fingerprint(lastKept), fourth);
}

TEST_F(CertificateTest, FailuresAreNamed) {
  const SelfSigned one = SelfSigned::make({"localhost"}, now);
  const SelfSigned other = SelfSigned::make({"localhost"}, now);
  EXPECT_EQ(failure(one.certificate, one.key), "");
  EXPECT_THAT(failure(one.certificate, other.key), HasSubstr("is not the key of"));
  EXPECT_THAT(failure("", one.key), HasSubstr("no PEM certificate"));
  EXPECT_THAT(failure(one.certificate, std::string(2'000'000, 'x')), HasSubstr("no PEM private"));
  EXPECT_THROW(static_cast<void>(Certificate::read(folder.path / "none", folder.path / "none")),
               std::system_error);
  EXPECT_THROW(static_cast<void>(Certificate::read(folder.path, folder.path)), std::system_error);
  EXPECT_THROW(static_cast<void>(Certificate::keptIn(folder.write("file", ""), {}, now)),
               std::runtime_error);
  for (const char* name : {"", ".", "a..b", "-a", "a-.b", "*.a", "a b", "1.2.3.4/8", "a,DNS:b"}) {
    EXPECT_THROW(static_cast<void>(SelfSigned::make({name}, now)), std::invalid_argument) << name;
  }
}

}  // namespace
}  // namespace orvik::relay
