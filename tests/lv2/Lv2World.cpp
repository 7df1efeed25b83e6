#include "tests/lv2/Lv2World.h"

#include <mutex>

#include "hosts/lv2/PluginUris.h"

namespace morv::lv2 {
namespace {

struct UridTable {
  std::mutex mutex;
  std::map<std::string, std::uint32_t> numbers;
  std::vector<const std::string*> names;
};

UridTable& table() {
  static UridTable urids;
  return urids;
}

class Node {
 public:
  explicit Node(LilvNode* node) : node_(node) {}
  ~Node() { lilv_node_free(node_); }
  Node(const Node&) = delete;
  Node& operator=(const Node&) = delete;
  operator const LilvNode*() const { return node_; }

 private:
  LilvNode* node_;
};

std::vector<std::string> textsOf(LilvNodes* nodes) {
  std::vector<std::string> texts;
  LILV_FOREACH(nodes, each, nodes) { texts.emplace_back(lilv_node_as_string(lilv_nodes_get(nodes, each))); }
  lilv_nodes_free(nodes);
  return texts;
}

}  // namespace

std::uint32_t uridOf(const std::string& uri) {
  UridTable& urids = table();
  const std::scoped_lock lock(urids.mutex);
  const auto [entry, isNew] =
      urids.numbers.emplace(uri, static_cast<std::uint32_t>(urids.numbers.size() + 1));
  if (isNew) urids.names.push_back(&entry->first);
  return entry->second;
}

const char* uriOfUrid(std::uint32_t urid) {
  UridTable& urids = table();
  const std::scoped_lock lock(urids.mutex);
  return urid > 0 && urid <= urids.names.size() ? urids.names[urid - 1]->c_str() : nullptr;
}

Lv2World::Lv2World() : Lv2World(std::string(kPluginUri)) {}

Lv2World::Lv2World(const std::string& pluginUri) : world_(lilv_world_new()) {
  const Node path(lilv_new_string(world_, MORV_LV2_PATH));
  lilv_world_set_option(world_, LILV_OPTION_LV2_PATH, path);
  lilv_world_load_all(world_);
  const Node uri(lilv_new_uri(world_, pluginUri.c_str()));
  plugin_ = lilv_plugins_get_by_uri(lilv_world_get_all_plugins(world_), uri);
}

Lv2World::~Lv2World() { lilv_world_free(world_); }

std::vector<std::string> Lv2World::objects(const LilvPort* port, const std::string& predicate) const {
  const Node uri(lilv_new_uri(world_, predicate.c_str()));
  return textsOf(lilv_port_get_value(plugin_, port, uri));
}

std::vector<std::string> Lv2World::objectsOf(const std::string& subject, const std::string& predicate) const {
  const Node from(lilv_new_uri(world_, subject.c_str()));
  const Node uri(lilv_new_uri(world_, predicate.c_str()));
  return textsOf(lilv_world_find_nodes(world_, from, uri, nullptr));
}

const LilvPort* Lv2World::port(const std::string& symbol) const {
  const Node name(lilv_new_string(world_, symbol.c_str()));
  return lilv_plugin_get_port_by_symbol(plugin_, name);
}

Lv2World::Range Lv2World::rangeOf(const std::string& symbol) const {
  LilvNode* low = nullptr;
  LilvNode* high = nullptr;
  lilv_port_get_range(plugin_, port(symbol), nullptr, &low, &high);
  const Range range{lilv_node_as_float(low), lilv_node_as_float(high)};
  lilv_node_free(low);
  lilv_node_free(high);
  return range;
}

}  // namespace morv::lv2
