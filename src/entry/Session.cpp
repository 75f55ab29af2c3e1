#include "entry/Session.h"

namespace entry {

std::string TypeNameOfCode(std::string_view code) {
    for (const auto& t : kTransactionTypes)
        if (code == t.code) return t.name;
    return "";
}

std::string TypeCodeOfName(std::string_view name) {
    for (const auto& t : kTransactionTypes)
        if (name == t.name) return t.code;
    return "";
}

}  // namespace entry
