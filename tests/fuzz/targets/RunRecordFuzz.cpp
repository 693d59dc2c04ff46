// The record of a run, read by the tool and written again.

#include <exception>
#include <string>

#include "FuzzSupport.h"
#include "RunRecord.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  tool::RunRecord record;
  try {
    record = tool::readRunRecord(std::string(data, data + size));
  } catch (const std::exception& error) {
    PROMISE(*error.what() != '\0');
    return 0;
  }
  PROMISE(tool::readRunRecord(toJson(record)) == record);
  return 0;
}
