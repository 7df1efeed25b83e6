// What the effects' data tells hosts, read back through lilv and held against the catalogue.

#include <gmock/gmock.h>

#include <map>
#include <set>
#include <stdexcept>

#include "hosts/lv2/EffectPorts.h"
#include "hosts/lv2/PluginUris.h"
#include "tests/lv2/EffectsFixture.h"
#include "tests/lv2/Vocabulary.h"

namespace morv::lv2 {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using testing::UnorderedElementsAre;

class EffectsBundle : public EffectsFixture {
 protected:
  std::string uri() const { return kEffectUriStart + GetParam(); }
  std::string one(const LilvPort* port, const std::string& predicate) const {
    const auto all = world_.objects(port, predicate);
    EXPECT_EQ(all.size(), 1U) << predicate;
    return all.empty() ? std::string() : all.front();
  }
  std::string oneOf(const std::string& subject, const std::string& predicate) const {
    const auto all = world_.objectsOf(subject, predicate);
    EXPECT_EQ(all.size(), 1U) << predicate << " of " << subject;
    return all.empty() ? std::string() : all.front();
  }
  static void expectNumber(LilvNode* node, float value, bool isWhole) {
    ASSERT_NE(node, nullptr);
    EXPECT_EQ(lilv_node_is_int(node), isWhole);
    EXPECT_EQ(lilv_node_as_float(node), value);
    lilv_node_free(node);
  }
  std::map<float, std::string> pointsOf(const LilvPort* port) const {
    std::map<float, std::string> points;
    LilvScalePoints* told = lilv_port_get_scale_points(world_.plugin(), port);
    LILV_FOREACH(scale_points, at, told) {
      const LilvScalePoint* point = lilv_scale_points_get(told, at);
      points[lilv_node_as_float(lilv_scale_point_get_value(point))] =
          lilv_node_as_string(lilv_scale_point_get_label(point));
    }
    lilv_scale_points_free(told);
    return points;
  }
  const EffectPortText& textOf(const EffectControl& control) const {
    for (const EffectPortText& text : effectPortTexts()) {
      if (text.text.parameter == GetParam() + "." + control.identifier()) return text;
    }
    ADD_FAILURE() << "no text for " << control.identifier();
    return effectPortTexts().front();
  }

