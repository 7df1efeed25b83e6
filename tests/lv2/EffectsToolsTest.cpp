// What programs of others make of the effects' bundle as it lies there.

#include <gmock/gmock.h>

#include "tests/lv2/EffectsFixture.h"
#include "tests/lv2/Shell.h"

namespace morv::lv2 {
namespace {

using testing::HasSubstr;
using testing::Not;

const std::string kBundle = std::string(MORV_LV2_BUNDLES) + "/morv-effects.lv2";

TEST(EffectsTools, FindNoFaultInTheBundle) {
  const std::string told = outputOf("lv2_validate " + kBundle + "/*.ttl 2>&1");
  EXPECT_THAT(told, HasSubstr("Found 0 errors"));
  EXPECT_THAT(told, HasSubstr("exit 0"));
  EXPECT_THAT(told, Not(HasSubstr("warning")));
}

TEST(EffectsTools, KnowAndRunEachEffect) {
  const std::string path = std::string("LV2_PATH=") + MORV_LV2_PATH + " ";
  const std::string listed = outputOf(path + "lv2ls 2>&1");
  for (const std::string& kind : kindNames()) {
    const std::string uri = kEffectUriStart + kind;
    EXPECT_THAT(listed, HasSubstr(uri + "\n"));
    EXPECT_THAT(outputOf(std::string(path).append("lv2info ").append(uri).append(" 2>&1")),
                HasSubstr("Enabled"));
    const std::string run = outputOf(std::string(path).append("lv2bench ").append(uri).append(" 2>&1"));
    EXPECT_THAT(run, HasSubstr("exit 0"));
    EXPECT_THAT(run, HasSubstr(uri));
  }
}

TEST(EffectsTools, SeeNothingButTheDescriptorInABinaryThatStandsAlone) {
  const std::string binary = kBundle + "/morv-effects.so";
  EXPECT_EQ(outputOf("nm -D --defined-only " + binary + " | awk '{print $3}'"), "lv2_descriptor\n\nexit 0");
  EXPECT_EQ(outputOf("ldd -r " + binary + " 2>&1 | grep -c 'not found\\|undefined'"), "0\n\nexit 256");
  EXPECT_EQ(outputOf("ldd " + binary + " 2>&1 | grep -ciE 'MORV|plist|libX|libGL|libQt|libxcb'"),
            "0\n\nexit 256");
  EXPECT_EQ(outputOf("readelf -d " + binary + " | grep -cE 'RUNPATH|RPATH'"), "0\n\nexit 256");
}

}  // namespace
}  // namespace morv::lv2
