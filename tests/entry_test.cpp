// The component's entry: Show opens the browser only for the exact project key.
#include "TestSupport.h"
#include "browser/FrmMaster.h"
#include "entry/qorPayrollAccounts.h"

namespace {

using EntryTest = testsupport::ModuleTest;

TEST_F(EntryTest, ShowOpensTheBrowserOnlyForTheExactKey) {
    module->session = {};
    entry::qorPayrollAccounts component(*module);
    component.setAdocon(trace);
    component.MsgboxTitle = "Linking";
    component.ProcessDate = "01/11/2026";
    component.intUserID = 3;
    component.intCompanyID = 1;
    component.intInterfaceID = 60;
    auto show = [&](const std::string& key) {
        component.strProjectKey = key;
        component.Show();
    };
    for (const char* wrong : {"ktnb/qm/wrld/417", "KTNB/QM/WRLD/417 ", "", "KTNB/QM/WRLD/41"}) {
        show(wrong);
        EXPECT_EQ(toolkit.topForm(), nullptr) << wrong;
        EXPECT_EQ(module->session.userId, 0);
        EXPECT_FALSE(module->session.connection);
    }

    show(entry::kProjectKey);
    ASSERT_NE(toolkit.topForm(), nullptr);
    EXPECT_EQ(toolkit.topForm()->name(), "FrmMaster");
    EXPECT_TRUE(toolkit.topForm()->shownModal);
    const auto& s = module->session;
    EXPECT_EQ(std::to_string(s.userId) + "|" + std::to_string(s.companyId) + "|" +
                  std::to_string(s.interfaceId) + "|" + s.msgTitle + "|" + s.processDate,
              "3|1|60|Linking|01/11/2026");
    EXPECT_EQ(s.connection, trace);

    // Closing unloads the browser; a wrong key later leaves the session as it was.
    ui::Form* first = toolkit.topForm();
    first->userClose();
    EXPECT_FALSE(module->isLoaded("FrmMaster"));
    component.intUserID = 99;
    show("wrong");
    EXPECT_EQ(s.userId, 3);

    // The next Show loads a fresh browser while the old object is still there.
    show(entry::kProjectKey);
    EXPECT_NE(toolkit.topForm(), first);
    EXPECT_EQ(module->loadedForm("frmmaster"), toolkit.topForm());
    module->collect();
    EXPECT_EQ(toolkit.topForm()->name(), "FrmMaster");

    // adocon creates an unopened connection when read while empty.
    entry::qorPayrollAccounts bare(*module);
    auto c = bare.adocon();
    ASSERT_TRUE(c);
    EXPECT_EQ(bare.adocon(), c);
    EXPECT_FALSE(c->isOpen());
}

}  // namespace
