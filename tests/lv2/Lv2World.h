#pragma once

#include <lilv/lilv.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace morv::lv2 {

// Numbers for names, as a host gives them. Kept for the whole process, so that they mean the same in all
// instances. Any thread.
std::uint32_t uridOf(const std::string& uri);
const char* uriOfUrid(std::uint32_t urid);

// The plug-ins of the build tree, and LV2's own data, read through lilv.
class Lv2World {
 public:
  Lv2World();  // with the instrument
  explicit Lv2World(const std::string& pluginUri);
  ~Lv2World();
  Lv2World(const Lv2World&) = delete;
  Lv2World& operator=(const Lv2World&) = delete;

  LilvWorld* lilv() const { return world_; }
  // The plug-in of that URI; none if it was not found.
  const LilvPlugin* plugin() const { return plugin_; }

  // What lilv says of a port: all objects of a predicate, as texts.
  std::vector<std::string> objects(const LilvPort* port, const std::string& predicate) const;
  // The same of any subject; an empty predicate or subject stands for all.
  std::vector<std::string> objectsOf(const std::string& subject, const std::string& predicate) const;
  const LilvPort* port(const std::string& symbol) const;
  // The bounds that the data give a port.
  struct Range {
    float least = 0;
    float greatest = 0;
  };
  Range rangeOf(const std::string& symbol) const;

 private:
  LilvWorld* world_;
  const LilvPlugin* plugin_ = nullptr;
};

}  // namespace morv::lv2
