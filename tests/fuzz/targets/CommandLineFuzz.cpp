// The command line: each line of the input is one argument.

#include <algorithm>
#include <array>
#include <memory>
#include <string_view>

#include "CommandLineParser.h"
#include "FuzzSupport.h"
#include "OutputCapture.h"

namespace {

/// The arguments as a process gets them, each in an allocation of its own, with a null pointer after the
/// last.
class Arguments {
 public:
  explicit Arguments(fuzz::Input input) {
    while (!input.empty()) add(input.line());
    m_pointers.push_back(nullptr);
  }
  int count() const { return static_cast<int>(m_texts.size()); }
  char** pointers() { return m_pointers.data(); }
  bool has(std::string_view word) const {
    return std::any_of(m_texts.begin(), m_texts.end(),
                       [word](const auto& text) { return word == text.get(); });
  }

 private:
  void add(const std::string& text) {
    m_texts.push_back(std::make_unique<char[]>(text.size() + 1));
    std::copy(text.begin(), text.end(), m_texts.back().get());
    m_pointers.push_back(m_texts.back().get());
  }

  std::vector<std::unique_ptr<char[]>> m_texts;
  std::vector<char*> m_pointers;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  constexpr std::size_t kUsageLength = 381;
  Arguments arguments{fuzz::Input(data, size)};
  const OutputCapture output;
  CCommandLineParser parser;
  const bool goOn = parser.parseCLI(arguments.count(), arguments.pointers());

  PROMISE(output.text().empty() || output.text().size() == kUsageLength);
  PROMISE(goOn || !output.text().empty());
  PROMISE(!goOn || output.text().empty() || arguments.has("-h"));
  PROMISE(!parser.isInventory() || arguments.has("-i"));
  PROMISE(!parser.isUpdate() || arguments.has("-u"));
  PROMISE(!parser.isForceMode() || arguments.has("-f"));
  PROMISE(!parser.isDebug() || arguments.has("-d"));
  PROMISE(parser.isDebug() || parser.getDebugFilename() == "debug.log");
  PROMISE(parser.getOutputFileName().empty() || arguments.has(parser.getOutputFileName()));

  CCommandLineParser none;
  PROMISE(!none.parseCLI(arguments.count(), nullptr));
  return 0;
}
