#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

#include "hosts/player/AlsaDeviceChoice.h"

namespace morv::player {
namespace {

const std::vector<AlsaDeviceInfo> kDevices = {{0, "hw:PCH,0", 2, false, {44100, 48000, 96000}},
                                              {1, "hw:PCH,3", 8, false, {44100}},
                                              {4, "default", 2, true, {}}};

TEST(AlsaDeviceChoice, TakesTheDefaultOneElseTheFirst) {
  EXPECT_EQ(chooseAlsaDevice("", kDevices).value().name, "default");
  EXPECT_EQ(chooseAlsaDevice("", {kDevices[1], kDevices[0]}).value().name, "hw:PCH,3");
}

TEST(AlsaDeviceChoice, TakesANameANumberOrAPartOfOneNameOnly) {
  EXPECT_EQ(chooseAlsaDevice("hw:PCH,3", kDevices).value().number, 1U);
  EXPECT_EQ(chooseAlsaDevice("4", kDevices).value().name, "default");
  EXPECT_EQ(chooseAlsaDevice("H,0", kDevices).value().number, 0U);
}

TEST(AlsaDeviceChoice, TellsTheNamesWhenAWordDoesNotChoose) {
  EXPECT_EQ(chooseAlsaDevice("PCH", kDevices).reason(),
            "more than one ALSA device has 'PCH' in its name; there are 'hw:PCH,0', 'hw:PCH,3', 'default'");
  EXPECT_EQ(chooseAlsaDevice("USB", kDevices).reason(),
            "no ALSA device 'USB'; there are 'hw:PCH,0', 'hw:PCH,3', 'default'");
  EXPECT_EQ(chooseAlsaDevice("", {}).reason(), "ALSA has no output device");
}

TEST(AlsaDeviceChoice, TakesTheWantedRateOrAUsualOne) {
  EXPECT_EQ(chooseAlsaRate(96000, kDevices[0]).value(), 96000U);
  EXPECT_EQ(chooseAlsaRate(0, kDevices[0]).value(), 48000U);
  EXPECT_EQ(chooseAlsaRate(0, kDevices[1]).value(), 44100U);
  EXPECT_EQ(chooseAlsaRate(0, {0, "odd", 2, false, {8000, 22050, 16000}}).value(), 22050U);
  EXPECT_EQ(chooseAlsaRate(0, kDevices[2]).value(), 48000U);
  EXPECT_EQ(chooseAlsaRate(32000, kDevices[2]).value(), 32000U);
}

TEST(AlsaDeviceChoice, RefusesARateThatTheDeviceDoesNotHave) {
  EXPECT_EQ(chooseAlsaRate(96000, kDevices[1]).reason(), "'hw:PCH,3' does not run at 96000 Hz");
}

}  // namespace
}  // namespace morv::player
