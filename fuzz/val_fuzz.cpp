// Val, IsNumeric, CDbl, Format and NumberText on any text and any double.
#include "ValCheck.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    return fuzzcheck::runOne(fuzzcheck::checkValInput, data, size);
}
