// What programs of others make of the bundle as it lies there.

#include <gmock/gmock.h>

#include <string>

#include "hosts/lv2/PluginUris.h"
#include "tests/lv2/Figures.h"
#include "tests/lv2/Lv2Fixture.h"
#include "tests/lv2/Shell.h"

namespace morv::lv2 {
namespace {

using testing::HasSubstr;
using testing::Not;

class Lv2Tools : public Lv2Fixture {};

TEST_F(Lv2Tools, FindNoFaultInTheBundle) {
  const std::string folder = MORV_LV2_BUNDLES;
  const std::string told =
      outputOf("lv2_validate " + folder + "/morv.lv2/*.ttl " + folder + "/morv-presets.lv2/*.ttl 2>&1");
  EXPECT_THAT(told, HasSubstr("Found 0 errors"));
  EXPECT_THAT(told, HasSubstr("exit 0"));
  EXPECT_THAT(told, Not(HasSubstr("warning")));
}

TEST_F(Lv2Tools, KnowThePlugIn) {
  const std::string path = std::string("LV2_PATH=") + MORV_LV2_PATH + " ";
  const std::string told = outputOf(path + "lv2info " + kPluginUri + " 2>&1");
  EXPECT_THAT(told, HasSubstr("exit 0"));
  EXPECT_THAT(told, HasSubstr("Group:       " + std::string(kNamespace) + "panel_filter"));
  EXPECT_THAT(told, HasSubstr("         Far Lantern\n"));
  EXPECT_THAT(told, HasSubstr("Class:             Instrument"));
  EXPECT_THAT(outputOf(path + "lv2ls 2>&1"), HasSubstr(kPluginUri));
  const std::string run = outputOf(path + "lv2bench " + kPluginUri + " 2>&1");
  EXPECT_THAT(run, HasSubstr("exit 0"));
  EXPECT_THAT(run, HasSubstr(kPluginUri));
  tellFigure("lv2bench, seconds", std::stod(run));
}

TEST_F(Lv2Tools, SeeNothingButTheDescriptor) {
  const std::string binary = std::string(MORV_LV2_BUNDLES) + "/morv.lv2/morv.so";
  EXPECT_THAT(outputOf("nm -D --defined-only " + binary + " | awk '{print $3}'"),
              HasSubstr("lv2_descriptor\n\nexit 0"));
  const std::string symbols = outputOf("nm -D --defined-only " + binary + " | wc -l");
  EXPECT_EQ(symbols, "1\n\nexit 0");
  tellFigure("T04 symbols that hosts see", std::stod(symbols));
  EXPECT_EQ(outputOf("ldd -r " + binary + " 2>&1 | grep -c 'not found\\|undefined'"), "0\n\nexit 256");
  EXPECT_EQ(outputOf("ldd " + binary + " 2>&1 | grep -ciE 'libX|libGL|libQt|libxcb'"), "0\n\nexit 256");
  EXPECT_THAT(outputOf("readelf -d " + binary + " | grep -E 'RUNPATH|RPATH'"), HasSubstr("[$ORIGIN]"));
  EXPECT_THAT(outputOf("ldd " + binary + " | grep MORVFramework"),
              HasSubstr("morv.lv2/libMORVFramework.so.0"));
}

}  // namespace
}  // namespace morv::lv2
