// What the plug-in's data tells hosts, read back through lilv, and what its binaries show.

#include <gmock/gmock.h>

#include <algorithm>
#include <set>

#include "hosts/cli/OfflineUnit.h"
#include "hosts/lv2/ControlPort.h"
#include "hosts/lv2/PluginUris.h"
#include "hosts/lv2/StateEnvelope.h"
#include "tests/lv2/Lv2Fixture.h"
#include "tests/lv2/Vocabulary.h"

namespace morv::lv2 {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::UnorderedElementsAre;

class Lv2Bundle : public Lv2Fixture {
 protected:
  std::string one(const LilvPort* port, const std::string& predicate) const {
    const auto all = world_.objects(port, predicate);
    EXPECT_EQ(all.size(), 1U) << predicate << " of "
                              << lilv_node_as_string(lilv_port_get_symbol(world_.plugin(), port));
    return all.empty() ? std::string() : all.front();
  }
  std::string oneOf(const std::string& subject, const std::string& predicate) const {
    const auto all = world_.objectsOf(subject, predicate);
    EXPECT_EQ(all.size(), 1U) << predicate << " of " << subject;
    return all.empty() ? std::string() : all.front();
  }
  // A literal number with its type told apart.
  static void expectNumber(const LilvNode* node, float value, bool isWhole) {
    ASSERT_NE(node, nullptr);
    EXPECT_EQ(lilv_node_is_int(node), isWhole);
    EXPECT_EQ(lilv_node_is_float(node), !isWhole);
    EXPECT_EQ(lilv_node_as_float(node), value);
  }

