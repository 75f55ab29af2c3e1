#include "entry/Session.h"

namespace entry {

std::string TypeCodeOfName(std::string_view name) {
    const TransactionType* t = common::TypeOfName(name);
    return t ? t->code : "";
}

}  // namespace entry
