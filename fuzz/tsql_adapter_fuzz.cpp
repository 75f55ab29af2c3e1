// The T-SQL adapter and the embedded database on any statement text.
#include "TsqlCheck.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    return fuzzcheck::runOne(fuzzcheck::checkTsqlInput, data, size);
}
