// The component's entry: Show opens the browser only for the exact project key.
#include <gtest/gtest.h>

#include "TestSupport.h"
#include "browser/FrmMaster.h"
#include "entry/qorPayrollAccounts.h"

namespace {

using testsupport::ModuleTest;

class EntryTest : public ModuleTest {
protected:
    void setSession(entry::qorPayrollAccounts& c, const std::string& key) {
        c.setAdocon(trace);
        c.strProjectKey = key;
        c.MsgboxTitle = "Linking";
        c.ProcessDate = "01/11/2026";
        c.intUserID = 3;
        c.intCompanyID = 1;
        c.intInterfaceID = 60;
    }
};

TEST_F(EntryTest, ShowOpensTheBrowserOnlyForTheExactKey) {
    module->session = {};
    entry::qorPayrollAccounts component(*module);
    for (const char* wrong : {"ktnb/qm/wrld/417", "KTNB/QM/WRLD/417 ", "", "KTNB/QM/WRLD/41"}) {
        setSession(component, wrong);
        component.Show();
        EXPECT_EQ(toolkit.topForm(), nullptr) << wrong;
        EXPECT_EQ(module->session.userId, 0);
        EXPECT_FALSE(module->session.connection);
    }

    setSession(component, entry::kProjectKey);
    component.Show();
    ASSERT_NE(toolkit.topForm(), nullptr);
    EXPECT_EQ(toolkit.topForm()->name(), "FrmMaster");
    EXPECT_TRUE(toolkit.topForm()->shownModal);
    EXPECT_EQ(module->session.userId, 3);
    EXPECT_EQ(module->session.companyId, 1);
    EXPECT_EQ(module->session.interfaceId, 60);
    EXPECT_EQ(module->session.msgTitle, "Linking");
    EXPECT_EQ(module->session.processDate, "01/11/2026");
    EXPECT_EQ(module->session.connection, trace);

    // Closing unloads the browser; a wrong key later leaves the session as it was.
    ui::Form* first = toolkit.topForm();
    first->userClose();
    EXPECT_FALSE(module->isLoaded("FrmMaster"));
    setSession(component, "wrong");
    component.intUserID = 99;
    component.Show();
    EXPECT_EQ(module->session.userId, 3);

    // The next Show loads a fresh browser while the old object is still there.
    setSession(component, entry::kProjectKey);
    component.Show();
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
