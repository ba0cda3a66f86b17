#include <gtest/gtest.h>

#include "core/platform/linux/CoreTypes.h"
#include "core/platform/linux/KernelText.h"

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
  EXPECT_EQ(bootEpoch("cpu 1\nbtime 1795265956\n"), 1795265956);
  for (const char* text : {"btime 17952", "btime 18446744073709551615\n", "xbtime 1\n"}) {
    EXPECT_FALSE(bootEpoch(text)) << text;
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

}  // namespace
}  // namespace orvik
