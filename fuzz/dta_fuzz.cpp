// The DTA reader on the input as a file (plain or gzip-compressed).
#include <cstddef>
#include <cstdint>

#include "fuzz_util.h"
#include "spectrum/dta_file.h"

using namespace orvane;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::KeepBoxesQuiet();
  static fuzz::ScratchFile input("in.dta");
  Dta dta;
  ImportDta(input.Write(data, size).c_str(), &dta);
  return 0;
}
