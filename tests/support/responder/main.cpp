// payacc_tds_responder DATABASE [COMPATIBILITY_LEVEL]: the tests' TDS responder as a program of
// its own, for trying payacclink --odbc by hand. It prints its connection string and serves
// until its standard input closes.
#include <iostream>
#include <string>

#include "support/TdsResponder.h"

int main(int argc, char** argv) {
    if (argc < 2) {
        std::cerr << "usage: payacc_tds_responder DATABASE [COMPATIBILITY_LEVEL]\n";
        return 2;
    }
    testsupport::TdsResponder responder(argv[1]);
    if (argc > 2) responder.setCompatibilityLevel(std::stoi(argv[2]));
    std::cout << responder.connectionString() << std::endl;
    for (std::string line; std::getline(std::cin, line);) {
    }
    return 0;
}
