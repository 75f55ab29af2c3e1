// The script runner on any text.
#include "ScriptCheck.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    return fuzzcheck::runOne(fuzzcheck::checkScriptInput, data, size);
}
