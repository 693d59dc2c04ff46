// One component's entries cut out of an inventory document: the input's first line is the component id, the
// rest is the document.

#include <sstream>

#include "FuzzSupport.h"
#include "SoftwareComponentInfo.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Scratch::enter();
  const fuzz::LogSwitch log(size % 2 == 0);
  fuzz::Input input(data, size);
  const std::string componentID = input.line();
  std::istringstream document(std::string(input.rest().begin(), input.rest().end()));

  CSoftwareComponentInfo reader;
  std::ostringstream entries;
  const bool parsed = reader.GetInvFromVNL(componentID, entries, document);
  PROMISE(parsed || entries.str().empty());
  std::ostringstream again;
  PROMISE(reader.GetInvFromVNL(componentID, again, document) == parsed);
  PROMISE(again.str() == entries.str());
  return 0;
}
