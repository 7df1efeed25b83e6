// How an instance comes to another preset, and who hears of it.

#include <gmock/gmock.h>

#include <algorithm>

#include "hosts/lv2/PluginUris.h"
#include "hosts/lv2/StateEnvelope.h"
#include "platform/PropertyListValue.h"
#include "tests/lv2/Lv2Fixture.h"

namespace morv::lv2 {
namespace {

using testing::IsEmpty;

class Lv2Preset : public Lv2Fixture {};

TEST_F(Lv2Preset, TellsTheHostWhenAPresetHasChangedIt) {
  Lv2Host host(world_);
  host.activate();
  host.run(64);
  host.run(64);
  host.midi(0, {0xC0, 4});
  host.runFor(64 * 4);
  EXPECT_THAT(host.notices, testing::ElementsAre("preset=[FACTORY]_INIT_Plain Fingers", "StateChanged"));
  const auto saved = StateEnvelope::fromText(*host.save());
  EXPECT_EQ(saved.value().preset, "[FACTORY]_INIT_Plain Fingers");

  host.notices.clear();
  host.patchSet(0, kPresetUri, "[FACTORY]_BS_Bent Wire");
  host.runFor(64 * 4);
  EXPECT_THAT(host.notices, testing::ElementsAre("preset=[FACTORY]_BS_Bent Wire", "StateChanged"));
  host.notices.clear();
  host.patchGet(5, kPresetUri);
  host.run(64);
  EXPECT_THAT(host.notices, testing::ElementsAre("preset=[FACTORY]_BS_Bent Wire"));
  host.notices.clear();
  host.patchSet(0, kPresetUri, "no such preset");
  host.runFor(64 * 4);
  EXPECT_THAT(host.notices, IsEmpty());
}

TEST_F(Lv2Preset, ComesToTheLastOfManyPresetsThatAreAskedForAtOnce) {
  Lv2Host host(world_);
  host.activate();
  for (const char* name : {"[FACTORY]_AT_Far Lantern", "[FACTORY]_AT_Tide Pool", "[FACTORY]_BS_Bent Wire",
                           "[FACTORY]_BS_Cellar Door", "[FACTORY]_LD_Reed Pipe", "[FACTORY]_LD_Seven Saws",
                           "[FACTORY]_PL_Copper Keys"}) {
    host.patchSet(0, kPresetUri, name);
  }
  host.runFor(64 * 20);
  EXPECT_EQ(StateEnvelope::fromText(*host.save()).value().preset, "[FACTORY]_PL_Copper Keys");
  for (std::uint8_t program = 0; program < 12; ++program) host.midi(0, {0xC0, program});
  host.runFor(64 * 20);
  host.notices.clear();
  host.patchGet(0, kPresetUri);
  host.run(64);
  EXPECT_EQ(StateEnvelope::fromText(*host.save()).value().preset, "[FACTORY]_PL_Brass Parade");
  EXPECT_THAT(host.notices, testing::ElementsAre("preset=[FACTORY]_PL_Brass Parade"));
}

// A host may drop what it was to hand to the worker, when it deactivates for one.
TEST_F(Lv2Preset, GoesOnTurningItsQueueWhenAHostHasDroppedWork) {
  Lv2Host host(world_);
  host.activate();
  host.run(64);
  host.midi(0, {0xC0, 4});
  host.layOutEvents();
  host.runBare(64);
  host.dropWork();
  host.deactivate();
  host.activate();
  host.midi(0, {0xC0, 5});
  host.runFor(64 * 20);
  EXPECT_EQ(StateEnvelope::fromText(*host.save()).value().preset, "[FACTORY]_INIT_Plain Saw");
}

TEST_F(Lv2Preset, ComesOverAnActivationThatIsAheadOfTheWorker) {
  const auto stateBehind = [this](bool isOvertaken) {
    Lv2Host host(world_);
    host.activate();
    host.run(64);
    host.midi(0, {0xC0, 4});
    host.layOutEvents();
    host.runBare(64);
    if (isOvertaken) {
      host.dropWork();
      host.deactivate();
      host.activate();
    }
    host.runFor(64 * 20);
    return *host.save();
  };
  const auto overtaken = StateEnvelope::fromText(stateBehind(true)).value();
  const auto usual = StateEnvelope::fromText(stateBehind(false)).value();
  EXPECT_NE(usual.preset, "");
  EXPECT_EQ(overtaken.preset, usual.preset);
  EXPECT_EQ(overtaken.unit, usual.unit);
}

TEST_F(Lv2Preset, MutesAPresetsChangeForHalfASecondOfSound) {
  Lv2Host host(world_);
  host.activate();
  host.run(64);
  host.midi(0, {0xC0, 4});
  host.run(64);
  host.noteOn(0, 60);
  host.run(64);
  host.left.clear();
  host.runFor(48000);
  const auto sounding = std::find_if(host.left.begin(), host.left.end(), [](float x) { return x != 0.0F; });
  EXPECT_NEAR(static_cast<double>(sounding - host.left.begin()) / 48000.0, 0.5, 0.02);
}

TEST_F(Lv2Preset, OfTheBundleIsThatOfTheUnit) {
  Lv2Host byBundle(world_);
  LV2_URID_Map map{nullptr, [](LV2_URID_Map_Handle, const char* name) { return uridOf(name); }};
  LilvNode* kind = lilv_new_uri(world_.lilv(), "http://lv2plug.in/ns/ext/presets#Preset");
  LilvNodes* presets = lilv_plugin_get_related(world_.plugin(), kind);
  int compared = 0;
  LILV_FOREACH(nodes, each, presets) {
    const LilvNode* preset = lilv_nodes_get(presets, each);
    lilv_world_load_resource(world_.lilv(), preset);
    LilvState* state = lilv_state_new_from_world(world_.lilv(), &map, preset);
    ASSERT_NE(state, nullptr);
    Lv2Host host(world_);
    host.activate();
    host.run(64);
    lilv_state_restore(
        state, host.instance(),
        [](const char* symbol, void* data, const void* value, std::uint32_t size, std::uint32_t type) {
          ASSERT_EQ(size, sizeof(float));
          ASSERT_EQ(type, uridOf("http://lv2plug.in/ns/ext/atom#Float"));
          static_cast<Lv2Host*>(data)->port(symbol) = *static_cast<const float*>(value);
        },
        &host, 0, nullptr);
    host.run(64);
    host.run(64);
    const auto loaded = StateEnvelope::fromText(*host.save());

    Lv2Host other(world_);
    other.activate();
    other.run(64);
    other.patchSet(0, kPresetUri, loaded.value().preset);
    other.run(64);
    other.run(64);
    EXPECT_EQ(StateEnvelope::fromText(*other.save()).value().unit, loaded.value().unit)
        << loaded.value().preset;
    lilv_state_free(state);
    ++compared;
  }
  EXPECT_EQ(compared, 16);
  lilv_nodes_free(presets);
  lilv_node_free(kind);
}

}  // namespace
}  // namespace morv::lv2
