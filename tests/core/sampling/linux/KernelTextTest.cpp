#include <gtest/gtest.h>

#include "core/sampling/linux/CoreTypes.h"
#include "core/sampling/linux/KernelText.h"
#include "tests/support/FixtureTree.h"

namespace orvik {
namespace {

TEST(KernelText, TakesWhatIsOfTheDocumentedFormOnly) {
  using namespace KernelText;
  EXPECT_EQ(processorTimes("cpu  1 2 3 4 5 6 7 8 9 10\ncpu0 1"),
            (ProcessorTimes{1, 2, 3, 4, 5, 6, 7, 8}));
  EXPECT_EQ(processorTimes("cpu  1 2 3 4\nintr 9"), (ProcessorTimes{1, 2, 3, 4}));
  for (const char* text : {"", "cpu", "cpu ", "cpu 1 2 3", "cpu 1 2 3\n4", "cpu 1 2 3 x",
                           "cpu 1 2 3 -4", "cpu 1 2 3 99999999999999999999", "cpu0 1 2 3 4"}) {
    EXPECT_FALSE(processorTimes(text)) << text;
  }
  const std::string numbers = " S 1 1 1 0 -1 0 0 0 0 0 30 12 0 0 20 0 1 0 77";
  EXPECT_EQ(processTimes("1 (a) b (c)" + numbers), (ProcessTimes{"a) b (c", 42, 77}));
  EXPECT_EQ(processTimes("1 ()" + numbers), (ProcessTimes{"", 42, 77}));
  for (const std::string& text :
       {"1 )(" + numbers, "1 (a" + numbers, "(a)" + numbers.substr(0, numbers.size() - 3)}) {
    EXPECT_FALSE(processTimes(text)) << text;
  }
  EXPECT_EQ(memory("MemTotal: 8 kB\nMemAvailable: 9 kB\n"), (Memory{8192, 0, 0}));
  EXPECT_FALSE(memory("MemTotal: 8 kB\nMemAvail"));
  EXPECT_FALSE(memory("MemTotal: 0 kB\nMemFree: 0 kB\n"));
  EXPECT_FALSE(averageMHz("cpu MHz\ncpu MHz :\ncpu MHz : 1e999\ncpu MHz : -3\n"));
}

TEST(CoreTypes, ListsOfCPUs) {
  EXPECT_EQ(parseCPUList("0-2,5,7-8\n"), (std::vector{0, 1, 2, 5, 7, 8}));
  EXPECT_EQ(parseCPUList("3,1-4,x"), (std::vector{3, 4}));
  EXPECT_EQ(parseCPUList("0-2000000000,0-2000000000").size(), 8192U);
  for (const char* text : {"", "-1", "x", "99999999999"}) {
    EXPECT_TRUE(parseCPUList(text).empty()) << text;
  }
}

TEST(CoreTypes, CoresOfNoListedKindAreSmallOnes) {
  const test::FixtureTree tree{"desktop"};
  tree.write("sys/devices/system/cpu/present", "0-9\n");
  tree.write("sys/devices/system/cpu/online", "0-5\n");
  EXPECT_EQ(readCoreTypes(tree.root()), (CoreTypes{{0, 1}, {2, 3, 4, 5}}));
}

}  // namespace
}  // namespace orvik
