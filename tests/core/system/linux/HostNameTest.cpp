#include <gtest/gtest.h>

#include "core/system/HostName.h"
#include "core/system/linux/HostName.h"
#include "core/values/JSONMembers.h"
#include "tests/support/Table.h"

namespace orvik {
namespace {

TEST(HostName, IsThePrettyNameOfTheMachineInfo) {
  test::expectTable("linux/host-names.txt",
                    {{"name", [](auto text) { return orNull(prettyHostName(text)); }}});
  EXPECT_EQ(prettyHostName("PRETTY_HOSTNAME=\xff"), std::nullopt);
  const auto ours = localizedHostName();
  EXPECT_TRUE(!ours || presentableName(*ours) == ours);
}

}  // namespace
}  // namespace orvik
