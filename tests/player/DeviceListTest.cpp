#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "hosts/player/DeviceList.h"

namespace morv::player {
namespace {

const DeviceList kFull = {JackServerInfo{48000, 256, {"system:playback_1"}, {"system:midi_1"}},
                          std::vector<AlsaDeviceInfo>{{3, "hw:\"A\",0", 2, true, {44100, 48000}}},
                          std::vector<std::string>{"Keys:0"}};
const DeviceList kNone = {Failure{"no JACK server answers"}, Failure{"this build has no ALSA driver"},
                          Failure{"no sequencer"}};

TEST(DeviceListing, ShowsAllThereIsToThePerson) {
  EXPECT_EQ(devicesAsText(kFull),
            "JACK: 48000 Hz, 256 frames in a cycle\n"
            "  output  system:playback_1\n"
            "  MIDI    system:midi_1\n"
            "ALSA: latency choices 32 64 128 256 512 1024 2048\n"
            "  3  hw:\"A\",0 (default), 2 outputs, 44100 48000 Hz\n"
            "ALSA MIDI:\n"
            "  MIDI    Keys:0\n");
}

TEST(DeviceListing, TellsThePersonWhyThereIsNothing) {
  EXPECT_EQ(devicesAsText(kNone),
            "JACK: no JACK server answers\nALSA: this build has no ALSA driver\nALSA MIDI: no sequencer\n");
}

TEST(DeviceListing, ShowsAllThereIsToAProgram) {
  EXPECT_EQ(devicesAsJson(kFull),
            "{\"version\": 1,\n"
            " \"jack\": {\"available\": true, \"rate\": 48000, \"frames\": 256, \"outputs\": "
            "[\"system:playback_1\"], \"midi\": [\"system:midi_1\"]},\n"
            " \"alsa\": {\"devices\": [\n"
            "   {\"number\": 3, \"name\": \"hw:\\\"A\\\",0\", \"outputs\": 2, \"default\": true, \"rates\": "
            "[44100, 48000]}], \"latencies\": [32, 64, 128, 256, 512, 1024, 2048], \"midi\": "
            "[\"Keys:0\"]}}\n");
}

TEST(DeviceListing, TellsAProgramWhyThereIsNothing) {
  EXPECT_EQ(devicesAsJson(kNone),
            "{\"version\": 1,\n"
            " \"jack\": {\"available\": false, \"reason\": \"no JACK server answers\"},\n"
            " \"alsa\": {\"reason\": \"this build has no ALSA driver\", \"devices\": [], \"latencies\": [32, "
            "64, 128, 256, 512, 1024, 2048], \"midi\": []}}\n");
}

}  // namespace
}  // namespace morv::player
