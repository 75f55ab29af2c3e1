#pragma once
// The component's one public class: seven properties and Show.
#include <cstdint>
#include <string>

#include "data/Connection.h"
#include "ui/Toolkit.h"

namespace entry {

class Module;

inline constexpr const char* kProjectKey = "KTNB/QM/WRLD/417";

class qorPayrollAccounts {
public:
    // The toolkit the screens are shown with; the module is the component's own.
    qorPayrollAccounts(Module& module);

    // adocon auto-creates an unopened connection when read while empty.
    data::ConnectionPtr adocon();
    void setAdocon(data::ConnectionPtr c) { adocon_ = std::move(c); }
    std::string strProjectKey, MsgboxTitle, ProcessDate;
    int32_t intUserID = 0, intCompanyID = 0, intInterfaceID = 0;

    // Checks the key, stores the session and shows the browser modally; returns when the
    // browser closes. A wrong key returns at once, silently.
    void Show();

private:
    Module& module_;
    data::ConnectionPtr adocon_;
};

}  // namespace entry