  PlainEffect plain_{GetParam(), 48000.0};
};

TEST_P(EffectsBundle, SaysWhatItIsAndWhatItNeeds) {
  static const std::map<std::string, std::string> kClasses = {
      {"basicchorus", "Chorus"}, {"ecoverb", "Reverb"},   {"basicdelay", "Delay"}, {"digiverb", "Reverb"},
      {"vachorus", "Chorus"},    {"vadelay", "Delay"},    {"digidelay", "Delay"},  {"digiphaser", "Phaser"},
      {"springverb", "Reverb"},  {"spectrum", "Analyser"}};
  EXPECT_EQ(lilv_node_as_uri(lilv_plugin_class_get_uri(lilv_plugin_get_class(world_.plugin()))),
            kLv2 + kClasses.at(GetParam()) + "Plugin");
  const auto required = world_.objectsOf(uri(), kLv2 + "requiredFeature");
  if (facts().needsAtoms()) {
    EXPECT_THAT(required, ElementsAre("http://lv2plug.in/ns/ext/urid#map"));
  } else {
    EXPECT_THAT(required, IsEmpty());
  }
  EXPECT_THAT(world_.objectsOf(uri(), kLv2 + "optionalFeature"),
              UnorderedElementsAre(kLv2 + "hardRTCapable", "http://lv2plug.in/ns/ext/log#log"));
  EXPECT_THAT(world_.objectsOf(uri(), kLv2 + "extensionData"), IsEmpty());
  const auto kinds = effectKinds();
  const auto kind =
      std::find_if(kinds.begin(), kinds.end(), [](const auto& each) { return each.name == GetParam(); });
  EXPECT_EQ(oneOf(uri(), kDoap + "name"), "MORV " + std::string(kind->title));
  EXPECT_EQ(oneOf(uri(), kDoap + "shortdesc"), kind->description);
  EXPECT_EQ(oneOf(uri(), kDoap + "license"), "https://spdx.org/licenses/MIT");
  EXPECT_EQ(oneOf(uri(), kLv2 + "project"), "https://morv.org/lv2");
  const Lv2World instrument;
  lilv_plugin_get_num_ports(instrument.plugin());  // so that its data is read
  for (const char* version : {"minorVersion", "microVersion"}) {
    EXPECT_THAT(instrument.objectsOf(kPluginUri, kLv2 + version), ElementsAre(oneOf(uri(), kLv2 + version)));
  }
  EXPECT_EQ(oneOf(uri(), kPg + "mainInput"), uri() + "#input");
  EXPECT_EQ(oneOf(uri(), kPg + "mainOutput"), uri() + "#output");
  EXPECT_THAT(world_.objectsOf(uri(), kDoap + "maintainer"), SizeIs(1));
}

TEST_P(EffectsBundle, HasItsFixedPortsInTheirPlaces) {
  const EffectPlaces places(facts());
  const auto indexOf = [&](const char* symbol) {
    return lilv_port_get_index(world_.plugin(), world_.port(symbol));
  };
  EXPECT_EQ(indexOf("in_left"), EffectPlaces::kInLeft);
  EXPECT_EQ(indexOf("in_right"), EffectPlaces::kInRight);
  EXPECT_EQ(indexOf("out_left"), EffectPlaces::kOutLeft);
  EXPECT_EQ(indexOf("out_right"), EffectPlaces::kOutRight);
  EXPECT_EQ(indexOf("enabled"), EffectPlaces::kEnabled);
  for (const std::string side : {"left", "right"}) {
    for (const std::string way : {"in", "out"}) {
      const LilvPort* port = world_.port(std::string(way).append("_").append(side));
      EXPECT_EQ(one(port, kLv2 + "designation"), kPg + side);
      EXPECT_EQ(one(port, kPg + "group"), uri().append("#").append(way).append("put"));
    }
  }
  const LilvPort* enabled = world_.port("enabled");
  EXPECT_EQ(one(enabled, kLv2 + "designation"), kLv2 + "enabled");
  EXPECT_EQ(one(enabled, kLv2 + "default"), "1");
  EXPECT_THAT(world_.objects(enabled, kLv2 + "portProperty"), ElementsAre(kLv2 + "toggled"));
  EXPECT_EQ(lilv_plugin_get_num_ports(world_.plugin()), places.firstParameter + plain_.controls.size());

  ASSERT_EQ(world_.port("control") != nullptr, places.control.has_value());
  ASSERT_EQ(world_.port("notify") != nullptr, places.notify.has_value());
  ASSERT_EQ(world_.port("latency") != nullptr, places.latency.has_value());
  EXPECT_EQ(lilv_plugin_has_latency(world_.plugin()), places.latency.has_value());
  if (places.control) {
    EXPECT_EQ(indexOf("control"), *places.control);
    EXPECT_THAT(world_.objects(world_.port("control"), kAtom + "supports"),
                ElementsAre("http://lv2plug.in/ns/ext/time#Position"));
  }
  if (places.notify) {
    EXPECT_EQ(indexOf("notify"), *places.notify);
    EXPECT_THAT(world_.objects(world_.port("notify"), kAtom + "supports"), ElementsAre(kSpectrumUri));
    for (const char* term : {kSpectrumUri, kFftSizeUri, kFullScaleUri, kMagnitudesUri}) {
      EXPECT_THAT(oneOf(term, kRdfs + "comment"), Not(IsEmpty()));
    }
  }
  if (places.latency) {
    EXPECT_EQ(lilv_plugin_get_latency_port_index(world_.plugin()), *places.latency);
    EXPECT_EQ(one(world_.port("latency"), kLv2 + "designation"), kLv2 + "latency");
  }
}

TEST_P(EffectsBundle, TellsOfEachControlWhatTheCatalogueKnows) {
  static const std::map<ZRDSPParameterUnit, std::string> kUnitNames = {
      {ZRDSPParameterUnit::percent, "pc"},
      {ZRDSPParameterUnit::hertz, "hz"},
      {ZRDSPParameterUnit::decibels, "db"},
      {ZRDSPParameterUnit::milliseconds, "ms"}};
  std::set<std::string> names;
  std::set<std::string> shortNames;
  std::set<std::string> priorities;
  std::uint32_t index = EffectPlaces(facts()).firstParameter;
  for (const EffectControl& control : plain_.controls) {
    SCOPED_TRACE(control.identifier());
    const EffectPortText& text = textOf(control);
    const LilvPort* port = world_.port(control.identifier());
    ASSERT_NE(port, nullptr);
    EXPECT_EQ(lilv_port_get_index(world_.plugin(), port), index++);
    const bool isWhole = control.isWhole() || text.text.isWhole;
    LilvNode* least = nullptr;
    LilvNode* greatest = nullptr;
    LilvNode* normal = nullptr;
    lilv_port_get_range(world_.plugin(), port, &normal, &least, &greatest);
    expectNumber(least, control.range()->least, isWhole);
    expectNumber(greatest, control.range()->greatest, isWhole);
    expectNumber(normal, control.value(), isWhole);

    EXPECT_TRUE(names.insert(one(port, kLv2 + "name")).second);
    const std::string shortName = one(port, kLv2 + "shortName");
    EXPECT_TRUE(shortNames.insert(shortName).second);
    EXPECT_LT(shortName.size(), 16U);
    EXPECT_THAT(one(port, kRdfs + "comment"), Not(IsEmpty()));
    EXPECT_THAT(world_.objectsOf(one(port, kPg + "group"), kLv2 + "name"), SizeIs(1));
    const auto priority = world_.objects(port, kProps + "displayPriority");
    if (!priority.empty()) {
      EXPECT_TRUE(priorities.insert(priority.front()).second);
    }

    const auto properties = world_.objects(port, kLv2 + "portProperty");
    const auto has = [&](const std::string& property) {
      return std::find(properties.begin(), properties.end(), property) != properties.end();
    };
    EXPECT_EQ(has(kLv2 + "toggled"), control.isSwitch());
    EXPECT_EQ(has(kLv2 + "integer"), isWhole && !control.isSwitch());
    const ZRDSPParameterUnit unit =
        control.unit() != ZRDSPParameterUnit::generic ? control.unit() : text.unit;
    EXPECT_EQ(has(kProps + "logarithmic"), unit == ZRDSPParameterUnit::hertz && control.range()->least > 0);
    const auto told = world_.objects(port, kUnits + "unit");
    const auto named = kUnitNames.find(unit);
    if (named == kUnitNames.end()) {
      EXPECT_THAT(told, IsEmpty());
    } else {
      EXPECT_THAT(told, ElementsAre(kUnits + named->second));
    }

    // The strings of the catalogue, or the names of the steps that it leaves open.
    std::vector<std::string> strings = control.valueStrings();
    if (strings.empty()) strings.assign(text.steps.begin(), text.steps.end());
    const auto points = pointsOf(port);
    ASSERT_EQ(points.size(), strings.size());
    const bool isStepped = unit == ZRDSPParameterUnit::indexed;
    const auto steps = static_cast<std::size_t>(control.range()->greatest - control.range()->least) + 1;
    EXPECT_EQ(has(kLv2 + "enumeration"), isStepped && strings.size() == steps);
    for (std::size_t i = 0; i < strings.size(); ++i) {
      const float value = isStepped ? control.range()->least + static_cast<float>(i)
                                    : (i == 0 ? control.range()->least : control.range()->greatest);
      ASSERT_TRUE(points.contains(value)) << value;
      EXPECT_EQ(points.at(value), strings[i]);
    }
  }
  EXPECT_EQ(priorities.empty(), plain_.controls.empty());
}

TEST_P(EffectsBundle, GivesPortsAndGroupsNamesOfTheirOwn) {
  std::set<std::string> symbols;
  std::set<std::string> groups;
  for (std::uint32_t i = 0; i < lilv_plugin_get_num_ports(world_.plugin()); ++i) {
    const LilvPort* port = lilv_plugin_get_port_by_index(world_.plugin(), i);
    EXPECT_TRUE(symbols.insert(lilv_node_as_string(lilv_port_get_symbol(world_.plugin(), port))).second);
    for (const std::string& group : world_.objects(port, kPg + "group")) groups.insert(group);
  }
  for (const std::string& group : groups) {
    EXPECT_TRUE(group.starts_with(uri() + "#")) << group;
    EXPECT_TRUE(symbols.insert(oneOf(group, kLv2 + "symbol")).second);
  }
}

// Sessions of hosts name ports by these symbols: none may go or change, new ones come at the end.
TEST_P(EffectsBundle, KeepsTheSymbolsThatSessionsKnow) {
  static const std::map<std::string, std::vector<std::string>> kFrozen = {
#include "tests/lv2/EffectsFrozenSymbols.inc"
  };
  std::vector<std::string> symbols;
  for (std::uint32_t i = 0; i < lilv_plugin_get_num_ports(world_.plugin()); ++i) {
    const LilvPort* port = lilv_plugin_get_port_by_index(world_.plugin(), i);
    symbols.emplace_back(lilv_node_as_string(lilv_port_get_symbol(world_.plugin(), port)));
  }
  const std::vector<std::string>& frozen = kFrozen.at(GetParam());
  ASSERT_GE(symbols.size(), frozen.size());
  symbols.resize(frozen.size());
  EXPECT_EQ(symbols, frozen);
}

INSTANTIATE_TEST_SUITE_P(Kinds, EffectsBundle, testing::ValuesIn(kindNames()), kindOfTest);

TEST(EffectsTexts, AreThoseOfTheCatalogueAndNoOthers) {
  std::vector<std::string> kinds;
  std::vector<std::string> paths;
  for (const EffectKind& kind : effectKinds()) {
    kinds.emplace_back(kind.name);
    const PlainEffect plain(kind.name, 48000.0);
    for (const EffectControl& control : plain.controls)
      paths.push_back(kinds.back() + "." + control.identifier());
  }
  std::vector<std::string> told;
  for (const EffectFacts& facts : effectFacts()) told.emplace_back(facts.kind);
  EXPECT_EQ(told, kinds);
  std::vector<std::string> texts;
  for (const EffectPortText& text : effectPortTexts()) texts.emplace_back(text.text.parameter);
  EXPECT_EQ(texts, paths);
  EXPECT_EQ(factsOfEffect("none"), nullptr);
}

TEST(EffectsTexts, AreAskedForByEachControl) {
  const PlainEffect plain("ecoverb", 48000.0);
  EXPECT_THROW(EffectPorts(*factsOfEffect("springverb"), plain.controls), std::logic_error);
  EXPECT_NO_THROW(EffectPorts(*factsOfEffect("ecoverb"), plain.controls));
}

}  // namespace
}  // namespace morv::lv2
