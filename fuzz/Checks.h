#pragma once
// What the fuzz targets share: a broken invariant is an exception of its own, so the same
// checks run under libFuzzer (where it aborts and the input is kept) and in the unit tests
// (where it fails the test with its message).
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <string_view>

namespace fuzzcheck {

struct Violation : std::logic_error {
    using std::logic_error::logic_error;
};

inline void require(bool ok, const std::string& what) {
    if (!ok) throw Violation(what);
}

// The input as it can be quoted in a message: bytes outside printable ASCII escaped.
inline std::string printable(std::string_view s) {
    std::string out = "\"";
    for (unsigned char c : s) {
        if (c == '"' || c == '\\') {
            out += '\\';
            out += static_cast<char>(c);
        } else if (c >= 0x20 && c < 0x7f) {
            out += static_cast<char>(c);
        } else {
            char b[8];
            std::snprintf(b, sizeof b, "\\x%02x", c);
            out += b;
        }
    }
    return out + "\"";
}

// One libFuzzer input. Any other exception escapes on purpose: std::terminate aborts, and
// the fuzzer keeps the input as a crash.
template <class Check>
int runOne(Check&& check, const uint8_t* data, size_t size) {
    try {
        check(std::string_view(reinterpret_cast<const char*>(data), size));
    } catch (const Violation& v) {
        std::fprintf(stderr, "invariant broken: %s\n", v.what());
        std::abort();
    }
    return 0;
}

}  // namespace fuzzcheck