  cli::OfflineUnit offline_{""};
  const std::vector<ControlPort> ports_ = controlPorts(*offline_.unit().parameterTree());
};

TEST_F(Lv2Bundle, IsAnInstrumentThatAsksForTheMapAlone) {
  EXPECT_EQ(lilv_node_as_uri(lilv_plugin_class_get_uri(lilv_plugin_get_class(world_.plugin()))),
            kLv2 + "InstrumentPlugin");
  EXPECT_THAT(world_.objectsOf(kPluginUri, kLv2 + "requiredFeature"),
              ElementsAre("http://lv2plug.in/ns/ext/urid#map"));
  EXPECT_THAT(world_.objectsOf(kPluginUri, kLv2 + "optionalFeature"),
              UnorderedElementsAre(kLv2 + "hardRTCapable", "http://lv2plug.in/ns/ext/worker#schedule",
                                   "http://lv2plug.in/ns/ext/state#threadSafeRestore",
                                   "http://lv2plug.in/ns/ext/state#loadDefaultState",
                                   "http://lv2plug.in/ns/ext/log#log"));
  EXPECT_THAT(world_.objectsOf(kPluginUri, kLv2 + "extensionData"),
              UnorderedElementsAre("http://lv2plug.in/ns/ext/state#interface",
                                   "http://lv2plug.in/ns/ext/worker#interface"));
  EXPECT_EQ(oneOf(kPluginUri, "http://usefulinc.com/ns/doap#name"), "MORV");
  EXPECT_EQ(oneOf(kPluginUri, kPg + "mainOutput"), std::string(kNamespace) + "output");
  EXPECT_THAT(world_.objectsOf(kPluginUri, "http://lv2plug.in/ns/ext/patch#writable"),
              ElementsAre(kPresetUri));
  for (const char* predicate : {"minorVersion", "microVersion", "project"}) {
    EXPECT_EQ(world_.objectsOf(kPluginUri, kLv2 + predicate).size(), 1U) << predicate;
  }
}

TEST_F(Lv2Bundle, HasItsFixedPortsInTheirPlaces) {
  EXPECT_EQ(lilv_plugin_get_num_ports(world_.plugin()), kFirstParameterPort + ports_.size() + 1);
  const auto indexOf = [&](const char* symbol) {
    return lilv_port_get_index(world_.plugin(), world_.port(symbol));
  };
  EXPECT_EQ(indexOf("control"), kControlPort);
  EXPECT_EQ(indexOf("notify"), kNotifyPort);
  EXPECT_EQ(indexOf("out_left"), kOutLeftPort);
  EXPECT_EQ(indexOf("out_right"), kOutRightPort);
  EXPECT_EQ(indexOf("freewheel"), kFirstParameterPort + ports_.size());
  EXPECT_EQ(one(world_.port("control"), kLv2 + "designation"), kLv2 + "control");
  EXPECT_THAT(world_.objects(world_.port("control"), kAtom + "supports"),
              UnorderedElementsAre("http://lv2plug.in/ns/ext/midi#MidiEvent",
                                   "http://lv2plug.in/ns/ext/time#Position",
                                   "http://lv2plug.in/ns/ext/patch#Message"));
  EXPECT_EQ(one(world_.port("control"), "http://lv2plug.in/ns/ext/resize-port#minimumSize"), "65536");
  EXPECT_EQ(one(world_.port("notify"), "http://lv2plug.in/ns/ext/resize-port#minimumSize"), "16384");
  EXPECT_THAT(world_.objects(world_.port("notify"), kLv2 + "portProperty"),
              ElementsAre(kLv2 + "connectionOptional"));
  EXPECT_EQ(one(world_.port("out_left"), kLv2 + "designation"), kPg + "left");
  EXPECT_EQ(one(world_.port("out_right"), kLv2 + "designation"), kPg + "right");
  EXPECT_EQ(one(world_.port("out_left"), kPg + "group"), std::string(kNamespace) + "output");
  EXPECT_EQ(one(world_.port("freewheel"), kLv2 + "designation"), kLv2 + "freeWheeling");
  EXPECT_THAT(world_.objects(world_.port("freewheel"), kLv2 + "portProperty"), Contains(kProps + "notOnGUI"));
}

TEST_F(Lv2Bundle, TellsOfEachParameterWhatTheTreeKnows) {
  LilvNode* pointValue = lilv_new_uri(world_.lilv(), "http://www.w3.org/1999/02/22-rdf-syntax-ns#value");
  std::set<std::string> names;
  std::set<std::string> shortNames;
  std::set<std::string> priorities;
  for (std::size_t i = 0; i < ports_.size(); ++i) {
    const ControlPort& expected = ports_[i];
    SCOPED_TRACE(expected.symbol);
    const AUParameter& parameter = *expected.parameter;
    const LilvPort* port = world_.port(expected.symbol);
    ASSERT_NE(port, nullptr);
    EXPECT_EQ(lilv_port_get_index(world_.plugin(), port), kFirstParameterPort + i);
    const bool isWhole = expected.isInteger() || expected.isToggled();
    LilvNode* least = nullptr;
    LilvNode* greatest = nullptr;
    LilvNode* normal = nullptr;
    lilv_port_get_range(world_.plugin(), port, &normal, &least, &greatest);
    expectNumber(least, parameter.minValue(), isWhole);
    expectNumber(greatest, parameter.maxValue(), isWhole);
    expectNumber(normal, parameter.value(), isWhole);
    for (LilvNode* node : {least, greatest, normal}) lilv_node_free(node);

    EXPECT_TRUE(names.insert(one(port, kLv2 + "name")).second);
    const std::string shortName = one(port, kLv2 + "shortName");
    EXPECT_TRUE(shortNames.insert(shortName).second);
    EXPECT_LT(shortName.size(), 16U);
    EXPECT_THAT(one(port, kRdfs + "comment"), Not(IsEmpty()));
    EXPECT_THAT(world_.objectsOf(one(port, kPg + "group"), kLv2 + "name"), testing::SizeIs(1));
    const auto priority = world_.objects(port, kProps + "displayPriority");
    if (!priority.empty()) {
      EXPECT_TRUE(priorities.insert(priority.front()).second);
    }

    const auto properties = world_.objects(port, kLv2 + "portProperty");
    const auto has = [&properties](const std::string& property) {
      return std::find(properties.begin(), properties.end(), property) != properties.end();
    };
    const bool isIndexed = parameter.unit() == 1;
    EXPECT_EQ(has(kLv2 + "toggled"), parameter.unit() == 2);
    EXPECT_TRUE(!isIndexed || has(kLv2 + "integer"));
    EXPECT_TRUE(!has(kLv2 + "enumeration") || isIndexed);
    EXPECT_EQ(has(kProps + "logarithmic"), parameter.unit() == 8 && parameter.minValue() > 0);
    const auto unit = world_.objects(port, kUnits + "unit");
    static const std::map<int, std::string> kUnitNames = {
        {3, "pc"}, {8, "hz"}, {10, "semitone12TET"}, {24, "ms"}};
    static const std::map<std::string, std::string> kOwnUnits = {{"oscSubDetune", "semitone12TET"},
                                                                 {"portamentoTime", "s"}};
    const auto named = kUnitNames.find(parameter.unit());
    if (const auto own = kOwnUnits.find(expected.symbol); own != kOwnUnits.end()) {
      EXPECT_THAT(unit, ElementsAre(kUnits + own->second));
    } else if (named == kUnitNames.end()) {
      EXPECT_THAT(unit, IsEmpty());
    } else {
      EXPECT_THAT(unit, ElementsAre(kUnits + named->second));
    }

    std::map<float, std::string> points;
    LilvScalePoints* told = lilv_port_get_scale_points(world_.plugin(), port);
    LILV_FOREACH(scale_points, at, told) {
      const LilvScalePoint* point = lilv_scale_points_get(told, at);
      points[lilv_node_as_float(lilv_scale_point_get_value(point))] =
          lilv_node_as_string(lilv_scale_point_get_label(point));
    }
    lilv_scale_points_free(told);
    ASSERT_EQ(points.size(), parameter.valueStrings().size());
    if (points.empty()) continue;
    EXPECT_EQ(points.begin()->first, parameter.minValue());
    EXPECT_EQ(points.rbegin()->first, parameter.maxValue());
    std::size_t place = 0;
    for (const auto& [value, label] : points) EXPECT_EQ(label, parameter.valueStrings()[place++]);
  }
  lilv_node_free(pointValue);
  EXPECT_GE(priorities.size(), 12U);
  EXPECT_LE(priorities.size(), 24U);
}

TEST_F(Lv2Bundle, GivesPortsAndGroupsNamesOfTheirOwn) {
  std::set<std::string> symbols;
  for (std::uint32_t i = 0; i < lilv_plugin_get_num_ports(world_.plugin()); ++i) {
    const LilvPort* port = lilv_plugin_get_port_by_index(world_.plugin(), i);
    EXPECT_TRUE(symbols.insert(lilv_node_as_string(lilv_port_get_symbol(world_.plugin(), port))).second);
  }
  std::set<std::string> used;
  for (const ControlPort& port : ports_) used.insert(one(world_.port(port.symbol), kPg + "group"));
  EXPECT_EQ(used.size(), panels().size());
  for (const std::string& group : used) EXPECT_TRUE(symbols.insert(oneOf(group, kLv2 + "symbol")).second);
}

// Sessions of hosts name ports by these symbols: none may go or change, new ones come at the end.
TEST_F(Lv2Bundle, KeepsTheSymbolsThatSessionsKnow) {
  std::vector<std::string> symbols;
  for (const ControlPort& port : ports_) symbols.push_back(port.symbol);
  const std::vector<std::string> frozen = {
#include "tests/lv2/FrozenSymbols.inc"
  };
  ASSERT_GE(symbols.size(), frozen.size());
  symbols.resize(frozen.size());
  EXPECT_EQ(symbols, frozen);
}

TEST_F(Lv2Bundle, HasTextsForTheParametersOfTheTreeAndForNoOthers) {
  ASSERT_EQ(portTexts().size(), ports_.size());
  for (std::size_t i = 0; i < ports_.size(); ++i) {
    EXPECT_EQ(portTexts()[i].parameter, ports_[i].parameter->keyPath());
  }
}

TEST_F(Lv2Bundle, LeavesOutWhatNothingDependsOnAndNothingElse) {
  std::set<std::string> shown;
  for (const ControlPort& port : ports_) shown.insert(port.parameter->keyPath());
  std::vector<std::string> left;
  for (const AUParameter* each : offline_.unit().parameterTree()->allParameters()) {
    if (shown.count(each->keyPath()) == 0) left.push_back(each->keyPath());
  }
  EXPECT_THAT(left,
              UnorderedElementsAre("morv.glideAmount", "morv.controlA", "morv.controlB", "morv.controlC",
                                   "morv.controlX", "morv.controlY", "basicdelay.echoRelative"));
}

TEST_F(Lv2Bundle, TellsWhichPortsMoveInStepsCutTheSoundOrAreSetUpOnce) {
  const auto symbolsWith = [this](const std::string& property) {
    std::set<std::string> symbols;
    for (const ControlPort& port : ports_) {
      const auto all = world_.objects(world_.port(port.symbol), kLv2 + "portProperty");
      if (std::find(all.begin(), all.end(), kProps + property) != all.end()) symbols.insert(port.symbol);
    }
    return symbols;
  };
  EXPECT_THAT(symbolsWith("notAutomatic"),
              UnorderedElementsAre("midiMode", "midiChannel", "voiceNumber", "pitchbendRange"));
  EXPECT_THAT(symbolsWith("causesArtifacts"),
              UnorderedElementsAre("voiceMode", "voiceNumber", "vachorus_chorusBypass",
                                   "ecoverb_reverbBypass", "basicdelay_echoBypass"));
  EXPECT_THAT(symbolsWith("expensive"), IsEmpty());
  std::map<std::string, std::string> steps;
  for (const ControlPort& port : ports_) {
    const auto told = world_.objects(world_.port(port.symbol), kProps + "rangeSteps");
    if (!told.empty()) steps[port.symbol] = told.front();
  }
  const std::map<std::string, std::string> expected = {
      {"oscSubWave", "2"},       {"oscSubOctave", "3"}, {"oscSubDetune", "8"}, {"lfoShape", "5"},
      {"lfoRange", "3"},         {"midiMode", "2"},     {"voiceMode", "2"},    {"voiceNumber", "8"},
      {"pitchbendRange", "13"},  {"arpMode", "5"},      {"arpRange", "3"},     {"midiChannel", "17"},
      {"arpClockDivision", "8"},
  };
  EXPECT_EQ(steps, expected);
}

// Each controller that means something (wheel, expression, slide, pedal, notes off) moves the voices and no
// parameter, so no port is bound to one.
TEST_F(Lv2Bundle, BindsNoControllerSinceNoneMovesAParameterByItself) {
  Lv2Host host(world_);
  host.activate();
  host.run(64);
  const auto before = StateEnvelope::fromText(*host.save());
  for (std::uint8_t controller = 0; controller < 128; ++controller) {
    host.midi(0, {0xB0, controller, 99});
    host.run(64);
  }
  EXPECT_EQ(StateEnvelope::fromText(*host.save()).value().unit, before.value().unit);
  for (const ControlPort& port : ports_) {
    EXPECT_THAT(world_.objects(world_.port(port.symbol), "http://lv2plug.in/ns/ext/midi#binding"), IsEmpty());
  }
}

TEST_F(Lv2Bundle, CarriesAllPresetsOfTheFactory) {
  LilvNode* kind = lilv_new_uri(world_.lilv(), "http://lv2plug.in/ns/ext/presets#Preset");
  LilvNodes* presets = lilv_plugin_get_related(world_.plugin(), kind);
  std::set<std::string> labels;
  LILV_FOREACH(nodes, each, presets) {
    const LilvNode* preset = lilv_nodes_get(presets, each);
    const std::string uri = lilv_node_as_uri(preset);
    labels.insert(oneOf(uri, kRdfs + "label"));
    const std::string bank = oneOf(uri, "http://lv2plug.in/ns/ext/presets#bank");
    EXPECT_EQ(world_.objectsOf(bank, kRdfs + "label").size(), 1U) << bank;
  }
  EXPECT_EQ(lilv_nodes_size(presets), 16U);
  EXPECT_EQ(labels.size(), 16U);
  EXPECT_THAT(labels, Contains("Far Lantern"));
  lilv_nodes_free(presets);
  lilv_node_free(kind);
}

TEST_F(Lv2Bundle, HasADefaultStateThatIsTheFreshOne) {
  Lv2Host host(world_);
  const std::string fresh = *host.save();
  LilvNode* uri = lilv_new_uri(world_.lilv(), kPluginUri);
  LV2_URID_Map map{nullptr, [](LV2_URID_Map_Handle, const char* name) { return uridOf(name); }};
  LilvState* state = lilv_state_new_from_world(world_.lilv(), &map, uri);
  ASSERT_NE(state, nullptr);
  ASSERT_EQ(lilv_state_get_num_properties(state), 1U);
  host.activate();
  host.port("filterCutoff") = 55.0F;
  host.run(64);
  ASSERT_NE(*host.save(), fresh);

  // The host's side of a restore: the state, and no ports.
  lilv_state_restore(
      state, host.instance(), [](const char*, void*, const void*, std::uint32_t, std::uint32_t) {}, nullptr,
      0, nullptr);
  host.run(64);

  const auto again = StateEnvelope::fromText(*host.save());
  ASSERT_TRUE(again);
  EXPECT_EQ(again.value().unit, StateEnvelope::fromText(fresh).value().unit);
  lilv_state_free(state);
  lilv_node_free(uri);
}

}  // namespace
}  // namespace morv::lv2
