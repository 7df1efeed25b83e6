#include "hosts/lv2/PluginTurtle.h"

#include <cmath>
#include <cstdint>
#include <string_view>

#include "hosts/lv2/PluginUris.h"
#include "hosts/lv2/TurtleWriter.h"
#include "render/ZRDSPParameter.h"

namespace morv::lv2 {
namespace {

// Room for the atoms of one cycle: some thousand MIDI messages in, an answer to each of a hundred questions
// out.
constexpr int kControlBytes = 65536;
constexpr int kNotifyBytes = 16384;

std::string uri(std::string_view text) { return "<" + std::string(text) + ">"; }

std::string groupOf(std::string_view panel) { return "morv:panel_" + std::string(panel); }

bool isIndexed(const AUParameter& parameter) {
  return static_cast<ZRDSPParameterUnit>(parameter.unit()) == ZRDSPParameterUnit::indexed;
}

// The unit's name, where hosts have one for it.
std::string unitOf(const ControlPort& port) {
  if (!port.traits->unit.empty()) return std::string(port.traits->unit);
  switch (static_cast<ZRDSPParameterUnit>(port.parameter->unit())) {
    case ZRDSPParameterUnit::percent:
      return "units:pc";
    case ZRDSPParameterUnit::hertz:
      return "units:hz";
    case ZRDSPParameterUnit::cents:
      return "units:cent";
    case ZRDSPParameterUnit::relativeSemitones:
      return "units:semitone12TET";
    case ZRDSPParameterUnit::decibels:
      return "units:db";
    case ZRDSPParameterUnit::octaves:
      return "units:oct";
    case ZRDSPParameterUnit::milliseconds:
      return "units:ms";
    default:
      return {};
  }
}

// The strings of a parameter stand at equal distances over its range, those of an indexed one at its steps.
std::string scalePoints(const ControlPort& port) {
  const AUParameter& parameter = *port.parameter;
  const auto& strings = parameter.valueStrings();
  const float intervals = isIndexed(parameter) ? parameter.maxValue() - parameter.minValue()
                                               : static_cast<float>(strings.size()) - 1.0F;
  std::string points;
  for (std::size_t i = 0; i < strings.size() && strings.size() > 1; ++i) {
    const float place = static_cast<float>(i) / intervals;
    const float value = parameter.minValue() + (parameter.maxValue() - parameter.minValue()) * place;
    points += "    lv2:scalePoint [ rdfs:label " + turtleText(strings[i]) + " ; rdf:value " +
              turtleNumber(value, port.isInteger()) + " ] ;\n";
  }
  return points;
}

std::string propertiesOf(const ControlPort& port) {
  std::string properties;
  const auto add = [&properties](std::string_view property) {
    properties += (properties.empty() ? " " : " , ") + std::string(property);
  };
  if (port.isInteger()) add("lv2:integer");
  if (port.isEnumeration()) add("lv2:enumeration");
  if (port.isToggled()) add("lv2:toggled");
  if (port.isLogarithmic()) add("pprops:logarithmic");
  if (port.traits->isSetUpOnce) add("pprops:notAutomatic");
  if (port.traits->breaksSound) add("pprops:causesArtifacts");
  return properties.empty() ? properties : "    lv2:portProperty" + properties + " ;\n";
}

}  // namespace

std::string parameterPort(const ControlPort& port, std::uint32_t index) {
  const AUParameter& parameter = *port.parameter;
  const bool isWhole = port.isInteger() || port.isToggled();
  std::string turtle = "[\n    a lv2:InputPort , lv2:ControlPort ;\n    lv2:index " + std::to_string(index) +
                       " ;\n    lv2:symbol \"" + port.symbol + "\" ;\n    lv2:name " +
                       turtleText(port.text->name) + " ;\n    lv2:shortName " +
                       turtleText(port.text->shortName) + " ;\n    rdfs:comment " +
                       turtleText(port.text->comment) + " ;\n    pg:group " + groupOf(port.text->panel) +
                       " ;\n    lv2:default " + turtleNumber(port.defaultValue, isWhole) +
                       " ;\n    lv2:minimum " + turtleNumber(parameter.minValue(), isWhole) +
                       " ;\n    lv2:maximum " + turtleNumber(parameter.maxValue(), isWhole) + " ;\n";
  if (const std::string unit = unitOf(port); !unit.empty()) turtle += "    units:unit " + unit + " ;\n";
  turtle += propertiesOf(port) + scalePoints(port);
  if (port.steps() > 0) turtle += "    pprops:rangeSteps " + std::to_string(port.steps()) + " ;\n";
  if (port.text->priority > 0) {
    turtle += "    pprops:displayPriority " + std::to_string(port.text->priority) + " ;\n";
  }
  return turtle + "  ]";
}

std::string panelGroup(const Panel& panel) {
  return groupOf(panel.symbol) + "\n  a pg:InputGroup ;\n  lv2:symbol \"panel_" + std::string(panel.symbol) +
         "\" ;\n  lv2:name " + turtleText(panel.name) + " .\n\n";
}

namespace {

std::string fixedPorts() {
  return "[\n"
         "    a lv2:InputPort , atom:AtomPort ;\n"
         "    lv2:index 0 ;\n"
         "    lv2:symbol \"control\" ;\n"
         "    lv2:name \"Control\" ;\n"
         "    rdfs:comment \"MIDI, the song's position and tempo, and messages\" ;\n"
         "    lv2:designation lv2:control ;\n"
         "    atom:bufferType atom:Sequence ;\n"
         "    atom:supports midi:MidiEvent , time:Position , patch:Message ;\n"
         "    rsz:minimumSize " +
         std::to_string(kControlBytes) +
         " ;\n"
         "  ] , [\n"
         "    a lv2:OutputPort , atom:AtomPort ;\n"
         "    lv2:index 1 ;\n"
         "    lv2:symbol \"notify\" ;\n"
         "    lv2:name \"Notify\" ;\n"
         "    rdfs:comment \"MIDI and messages from the instrument\" ;\n"
         "    lv2:designation lv2:control ;\n"
         "    lv2:portProperty lv2:connectionOptional ;\n"
         "    atom:bufferType atom:Sequence ;\n"
         "    atom:supports midi:MidiEvent , patch:Message ;\n"
         "    rsz:minimumSize " +
         std::to_string(kNotifyBytes) +
         " ;\n"
         "  ] , [\n"
         "    a lv2:OutputPort , lv2:AudioPort ;\n"
         "    lv2:index 2 ;\n"
         "    lv2:symbol \"out_left\" ;\n"
         "    lv2:name \"Left\" ;\n"
         "    lv2:shortName \"Left\" ;\n"
         "    lv2:designation pg:left ;\n"
         "    pg:group morv:output ;\n"
         "  ] , [\n"
         "    a lv2:OutputPort , lv2:AudioPort ;\n"
         "    lv2:index 3 ;\n"
         "    lv2:symbol \"out_right\" ;\n"
         "    lv2:name \"Right\" ;\n"
         "    lv2:shortName \"Right\" ;\n"
         "    lv2:designation pg:right ;\n"
         "    pg:group morv:output ;\n"
         "  ]";
}

std::string freewheelPort(std::uint32_t index) {
  return "[\n"
         "    a lv2:InputPort , lv2:ControlPort ;\n"
         "    lv2:index " +
         std::to_string(index) +
         " ;\n"
         "    lv2:symbol \"freewheel\" ;\n"
         "    lv2:name \"Freewheel\" ;\n"
         "    lv2:shortName \"Freewheel\" ;\n"
         "    rdfs:comment \"On while the host renders faster than real time\" ;\n"
         "    lv2:designation lv2:freeWheeling ;\n"
         "    lv2:default 0 ;\n"
         "    lv2:minimum 0 ;\n"
         "    lv2:maximum 1 ;\n"
         "    lv2:portProperty lv2:toggled , pprops:notOnGUI ;\n"
         "  ]";
}

std::string groups() {
  std::string turtle =
      "morv:output\n"
      "  a pg:StereoGroup , pg:OutputGroup ;\n"
      "  lv2:symbol \"output\" ;\n"
      "  lv2:name \"Output\" .\n\n";
  for (const Panel& panel : panels()) turtle += panelGroup(panel);
  return turtle;
}

std::string settableParameters(std::span<const ControlPort> ports) {
  std::string turtle = uri(kPresetUri) +
                       "\n  a lv2:Parameter ;\n  rdfs:label \"Preset\" ;\n"
                       "  rdfs:comment \"Name of the current preset\" ;\n  rdfs:range atom:String .\n\n" +
                       uri(kStateUri) +
                       "\n  a rdf:Property , lv2:Parameter ;\n  rdfs:label \"State\" ;\n"
                       "  rdfs:comment \"All that makes the sound, as a property list\" ;\n"
                       "  rdfs:range atom:String .\n\n";
  for (const ControlPort& port : ports) {
    turtle += "morv:" + port.symbol + "\n  a lv2:Parameter ;\n  rdfs:label " + turtleText(port.text->name) +
              " ;\n  rdfs:range atom:Float .\n\n";
  }
  return turtle;
}

}  // namespace

std::string manifestTurtle() {
  return turtlePrefixes() + uri(kPluginUri) +
         "\n"
         "  a lv2:Plugin , lv2:InstrumentPlugin ;\n"
         "  lv2:binary <morv.so> ;\n"
         "  rdfs:seeAlso <morv.ttl> .\n";
}

std::string pluginTurtle(std::span<const ControlPort> ports, const std::string& defaultState,
                         const std::string& version) {
  std::string turtle = turtlePrefixes() + turtleProject();
  turtle += groups() + settableParameters(ports);
  turtle += uri(kPluginUri) +
            "\n"
            "  a lv2:Plugin , lv2:InstrumentPlugin , doap:Project ;\n"
            "  doap:name \"MORV\" ;\n"
            "  doap:shortdesc \"Polyphonic software synthesiser\" ;\n"
            "  rdfs:comment \"Eight voices, each with a band-limited oscillator, sub oscillator and noise, a "
            "multimode filter, two envelopes and an LFO; arpeggiator, chorus, reverb and echo; MPE.\" ;\n" +
            turtleRelease(version) +
            "  lv2:requiredFeature urid:map ;\n"
            "  lv2:optionalFeature lv2:hardRTCapable , work:schedule , state:threadSafeRestore ,\n"
            "    state:loadDefaultState , <http://lv2plug.in/ns/ext/log#log> ;\n"
            "  lv2:extensionData state:interface , work:interface ;\n"
            "  pg:mainOutput morv:output ;\n"
            "  patch:writable " +
            uri(kPresetUri) +
            " ;\n"
            "  state:state [ " +
            uri(kStateUri) + " " + turtleText(defaultState) + " ] ;\n";
  turtle += "  lv2:port " + fixedPorts();
  std::uint32_t index = kFirstParameterPort;
  for (const ControlPort& port : ports) turtle += " , " + parameterPort(port, index++);
  return turtle + " , " + freewheelPort(index) + " .\n";
}

}  // namespace morv::lv2
