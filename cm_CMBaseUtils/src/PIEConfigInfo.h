#pragma once

#include <string>

#include "LibXml.h"

/// Reader of a plugin configuration file:
///
///   PIEConfig
///     Plugins                                             (at any depth)
///       Plugin description="" type="" timeout=""          (at any depth below, repeated)
///         CliToFile
///           Command                                       (text: the command line)
///           Output                                        (text: the file that the command writes)
///
/// The inventory plugin is the first Plugin with a description "Inventory", a type "0" and any time-out. Its
/// first CliToFile alone counts, and in it the last Command and the last Output that have a text. Values and
/// the names inside a Plugin are compared letter case aside.
class CPIEConfigInfo {
 public:
  CPIEConfigInfo() = default;
  virtual ~CPIEConfigInfo() = default;
  CPIEConfigInfo(const CPIEConfigInfo&) = delete;
  CPIEConfigInfo& operator=(const CPIEConfigInfo&) = delete;

  /// Reads the file at `path`. True when it holds the inventory plugin with a command and an output file
  /// name. False otherwise: the texts stay as they were, the time-out is set once the plugin is found.
  bool Init(const std::string& path);

  /// The three values of a successful `Init`; the time-out is the number as written (0 when it does not begin
  /// with one, the nearest int when it is out of range), its unit is its user's affair.
  std::string GetInventoryCommand() const { return m_strInventoryCommand; }
  std::string GetInventoryCommandOutFileName() const { return m_strInventoryCommandOutFileName; }
  int GetInventoryTimeout() const { return m_nInventoryTimeout; }

  /// All Plugin elements of the file, null when there is none. The caller owns the result and frees it with
  /// `xmlXPathFreeObject` before the next `Init` and before the reader's end.
  xmlXPathObject* GetPlugins();
  /// Likewise for any expression that selects at least one node.
  xmlXPathObject* GetNodeSet(const char* expression);

  /// The value of an element's attribute; null when it is absent or an argument is null. Belongs to the
  /// document: valid until the next `Init` and not beyond the reader's end.
  const char* GetAttributeValue(const xmlNode* node, const char* name);

  /// The two steps of `Init`: from the file to its inventory plugin, and from a Plugin element to the
  /// command.
  bool GetInventoryPluginInfo();
  bool GetInventoryCommandInfo(const xmlNode* node);

 private:
  libxml::Owned<xmlDoc> m_document;
  std::string m_strInventoryCommand;
  std::string m_strInventoryCommandOutFileName;
  int m_nInventoryTimeout = 0;
};
