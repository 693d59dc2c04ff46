#include "PIEConfigInfo.h"

#include <libxml/parser.h>
#include <strings.h>

#include <algorithm>
#include <climits>
#include <cstdlib>

#include "Logger.h"
#include "TracedSelection.h"

bool CPIEConfigInfo::Init(const std::string& path) {
  // Only logged: parsing then fails in the ordinary way.
  if (path.empty()) LOG("PIE file path is empty ");
  m_document.reset(xmlParseFile(path.c_str()));
  if (m_document == nullptr) {
    // The line says "parsed successfully" of a file that is not; callers compare it.
    LOG("CPIEConfigInfo::Init() Document " + path + "  parsed successfully ");
    return false;
  }
  const bool found = GetInventoryPluginInfo();
  LOG(found ? "CPIEConfigInfo::Init() GetInventoryPluginInfo success "
            : "CPIEConfigInfo::Init() GetInventoryPluginInfo failed ");
  return found;
}

xmlXPathObject* CPIEConfigInfo::GetPlugins() {
  return GetNodeSet("//PIEConfig//Plugins//Plugin");
}

xmlXPathObject* CPIEConfigInfo::GetNodeSet(const char* expression) {
  static constexpr libxml::SelectTexts kTexts{
      "CPIEConfigInfo::GetNodeSet() Start", "CPIEConfigInfo::GetNodeSet() Error in xmlXPathNewContext",
      "CPIEConfigInfo::GetNodeSet() Error in xmlXPathEvalExpression",
      "CPIEConfigInfo::GetNodeSet() Empty nodeset", "CPIEConfigInfo::GetNodeSet() END"};
  return libxml::tracedSelect(m_document.get(), expression, kTexts, LOG_SITE).release();
}

const char* CPIEConfigInfo::GetAttributeValue(const xmlNode* node, const char* name) {
  return libxml::attribute(node, name);
}

bool CPIEConfigInfo::GetInventoryPluginInfo() {
  LOG("CPIEConfigInfo::GetInventoryPluginInfo() Start");
  const libxml::Owned<xmlXPathObject> plugins(GetPlugins());
  if (plugins == nullptr) {
    LOG("CPIEConfigInfo::GetInventoryPluginInfo() pXpathResult is NULL");
    return false;
  }
  // A plugin without a time-out is passed over: the caller would wait for ever.
  const auto isInventory = [this](const xmlNode* plugin) {
    const char* const description = GetAttributeValue(plugin, "description");
    const char* const type = GetAttributeValue(plugin, "type");
    return description != nullptr && type != nullptr && GetAttributeValue(plugin, "timeout") != nullptr &&
           strcasecmp(description, "Inventory") == 0 && strcasecmp(type, "0") == 0;
  };
  const auto nodes = libxml::nodes(plugins);
  const auto plugin = std::find_if(nodes.begin(), nodes.end(), isInventory);
  if (plugin == nodes.end()) {
    LOG("CPIEConfigInfo::GetInventoryPluginInfo() pInventoyNode is NULL");
    return false;
  }
  const long timeout = std::strtol(GetAttributeValue(*plugin, "timeout"), nullptr, 10);
  // The time-out is kept even when the command below turns out to be missing.
  m_nInventoryTimeout = static_cast<int>(std::clamp<long>(timeout, INT_MIN, INT_MAX));
  const bool found = GetInventoryCommandInfo(*plugin);
  if (!found) LOG("CPIEConfigInfo::GetInventoryPluginInfo() GetInventoryCommandInfo  is failed");
  LOG("CPIEConfigInfo::GetInventoryPluginInfo() END");
  return found;
}

bool CPIEConfigInfo::GetInventoryCommandInfo(const xmlNode* node) {
  LOG("CPIEConfigInfo::GetInventoryCommandInfo() START");
  if (node == nullptr) {
    LOG("CPIEConfigInfo::GetInventoryCommandInfo() is NULL");
    return false;
  }
  const xmlNode* const cliToFile = libxml::firstChildNamed(node, "CliToFile");
  // The last one wins, as everywhere in this format; one without a text does not replace it.
  const char* const command = libxml::lastTextOf(cliToFile, "Command");
  const char* const output = libxml::lastTextOf(cliToFile, "Output");
  const bool found = command != nullptr && output != nullptr;
  if (found) {
    // Both or neither: a command whose output nobody finds is of no use.
    m_strInventoryCommandOutFileName = output;
    m_strInventoryCommand = command;
  } else {
    LOG("CPIEConfigInfo::GetInventoryCommandInfo() Inventory or output filename is empty");
  }
  LOG("CPIEConfigInfo::GetInventoryCommandInfo() END");
  return found;
}
