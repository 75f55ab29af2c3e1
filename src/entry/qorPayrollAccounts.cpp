#include "entry/qorPayrollAccounts.h"

#include "browser/FrmMaster.h"
#include "entry/Module.h"

namespace entry {

qorPayrollAccounts::qorPayrollAccounts(Module& module) : module_(module) {}

data::ConnectionPtr qorPayrollAccounts::adocon() {
    if (!adocon_) adocon_ = data::makeUnopenedConnection();
    return adocon_;
}

void qorPayrollAccounts::Show() {
    // Binary comparison: a key differing only in case or blanks opens nothing, silently.
    if (strProjectKey != kProjectKey) return;

    SessionContext& s = module_.session;
    s.userId = intUserID;
    s.companyId = intCompanyID;
    s.interfaceId = intInterfaceID;
    s.msgTitle = MsgboxTitle;
    s.connection = adocon();
    s.processDate = ProcessDate;

    module_.showModal(module_.FrmMaster());
}

}  // namespace entry
