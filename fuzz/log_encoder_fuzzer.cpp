// The log encoder's input: any text a log line can carry (paths, names and
// switch values from outside), encrypted span by span with the built-in key.
#include <cstdint>
#include <string>

#include "base/log_encoder.h"
#include "fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  ResetLogEncoderForTesting();
  EncodeLogLine(fuzz::WideFromBytes(data, size));
  return 0;
}
