#include <gmock/gmock.h>

#include "core/values/JSONReader.h"
#include "phone/terminal/MinuteCurves.h"

namespace orvik {
namespace {

using Curve = MinuteCurves::Curve;
using std::chrono::minutes;
using testing::ElementsAre;
using testing::IsEmpty;

const auto none = std::optional<double>();

TEST(MinuteCurves, ContinuesTheHistoryWithLiveSamples) {
  MinuteCurves curves;
  curves.addHistory(
      readJSON(R"({"t0":600,"dm":[0,1,3],"cpu":[10.0,20,null],"temp":[null,"x",50.0],"w":[1.5]})"));
  EXPECT_EQ(curves.span(), minutes(5));
  EXPECT_THAT(curves.steps(Curve::cpu, 9), ElementsAre(10.0, 20.0, none, none, none));
  EXPECT_THAT(curves.steps(Curve::temperature, 9), ElementsAre(none, none, none, none, 50.0));
  EXPECT_THAT(curves.steps(Curve::power, 9), ElementsAre(1.5, none, none, none, none));

  curves.addSample(readJSON(R"({"epoch":900,"cpu_pct":40})"));
  curves.addSample(readJSON(R"({"epoch":959,"cpu_pct":50.0,"temp_cpu":null})"));
  curves.addSample(readJSON(R"({"epoch":960,"power_w":"1"})"));
  EXPECT_THAT(curves.steps(Curve::cpu, 9), ElementsAre(10.0, 20.0, none, none, none, 45.0));
  EXPECT_THAT(curves.steps(Curve::cpu, 3), ElementsAre(15.0, none, 45.0));
  EXPECT_EQ(curves.range(Curve::cpu), std::pair(10.0, 45.0));

  // A phone that joins again is sent the minutes once more: they are not added up.
  curves.addHistory(readJSON(R"({"t0":660,"dm":[0,4],"cpu":[20,44]})"));
  EXPECT_THAT(curves.steps(Curve::cpu, 9), ElementsAre(10.0, 20.0, none, none, none, 44.0));

  // The computer's clock is set back.
  curves.addSample(readJSON(R"({"epoch":720,"cpu_pct":0})"));
  EXPECT_THAT(curves.steps(Curve::cpu, 9), ElementsAre(10.0, 20.0, 0.0));

  // A day after minute 10 only that one is too old; a year later all are.
  curves.addSample(readJSON(R"({"epoch":87000,"cpu_pct":1})"));
  EXPECT_EQ(curves.span(), minutes(1440));
  curves.addSample(readJSON(R"({"epoch":31536000,"cpu_pct":1})"));
  EXPECT_EQ(curves.span(), minutes(1));
}

TEST(MinuteCurves, TakesOnlyWhatIsAHistory) {
  MinuteCurves curves;
  for (const char* history :
       {"7", "{}", R"({"t0":"600","dm":[0]})", R"({"t0":-60,"dm":[0]})", R"({"t0":600,"dm":[-1]})",
        R"({"t0":600,"dm":[9223372036854775807]})", R"({"t0":9223372036854775807,"dm":[0]})",
        R"({"t0":600,"dm":["0"],"cpu":[1]})"}) {
    curves.addHistory(readJSON(history));
    EXPECT_THAT(curves.steps(Curve::cpu, 9), IsEmpty()) << history;
  }
  curves.addSample(readJSON(R"({"epoch":9223372036854775807,"cpu_pct":1})"));
  curves.addSample(readJSON(R"({"cpu_pct":1})"));
  EXPECT_EQ(curves.span(), minutes(0));
}

}  // namespace
}  // namespace orvik
