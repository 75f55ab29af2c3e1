// parseDate on any text; the forms and the arithmetic of every date it gives.
#include "DateCheck.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    return fuzzcheck::runOne(fuzzcheck::checkDateInput, data, size);
}
