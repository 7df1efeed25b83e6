#include "hosts/lv2/EffectTurtle.h"

#include <algorithm>
#include <stdexcept>
#include <vector>

#include "effects/EffectCatalogue.h"
#include "hosts/lv2/EffectPorts.h"
#include "hosts/lv2/EffectTexts.h"
#include "hosts/lv2/EffectUris.h"
#include "hosts/lv2/PluginTurtle.h"
#include "hosts/lv2/TurtleWriter.h"

namespace morv::lv2 {
namespace {

constexpr double kUsualRateHz = 48000.0;
// Room for some hundred positions in, and for seven spectra out.
constexpr int kControlBytes = 16384;
constexpr int kNotifyBytes = 32768;

std::string uriOf(std::string_view kind) { return "<" + (kEffectUriStart + std::string(kind)) + ">"; }

const EffectKind& kindOf(std::string_view name) {
  for (const EffectKind& kind : effectKinds()) {
    if (kind.name == name) return kind;
  }
  throw std::logic_error("no effect " + std::string(name));
}

std::string start(std::string_view classes, std::uint32_t index, std::string_view symbol,
                  std::string_view name) {
  return "[\n    a " + std::string(classes) + " ;\n    lv2:index " + std::to_string(index) +
         " ;\n    lv2:symbol \"" + std::string(symbol) + "\" ;\n    lv2:name \"" + std::string(name) +
         "\" ;\n";
}

std::string audioPort(bool isInput, bool isLeft, std::uint32_t index) {
  const std::string way = isInput ? "in" : "out";
  const std::string side = isLeft ? "left" : "right";
  const std::string name = (isInput ? "In " : "Out ") + std::string(isLeft ? "Left" : "Right");
  return start(isInput ? "lv2:InputPort , lv2:AudioPort" : "lv2:OutputPort , lv2:AudioPort", index,
               way + "_" + side, name) +
         "    lv2:shortName \"" + name + "\" ;\n    lv2:designation pg:" + side +
         " ;\n    pg:group morv:" + way + "put ;\n  ]";
}

std::string enabledPort() {
  return start("lv2:InputPort , lv2:ControlPort", EffectPlaces::kEnabled, "enabled", "Enabled") +
         "    lv2:shortName \"Enabled\" ;\n"
         "    rdfs:comment \"Off passes the plain sound; the way between has no click\" ;\n"
         "    lv2:designation lv2:enabled ;\n"
         "    lv2:default 1 ;\n    lv2:minimum 0 ;\n    lv2:maximum 1 ;\n"
         "    lv2:portProperty lv2:toggled ;\n  ]";
}

std::string atomPort(bool isInput, std::uint32_t index) {
  return start(isInput ? "lv2:InputPort , atom:AtomPort" : "lv2:OutputPort , atom:AtomPort", index,
               isInput ? "control" : "notify", isInput ? "Control" : "Notify") +
         "    rdfs:comment \"" + (isInput ? "Tempo of the song" : "Spectra, one for each window of sound") +
         "\" ;\n    lv2:designation lv2:control ;\n    lv2:portProperty lv2:connectionOptional ;\n"
         "    atom:bufferType atom:Sequence ;\n    atom:supports " +
         (isInput ? "time:Position" : "morv:Spectrum") + " ;\n    rsz:minimumSize " +
         std::to_string(isInput ? kControlBytes : kNotifyBytes) + " ;\n  ]";
}

std::string latencyPort(std::uint32_t index) {
  return start("lv2:OutputPort , lv2:ControlPort", index, "latency", "Latency") +
         "    lv2:shortName \"Latency\" ;\n"
         "    rdfs:comment \"Frames by which the plain sound comes out late\" ;\n"
         "    lv2:designation lv2:latency ;\n"
         "    lv2:default 0 ;\n    lv2:minimum 0 ;\n    lv2:maximum 64 ;\n"
         "    units:unit units:frame ;\n"
         "    lv2:portProperty lv2:integer , lv2:reportsLatency , pprops:notOnGUI ;\n  ]";
}

std::string groups(std::span<const ControlPort> ports) {
  std::string turtle =
      "morv:input\n  a pg:StereoGroup , pg:InputGroup ;\n  lv2:symbol \"input\" ;\n  lv2:name \"Input\" .\n\n"
      "morv:output\n  a pg:StereoGroup , pg:OutputGroup ;\n  lv2:symbol \"output\" ;\n  lv2:name \"Output\" "
      ".\n\n";
  for (const Panel& panel : effectPanels()) {
    const bool isUsed = std::any_of(ports.begin(), ports.end(), [&panel](const ControlPort& port) {
      return port.text->panel == panel.symbol;
    });
    if (isUsed) turtle += panelGroup(panel);
  }
  return turtle;
}

std::string spectrumTerms() {
  return "morv:Spectrum\n  a rdfs:Class ;\n  rdfs:subClassOf atom:Object ;\n  rdfs:label \"Spectrum\" ;\n"
         "  rdfs:comment \"Magnitudes over frequency of one window of sound; bin k of magnitudes lies at k "
         "times "
         "sampleRate by fftSize Hz\" .\n\n"
         "morv:fftSize\n  a rdf:Property , lv2:Parameter ;\n  rdfs:label \"FFT size\" ;\n"
         "  rdfs:comment \"Frames that were looked at\" ;\n  rdfs:range atom:Int .\n\n"
         "morv:fullScale\n  a rdf:Property , lv2:Parameter ;\n  rdfs:label \"Full scale\" ;\n"
         "  rdfs:comment \"Magnitude of a sine of full scale in the middle of a bin\" ;\n"
         "  rdfs:range atom:Float .\n\n"
         "morv:magnitudes\n  a rdf:Property , lv2:Parameter ;\n  rdfs:label \"Magnitudes\" ;\n"
         "  rdfs:comment \"Linear, as floats, one for each bin below half the rate\" ;\n"
         "  rdfs:range atom:Vector .\n\n";
}

std::string portsTurtle(const EffectPlaces& places, std::span<const ControlPort> ports) {
  std::string turtle = "  lv2:port " + audioPort(true, true, EffectPlaces::kInLeft) + " , " +
                       audioPort(true, false, EffectPlaces::kInRight) + " , " +
                       audioPort(false, true, EffectPlaces::kOutLeft) + " , " +
                       audioPort(false, false, EffectPlaces::kOutRight) + " , " + enabledPort();
  if (places.control) turtle += " , " + atomPort(true, *places.control);
  if (places.notify) turtle += " , " + atomPort(false, *places.notify);
  if (places.latency) turtle += " , " + latencyPort(*places.latency);
  std::uint32_t index = places.firstParameter;
  for (const ControlPort& port : ports) turtle += " , " + parameterPort(port, index++);
  return turtle + " .\n";
}

}  // namespace

std::string effectsManifestTurtle() {
  std::string turtle = turtlePrefixes();
  for (const EffectFacts& facts : effectFacts()) {
    turtle += uriOf(facts.kind) + "\n  a lv2:Plugin , " + std::string(facts.pluginClass) +
              " ;\n  lv2:binary <morv-effects.so> ;\n  rdfs:seeAlso <" + std::string(facts.kind) +
              ".ttl> .\n\n";
  }
  return turtle;
}

std::string effectTurtle(std::string_view kind, std::string_view version) {
  const EffectKind& named = kindOf(kind);
  const EffectFacts& facts = *factsOfEffect(kind);
  const std::unique_ptr<ZRDSPEffect> effect = makeEffect(kind, kUsualRateHz);
  const std::vector<EffectControl> controls = controlsOf(kind, *effect);
  const EffectPorts ports(facts, controls);
  std::string turtle = turtlePrefixes(kEffectUriStart + std::string(kind) + "#") + turtleProject();
  turtle += groups(ports.ports());
  if (facts.tellsSpectrum) turtle += spectrumTerms();
  turtle += uriOf(kind) + "\n  a lv2:Plugin , " + std::string(facts.pluginClass) +
            " , doap:Project ;\n  doap:name " + turtleText("MORV " + std::string(named.title)) +
            " ;\n  doap:shortdesc " + turtleText(named.description) + " ;\n  rdfs:comment " +
            turtleText(std::string(named.description) + ".") + " ;\n" + turtleRelease(version);
  if (facts.needsAtoms()) turtle += "  lv2:requiredFeature urid:map ;\n";
  turtle +=
      "  lv2:optionalFeature lv2:hardRTCapable , <http://lv2plug.in/ns/ext/log#log> ;\n"
      "  pg:mainInput morv:input ;\n  pg:mainOutput morv:output ;\n";
  return turtle + portsTurtle(EffectPlaces(facts), ports.ports());
}

}  // namespace morv::lv2
