// The reader of plugin configurations.

#include "FuzzSupport.h"
#include "PIEConfigInfo.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Scratch::enter().write("config.xml", {data, size});
  const fuzz::LogSwitch log(size % 2 == 0);
  CPIEConfigInfo config;
  const bool found = config.Init("config.xml");
  PROMISE(found == config.GetInventoryPluginInfo());
  if (!found) {
    PROMISE(config.GetInventoryCommand().empty());
    PROMISE(config.GetInventoryCommandOutFileName().empty());
  }
  const libxml::Owned<xmlXPathObject> plugins(config.GetPlugins());
  PROMISE(plugins != nullptr || !found);
  bool command = false;
  for (const xmlNode* plugin : libxml::nodes(plugins)) {
    PROMISE(config.GetAttributeValue(plugin, nullptr) == nullptr);
    command = config.GetInventoryCommandInfo(plugin) || command;
  }
  PROMISE(command || !found);
  return 0;
}
