#pragma once
// How the headless commands end on an error: one line on standard error, status 2.
#include <iostream>
#include <stdexcept>

#include "common/Error.h"
#include "common/Utf8.h"

namespace app {

// A refusal: the one line the command ends with, status 2.
struct Refused : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Runs a command's body; an error it throws becomes that one line and status 2.
template <class Body>
int guarded(const Body& body) {
    try {
        return body();
    } catch (const common::Error& e) {
        std::cerr << "payacclink: error " << e.number() << ": " << common::terminalText(e.description())
                  << "\n";
    } catch (const std::exception& e) {
        std::cerr << "payacclink: " << common::terminalText(e.what()) << "\n";
    }
    return 2;
}

}  // namespace app
