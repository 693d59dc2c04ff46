// A verdict, read by the tool, written again and shown.

#include <algorithm>
#include <sstream>
#include <string>

#include "FuzzSupport.h"
#include "Verdict.h"
#include "VerdictText.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const tool::VerdictReading reading = tool::readVerdict(std::string(data, data + size));
  PROMISE(reading.verdict.has_value() == reading.problem.empty());
  PROMISE(!reading.foreign || !reading.verdict);
  if (!reading.verdict) return 0;

  const tool::VerdictReading again = tool::readVerdict(tool::toJson(*reading.verdict));
  PROMISE(again.verdict == reading.verdict);
  PROMISE(tool::toDocument(*reading.verdict).records.size() == reading.verdict->drives.size());

  std::ostringstream text;
  tool::writeVerdict(text, *reading.verdict, {.columns = 80});
  const std::string shown = text.str();
  PROMISE(std::all_of(shown.begin(), shown.end(), [](char c) {
    return c == '\n' || (static_cast<unsigned char>(c) >= ' ' && c != '\x7f');
  }));
  return 0;
}
